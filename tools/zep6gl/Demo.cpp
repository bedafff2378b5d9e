// `zep6gl demo [OUTDIR]`: the library's blend modes on built-in pictures. A colour wheel with a
// soft edge (the front) is composited over a gradient-and-checkerboard backdrop whose bottom
// quarter fades out (the back) through all 49 apply modes at mix 1, on the card. OUTDIR receives
// the two inputs, one PNG per mode (mode-NN-name.png) and contact-sheet.png, where every result
// sits over a grey checkerboard (so its alpha shows) under a strip with its number and name.
// Each step's time is printed in milliseconds; the first composite includes starting the worker
// thread and its OpenGL context.
#include "Command.h"
#include "Composite.h"
#include "Font.h"
#include "ImageIO.h"
#include "SampleImages.h"

#include "core/PixelFormat.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace zep6gl {

namespace {

namespace fs = std::filesystem;

constexpr long kTile = 256;      // side of every sample and result
constexpr long kBackSquare = 32; // checkerboard of the backdrop
constexpr long kShowSquare = 8;  // checkerboard that shows transparency on the sheet
constexpr int kColumns = 7;      // 49 modes: 7 x 7
constexpr int kLabelScale = 2;   // font pixels are 2 x 2 on the sheet
constexpr long kPad = 6;         // inside a label strip
constexpr long kGutter = 14;     // between cells and around the sheet

constexpr Rgba8 kSheetColour = {28, 28, 30, 255};
constexpr Rgba8 kStripColour = {12, 12, 14, 255};
constexpr Rgba8 kNumberColour = {255, 206, 96, 255};
constexpr Rgba8 kNameColour = {232, 232, 232, 255};
constexpr Rgba8 kTitleColour = {200, 200, 204, 255};

using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::time_point since) {
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

void FillRect(HostImage& image, long x, long y, long width, long height, Rgba8 colour) {
    const long x0 = std::max(0L, x), x1 = std::min(image.GetWidth(), x + width);
    const long y0 = std::max(0L, y), y1 = std::min(image.GetHeight(), y + height);
    for (long py = y0; py < y1; ++py) {
        unsigned char* row = image.Row(py);
        for (long px = x0; px < x1; ++px) {
            unsigned char* p = row + px * 4;
            p[0] = colour.r, p[1] = colour.g, p[2] = colour.b, p[3] = colour.a;
        }
    }
}

// Puts an 8-bit top-down RGBA picture with straight alpha over the grey checkerboard, at (x, y)
// of the sheet (same layout), opaque.
void PutOverCheckerboard(HostImage& sheet, const HostImage& picture, long x, long y) {
    static const HostImage checker = MakeCheckerboard(kTile, kTile, kShowSquare);
    for (long py = 0; py < picture.GetHeight(); ++py) {
        const long sy = y + py;
        if (sy < 0 || sy >= sheet.GetHeight())
            continue;
        const unsigned char* src = picture.Row(py);
        const unsigned char* under = checker.Row(py % checker.GetHeight());
        unsigned char* dst = sheet.Row(sy);
        for (long px = 0; px < picture.GetWidth(); ++px) {
            const long sx = x + px;
            if (sx < 0 || sx >= sheet.GetWidth())
                continue;
            const unsigned char* s = src + px * 4;
            const unsigned char* u = under + (px % checker.GetWidth()) * 4;
            const unsigned a = s[3];
            for (int c = 0; c < 3; ++c)
                dst[sx * 4 + c] = static_cast<unsigned char>((s[c] * a + u[c] * (255 - a) + 127) / 255);
            dst[sx * 4 + 3] = 255;
        }
    }
}

struct SheetEntry {
    std::string number; // "07", or empty for an input picture
    std::string name;
    const HostImage* picture; // 8-bit top-down RGBA of any size, drawn at its own size
};

long StripHeight() {
    return TextHeight(kLabelScale) + 2 * kPad;
}

// A contact sheet: the title's lines, the inputs in a row, then the results in rows of kColumns.
// A cell is as wide as its widest picture or longest label needs and as high as the highest
// picture (at least a tile each way); each picture is centred under its strip.
HostImage MakeContactSheet(const std::vector<SheetEntry>& inputs, const std::vector<SheetEntry>& results,
                           const std::vector<std::string>& title) {
    long cellWidth = kTile, pictureHeight = kTile;
    for (const auto* list : {&inputs, &results})
        for (const SheetEntry& e : *list) {
            const long label = TextWidth(e.number.empty() ? e.name : e.number + " " + e.name, kLabelScale);
            cellWidth = std::max({cellWidth, label + 2 * kPad, e.picture->GetWidth()});
            pictureHeight = std::max(pictureHeight, e.picture->GetHeight());
        }
    const long cellHeight = StripHeight() + pictureHeight;
    const long lineHeight = kLineAdvance * kLabelScale;
    const long titleHeight =
        TextHeight(kLabelScale) + (static_cast<long>(title.size()) - 1) * lineHeight + kGutter;
    auto rows = [](const std::vector<SheetEntry>& list) {
        return (static_cast<long>(list.size()) + kColumns - 1) / kColumns;
    };
    const long width = kColumns * cellWidth + (kColumns + 1) * kGutter;
    const long height = kGutter + titleHeight + (rows(inputs) + rows(results)) * (cellHeight + kGutter);

    HostImage sheet(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 32, 255, width, height, 0, false);
    FillRect(sheet, 0, 0, width, height, kSheetColour);
    for (std::size_t line = 0; line < title.size(); ++line)
        DrawText(sheet, kGutter, kGutter + static_cast<long>(line) * lineHeight, title[line], kLabelScale,
                 kTitleColour);

    auto putCell = [&](const SheetEntry& e, long column, long row) {
        const long x = kGutter + column * (cellWidth + kGutter);
        const long y = kGutter + titleHeight + row * (cellHeight + kGutter);
        FillRect(sheet, x, y, cellWidth, StripHeight(), kStripColour);
        long textX = x + kPad;
        if (!e.number.empty()) {
            DrawText(sheet, textX, y + kPad, e.number, kLabelScale, kNumberColour);
            textX += TextWidth(e.number + " ", kLabelScale);
        }
        DrawText(sheet, textX, y + kPad, e.name, kLabelScale, kNameColour);
        PutOverCheckerboard(sheet, *e.picture, x + (cellWidth - e.picture->GetWidth()) / 2,
                            y + StripHeight() + (pictureHeight - e.picture->GetHeight()) / 2);
    };
    long row = 0;
    for (const auto* list : {&inputs, &results}) {
        for (std::size_t i = 0; i < list->size(); ++i)
            putCell((*list)[i], static_cast<long>(i) % kColumns, row + static_cast<long>(i) / kColumns);
        row += rows(*list);
    }
    return sheet;
}

// One line of the demo's account: what was done, then how long it took.
void Report(const std::string& what, double ms) {
    std::printf("  %-60s %8.1f ms\n", what.c_str(), ms);
}

std::string TwoDigits(int n) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d", n);
    return text;
}

// Lays out a sheet, writes it into `dir`, and reports both steps.
void WriteSheet(const fs::path& dir, const std::string& file, const std::vector<SheetEntry>& inputs,
                const std::vector<SheetEntry>& results, const std::vector<std::string>& title) {
    Clock::time_point step = Clock::now();
    const HostImage sheet = MakeContactSheet(inputs, results, title);
    const double sheetMs = Milliseconds(step);
    step = Clock::now();
    const std::string path = (dir / file).string();
    WriteImage(path, sheet);
    Report("laid out " + file + " (" + std::to_string(sheet.GetWidth()) + " x " +
               std::to_string(sheet.GetHeight()) + ")",
           sheetMs);
    Report("wrote " + path, Milliseconds(step));
}

} // namespace

void RunDemo(const Arguments& arguments) {
    {
        const std::vector<std::string>& args = arguments.operands;
        const fs::path dir = args.empty() || args[0].empty() ? fs::path("out/demo") : fs::path(args[0]);
        const Clock::time_point start = Clock::now();

        std::error_code error;
        fs::create_directories(dir, error);
        if (error || !fs::is_directory(dir))
            throw std::runtime_error(dir.string() + ": cannot make the output folder: " +
                                     (error ? error.message() : "a file of that name is in the way"));
        std::printf("zep6gl demo: writing into %s\n", dir.string().c_str());

        Clock::time_point step = Clock::now();
        const HostImage front = MakeColourWheel(kTile);
        const HostImage back = MakeBackdrop(kTile, kBackSquare);
        Report("made the samples (" + std::to_string(kTile) + " x " + std::to_string(kTile) + ")",
               Milliseconds(step));

        for (const auto& input : {std::make_pair("front.png", &front), std::make_pair("back.png", &back)}) {
            step = Clock::now();
            const std::string path = (dir / input.first).string();
            WriteImage(path, *input.second);
            Report("wrote " + path, Milliseconds(step));
        }

        std::vector<HostImage> results;
        results.reserve(kApplyModeCount);
        {
            LibraryUse use;
            for (int mode = 0; mode < kApplyModeCount; ++mode) {
                results.emplace_back(front.GetColorSpace(), front.GetBitDepth(), front.GetWhiteLevel(),
                                     front.GetWidth(), front.GetHeight(), 0, front.IsBottomUp());
                step = Clock::now();
                CompositeImages(front, &back, nullptr, results.back(), mode, 1.0f);
                const double compositeMs = Milliseconds(step);
                step = Clock::now();
                const std::string path =
                    (dir / ("mode-" + TwoDigits(mode) + "-" + ApplyModeName(mode) + ".png")).string();
                WriteImage(path, results.back());
                std::printf("  %s %-24s composite %8.1f ms   write %6.1f ms   %s%s\n",
                            TwoDigits(mode).c_str(), ApplyModeName(mode).c_str(), compositeMs,
                            Milliseconds(step), path.c_str(),
                            mode == 0 ? "   (the composite includes starting OpenGL)" : "");
            }
        }

        std::vector<SheetEntry> inputs = {{"", "front (input)", &front}, {"", "back (input)", &back}};
        std::vector<SheetEntry> entries;
        for (int mode = 0; mode < kApplyModeCount; ++mode)
            entries.push_back({TwoDigits(mode), ApplyModeObjectName(mode), &results[mode]});
        WriteSheet(dir, "contact-sheet.png", inputs, entries,
                   {"Apply modes 0-48: colour wheel (front) over gradient (back), mix 1, on checkerboard"});
        Report("done: " + std::to_string(results.size() + 3) + " files", Milliseconds(start));
    }
}

} // namespace zep6gl
