// `zep6gl demo` and the bitmap font of its contact sheet. The font has a distinct glyph for every
// character the tool writes and puts its ink where asked, scaled, in any pixel layout and row
// order, clipped at the edges. The demo writes every file it promises, and its results are the
// library's composites of its own sample pictures.
#include "Command.h"
#include "Composite.h"
#include "Font.h"
#include "ImageIO.h"

#include "../gl/render/ApplyModeReference.h"

#include "core/PixelFormat.h"
#include "gl/context/Capabilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <unistd.h>

namespace fs = std::filesystem;
using zep6gl::HostImage;

namespace zep6gltest {

// ---- font -----------------------------------------------------------------------------------

TEST(BitmapFont, EveryCharacterTheToolWritesHasItsOwnGlyph) {
    std::string needed = "0123456789 -()";
    for (char c = 'A'; c <= 'Z'; ++c)
        needed += c;
    for (char c = 'a'; c <= 'z'; ++c)
        needed += c;
    for (int mode = 0; mode < zep6gl::kApplyModeCount; ++mode)
        needed += zep6gl::ApplyModeObjectName(mode);
    for (char c : needed)
        EXPECT_TRUE(zep6gl::HasGlyph(c)) << "'" << c << "'";

    // Two characters drawn alike would be a slip in the glyph table; so would a glyph without ink.
    std::map<zep6gl::GlyphRows, char> owners;
    for (int code = 32; code < 127; ++code) {
        const char c = static_cast<char>(code);
        if (!zep6gl::HasGlyph(c))
            continue;
        const zep6gl::GlyphRows rows = zep6gl::Glyph(c);
        bool ink = false;
        for (auto row : rows)
            ink = ink || row != 0;
        EXPECT_EQ(ink, c != ' ') << "'" << c << "'";
        const auto inserted = owners.emplace(rows, c);
        EXPECT_TRUE(inserted.second) << "'" << c << "' looks like '" << inserted.first->second << "'";
    }
    EXPECT_FALSE(zep6gl::HasGlyph('\x01'));
    EXPECT_FALSE(zep6gl::HasGlyph('\xe9'));
}

// The ink of "T" is its top bar (row 0, five columns) and its stem (column 2, rows 1 to 6), each
// font pixel a scale x scale square from (x, y) counted from the top of the picture.
std::set<std::pair<long, long>> InkOfT(long x, long y, int scale) {
    std::set<std::pair<long, long>> ink;
    auto square = [&](int gx, int gy) {
        for (int sy = 0; sy < scale; ++sy)
            for (int sx = 0; sx < scale; ++sx)
                ink.insert({x + gx * scale + sx, y + gy * scale + sy});
    };
    for (int gx = 0; gx < 5; ++gx)
        square(gx, 0);
    for (int gy = 1; gy < 7; ++gy)
        square(2, gy);
    return ink;
}

TEST(BitmapFont, DrawsTheGlyphWhereAskedInEveryLayoutAndRowOrder) {
    const struct {
        const char* name;
        long colorSpace;
        int order[4]; // memory position of red, green, blue, alpha
        bool bottomUp;
    } layouts[] = {
        {"RGBA top-down", static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), {0, 1, 2, 3}, false},
        {"BGRA bottom-up", static_cast<long>(OGL_ZEP6_AE::FourCC("BGRA")), {2, 1, 0, 3}, true},
        {"ARGB bottom-up", 32, {1, 2, 3, 0}, true},
    };
    const zep6gl::Rgba8 colour = {200, 150, 100, 250};
    for (const auto& layout : layouts) {
        for (int scale : {1, 3}) {
            SCOPED_TRACE(std::string(layout.name) + ", scale " + std::to_string(scale));
            const long width = 26, height = 30, x = 4, y = 3;
            HostImage image(layout.colorSpace, 32, 255, width, height, /*rowPadding=*/8, layout.bottomUp);
            zep6gl::DrawText(image, x, y, "T", scale, colour);
            const auto ink = InkOfT(x, y, scale);
            for (long py = 0; py < height; ++py) {
                const unsigned char* row = image.Row(layout.bottomUp ? height - 1 - py : py);
                for (long px = 0; px < width; ++px) {
                    const unsigned char* p = row + px * 4;
                    if (ink.count({px, py})) {
                        EXPECT_TRUE(p[layout.order[0]] == 200 && p[layout.order[1]] == 150 &&
                                    p[layout.order[2]] == 100 && p[layout.order[3]] == 250)
                            << "no ink at (" << px << ", " << py << ")";
                    } else {
                        EXPECT_TRUE(p[0] == 0 && p[1] == 0 && p[2] == 0 && p[3] == 0)
                            << "stray ink at (" << px << ", " << py << ")";
                    }
                }
            }
        }
    }
}

TEST(BitmapFont, TextAdvancesAndIsClippedAtTheEdges) {
    // "AT" from six columns left of the picture: the A falls outside, the T starts at column 0;
    // a line from the far right and below must not write anything (or outside the pixels).
    HostImage image(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 32, 255, 9, 8, 0, false);
    zep6gl::DrawText(image, -zep6gl::kGlyphAdvance, -1, "AT", 1, {255, 255, 255, 255});
    zep6gl::DrawText(image, 9, 0, "WWW", 2, {255, 255, 255, 255});
    zep6gl::DrawText(image, 0, 8, "WWW", 2, {255, 255, 255, 255});
    const auto ink = InkOfT(0, -1, 1);
    for (long py = 0; py < 8; ++py)
        for (long px = 0; px < 9; ++px)
            EXPECT_EQ(image.Row(py)[px * 4 + 3], ink.count({px, py}) ? 255 : 0)
                << "(" << px << ", " << py << ")";
}

// ---- demo -----------------------------------------------------------------------------------

class DemoCommand : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("zep6gl-demo-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    fs::path dir_;
};

TEST_F(DemoCommand, RefusesAnOutputFolderThatIsAFileWithOneLine) {
    fs::create_directories(dir_);
    const std::string file = (dir_ / "taken").string();
    std::ofstream(file) << "x";
    ::testing::internal::CaptureStderr();
    EXPECT_NE(zep6gl::RunDemo({file}), 0);
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find(file), std::string::npos) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;

    ::testing::internal::CaptureStderr();
    EXPECT_NE(zep6gl::RunDemo({(dir_ / "a").string(), (dir_ / "b").string()}), 0);
    ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(fs::exists(dir_ / "a"));
}

TEST_F(DemoCommand, WritesInputsEveryModeAndTheSheet) {
    // One library session for the whole case, as a plug-in host holds one; the demo's own nests.
    zep6gl::LibraryUse session;
    if (OGL_ZEP6_AE::GetCard() == "Unknown") {
        const char* ci = std::getenv("CI");
        ASSERT_FALSE(ci && std::strcmp(ci, "true") == 0) << "no OpenGL context in CI";
        GTEST_SKIP() << "no OpenGL";
    }
    const fs::path out = dir_ / "nested" / "out";
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(zep6gl::RunDemo({out.string()}), 0);
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
    for (const std::string& name : expected)
        EXPECT_NE(printed.find((out / name).string()), std::string::npos) << name << " is not reported";

    const HostImage front = zep6gl::ReadImage((out / "front.png").string());
    const HostImage back = zep6gl::ReadImage((out / "back.png").string());
    for (const std::string& name : expected) {
        const HostImage image = zep6gl::ReadImage((out / name).string());
        if (name != "contact-sheet.png") {
            EXPECT_EQ(image.GetWidth(), front.GetWidth()) << name;
            EXPECT_EQ(image.GetHeight(), front.GetHeight()) << name;
        }
    }

    // The results are the library's composites of the two inputs as written, front over back at
    // mix 1: checked for two modes whose formulas differ in colour and alpha.
    const struct {
        const char* file;
        zep6test::ModeReference mode;
    } checks[] = {{"mode-00-over.png", zep6test::modes::Over},
                  {"mode-03-multiply.png", zep6test::modes::Multiply}};
    auto at = [](const HostImage& image, long x, long y) {
        const unsigned char* p = image.Row(y) + x * 4;
        return zep6test::V4{p[0] / 255.0, p[1] / 255.0, p[2] / 255.0, p[3] / 255.0};
    };
    for (const auto& check : checks) {
        const HostImage result = zep6gl::ReadImage((out / check.file).string());
        int failures = 0;
        for (long y = 0; y < front.GetHeight(); ++y)
            for (long x = 0; x < front.GetWidth(); ++x) {
                const zep6test::V4 want =
                    zep6test::StraightMain(at(front, x, y), at(back, x, y), 1.0, check.mode);
                const zep6test::V4 got = at(result, x, y);
                // 8-bit storage: 2 steps; colour judged only where alpha is 8 steps or more
                // (below, unpremultiplying magnifies the card's rounding).
                for (int c = want.a < 8 / 255.0 ? 3 : 0; c < 4; ++c)
                    if (std::abs(got[c] - zep6test::Clamp01(want[c])) > 2.0 / 255 + 1e-9)
                        ++failures;
            }
        EXPECT_EQ(failures, 0) << check.file;
    }

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
