// `zep6gl demo` and the bitmap font of its contact sheet.
#include "ToolTestSupport.h"

#include "Composite.h"
#include "Font.h"
#include "ImageIO.h"

#include "gl/resources/Buffer.h"
#include "imageops/ImageOperations.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdio>
#include <map>
#include <set>

namespace zep6gltest {

// Text lands where asked, each font pixel a scale x scale square, clipped at the picture's edges,
// in the layout and row order of the picture (the sheet's is RGBA top-down; a BGRA bottom-up
// picture with padded rows shows channel order, row order and padding at once). The ink of "T"
// is its top bar (row 0, five columns) and its stem (column 2, rows 1 to 6).
TEST(BitmapFont, DrawsWhereAskedAndClipsAtTheEdges) {
    const unsigned char colour[4] = {200, 150, 100, 250};
    const struct {
        long colorSpace;
        int order[4]; // memory position of red, green, blue, alpha
        bool bottomUp;
    } layouts[] = {{static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), {0, 1, 2, 3}, false},
                   {static_cast<long>(OGL_ZEP6_AE::FourCC("BGRA")), {2, 1, 0, 3}, true}};
    for (const auto& layout : layouts)
        for (int scale : {1, 3}) {
            SCOPED_TRACE("scale " + std::to_string(scale) + (layout.bottomUp ? ", BGRA bottom-up" : ""));
            const long width = 26, height = 30;
            HostImage image(layout.colorSpace, 32, 255, width, height, /*rowPadding=*/8, layout.bottomUp);
            const zep6gl::Rgba8 ink = {colour[0], colour[1], colour[2], colour[3]};
            zep6gl::DrawText(image, 4, 3, "T", scale, ink);
            // "AT" from one advance left and one font pixel above: only the T's stem shows, at
            // column 0. Text from the right and bottom edges falls outside altogether.
            zep6gl::DrawText(image, -zep6gl::kGlyphAdvance * scale, -scale, "AT", scale, ink);
            zep6gl::DrawText(image, width, 0, "WWW", scale, ink);
            zep6gl::DrawText(image, 0, height, "WWW", scale, ink);
            auto inked = [&](long px, long py) {
                for (long x0 : {4L, 0L}) {
                    const long y0 = x0 ? 3 : -scale, gx = (px - x0) / scale, gy = (py - y0) / scale;
                    if (px >= x0 && py >= y0 && gx < 5 && gy < 7 && (gy == 0 ? true : gx == 2))
                        return true;
                }
                return false;
            };
            for (long py = 0; py < height; ++py) {
                const unsigned char* row = image.Row(layout.bottomUp ? height - 1 - py : py);
                for (long i = width * 4; i < image.GetRowBytes(); ++i)
                    ASSERT_EQ(row[i], 0) << "ink in the padding of row " << py;
                for (long px = 0; px < width; ++px)
                    for (int c = 0; c < 4; ++c)
                        ASSERT_EQ(row[px * 4 + layout.order[c]], inked(px, py) ? colour[c] : 0)
                            << "at (" << px << ", " << py << ")";
            }
        }
}

class DemoCommand : public ToolTest {};

// The label strips of a contact sheet in reading order: each one's top-left corner and size.
struct Strip {
    long x, y, width, height;
};

std::vector<Strip> Strips(const HostImage& sheet) {
    auto strip = [&](long x, long y) {
        const unsigned char* p = sheet.Row(y) + x * 4;
        return p[0] == 12 && p[1] == 12 && p[2] == 14; // the strips' colour
    };
    std::vector<Strip> strips;
    for (long y = 0; y < sheet.GetHeight(); ++y)
        for (long x = 0; x < sheet.GetWidth(); ++x)
            if (strip(x, y) && !(x > 0 && strip(x - 1, y)) && !(y > 0 && strip(x, y - 1))) {
                Strip s{x, y, 0, 0};
                while (x + s.width < sheet.GetWidth() && strip(x + s.width, y))
                    ++s.width;
                while (y + s.height < sheet.GetHeight() && strip(x, y + s.height))
                    ++s.height;
                if (s.width >= 256) // a picture's odd dark pixel is no strip
                    strips.push_back(s);
            }
    return strips;
}

// The library's alpha-weighted luma of a picture as 8-bit grey levels, top row first.
std::vector<long> LibraryLuma(const HostImage& picture) {
    const long w = picture.GetWidth(), h = picture.GetHeight();
    HostImage channel(GL_LUMINANCE32F_ARB, 32, 1, w, h, 0, true);
    OGL_ZEP6_AE::Buffer<OGL_ZEP6_AE::Luma32F> buffer(&channel);
    OGL_ZEP6_AE::GetLuma(&picture, &buffer);
    std::vector<long> grey;
    for (long y = h - 1; y >= 0; --y) // the buffer's rows run bottom-up
        for (long x = 0; x < w; ++x)
            grey.push_back(
                std::lround(std::clamp(reinterpret_cast<const float*>(channel.Row(y))[x], 0.0f, 1.0f) * 255));
    return grey;
}

TEST_F(DemoCommand, WritesInputsEveryModeAndTheSheet) {
    REQUIRE_OPENGL();
    const fs::path out = dir_ / "nested" / "out";
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(zep6gl::Run("demo", {out.string()}), 0);
    const std::string printed = ::testing::internal::GetCapturedStdout();

    std::set<std::string> expected = {
        "front.png", "back.png", "contact-sheet.png", "fine-back.png", "sample.png", "operations.png", "scene.png",
        "scene-01-quality-0.png", "scene-02-quality-2.png", "scene-03-quality-5.png", "scene-04-lens-jitter.png",
        "scene-05-post-blur.png"};
    for (int mode = 0; mode < zep6gl::kApplyModeCount; ++mode) {
        char name[64];
        std::snprintf(name, sizeof name, "mode-%02d-%s.png", mode, zep6gl::ApplyModeName(mode).c_str());
        expected.insert(name);
    }
    const char* const operations[] = {
        "up-nearest",    "up-linear",     "up-catmull-rom", "up-mitchell",     "up-bspline",
        "up-lanczos2",   "up-lanczos3",   "down-box",       "down-triangle",   "down-binomial",
        "down-lanczos2", "down-lanczos3", "rotate-30",      "fit-into-square", "mask",
        "inverse-mask",  "luma",          "blur",           "blurred-layers"};
    for (int i = 0; i < 19; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "op-%02d-%s.png", i + 1, operations[i]);
        expected.insert(name);
    }
    std::set<std::string> written;
    for (const auto& entry : fs::directory_iterator(out))
        written.insert(entry.path().filename().string());
    EXPECT_EQ(written, expected);
    const HostImage front = zep6gl::ReadImage((out / "front.png").string());
    const HostImage back = zep6gl::ReadImage((out / "back.png").string());
    for (const std::string& name : expected) {
        EXPECT_NE(printed.find((out / name).string()), std::string::npos) << name << " is not reported";
        const HostImage image = zep6gl::ReadImage((out / name).string());
        const bool sized = image.GetWidth() == front.GetWidth() && image.GetHeight() == front.GetHeight();
        EXPECT_TRUE(sized || name.rfind("mode-", 0) != 0) << name << " is not the size of the inputs";
    }

    // The results are the library's composites of the two inputs as written, front over back at
    // mix 1 (a mode other than the first, so that a demo of one mode throughout shows).
    ExpectLibraryComposite(zep6gl::ReadImage((out / "mode-03-multiply.png").string()), front, back, nullptr, 3, 1.0f);

    // The sheet shows alpha over a checkerboard, so it is opaque everywhere.
    const HostImage sheet = zep6gl::ReadImage((out / "contact-sheet.png").string());
    EXPECT_GE(sheet.GetWidth(), 7 * front.GetWidth());
    EXPECT_GE(sheet.GetHeight(), 8 * front.GetHeight());
    long transparent = 0;
    for (long y = 0; y < sheet.GetHeight(); ++y)
        for (long x = 0; x < sheet.GetWidth(); ++x)
            transparent += sheet.Row(y)[x * 4 + 3] != 255;
    EXPECT_EQ(transparent, 0);

    // The operations sheet: the sample and its two inputs, then 19 results in rows of 7, cells
    // alike. Doubling is the library's Transform by 2 of the sample as written.
    const HostImage sample = zep6gl::ReadImage((out / "sample.png").string());
    HostImage doubled(sample.GetColorSpace(), 32, 255, 512, 512, 0, false);
    OGL_ZEP6_AE::Transform(&sample, nullptr, nullptr, &doubled, static_cast<OGL_ZEP6_AE::PixelApplyMode>(-1),
                           OGL_ZEP6_AE::p3f(256.0f, 256.0f, 0.0f), OGL_ZEP6_AE::p3f(2.0f, 2.0f, 1.0f),
                           OGL_ZEP6_AE::p3f(0.0f, 0.0f, 0.0f), OGL_ZEP6_AE::XYZ,
                           OGL_ZEP6_AE::TransformInterpolateCatmullRom, OGL_ZEP6_AE::TransformDecimateNone);
    ExpectValues(
        zep6gl::ReadImage((out / "op-03-up-catmull-rom.png").string()), 512, 512,
        [&](long x, long y, int c) { return Value(doubled, x, y, c); }, [](double) { return 0.0; });
    const HostImage operationsSheet = zep6gl::ReadImage((out / "operations.png").string());
    const std::vector<Strip> strips = Strips(operationsSheet);
    std::map<long, int> perRow; // strips by the row they start in
    for (const Strip& s : strips) {
        ++perRow[s.y];
        EXPECT_EQ(std::make_pair(s.width, s.height), std::make_pair(strips[0].width, strips[0].height));
    }
    std::vector<int> counts;
    for (const auto& row : perRow)
        counts.push_back(row.second);
    EXPECT_EQ(counts, std::vector<int>({3, 7, 7, 5}));
    ASSERT_EQ(strips.size(), 22u);
    EXPECT_GE(operationsSheet.GetWidth(), 7 * sample.GetWidth());

    // Cell 17, the luma, opaque grey under its strip: the library's GetLuma of the sample, in the
    // file and on the sheet.
    const std::vector<long> luma = LibraryLuma(sample);
    const HostImage lumaFile = zep6gl::ReadImage((out / "op-17-luma.png").string());
    const Strip& cell = strips[3 + 16];
    const long left = cell.x + (cell.width - 256) / 2, top = cell.y + cell.height;
    long wrong = 0;
    for (long y = 0; y < 256; ++y)
        for (long x = 0; x < 256; ++x)
            for (int c = 0; c < 4; ++c) {
                const long want = c == 3 ? 255 : luma[static_cast<std::size_t>(y * 256 + x)];
                wrong += Sample(lumaFile, x, y, c) != want;
                wrong += Sample(operationsSheet, left + x, top + y, c) != want;
            }
    EXPECT_EQ(wrong, 0);
}

} // namespace zep6gltest
