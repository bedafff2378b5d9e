// `zep6gl demo` and the bitmap font of its contact sheet.
#include "ToolTestSupport.h"

#include "Composite.h"
#include "Font.h"
#include "ImageIO.h"

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

TEST_F(DemoCommand, WritesInputsEveryModeAndTheSheet) {
    REQUIRE_OPENGL();
    const fs::path out = dir_ / "nested" / "out";
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(zep6gl::Run("demo", {out.string()}), 0);
    const std::string printed = ::testing::internal::GetCapturedStdout();

    std::set<std::string> expected = {"front.png", "back.png", "contact-sheet.png"};
    for (int mode = 0; mode < zep6gl::kApplyModeCount; ++mode) {
        char name[64];
        std::snprintf(name, sizeof name, "mode-%02d-%s.png", mode, zep6gl::ApplyModeName(mode).c_str());
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
        if (name != "contact-sheet.png") {
            EXPECT_EQ(image.GetWidth(), front.GetWidth()) << name;
            EXPECT_EQ(image.GetHeight(), front.GetHeight()) << name;
        }
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
}

} // namespace zep6gltest
