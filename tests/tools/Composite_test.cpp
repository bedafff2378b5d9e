// `zep6gl composite` and `zep6gl modes`. Mode names and numbers parse both ways, in any case, and
// nothing else does; every bad argument and file ends in one line naming it, a non-zero status
// and no output file; and a small composite through the card matches a CPU computation of the
// modes' formulas, with the mask, the mix and the picture's orientation taken into account.
#include "../support/TextLines.h"
#include "Composite.h"
#include "Command.h"
#include "ImageIO.h"

#include "../gl/render/ApplyModeReference.h"

#include "core/PixelFormat.h"
#include "gl/context/Capabilities.h"
#include "gl/render/ApplyMode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using zep6gl::HostImage;
using zep6test::V4;

namespace zep6gltest {

// ---- pictures and files ---------------------------------------------------------------------

HostImage Rgba8(long width, long height, const std::function<V4(long x, long y)>& pixel) {
    HostImage image(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 32, 255, width, height, 0, false);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x) {
            const V4 p = pixel(x, y);
            for (int c = 0; c < 4; ++c)
                image.Row(y)[x * 4 + c] =
                    static_cast<unsigned char>(std::lround(zep6test::Clamp01(p[c]) * 255));
        }
    return image;
}

V4 At(const HostImage& image, long x, long y) {
    const unsigned char* p = image.Row(y) + x * 4;
    return {p[0] / 255.0, p[1] / 255.0, p[2] / 255.0, p[3] / 255.0};
}

using zep6test::Lines;

class CompositeCommand : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("zep6gl-composite-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override {
        session_.reset();
        fs::remove_all(dir_);
    }

    // OpenGL on the machine, or a skip outside CI (in CI a missing display must fail, as in the
    // GL test executable). The case then holds one library session throughout, as a plug-in
    // host does, and the commands' own sessions nest in it.
    bool NeedOpenGL() {
        session_ = std::make_unique<zep6gl::LibraryUse>();
        if (OGL_ZEP6_AE::GetCard() != "Unknown")
            return true;
        const char* ci = std::getenv("CI");
        EXPECT_FALSE(ci && std::strcmp(ci, "true") == 0) << "no OpenGL context in CI";
        return false;
    }

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir_))
            names.insert(entry.path().filename().string());
        return names;
    }

    // Runs the command; keeps what it wrote to the error stream.
    int Composite(std::vector<std::string> args) {
        for (std::string& a : args)
            if (a.rfind("@", 0) == 0)
                a = Path(a.substr(1));
        ::testing::internal::CaptureStderr();
        const int status = zep6gl::RunComposite(args);
        errors_ = ::testing::internal::GetCapturedStderr();
        return status;
    }

    fs::path dir_;
    std::string errors_;
    std::unique_ptr<zep6gl::LibraryUse> session_;
};

// ---- mode names -----------------------------------------------------------------------------

TEST(ApplyModeNames, EveryModeParsesByNameInAnyCaseAndByNumber) {
    std::set<std::string> seen;
    for (int mode = 0; mode < zep6gl::kApplyModeCount; ++mode) {
        const std::string name = zep6gl::ApplyModeName(mode);
        ASSERT_FALSE(name.empty()) << mode;
        EXPECT_TRUE(seen.insert(name).second) << "two modes are called " << name;
        std::string upper = name, object = zep6gl::ApplyModeObjectName(mode);
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char c) { return std::toupper(c); });
        EXPECT_EQ(zep6gl::ParseApplyMode(name), mode) << name;
        EXPECT_EQ(zep6gl::ParseApplyMode(upper), mode) << upper;
        EXPECT_EQ(zep6gl::ParseApplyMode(object), mode) << object;
        EXPECT_EQ(zep6gl::ParseApplyMode(std::to_string(mode)), mode);
    }
    EXPECT_EQ(seen.size(), 49u);
}

TEST(ApplyModeNames, NamesFollowTheModeObjects) {
    const struct {
        OGL_ZEP6_AE::PixelApplyMode mode;
        const char* name;
    } cases[] = {
        {OGL_ZEP6_AE::PixelApplyOver, "over"},
        {OGL_ZEP6_AE::PixelApplyMultiply, "multiply"},
        {OGL_ZEP6_AE::PixelApplyHue, "hue"},
        {OGL_ZEP6_AE::PixelApply5050Mix, "5050mix"},
        {OGL_ZEP6_AE::PixelApplyBitwiseAND, "bitwiseand"},
        {OGL_ZEP6_AE::PixelApplyDancingSoftDissolve, "dancingsoftdissolve"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(zep6gl::ApplyModeName(c.mode), c.name);
    EXPECT_EQ(zep6gl::ApplyModeName(-1), "");
    EXPECT_EQ(zep6gl::ApplyModeName(49), "");
    EXPECT_EQ(zep6gl::ApplyModeObjectName(49), nullptr);
}

TEST(ApplyModeNames, AnythingElseIsRejected) {
    for (const char* text : {"", "49", "100", "-1", "+3", "3x", "0x3", " 3", "over ", "sover", "ove",
                             "s5050Mix", "multiply2", "3.0", "1e1", "4294967299"})
        EXPECT_EQ(zep6gl::ParseApplyMode(text), -1) << "'" << text << "'";
    EXPECT_EQ(zep6gl::ParseApplyMode("007"), 7) << "leading zeros are still the number";
}

TEST(ModesCommand, ListsEveryModeOncePerLineInOrder) {
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(zep6gl::RunModes({}), 0);
    const std::vector<std::string> lines = Lines(::testing::internal::GetCapturedStdout());
    ASSERT_EQ(lines.size(), 49u);
    for (int mode = 0; mode < 49; ++mode) {
        std::istringstream line(lines[mode]);
        int number = -1;
        std::string name, rest;
        line >> number >> name >> rest;
        EXPECT_EQ(number, mode) << lines[mode];
        EXPECT_EQ(zep6gl::ParseApplyMode(name), mode) << lines[mode];
        EXPECT_TRUE(rest.empty()) << lines[mode];
    }

    ::testing::internal::CaptureStderr();
    EXPECT_NE(zep6gl::RunModes({"--all"}), 0);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("--all"), std::string::npos);
}

// ---- refusals -------------------------------------------------------------------------------

TEST_F(CompositeCommand, BadArgumentsAndFilesAreNamedAndWriteNothing) {
    const HostImage small = Rgba8(8, 6, [](long x, long y) { return V4{x / 8.0, y / 6.0, 0.5, 1}; });
    zep6gl::WriteImage(Path("front.png"), small);
    zep6gl::WriteImage(Path("back.png"), small);
    zep6gl::WriteImage(Path("mask.png"), small);
    zep6gl::WriteImage(Path("wide.png"), Rgba8(9, 6, [](long, long) { return V4{1, 1, 1, 1}; }));
    zep6gl::WriteImage(Path("tall.png"), Rgba8(8, 7, [](long, long) { return V4{1, 1, 1, 1}; }));
    std::ofstream(Path("text.png")) << "not a picture\n";
    const std::set<std::string> before = Files();

    const struct {
        std::vector<std::string> args;
        std::string named; // what the one line of the message must name
    } cases[] = {
        {{"@front.png", "@back.png", "@out.png"}, "--mode"},
        {{"--mode", "fancy", "@front.png", "@back.png", "@out.png"}, "fancy"},
        {{"--mode", "49", "@front.png", "@back.png", "@out.png"}, "49"},
        {{"--mode", "-1", "@front.png", "@back.png", "@out.png"}, "-1"},
        {{"--mode", "over", "--mode", "add", "@front.png", "@back.png", "@out.png"}, "--mode"},
        {{"--mode", "over", "--mix", "half", "@front.png", "@back.png", "@out.png"}, "half"},
        {{"--mode", "over", "--mix", "1.5", "@front.png", "@back.png", "@out.png"}, "1.5"},
        {{"--mode", "over", "--mix", "-0.1", "@front.png", "@back.png", "@out.png"}, "-0.1"},
        {{"--mode", "over", "--mix", "nan", "@front.png", "@back.png", "@out.png"}, "nan"},
        {{"--mode", "over", "--mix", "", "@front.png", "@back.png", "@out.png"}, "--mix"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "--mask"}, "--mask"},
        {{"--mode", "over", "--blend", "@front.png", "@back.png", "@out.png"}, "--blend"},
        {{"--mode", "over", "@front.png", "@out.png"}, "FRONT BACK OUT"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "@extra.png"}, "FRONT BACK OUT"},
        {{"--mode", "over", "@missing.png", "@back.png", "@out.png"}, "missing.png"},
        {{"--mode", "over", "@front.png", "@text.png", "@out.png"}, "text.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "--mask", "@missing.png"}, "missing.png"},
        {{"--mode", "over", "@front.png", "@wide.png", "@out.png"}, "wide.png"},
        {{"--mode", "over", "@front.png", "@tall.png", "@out.png"}, "tall.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "--mask", "@wide.png"}, "wide.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.jpg"}, "out.jpg"},
        {{"--mode", "over", "@front.png", "@back.png", "@out"}, "out"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.exr"}, "out.exr"},
    };
    for (const auto& c : cases) {
        std::string shown;
        for (const std::string& a : c.args)
            shown += " " + a;
        SCOPED_TRACE("zep6gl composite" + shown);
        EXPECT_NE(Composite(c.args), 0);
        const std::vector<std::string> lines = Lines(errors_);
        ASSERT_EQ(lines.size(), 1u) << errors_;
        EXPECT_NE(lines[0].find(c.named), std::string::npos) << lines[0];
        EXPECT_EQ(Files(), before);
    }
}

// A file that cannot be written is reported after the card has done its work, and still leaves
// nothing behind.
TEST_F(CompositeCommand, UnwritableOutputIsNamedAndLeavesNothing) {
    if (!NeedOpenGL())
        GTEST_SKIP() << "no OpenGL";
    const HostImage small = Rgba8(8, 6, [](long x, long y) { return V4{x / 8.0, y / 6.0, 0.5, 1}; });
    zep6gl::WriteImage(Path("front.png"), small);
    zep6gl::WriteImage(Path("back.png"), small);
    const std::set<std::string> before = Files();
    EXPECT_NE(Composite({"--mode", "add", "@front.png", "@back.png", "@no/such/folder/out.png"}), 0);
    const std::vector<std::string> lines = Lines(errors_);
    ASSERT_EQ(lines.size(), 1u) << errors_;
    EXPECT_NE(lines[0].find("no/such/folder/out.png"), std::string::npos) << lines[0];
    EXPECT_EQ(Files(), before);
}

// ---- composites on the card -----------------------------------------------------------------

// Inputs in which every row and column differs, so that a flipped or shifted result cannot pass:
// the front runs through every alpha from transparent to opaque, the back is partly transparent
// in its lower half, the mask fades left to right.
HostImage FrontPicture() {
    return Rgba8(37, 29, [](long x, long y) {
        return V4{(x * 7 % 37) / 36.0, (y * 5 % 29) / 28.0, ((x + y) % 11) / 10.0,
                  (x * 29 + y) % 256 / 255.0};
    });
}
HostImage BackPicture() {
    return Rgba8(37, 29, [](long x, long y) {
        return V4{1.0 - x / 36.0, (x * y % 17) / 16.0, y / 28.0, y < 15 ? 1.0 : 1.0 - (y - 14) / 20.0};
    });
}
HostImage MaskPicture() {
    return Rgba8(37, 29, [](long x, long y) { return V4{0.3, 0.6, 0.9, (x * 255 / 36 + y) % 256 / 255.0}; });
}

TEST_F(CompositeCommand, CardResultMatchesTheModesFormulas) {
    if (!NeedOpenGL())
        GTEST_SKIP() << "no OpenGL";
    const HostImage front = FrontPicture(), back = BackPicture(), mask = MaskPicture();
    zep6gl::WriteImage(Path("front.png"), front);
    zep6gl::WriteImage(Path("back.png"), back);
    zep6gl::WriteImage(Path("mask.png"), mask);

    const struct {
        std::vector<std::string> options;
        zep6test::ModeReference mode;
        double mix;
        bool masked;
    } cases[] = {
        {{"--mode", "over"}, zep6test::modes::Over, 1.0, false},
        {{"--mode", "OVER", "--mix", "0"}, zep6test::modes::Over, 0.0, false},
        {{"--mode", "Multiply", "--mix", "0.25"}, zep6test::modes::Multiply, 0.25, false},
        {{"--mode", "3", "--mask", "@mask.png"}, zep6test::modes::Multiply, 1.0, true},
        {{"--mask", "@mask.png", "--mode", "0"}, zep6test::modes::Over, 1.0, true},
    };
    for (const auto& c : cases) {
        std::string shown;
        for (const std::string& a : c.options)
            shown += " " + a;
        SCOPED_TRACE("zep6gl composite" + shown);
        std::vector<std::string> args = c.options;
        args.insert(args.end(), {"@front.png", "@back.png", "@out.png"});
        fs::remove(Path("out.png"));
        ASSERT_EQ(Composite(args), 0) << errors_;
        EXPECT_TRUE(errors_.empty()) << errors_;
        const HostImage out = zep6gl::ReadImage(Path("out.png"));
        ASSERT_EQ(out.GetWidth(), front.GetWidth());
        ASSERT_EQ(out.GetHeight(), front.GetHeight());
        ASSERT_EQ(out.GetBitDepth(), 32);

        int failures = 0;
        for (long y = 0; y < front.GetHeight(); ++y)
            for (long x = 0; x < front.GetWidth(); ++x) {
                V4 fg = At(front, x, y);
                if (c.masked)
                    fg.a *= At(mask, x, y).a;
                const V4 expected = zep6test::StraightMain(fg, At(back, x, y), c.mix, c.mode);
                const V4 got = At(out, x, y);
                // 8-bit storage: within 2 steps. Where the result is transparent its colour
                // carries no picture, and where it is nearly so, unpremultiplying divides the
                // card's rounding by the alpha: colour is judged only at an alpha of 8 steps and up.
                for (int ch = 0; ch < 4; ++ch) {
                    if (ch < 3 && expected.a < 8 / 255.0)
                        continue;
                    if (std::abs(got[ch] - zep6test::Clamp01(expected[ch])) > 2.0 / 255 + 1e-9 &&
                        failures++ < 8)
                        ADD_FAILURE() << "pixel (" << x << ", " << y << ") channel " << ch << ": got "
                                      << got[ch] * 255 << ", expected " << expected[ch] * 255;
                }
            }
        EXPECT_EQ(failures, 0);
    }
}

// An OpenEXR front gives a float destination and an OpenEXR result.
TEST_F(CompositeCommand, FloatPicturesGoThroughOpenExr) {
    if (!NeedOpenGL())
        GTEST_SKIP() << "no OpenGL";
    auto asFloat = [](const HostImage& picture) {
        HostImage image(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 128, 1, picture.GetWidth(),
                        picture.GetHeight(), 0, false);
        for (long y = 0; y < picture.GetHeight(); ++y)
            for (long x = 0; x < picture.GetWidth(); ++x) {
                const V4 p = At(picture, x, y);
                const float values[4] = {float(p.r), float(p.g), float(p.b), float(p.a)};
                std::memcpy(image.Row(y) + x * 16, values, sizeof values);
            }
        return image;
    };
    zep6gl::WriteImage(Path("front.exr"), asFloat(FrontPicture()));
    zep6gl::WriteImage(Path("back.exr"), asFloat(BackPicture()));
    ASSERT_EQ(Composite({"--mode", "multiply", "--mix", "0.75", "@front.exr", "@back.exr", "@out.exr"}), 0)
        << errors_;
    EXPECT_NE(Composite({"--mode", "multiply", "@front.exr", "@back.exr", "@out2.png"}), 0);
    EXPECT_FALSE(fs::exists(Path("out2.png")));

    // The inputs as the files hold them (half floats).
    const HostImage front = zep6gl::ReadImage(Path("front.exr")), back = zep6gl::ReadImage(Path("back.exr"));
    const HostImage out = zep6gl::ReadImage(Path("out.exr"));
    ASSERT_EQ(out.GetBitDepth(), 128);
    ASSERT_EQ(out.GetWidth(), front.GetWidth());
    ASSERT_EQ(out.GetHeight(), front.GetHeight());
    auto at = [](const HostImage& image, long x, long y) {
        float v[4];
        std::memcpy(v, image.Row(y) + x * 16, sizeof v);
        return V4{v[0], v[1], v[2], v[3]};
    };
    int failures = 0;
    for (long y = 0; y < out.GetHeight(); ++y)
        for (long x = 0; x < out.GetWidth(); ++x) {
            const V4 expected =
                zep6test::StraightMain(at(front, x, y), at(back, x, y), 0.75, zep6test::modes::Multiply);
            const V4 got = at(out, x, y);
            // Half floats on the card and in the file, each good to 1e-3 relative: 2e-3 allowed.
            // Colour is judged where alpha is 8/255 and up, as for the 8-bit results.
            for (int ch = expected.a < 8 / 255.0 ? 3 : 0; ch < 4; ++ch)
                if (std::abs(got[ch] - expected[ch]) > 2e-3 * std::max(1.0, std::abs(expected[ch])) &&
                    failures++ < 8)
                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") channel " << ch << ": got " << got[ch]
                                  << ", expected " << expected[ch];
        }
    EXPECT_EQ(failures, 0);
}

// The number, the name in any case and the object name select the same mode, and a different
// mode gives a different picture: the name really reaches the library.
TEST_F(CompositeCommand, NamesAndNumbersSelectTheSameMode) {
    if (!NeedOpenGL())
        GTEST_SKIP() << "no OpenGL";
    zep6gl::WriteImage(Path("front.png"), FrontPicture());
    zep6gl::WriteImage(Path("back.png"), BackPicture());
    auto run = [&](const std::string& mode, const std::string& out) {
        EXPECT_EQ(Composite({"--mode", mode, "@front.png", "@back.png", "@" + out}), 0) << errors_;
        std::ifstream in(Path(out), std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    };
    // Compared as booleans: a failure would otherwise print two PNG files byte by byte.
    const std::string byNumber = run("14", "a.png");
    EXPECT_FALSE(byNumber.empty());
    EXPECT_TRUE(run("OverLay", "b.png") == byNumber);
    EXPECT_TRUE(run("overlay", "c.png") == byNumber);
    EXPECT_FALSE(run("15", "d.png") == byNumber);
}

} // namespace zep6gltest
