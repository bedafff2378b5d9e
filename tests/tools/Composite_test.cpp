// `zep6gl composite` and `zep6gl modes`. The modes' formulas are the library's tests: here the files,
// the mode, the mask and the mix must reach the library. (Mistakes: CommandLine_test.)
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

// `zep6gl modes` lists every mode once, in order, under a name that parses back (in any case, as
// the mode object's name, and as its number); the names follow the mode objects; nothing else
// parses.
TEST(ApplyModeNames, EveryModeIsListedUnderOneNameThatParsesBack) {
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(zep6gl::Run("modes", {}), 0);
    const std::vector<std::string> lines = Lines(::testing::internal::GetCapturedStdout());
    ASSERT_EQ(lines.size(), 49u);
    std::set<std::string> seen;
    for (int mode = 0; mode < zep6gl::kApplyModeCount; ++mode) {
        std::istringstream line(lines[mode]);
        int number = -1;
        std::string name, rest;
        line >> number >> name >> rest;
        EXPECT_EQ(number, mode) << lines[mode];
        EXPECT_TRUE(rest.empty() && seen.insert(name).second) << lines[mode];
        std::string upper = name;
        std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
        for (const std::string& text : {name, upper, std::string(zep6gl::ApplyModeObjectName(mode)), std::to_string(mode)})
            EXPECT_EQ(zep6gl::ParseApplyMode(text), mode) << text;
    }
    const std::pair<int, const char*> objects[] = {
        {OGL_ZEP6_AE::PixelApplyOver, "over"},       {OGL_ZEP6_AE::PixelApplyHue, "hue"},
        {OGL_ZEP6_AE::PixelApply5050Mix, "5050mix"}, {OGL_ZEP6_AE::PixelApplyBitwiseAND, "bitwiseand"},
        {OGL_ZEP6_AE::PixelApplyDancingSoftDissolve, "dancingsoftdissolve"}, {49, ""}, {-1, ""}};
    for (const auto& [mode, name] : objects)
        EXPECT_EQ(zep6gl::ApplyModeName(mode), name) << mode;
    for (const char* text : {"", "49", "100", "-1", "+3", "3x", "0x3", " 3", "over ", "sover", "ove", "s5050Mix",
                             "multiply2", "3.0", "1e1", "4294967299"})
        EXPECT_EQ(zep6gl::ParseApplyMode(text), -1) << "'" << text << "'";
    EXPECT_EQ(zep6gl::ParseApplyMode("007"), 7) << "leading zeros are still the number";
}

class CompositeCommand : public ToolTest {};

// Inputs in which every row and column differs, so that a flipped or shifted result cannot pass:
// the front runs through every alpha from transparent to opaque, the back is partly transparent
// in its lower half, the mask fades left to right.
HostImage Picture(int which) {
    return RgbaImage(32, 37, 29, [which](long x, long y, int c) {
        const double v[3][4] = {
            {(x * 7 % 37) / 36.0, (y * 5 % 29) / 28.0, ((x + y) % 11) / 10.0, (x * 29 + y) % 256 / 255.0},
            {1.0 - x / 36.0, (x * y % 17) / 16.0, y / 28.0, y < 15 ? 1.0 : 1.0 - (y - 14) / 20.0},
            {0.3, 0.6, 0.9, (x * 255 / 36 + y) % 256 / 255.0}};
        return v[which][c];
    });
}

TEST_F(CompositeCommand, FilesModeMaskAndMixReachTheLibrary) {
    REQUIRE_OPENGL();
    // The float inputs hold the same values (as half floats in the files).
    for (int i = 0; i < 3; ++i) {
        const HostImage bytes = Picture(i);
        const std::string name = std::string(i == 0 ? "front" : i == 1 ? "back" : "mask");
        zep6gl::WriteImage(Path(name + ".png"), bytes);
        zep6gl::WriteImage(Path(name + ".exr"),
                           RgbaImage(128, 37, 29, [&](long x, long y, int c) { return Value(bytes, x, y, c); }));
    }
    const struct {
        std::vector<std::string> options;
        int mode;
        float mix;
        bool masked;
        std::string type; // of the files: ".png" or ".exr"
    } cases[] = {
        {{"--mode", "over"}, 0, 1.0f, false, ".png"},
        {{"--mode", "Multiply", "--mix", "0.25"}, 3, 0.25f, false, ".png"},
        {{"--mask", Path("mask.png"), "--mode", "3"}, 3, 1.0f, true, ".png"},
        {{"--mode", "multiply", "--mix", "0.5", "--mask", Path("mask.exr")}, 3, 0.5f, true, ".exr"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = c.options;
        args.insert(args.end(), {Path("front" + c.type), Path("back" + c.type), Path("out" + c.type)});
        SCOPED_TRACE(::testing::PrintToString(args));
        fs::remove(Path("out" + c.type));
        const Outcome outcome = RunCommand("composite", args);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_TRUE(outcome.errors.empty()) << outcome.errors;
        const HostImage out = zep6gl::ReadImage(Path("out" + c.type));
        ASSERT_EQ(out.GetBitDepth(), c.type == ".exr" ? 128 : 32);
        const HostImage mask = zep6gl::ReadImage(Path("mask" + c.type));
        ExpectLibraryComposite(out, zep6gl::ReadImage(Path("front" + c.type)), zep6gl::ReadImage(Path("back" + c.type)),
                               c.masked ? &mask : nullptr, c.mode, c.mix);
    }
}

} // namespace zep6gltest
