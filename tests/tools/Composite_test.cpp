// `zep6gl composite` and `zep6gl modes`. Mode names and numbers parse both ways, in any case, and
// nothing else does; every bad argument and file ends in one line naming it, a non-zero status
// and no output file; and small composites through the card, from PNG and from OpenEXR files,
// match a CPU computation of the modes' formulas, with the mask, the mix and the picture's
// orientation taken into account.
#include "ToolTestSupport.h"

#include "../support/TextLines.h"
#include "Composite.h"
#include "ImageIO.h"

#include "gl/render/ApplyMode.h"

#include <cctype>
#include <set>
#include <sstream>

namespace zep6gltest {

using zep6test::Lines;
using zep6test::V4;

// ---- mode names -----------------------------------------------------------------------------

TEST(ApplyModeNames, EveryModeHasOneNameThatParsesInAnyCaseAndAsItsNumber) {
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

    // The names follow the mode objects; outside 0..48 there is none.
    const std::pair<int, const char*> objects[] = {
        {OGL_ZEP6_AE::PixelApplyOver, "over"},
        {OGL_ZEP6_AE::PixelApplyMultiply, "multiply"},
        {OGL_ZEP6_AE::PixelApplyHue, "hue"},
        {OGL_ZEP6_AE::PixelApply5050Mix, "5050mix"},
        {OGL_ZEP6_AE::PixelApplyBitwiseAND, "bitwiseand"},
        {OGL_ZEP6_AE::PixelApplyDancingSoftDissolve, "dancingsoftdissolve"},
    };
    for (const auto& [mode, name] : objects)
        EXPECT_EQ(zep6gl::ApplyModeName(mode), name);
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
    ASSERT_EQ(zep6gl::Run("modes", {}), 0);
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
    ExpectOneLineNaming(RunCommand("modes", {"--all"}), "--all");
}

// ---- the command ----------------------------------------------------------------------------

class CompositeCommand : public ToolTest {
protected:
    // Runs the command; an argument "@name" stands for the file of that name in the case's folder.
    Outcome Composite(std::vector<std::string> args) {
        for (std::string& a : args)
            if (a.rfind("@", 0) == 0)
                a = Path(a.substr(1));
        return RunCommand("composite", args);
    }
};

std::string Shown(const std::vector<std::string>& args) {
    std::string shown = "zep6gl composite";
    for (const std::string& a : args)
        shown += " " + a;
    return shown;
}

TEST_F(CompositeCommand, BadArgumentsAndFilesAreNamedAndWriteNothing) {
    auto plain = [](long width, long height) {
        return RgbaImage(32, width, height, [](long x, long y, int c) { return c == 0 ? x / 8.0 : y / 6.0; });
    };
    zep6gl::WriteImage(Path("front.png"), plain(8, 6));
    zep6gl::WriteImage(Path("back.png"), plain(8, 6));
    zep6gl::WriteImage(Path("wide.png"), plain(9, 6));
    zep6gl::WriteImage(Path("tall.png"), plain(8, 7));
    zep6gl::WriteImage(Path("front.exr"), RgbaImage(128, 8, 6, [](long, long, int) { return 0.5; }));
    Store(Path("text.png"), "not a picture\n");
    const std::vector<std::string> before = Files();

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
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "@extra.png"}, "extra.png"},
        {{"--mode", "over", "@missing.png", "@back.png", "@out.png"}, "missing.png"},
        {{"--mode", "over", "@front.png", "@text.png", "@out.png"}, "text.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "--mask", "@missing.png"}, "missing.png"},
        {{"--mode", "over", "@front.png", "@wide.png", "@out.png"}, "wide.png"},
        {{"--mode", "over", "@front.png", "@tall.png", "@out.png"}, "tall.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.png", "--mask", "@wide.png"}, "wide.png"},
        {{"--mode", "over", "@front.png", "@back.png", "@out.jpg"}, "out.jpg"},
        {{"--mode", "over", "@front.png", "@back.png", "@out"}, "out"},
        // The result has the front's pixels: integer from PNG, float from OpenEXR.
        {{"--mode", "over", "@front.png", "@back.png", "@out.exr"}, "out.exr"},
        {{"--mode", "over", "@front.exr", "@back.png", "@out.png"}, "out.png"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Shown(c.args));
        ExpectOneLineNaming(Composite(c.args), c.named);
        EXPECT_EQ(Files(), before);
    }

    // A file that cannot be written is reported after the card has done its work, and still
    // leaves nothing behind.
    REQUIRE_OPENGL();
    ExpectOneLineNaming(Composite({"--mode", "add", "@front.png", "@back.png", "@no/such/folder/out.png"}),
                        "no/such/folder/out.png");
    EXPECT_EQ(Files(), before);
}

// ---- composites on the card -----------------------------------------------------------------

// Inputs in which every row and column differs, so that a flipped or shifted result cannot pass:
// the front runs through every alpha from transparent to opaque, the back is partly transparent
// in its lower half, the mask fades left to right.
HostImage FrontPicture() {
    return RgbaImage(32, 37, 29, [](long x, long y, int c) {
        return V4{(x * 7 % 37) / 36.0, (y * 5 % 29) / 28.0, ((x + y) % 11) / 10.0,
                  (x * 29 + y) % 256 / 255.0}[c];
    });
}
HostImage BackPicture() {
    return RgbaImage(32, 37, 29, [](long x, long y, int c) {
        return V4{1.0 - x / 36.0, (x * y % 17) / 16.0, y / 28.0, y < 15 ? 1.0 : 1.0 - (y - 14) / 20.0}[c];
    });
}
HostImage MaskPicture() {
    return RgbaImage(32, 37, 29, [](long x, long y, int c) {
        return V4{0.3, 0.6, 0.9, (x * 255 / 36 + y) % 256 / 255.0}[c];
    });
}

TEST_F(CompositeCommand, CardResultMatchesTheModesFormulas) {
    REQUIRE_OPENGL();
    zep6gl::WriteImage(Path("front.png"), FrontPicture());
    zep6gl::WriteImage(Path("back.png"), BackPicture());
    zep6gl::WriteImage(Path("mask.png"), MaskPicture());
    // The float inputs hold the same values (as half floats in the files).
    auto asFloat = [](const HostImage& bytes) {
        return RgbaImage(128, 37, 29, [&](long x, long y, int c) { return Value(bytes, x, y, c); });
    };
    zep6gl::WriteImage(Path("front.exr"), asFloat(FrontPicture()));
    zep6gl::WriteImage(Path("back.exr"), asFloat(BackPicture()));

    const struct {
        std::vector<std::string> options;
        zep6test::ModeReference mode;
        double mix;
        bool masked;
        std::string type; // of the files: ".png" or ".exr"
    } cases[] = {
        {{"--mode", "over"}, zep6test::modes::Over, 1.0, false, ".png"},
        {{"--mode", "OVER", "--mix", "0"}, zep6test::modes::Over, 0.0, false, ".png"},
        {{"--mode", "Multiply", "--mix", "0.25"}, zep6test::modes::Multiply, 0.25, false, ".png"},
        {{"--mode", "3", "--mask", "@mask.png"}, zep6test::modes::Multiply, 1.0, true, ".png"},
        {{"--mask", "@mask.png", "--mode", "0"}, zep6test::modes::Over, 1.0, true, ".png"},
        {{"--mode", "multiply", "--mix", "0.75"}, zep6test::modes::Multiply, 0.75, false, ".exr"},
    };
    const HostImage mask = zep6gl::ReadImage(Path("mask.png"));
    for (const auto& c : cases) {
        std::vector<std::string> args = c.options;
        args.insert(args.end(), {"@front" + c.type, "@back" + c.type, "@out" + c.type});
        SCOPED_TRACE(Shown(args));
        fs::remove(Path("out" + c.type));
        const Outcome outcome = Composite(args);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_TRUE(outcome.errors.empty()) << outcome.errors;
        const HostImage out = zep6gl::ReadImage(Path("out" + c.type));
        ASSERT_EQ(out.GetBitDepth(), c.type == ".exr" ? 128 : 32);
        ExpectComposite(zep6gl::ReadImage(Path("front" + c.type)), zep6gl::ReadImage(Path("back" + c.type)),
                        c.masked ? &mask : nullptr, out, c.mode, c.mix);
    }
}

} // namespace zep6gltest
