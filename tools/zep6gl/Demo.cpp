// `zep6gl demo [OUTDIR]`: the library at work on built-in pictures. A colour wheel with a soft
// edge (the front) is composited over a gradient-and-checkerboard backdrop whose bottom quarter
// fades out (the back) through all 49 apply modes at mix 1, on the card. OUTDIR receives the two
// inputs, one PNG per mode (mode-NN-name.png) and contact-sheet.png, where every result sits over
// a grey checkerboard (so its alpha shows) under a strip with its number and name.
//
// Then the whole-image operations: the front over a backdrop of finer squares (sample.png, the
// backdrop fine-back.png) resized up and down through Transform with every interpolation and
// decimation filter, turned, fitted into a square, masked both ways, reduced to its luma,
// blurred, and blurred in layers. Each result is written as op-NN-name.png, and operations.png
// shows them all the same way (for a resized picture, a part with its pixels enlarged).
//
// Last, a 3-D scene through the multipass render (scene-NN-name.png and scene.png): anti-aliasing
// at three qualities and depth of field by lens jitter and by the post-process blur.
//
// Each step's time is printed in milliseconds; the first composite includes starting the worker
// thread and its OpenGL context.
#include "Command.h"
#include "Composite.h"
#include "Font.h"
#include "ImageIO.h"
#include "SampleImages.h"
#include "Scene.h"

#include "core/PixelFormat.h"
#include "gl/resources/Buffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "imageops/ImageOperations.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
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

// Depth of field of the scene sheet: the lens size for lens jitter, the blur amount otherwise.
constexpr float kSceneLensAperture = 0.06f;
constexpr float kScenePostBlur = 150.0f;

std::string Number(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

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

// The operations sheet. Every result is an 8-bit top-down RGBA picture with straight alpha, like
// the samples.

namespace ae = OGL_ZEP6_AE;

constexpr long kUp = 2 * kTile, kDown = kTile / 2;     // sides of the doubled and halved pictures
constexpr long kFineSquare = 5;                        // the operations' backdrop: squares of 5 pixels
constexpr long kShownPart = kTile / 4, kShownZoom = 4; // a resized picture's cell: 64 x 64 pixels, each 4 x 4
constexpr long kUpShownAt = 32;                        // where the part of a doubled picture starts
constexpr float kBlurAmount = 16.0f;                   // pixels, at the blurs' usual shape 0.85

HostImage Blank(long width, long height) {
    return HostImage(static_cast<long>(ae::FourCC("RGBA")), 32, 255, width, height, 0, false);
}

// width x height pixels of a picture from (x0, y0), each repeated `factor` times each way, so
// that a filter's work shows pixel by pixel on the sheet.
HostImage Magnified(const HostImage& picture, long x0, long y0, long width, long height, long factor) {
    HostImage shown = Blank(width * factor, height * factor);
    for (long y = 0; y < shown.GetHeight(); ++y)
        for (long x = 0; x < shown.GetWidth(); ++x)
            std::memcpy(shown.Row(y) + x * 4, picture.Row(y0 + y / factor) + (x0 + x / factor) * 4, 4);
    return shown;
}

// Runs one library call as a job of the tool, so that a failure on the card comes back as an
// error naming the operation instead of a result left blank.
void OnCard(const std::string& what, const std::function<void()>& call) {
    try {
        RunOnWorker(call);
    } catch (const std::exception& e) {
        throw std::runtime_error("the library could not make '" + what + "': " + e.what());
    }
}

// The source through Transform on its own (no apply mode), scaled and turned about its centre,
// the centre placed in the middle of a width x height result.
HostImage Transformed(const std::string& what, const HostImage& source, long width, long height, float scale,
                      float degrees, ae::TransformInterpolationFilterType interpolation,
                      ae::TransformDecimationFilterType decimation) {
    HostImage result = Blank(width, height);
    OnCard(what, [&] {
        ae::Transform(&source, nullptr, nullptr, &result, static_cast<ae::PixelApplyMode>(-1),
                      ae::p3f(0.5f * static_cast<float>(width), 0.5f * static_cast<float>(height), 0.0f),
                      ae::p3f(scale, scale, 1.0f), ae::p3f(0.0f, 0.0f, degrees), ae::XYZ, interpolation,
                      decimation);
    });
    return result;
}

// The alpha-weighted luma of the source as an opaque grey picture.
HostImage LumaPicture(const std::string& what, const HostImage& source) {
    const long w = source.GetWidth(), h = source.GetHeight();
    HostImage channel(GL_LUMINANCE32F_ARB, 32, 1, w, h, 0, /*bottomUp=*/true);
    OnCard(what, [&] {
        ae::Buffer<ae::Luma32F> buffer(&channel);
        ae::GetLuma(&source, &buffer);
    });
    HostImage grey = Blank(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            float v;
            std::memcpy(&v, channel.Row(h - 1 - y) + x * 4, 4); // the buffer's rows run bottom-up
            unsigned char* p = grey.Row(y) + x * 4;
            p[0] = p[1] = p[2] = static_cast<unsigned char>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
            p[3] = 255;
        }
    return grey;
}

// One cell of the operations sheet: its name (op-NN-<name with dashes>.png, and the label), how
// the result is made, and what of it the cell shows (null: all of it, as it is).
struct Operation {
    std::string name;
    std::function<HostImage(const std::string& what)> make;
    std::function<HostImage(const HostImage& result)> show;
};

// The operations on the sample (front over back), and on the two inputs for those that take two
// pictures.
std::vector<Operation> Operations(const HostImage& sample, const HostImage& front, const HostImage& back) {
    using namespace ae;
    std::vector<Operation> operations;
    const char* const interpolations[] = {"nearest", "linear",   "catmull-rom", "mitchell",
                                          "bspline", "lanczos2", "lanczos3"};
    for (int f = TransformInterpolateNearest; f <= TransformInterpolateLanczos3; ++f)
        operations.push_back(
            {std::string("up ") + interpolations[f],
             [&sample, f](const std::string& what) {
                 return Transformed(what, sample, kUp, kUp, 2.0f, 0.0f,
                                    static_cast<TransformInterpolationFilterType>(f), TransformDecimateNone);
             },
             [](const HostImage& up) {
                 return Magnified(up, kUpShownAt, kUpShownAt, kShownPart, kShownPart, kShownZoom);
             }});
    const char* const decimations[] = {"", "box", "triangle", "binomial", "lanczos2", "lanczos3"};
    for (int f = TransformDecimateBox; f <= TransformDecimateLanczos3; ++f)
        operations.push_back({std::string("down ") + decimations[f],
                              [&sample, f](const std::string& what) {
                                  return Transformed(what, sample, kDown, kDown, 0.5f, 0.0f,
                                                     TransformInterpolateLinear,
                                                     static_cast<TransformDecimationFilterType>(f));
                              },
                              [](const HostImage& down) {
                                  return Magnified(down, 0, 0, kShownPart, kShownPart, kShownZoom);
                              }});
    operations.push_back({"rotate 30",
                          [&sample](const std::string& what) {
                              return Transformed(what, sample, kTile, kTile, 1.0f, 30.0f,
                                                 TransformInterpolateCatmullRom, TransformDecimateNone);
                          },
                          nullptr});
    // The two inputs side by side (2:1) fitted into the square: halved, with empty bands.
    operations.push_back({"fit into square",
                          [&front, &back](const std::string& what) {
                              HostImage wide = Blank(2 * kTile, kTile), result = Blank(kTile, kTile);
                              for (long y = 0; y < kTile; ++y) {
                                  std::memcpy(wide.Row(y), front.Row(y), kTile * 4);
                                  std::memcpy(wide.Row(y) + kTile * 4, back.Row(y), kTile * 4);
                              }
                              OnCard(what, [&] { FitInto(&wide, &result); });
                              return result;
                          },
                          nullptr});
    // A dark veil over the back where the wheel is, then where it is not.
    for (const bool invert : {false, true})
        operations.push_back(
            {invert ? "inverse mask" : "mask",
             [&front, &back, invert](const std::string& what) {
                 HostImage result = Blank(kTile, kTile);
                 const Color veil(0.04f, 0.04f, 0.10f, 0.85f);
                 OnCard(what, [&] { (invert ? RenderInvMask : RenderMask)(&front, &back, &result, veil); });
                 return result;
             },
             nullptr});
    operations.push_back(
        {"luma", [&sample](const std::string& what) { return LumaPicture(what, sample); }, nullptr});
    operations.push_back({"blur",
                          [&sample](const std::string& what) {
                              HostImage result = Blank(kTile, kTile);
                              OnCard(what, [&] { Blur(&sample, &result, kBlurAmount, kBlurAmount, 0.85f); });
                              return result;
                          },
                          nullptr});
    // Two layers: the back blurred, the front sharp over it, over nothing (straight colour out).
    operations.push_back({"blurred layers",
                          [&front, &back](const std::string& what) {
                              HostImage result = Blank(kTile, kTile);
                              const XIImage* layers[] = {&back, &front};
                              const p2f blurs[] = {p2f(kBlurAmount, kBlurAmount), p2f(0.0f, 0.0f)};
                              OnCard(what, [&] {
                                  CompositeBlurredImages(layers, nullptr, &result, blurs, 2,
                                                         BlendOp::Composite, true);
                              });
                              return result;
                          },
                          nullptr});
    return operations;
}

std::string Dashed(std::string name) {
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
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

        auto writeInput = [&dir](const char* file, const HostImage& picture) {
            const Clock::time_point began = Clock::now();
            const std::string path = (dir / file).string();
            WriteImage(path, picture);
            Report("wrote " + path, Milliseconds(began));
        };
        writeInput("front.png", front);
        writeInput("back.png", back);

        // The library stays in use until the operations are done: one worker thread and context.
        LibraryUse use;
        std::vector<HostImage> results;
        results.reserve(kApplyModeCount);
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
            std::printf("  %s %-24s composite %8.1f ms   write %6.1f ms   %s%s\n", TwoDigits(mode).c_str(),
                        ApplyModeName(mode).c_str(), compositeMs, Milliseconds(step), path.c_str(),
                        mode == 0 ? "   (the composite includes starting OpenGL)" : "");
        }

        std::vector<SheetEntry> inputs = {{"", "front (input)", &front}, {"", "back (input)", &back}};
        std::vector<SheetEntry> entries;
        for (int mode = 0; mode < kApplyModeCount; ++mode)
            entries.push_back({TwoDigits(mode), ApplyModeObjectName(mode), &results[mode]});
        WriteSheet(dir, "contact-sheet.png", inputs, entries,
                   {"Apply modes 0-48: colour wheel (front) over gradient (back), mix 1, on checkerboard"});

        // The operations, on the front over a finer backdrop (whose edges show what the resizing
        // filters do) and on those two inputs.
        step = Clock::now();
        const HostImage fineBack = MakeBackdrop(kTile, kFineSquare);
        HostImage sample = Blank(kTile, kTile);
        CompositeImages(front, &fineBack, nullptr, sample, 0, 1.0f);
        Report("made the sample (front over the fine back, mode 00)", Milliseconds(step));
        writeInput("fine-back.png", fineBack);
        writeInput("sample.png", sample);
        const std::vector<Operation> operations = Operations(sample, front, fineBack);
        std::vector<HostImage> made, shown;
        made.reserve(operations.size());
        shown.reserve(operations.size());
        entries.clear();
        for (std::size_t i = 0; i < operations.size(); ++i) {
            const Operation& operation = operations[i];
            const std::string number = TwoDigits(static_cast<int>(i) + 1);
            step = Clock::now();
            made.push_back(operation.make(number + " " + operation.name));
            const double operationMs = Milliseconds(step);
            step = Clock::now();
            const std::string path =
                (dir / ("op-" + number + "-" + Dashed(operation.name) + ".png")).string();
            WriteImage(path, made.back());
            std::printf("  %s %-24s operation %8.1f ms   write %6.1f ms   %s\n", number.c_str(),
                        operation.name.c_str(), operationMs, Milliseconds(step), path.c_str());
            shown.push_back(operation.show ? operation.show(made.back()) : made.back());
            entries.push_back({number, operation.name, &shown.back()});
        }
        const std::string part = std::to_string(kShownPart) + " x " + std::to_string(kShownPart);
        const std::string zoom = std::to_string(kShownZoom) + " x " + std::to_string(kShownZoom);
        WriteSheet(
            dir, "operations.png",
            {{"", "sample", &sample}, {"", "front (input)", &front}, {"", "fine back (input)", &fineBack}},
            entries,
            {"Operations on the sample (the colour wheel over a backdrop of " + std::to_string(kFineSquare) +
                 "-pixel squares, mode 00 over) and its inputs, on checkerboard",
             "01-07 up: Transform x2 with each interpolation filter; 08-12 down: Transform x1/2 with each "
             "decimation filter,",
             "then linear sampling. Shown: the " + part + " pixels from (" + std::to_string(kUpShownAt) +
                 ", " + std::to_string(kUpShownAt) + ") of the " + std::to_string(kUp) + " x " +
                 std::to_string(kUp) + " results and from (0, 0) of the " + std::to_string(kDown) + " x " +
                 std::to_string(kDown) + " ones, each pixel " + zoom + ".",
             "13: turned 30 degrees (catmull-rom). 14: FitInto, front and back side by side. 15-16: "
             "RenderMask "
             "and RenderInvMask, the front",
             "masking a dark veil over the back. 17: GetLuma (grey). 18: Blur " +
                 std::to_string(static_cast<int>(kBlurAmount)) +
                 ". 19: CompositeBlurredImages, the back blurred under the front."});

        // The 3-D scene through the multipass render: anti-aliasing at three qualities, then depth of
        // field focused on the middle sphere, by lens jitter and by the post-process blur.
        struct SceneShot {
            const char* name;
            SceneOptions options;
        };
        const float middle = kSphereDistances[1];
        const SceneShot shots[] = {{"quality 0", {0, 0.0f, 0.0f, 0.0f, false}},
                                   {"quality 2", {2, 0.0f, 0.0f, 0.0f, false}},
                                   {"quality 5", {5, 0.0f, 0.0f, 0.0f, false}},
                                   {"lens jitter", {2, middle, kSceneLensAperture, 0.0f, true}},
                                   {"post blur", {2, middle, kScenePostBlur, 2.0f, false}}};
        std::vector<HostImage> scenes;
        scenes.reserve(std::size(shots));
        entries.clear();
        for (std::size_t i = 0; i < std::size(shots); ++i) {
            const std::string number = TwoDigits(static_cast<int>(i) + 1);
            scenes.push_back(Blank(kTile, kTile));
            step = Clock::now();
            OnCard(number + " scene " + shots[i].name, "render",
                   [&] { RenderScene(&scenes.back(), shots[i].options); });
            const double sceneMs = Milliseconds(step);
            const std::string path = (dir / ("scene-" + number + "-" + Dashed(shots[i].name) + ".png")).string();
            WriteImage(path, scenes.back());
            std::printf("  %s %-24s render    %8.1f ms   %s\n", number.c_str(), shots[i].name, sceneMs, path.c_str());
            entries.push_back({number, shots[i].name, &scenes.back()});
        }
        WriteSheet(dir, "scene.png", {}, entries,
                   {"Spheres at 6, 10 and 16 over a checkered floor, multipass render. 01-03: anti-aliasing at "
                    "quality 0, 2, 5",
                    "(1, 6, 16 passes). 04-05: depth of field focused on the middle sphere, quality 2: lens "
                    "jitter (aperture " + Number(kSceneLensAperture) + ")",
                    "and the post-process blur (aperture " + Number(kScenePostBlur) + ", depth smoothed over 2 "
                    "pixels)."});
        Report("done: " + std::to_string(results.size() + operations.size() + std::size(shots) + 7) + " files",
               Milliseconds(start));
    }
}

} // namespace zep6gl
