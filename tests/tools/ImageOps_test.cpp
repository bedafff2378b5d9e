// The image-operation commands and `zep6gl composite` end to end: each writes what the library's own
// operation makes of the same decoded pictures, so the right files, mode, mask, mix and arguments
// reach it (the operations' arithmetic and the modes' formulas: the library's tests); `zep6gl
// modes`. Mistakes: CommandLine_test.
#include "ToolTestSupport.h"

#include "../support/TextLines.h"
#include "Composite.h"
#include "ImageIO.h"
#include "Scene.h"

#include "gl/render/ApplyMode.h"
#include "gl/resources/Buffer.h"
#include "gl/state/Color.h"
#include "imageops/ImageOperations.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cctype>
#include <set>
#include <sstream>

namespace zep6gltest {
namespace {

using namespace OGL_ZEP6_AE;
using In = const HostImage&;

// The channel GetAlpha or GetLuma gives (its rows bottom-up) as an opaque grey float picture.
template <class Pixel>
HostImage Grey(In a, unsigned int format, void (*get)(const XIImage*, Buffer<Pixel>*)) {
    HostImage channel(format, 32, 1, a.GetWidth(), a.GetHeight(), 0, true);
    Buffer<Pixel> buffer(&channel);
    get(&a, &buffer);
    return RgbaImage(128, a.GetWidth(), a.GetHeight(), [&](long x, long y, int c) {
        float v;
        std::memcpy(&v, channel.Row(a.GetHeight() - 1 - y) + 4 * x, 4);
        return c == 3 ? 1.0 : v;
    });
}

// Two pictures in which every row and column differs and alpha takes many values.
double Input(long x, long y, int c, bool b) {
    const double v[2][4] = {
        {x * 7 % 256 / 255.0, y * 5 % 256 / 255.0, (x + y) % 97 / 96.0, (x * 3 + y * 11) % 256 / 255.0},
        {x % 50 / 49.0, x * y % 17 / 16.0, y % 40 / 39.0, (x / 50 + y / 40) % 5 / 4.0}};
    return v[b][c];
}

class ImageCommands : public ToolTest {};

// In a command line %a and %b stand for two inputs of 301 x 157, %A and %B for the same pictures
// at 2500 x 1200 (several tiles each way; only for a few commands, to keep the time down: the
// unpremultiplying loop over tiles is the tool's own), %o for the output; the second input's name
// holds a ':', as blur-composite's operands may. Each runs on PNG and on OpenEXR files. The
// reference is made like the command's first picture (for mask: like IMAGE), at the size given
// (0: that picture's).
TEST_F(ImageCommands, EachWritesWhatTheLibraryMakesOfItsFiles) {
    REQUIRE_OPENGL();
    const struct {
        const char* line;
        long w, h;
        void (*want)(In a, In b, HostImage& d);
    } cases[] = {
        {"resize %a %o --size 150x90", 150, 90, [](In a, In, HostImage& d) { Resize(&a, &d); }},
        {"resize --fit %a %o --size=200x250", 200, 250, [](In a, In, HostImage& d) { FitInto(&a, &d); }},
        {"center %a %o --size 400x200", 400, 200, [](In a, In, HostImage& d) { Center(&a, &d); }},
        {"premultiply %a %o", 0, 0, [](In a, In, HostImage& d) { Premultiply(&a, &d); }},
        // The library's division by alpha: a background alone, unpremultiplied.
        {"unpremultiply %A %o", 0, 0,
         [](In a, In, HostImage& d) {
             CompositeBlurredImages(nullptr, &a, &d, nullptr, 0, BlendOp::Composite, true);
         }},
        {"transform %A %o --translate 30,-20 --scale 0.7,0.5 --rotate 20 --decimate triangle --size "
         "2000x1000",
         2000, 1000,
         [](In a, In, HostImage& d) {
             Transform(&a, nullptr, nullptr, &d, PixelApplyMode(-1), p3f(1030, 480, 0), p3f(0.7f, 0.5f, 1),
                       p3f(0, 0, 20), XYZ, TransformInterpolateLinear, TransformDecimateTriangle);
         }},
        {"transform %a %o --scale 1.5,2 --rotate 10,20,30 --order zyx --filter catmull-rom", 0, 0,
         [](In a, In, HostImage& d) {
             Transform(&a, nullptr, nullptr, &d, PixelApplyMode(-1), p3f(150.5f, 78.5f, 0), p3f(1.5f, 2, 1),
                       p3f(10, 20, 30), ZYX, TransformInterpolateCatmullRom, TransformDecimateBox);
         }},
        {"mask %a %b %o --color 1,0.5,0,0.75", 0, 0,
         [](In a, In b, HostImage& d) { RenderMask(&a, &b, &d, Color(1, 0.5f, 0, 0.75f)); }},
        {"mask %a %b %o --invert", 0, 0,
         [](In a, In b, HostImage& d) { RenderInvMask(&a, &b, &d, Color(0, 0, 0, 1)); }},
        {"alpha %a %o", 0, 0,
         [](In a, In, HostImage& d) { d = Grey<Alpha32F>(a, GL_ALPHA32F_ARB, GetAlpha); }},
        {"luma %a %o", 0, 0,
         [](In a, In, HostImage& d) { d = Grey<Luma32F>(a, GL_LUMINANCE32F_ARB, GetLuma); }},
        {"blend %a %b %o --op screen --opacity 0.6", 0, 0,
         [](In a, In b, HostImage& d) { Composite(&a, &b, nullptr, &d, 0.6f, BlendOp::Screen); }},
        {"blur %a %o --amount 9,3", 0, 0, [](In a, In, HostImage& d) { Blur(&a, &d, 9, 3, 0.85f); }},
        {"blur-composite %A %o %B:6 %A:0,4 --op add --unpremultiply", 0, 0,
         [](In a, In b, HostImage& d) {
             const XIImage* layers[] = {&b, &a};
             const p2f blurs[] = {{6, 6}, {0, 4}};
             CompositeBlurredImages(layers, &a, &d, blurs, 2, BlendOp::Additive, true);
         }},
        {"blur-composite %b %o %a:3", 0, 0,
         [](In a, In b, HostImage& d) {
             const XIImage* layers[] = {&a};
             const p2f blurs[] = {{3, 3}};
             CompositeBlurredImages(layers, &b, &d, blurs, 1, BlendOp::Composite, false);
         }},
    };
    const char* const files[][2] = {{"%a", "a"}, {"%b", "b:1"}, {"%A", "A"}, {"%B", "B:1"}, {"%o", "out"}};
    for (const std::string type : {".png", ".exr"}) {
        std::vector<HostImage> in; // a, b, A, B as decoded from their files
        for (int i = 0; i < 4; ++i) {
            const HostImage picture =
                RgbaImage(type == ".png" ? 32 : 128, i < 2 ? 301 : 2500, i < 2 ? 157 : 1200,
                          [i](long x, long y, int c) { return Input(x, y, c, i % 2); });
            zep6gl::WriteImage(Path(files[i][1] + type), picture);
            in.push_back(zep6gl::ReadImage(Path(files[i][1] + type)));
        }
        for (const auto& c : cases) {
            SCOPED_TRACE(c.line + type);
            std::vector<std::string> args;
            std::istringstream words(c.line);
            for (std::string word; words >> word; args.push_back(word))
                for (const auto& file : files)
                    if (word.rfind(file[0], 0) == 0)
                        word = Path(file[1] + type) + word.substr(2);
            const Outcome outcome = RunCommand(args[0], {args.begin() + 1, args.end()});
            ASSERT_EQ(outcome.status, 0) << outcome.errors;
            const HostImage *a = &in[0], *b = &in[1];
            if (std::strstr(c.line, "%A"))
                a = &in[2], b = &in[3];
            const HostImage& like = args[0] == "mask" ? *b : *a;
            HostImage want =
                zep6gl::LikeInput(like, c.w ? c.w : like.GetWidth(), c.h ? c.h : like.GetHeight());
            c.want(*a, *b, want);
            ExpectStored(zep6gl::ReadImage(Path("out" + type)), want);
        }
    }
}

// `scene` renders what RenderScene makes with the options its arguments name, across two tiles.
TEST_F(ImageCommands, SceneWritesTheSceneItsArgumentsDescribe) {
    REQUIRE_OPENGL();
    const Outcome outcome = RunCommand("scene", {Path("scene.exr"), "--size", "2100x90", "--quality", "1", "--focus",
                                                 "10", "--aperture", "40", "--smooth", "1.5"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    HostImage want(static_cast<long>(FourCC("RGBA")), 128, 1, 2100, 90, 0, false);
    const zep6gl::SceneOptions options{1, 10.0f, 40.0f, 1.5f, false};
    zep6gl::RunOnWorker([&] { zep6gl::RenderScene(&want, options); });
    ExpectStored(zep6gl::ReadImage(Path("scene.exr")), want);
}

// ---- composite and modes ------------------------------------------------------------------

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

} // namespace
} // namespace zep6gltest
