// The programs' formulas against CPU references (the one place each is checked): every blend mode
// with both main programs and three mixes over a grid of front and back pixels, every conversion
// main with every process body and three scales, and the four glow programs.
#include "core/Errors.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/ApplyMode.h"
#include "gl/render/Conversion.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/Glow.h"
#include "gl/state/Texturing.h"

#include "support/ApplyModeReference.h"
#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

struct ModeCase {
    int value; // the PixelApplyMode, or -1 for the objects no value selects
    ApplyMode* mode;
    const char* name;
    ModeReference apply;
};

// The value, the mode object, its name and its reference; -1 for the objects no value selects.
#define M(value, name, reference) {value, &ApplyMode::s##name, #name, modes::reference}
// clang-format off
const ModeCase kModes[] = {
    M(0, Over, Over), M(1, Lighten, Lighten), M(2, Darken, Darken), M(3, Multiply, Multiply),
    M(4, Screen, Screen), M(5, Difference, Difference), M(6, Lighter, Lighter), M(7, Darker, Darker),
    M(8, ScaleMultiply, ScaleMultiply), M(9, ScaleScreen, ScaleScreen),
    M(10, ExpandDifference, ExpandDifference), M(11, ExpandDifference2, ExpandDifference2), M(12, Add, Add),
    M(13, Subtract, Subtract), M(14, Overlay, Overlay), M(15, SoftLight, SoftLight),
    M(16, HardLight, HardLight), M(17, Hue, Hue), M(18, Saturation, SaturationMode), M(19, Color, ColorMode),
    M(20, Luminosity, Luminosity), M(21, Transparency, Transparency), M(22, Opacity, Opacity),
    M(23, MoreGray, MoreGray), M(24, LeastGray, LeastGray), M(25, ReverseSubtract, ReverseSubtract),
    M(26, ClippedSubtract, Front), M(27, LessGray, Front), M(28, MostGray, Front),
    M(29, BoostExponential1, Front), M(30, BoostExponential2, Front), M(31, BoostEqualPowerPositive, Front),
    M(32, BoostEqualPowerNegative, Front), M(33, BoostEqualPowerBias1, Front), M(34, 5050Mix, Front),
    M(35, Dissolve, Front), M(36, DancingDissolve, Front), M(37, AlphaMask, Front), M(38, LumaMask, Front),
    M(39, InverseAlphaMask, Front), M(40, InverseLumaMask, Front), M(41, AddAlpha, Front),
    M(42, AddPremultiplied, Front), M(43, ReverseSubtractBasic, ReverseSubtract), M(44, BitwiseAND, Front),
    M(45, BitwiseOR, Front), M(46, BitwiseXOR, Front), M(47, SoftDissolve, SoftDissolveUnseeded),
    M(48, DancingSoftDissolve, Front), M(-1, None, None), M(-1, Copy, Front), M(-1, Front, Front),
    M(-1, Back, Back), M(-1, Under, Under),
};
// clang-format on
#undef M

// Fronts along x, backs along y. Values in 1/8 steps or with few bits where a branch point
// must be hit exactly: a premultiplied 0.5 (overlay, hard light), equal lumas (F6 and B3 have
// the same premultiplied colour; F4 and B7 are the same pixel), equal distances from grey (F4
// and B9), zero saturation (greys), zero luma (transparent pixels).
// clang-format off
const std::vector<Rgba> kFronts = {
    {0, 0, 0, 0}, {0.8f, 0.4f, 0.2f, 0}, {1, 0, 0, 1}, {0.5f, 0.5f, 0.5f, 1},
    {0.25f, 0.75f, 0.5f, 1}, {0.9f, 0.6f, 0.1f, 0.5f}, {0.375f, 0.25f, 0.5f, 1}, {1, 1, 1, 1},
    {0.2f, 0.7f, 0.45f, 0.75f}, {0.6f, 0.6f, 0.6f, 0.25f}, {0.125f, 0.5f, 0.875f, 0.875f},
    {0.7f, 0.3f, 0.9f, 1}};
const std::vector<Rgba> kBacks = {
    {0, 0, 0, 0}, {1, 1, 1, 1}, {0.5f, 0.5f, 0.5f, 1}, {0.75f, 0.5f, 1, 0.5f},
    {0.2f, 0.4f, 0.6f, 1}, {0.9f, 0.1f, 0.3f, 0.75f}, {0.3f, 0.8f, 0.55f, 0.25f}, {0.25f, 0.75f, 0.5f, 1},
    {0.6f, 0.2f, 0.7f, 0.6f}, {0.75f, 0.25f, 0.25f, 1}, {0.4f, 0.9f, 0.1f, 0.9f},
    {0.55f, 0.35f, 0.15f, 0.3f}};
// clang-format on

// The light main darkens the back by (1 - front): over opaque white every back becomes the
// front's complement, and hue, saturation, more gray and least gray then meet exact mathematical
// ties (equal saturations, equal distances from grey) that float rounding breaks either way. The
// light main therefore sees an opaque light grey where the straight main sees white.
std::vector<Rgba> LightBacks() {
    std::vector<Rgba> backs = kBacks;
    backs[1] = {0.96875f, 0.96875f, 0.96875f, 1};
    return backs;
}

V4 ToV4(const Rgba& p) {
    return {p[0], p[1], p[2], p[3]};
}

// One texture of the grid: pixel (x, y) pairs front x with back y, so `values` runs along x or y.
std::vector<Rgba> Grid(const std::vector<Rgba>& values, bool alongX) {
    std::vector<Rgba> pixels;
    for (std::size_t y = 0; y < kBacks.size(); ++y)
        for (std::size_t x = 0; x < kFronts.size(); ++x)
            pixels.push_back(values[alongX ? x : y]);
    return pixels;
}

enum class Main { Straight, Light };

class ApplyModeTest : public GlProgramTest {
protected:
    const int w_ = static_cast<int>(kFronts.size()), h_ = static_cast<int>(kBacks.size());

    void SetUp() override {
        GlProgramTest::SetUp();
        target_ = std::make_unique<FloatTarget>(w_, h_);
        ASSERT_TRUE(target_->IsComplete());
        front_ = std::make_unique<FloatTexture>(w_, h_, Grid(kFronts, true));
        back_ = std::make_unique<FloatTexture>(w_, h_, Grid(kBacks, false));
        lightBack_ = std::make_unique<FloatTexture>(w_, h_, Grid(lightBacks_, false));
        front_->BindOn(0);
    }

    // Draws one mode with one main over the grid and returns the largest difference from the
    // reference, relative to the reference's magnitude above 1: a result divided by a small
    // alpha is large, and so is its float rounding.
    double Draw(const ModeCase& c, Main main, float mix) {
        const bool straight = main == Main::Straight;
        target_->Clear({-1, -1, -1, -1});
        (straight ? back_ : lightBack_)->BindOn(1);
        if (straight)
            c.mode->ApplyBound(mix);
        else
            c.mode->ApplyLightBound(mix);
        if (c.mode == &ApplyMode::sSoftDissolve) // rand() is then 0 everywhere
            (straight ? *c.mode : c.mode->LightProgram()).SetUniform("random", p2f(0, 0));
        EffectProgram::DrawRegion(Region(w_, h_), GL_TEXTURE1);
        const std::vector<Rgba> out = target_->Read();
        double worst = 0;
        for (int y = 0; y < h_; ++y)
            for (int x = 0; x < w_; ++x) {
                const V4 fg = ToV4(kFronts[std::size_t(x)]);
                const V4 bg = ToV4((straight ? kBacks : lightBacks_)[std::size_t(y)]);
                const V4 expected =
                    straight ? StraightMain(fg, bg, mix, c.apply) : LightMain(fg, bg, mix, c.apply);
                for (int k = 0; k < 4; ++k) {
                    const double got = out[std::size_t(y * w_ + x)][std::size_t(k)];
                    const double diff = std::abs(got - expected[k]) / std::max(1.0, std::abs(expected[k]));
                    if (!(diff <= 1e-4)) // NaN fails too
                        ADD_FAILURE() << c.name << (straight ? " straight" : " light") << " mix " << mix
                                      << " front " << x << " back " << y << " channel " << k << ": got "
                                      << got << ", expected " << expected[k];
                    worst = std::isnan(diff) ? INFINITY : std::max(worst, diff);
                }
            }
        return worst;
    }

    std::unique_ptr<FloatTarget> target_;
    std::unique_ptr<FloatTexture> front_;
    std::unique_ptr<FloatTexture> back_;
    std::unique_ptr<FloatTexture> lightBack_;
    const std::vector<Rgba> lightBacks_ = LightBacks();
};

} // namespace

TEST_F(ApplyModeTest, EveryModeMatchesItsFormulaWithBothMains) {
    std::printf("largest difference per mode (relative above 1), over mix 0, 0.5, 1:\n");
    std::printf("%-5s %-24s %-12s %-12s\n", "value", "mode", "straight", "light");
    for (const ModeCase& c : kModes) {
        if (c.value >= 0) {
            EXPECT_EQ(ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(c.value)), c.mode) << c.name;
        }
        double worst[2] = {0, 0};
        for (const Main main : {Main::Straight, Main::Light})
            for (const float mix : {0.0f, 0.5f, 1.0f})
                worst[main == Main::Light] = std::max(worst[main == Main::Light], Draw(c, main, mix));
        std::printf("%-5d %-24s %-12.3g %-12.3g\n", c.value, c.name, worst[0], worst[1]);
    }
}

TEST(ApplyModeSelector, UnknownValuesSelectNothing) {
    for (const int value : {-1, 49, 50, 1000, -2147483647 - 1})
        EXPECT_EQ(ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(value)), nullptr) << value;
}

// The seed, its reset on selection, and that it reaches the program's uniform.
TEST_F(ApplyModeTest, SoftDissolveSeedIsResetOnSelection) {
    ApplyMode& dissolve = ApplyMode::sSoftDissolve;
    dissolve.ApplyRandom(1.0f);
    dissolve.ApplyBound(1.0f);
    p2f seed;
    dissolve.GetUniform("random", seed);
    EXPECT_EQ(seed, p2f(std::cos(1.0f) * 1920, std::sin(1.0f) * 1080)) << "applying passes the seed on";

    // With the program current, a new seed is set at once.
    dissolve.ApplyRandom(0.5f);
    dissolve.GetUniform("random", seed);
    EXPECT_EQ(seed, p2f(std::cos(0.5f) * 1920, std::sin(0.5f) * 1080));
    ApplyMode::GetApplyMode(PixelApplySoftDissolve);
    dissolve.GetUniform("random", seed);
    EXPECT_EQ(seed, p2f(1920, 0)) << "every selection resets it";
    ApplyMode::sDissolve.ApplyRandom(2.0f);
    ApplyMode::GetApplyMode(PixelApplyDissolve);
    EXPECT_EQ(ApplyMode::sDissolve.RandomSeed(), p2f(std::cos(2.0f) * 1920, std::sin(2.0f) * 1080))
        << "only soft dissolve resets its seed";
}

TEST_F(ApplyModeTest, SoftDissolveTakesTheOverBranchAboveTheThreshold) {
    // rand() is 0 with the seed (0, 0), so the back's alpha alone decides: 1.0002 >= 1.0001.
    const std::vector<Rgba> front = {{0.5f, 0.25f, 1, 0.5f}, {0.5f, 0.25f, 1, 0.5f}};
    const std::vector<Rgba> back = {{1, 0.5f, 0, 1.0002f}, {1, 0.5f, 0, 1.0f}};
    FloatTarget target(2, 1);
    FloatTexture f(2, 1, front), b(2, 1, back);
    f.BindOn(0);
    b.BindOn(1);
    ApplyMode::sSoftDissolve.ApplyBound(1.0f);
    ApplyMode::sSoftDissolve.SetUniform("random", p2f(0, 0));
    EffectProgram::DrawRegion(Region(2, 1), GL_TEXTURE1);
    const std::vector<Rgba> out = target.Read();
    for (std::size_t x = 0; x < 2; ++x) {
        const V4 expected = StraightMain(ToV4(front[x]), ToV4(back[x]), 1.0, modes::SoftDissolveUnseeded);
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(out[x][std::size_t(k)], expected[k], 1e-4) << "pixel " << x << " channel " << k;
    }
    EXPECT_GT(std::abs(out[0][0] - out[1][0]), 0.1f) << "the two branches give different colours";

    // With the selector's seed rand() varies, but a transparent back never reaches the threshold
    // (the over branch would halve the alpha).
    FloatTexture none(2, 1, {{0, 0, 0, 0}, {0, 0, 0, 0}});
    none.BindOn(1);
    ApplyMode::GetApplyMode(PixelApplySoftDissolve)->ApplyBound(1.0f);
    EffectProgram::DrawRegion(Region(2, 1), GL_TEXTURE1);
    for (const Rgba& p : target.Read()) {
        EXPECT_NEAR(p[0], 0.5f, 1e-5);
        EXPECT_NEAR(p[3], 0.5f, 1e-5);
    }
}

TEST_F(ApplyModeTest, ABrokenBodyThrowsOnceAndIsNotAddedTwice) {
    ApplyMode broken("vec4 apply(vec4 fg, vec4 bg) { return fg +; }\n");
    EXPECT_THROW(broken.ApplyBound(1.0f), Error);
    EXPECT_EQ(broken.ShaderCount(), 3);
    EXPECT_THROW(broken.ApplyBound(1.0f), Error) << "the program cannot link";
    EXPECT_EQ(broken.ShaderCount(), 3) << "the shaders are not added again";
    while (glGetError() != GL_NO_ERROR) {
    }
}

// ---- Conversions --------------------------------------------------------------------------

namespace {

using Process = V4 (*)(const V4& f);

V4 Pixel(double r, double g, double b, double a) {
    return {r, g, b, a};
}

struct ProcessCase {
    GLSL::Shader* shader;
    const char* name;
    Process process;
};

// clang-format off
const ProcessCase kProcesses[] = {
    {&Conversion::sNoProcess, "NoProcess", [](const V4& f) { return f; }},
    {&Conversion::sPremultiply, "Premultiply",
     [](const V4& f) { return Pixel(f.r * Clamp01(f.a), f.g * Clamp01(f.a), f.b * Clamp01(f.a), f.a); }},
    {&Conversion::sUnpremultiply, "Unpremultiply", [](const V4& f) {
         const double a = Clamp01(f.a);
         return a > 1.0 / 1024 ? Pixel(f.r / a, f.g / a, f.b / a, f.a) : f; }},
    {&Conversion::sInvertColor, "InvertColor",
     [](const V4& f) { return Pixel(1 - f.r, 1 - f.g, 1 - f.b, f.a); }},
    {&Conversion::sCopyAlpha, "CopyAlpha", [](const V4& f) { return Pixel(1, 1, 1, f.a); }},
    {&Conversion::sCopyAlphaPremult, "CopyAlphaPremult",
     [](const V4& f) { return Pixel(f.a, f.a, f.a, f.a); }},
    {&Conversion::sCopyLuma, "CopyLuma", [](const V4& f) { return Pixel(1, 1, 1, Luma(f)); }},
    {&Conversion::sCopyLumaPremult, "CopyLumaPremult",
     [](const V4& f) { return Pixel(1, 1, 1, 1) * (Luma(f) * f.a); }},
    {&Conversion::sCopyLumaSaveColor, "CopyLumaSaveColor",
     [](const V4& f) { return Pixel(f.r, f.g, f.b, Luma(f)); }},
    {&Conversion::sCopyLumaSaveColorPremult, "CopyLumaSaveColorPremult",
     [](const V4& f) { return Pixel(f.r, f.g, f.b, 1) * (Luma(f) * f.a); }},
    {&Conversion::sCopyInvAlpha, "CopyInvAlpha", [](const V4& f) { return Pixel(1, 1, 1, 1 - f.a); }},
    {&Conversion::sCopyInvLuma, "CopyInvLuma", [](const V4& f) { return Pixel(1, 1, 1, 1 - Luma(f)); }},
    {&Conversion::sCopyInvLumaPremult, "CopyInvLumaPremult",
     [](const V4& f) { return Pixel(1, 1, 1, 1) * ((1 - Luma(f)) * f.a); }},
    {&Conversion::sAdditiveColor, "AdditiveColor", [](const V4& f) {
         const double i = std::max({f.r, f.g, f.b, f.a});
         return i > 0 ? Pixel(f.r / i, f.g / i, f.b / i, i) : f; }},
    // Null chooses sNoProcess; after another body, so that a null left unheeded shows.
    {nullptr, "NoProcess (null)", [](const V4& f) { return f; }},
};
// clang-format on

// The output of a main program for one stored sample.
using MainFormula = V4 (*)(const V4& sample, double scale, Process process);

V4 ToOutput(const V4& processed, double scale) {
    V4 f = processed * scale;
    if (scale < 1)
        f = {std::clamp(f.r, 0.0, scale), std::clamp(f.g, 0.0, scale), std::clamp(f.b, 0.0, scale),
             std::clamp(f.a, 0.0, scale)};
    else
        f.a = Clamp01(f.a);
    return f;
}

struct MainCase {
    GLSL::Shader* shader;
    const char* name;
    MainFormula main;
};

// The From mains read the stored channels in their order and scale before processing; the To
// mains process, scale and clamp (ToOutput), then store in their order.
// clang-format off
const MainCase kMains[] = {
    {&Conversion::sFromARGB, "FromARGB", [](const V4& s, double scale, Process process) {
         V4 f = process(Pixel(s.g, s.b, s.a, s.r) * scale); // stored A, R, G, B
         f.a = Clamp01(f.a);
         return f; }},
    {&Conversion::sFromBGRA, "FromBGRA", [](const V4& s, double scale, Process process) {
         V4 f = process(Pixel(s.b, s.g, s.r, s.a) * scale);
         f.a = Clamp01(f.a);
         return f; }},
    {&Conversion::sToARGB, "ToARGB", [](const V4& s, double scale, Process process) {
         const V4 f = ToOutput(process(s), scale);
         return Pixel(f.a, f.r, f.g, f.b); }},
    {&Conversion::sToBGRA, "ToBGRA", [](const V4& s, double scale, Process process) {
         const V4 f = ToOutput(process(s), scale);
         return Pixel(f.b, f.g, f.r, f.a); }},
    // Null chooses sNoSwizzle; after another main, so that a null left unheeded shows.
    {nullptr, "NoSwizzle (null)",
     [](const V4& s, double scale, Process process) { return ToOutput(process(s), scale); }},
    {&Conversion::sNoSwizzle, "NoSwizzle",
     [](const V4& s, double scale, Process process) { return ToOutput(process(s), scale); }},
};
// clang-format on

// Stored samples: ordinary colours, transparent, values beyond 1 and below 0 (float storage), and
// alphas on both sides of the unpremultiply threshold 1/1024 in every channel position, since the
// From mains read the alpha from different places.
// clang-format off
const std::vector<Rgba> kSamples = {
    {0, 0, 0, 0}, {1, 1, 1, 1}, {0.25f, 0.5f, 0.75f, 1}, {0.8f, 0.4f, 0.2f, 0.5f}, {0.3f, 0.6f, 0.9f, 0.25f},
    {1.5f, 0.75f, 1.25f, 1.5f}, {2, 0.5f, -1, 3}, {0.6f, 0.1f, 0.35f, 0.75f},
    {0.0004f, 0.0002f, 0.0001f, 0.0005f}, {0.0008f, 0.0004f, 0.0002f, 0.001f},
    {0.0005f, 0.0004f, 0.0002f, 0.0001f}, {0.001f, 0.0004f, 0.0002f, 0.0001f},
    {0.0001f, 0.0002f, 0.0005f, 0.0004f}, {0.0001f, 0.0002f, 0.001f, 0.0004f}};
// clang-format on

using ConversionTest = GlProgramTest;

} // namespace

// The clamps of the scale and the unpremultiply threshold are met by the samples above (scales
// below, at and above 1; alphas of 0.0005 and 0.001), so they need no cases of their own.
TEST_F(ConversionTest, EveryMainWithEveryProcessBodyMatchesItsFormula) {
    const int n = static_cast<int>(kSamples.size());
    FloatTarget target(n, 1);
    ASSERT_TRUE(target.IsComplete());
    FloatTexture source(n, 1, kSamples);
    source.BindOn(0);
    Conversion conversion;

    for (const MainCase& m : kMains) {
        conversion.SetConversion(m.shader);
        for (const ProcessCase& p : kProcesses) {
            conversion.SetProcessing(p.shader);
            for (const float scale : {0.5f, 1.0f, 2.0f}) {
                conversion.SetScale(scale);
                conversion.Apply();
                target.Clear({-9, -9, -9, -9});
                EffectProgram::DrawRegion(Region(n, 1), GL_TEXTURE0);
                const std::vector<Rgba> out = target.Read();
                for (std::size_t x = 0; x < kSamples.size(); ++x) {
                    const Rgba& s = kSamples[x];
                    const V4 expected = m.main(Pixel(s[0], s[1], s[2], s[3]), scale, p.process);
                    for (int k = 0; k < 4; ++k) {
                        const double got = out[x][std::size_t(k)];
                        // Relative above 1: unpremultiplying by an alpha of 1/1000 makes large values.
                        const double diff =
                            std::abs(got - expected[k]) / std::max(1.0, std::abs(expected[k]));
                        EXPECT_LE(diff, 1e-4)
                            << m.name << " + " << p.name << " scale " << scale << " sample " << x
                            << " channel " << k << ": got " << got << ", expected " << expected[k];
                    }
                }
            }
        }
    }
}

// ---- Glow ---------------------------------------------------------------------------------

namespace {

using GlowTest = GlProgramTest;

// A texture of w x h pixels with values spread over 0 .. 1.3 (beyond 1 to reach the clamps).
std::vector<Rgba> Pattern(int w, int h) {
    std::vector<Rgba> pixels;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float v = static_cast<float>((x * 7 + y * 3) % 13) / 10.0f;
            pixels.push_back({v, 1.3f - v, static_cast<float>((x + 2 * y) % 5) / 4.0f,
                              static_cast<float>((3 * x + y) % 4) / 3.0f});
        }
    return pixels;
}

// Bilinear sample of a rectangle texture at (x, y) in texels, edges clamped.
V4 Linear(const std::vector<Rgba>& t, int w, int h, double x, double y) {
    const double u = x - 0.5, v = y - 0.5;
    const int i0 = static_cast<int>(std::floor(u)), j0 = static_cast<int>(std::floor(v));
    const double fu = u - i0, fv = v - j0;
    auto at = [&](int i, int j) {
        return ToV4(t[static_cast<std::size_t>(std::clamp(j, 0, h - 1) * w + std::clamp(i, 0, w - 1))]);
    };
    return Mix(Mix(at(i0, j0), at(i0 + 1, j0), fu), Mix(at(i0, j0 + 1), at(i0 + 1, j0 + 1), fu), fv);
}

V4 BlurReference(const std::vector<Rgba>& t, int w, int h, int px, int py, double radius, bool horizontal) {
    const double cx = px + 0.5, cy = py + 0.5;
    V4 result = Linear(t, w, h, cx, cy);
    double sum = 1;
    for (double offset = 1.5; offset <= radius; offset += 2) {
        const double weight = 1 - offset * offset / (radius * radius);
        if (horizontal) {
            result = result + Linear(t, w, h, std::clamp(cx - offset, 0.0, w - 1.0), cy) * weight;
            result = result + Linear(t, w, h, std::clamp(cx + offset, 0.0, w - 1.0), cy) * weight;
        } else {
            result = result + Linear(t, w, h, cx, std::clamp(cy - offset, 0.0, h - 1.0)) * weight;
            result = result + Linear(t, w, h, cx, std::clamp(cy + offset, 0.0, h - 1.0)) * weight;
        }
        sum += 2 * weight;
    }
    return Clamp01(result * (1 / sum));
}

// Draws the current program over w x h pixels of a cleared target and expects every pixel at
// want(x, y).
template <class Want> void ExpectDrawn(FloatTarget& target, int w, int h, const char* what, Want want) {
    target.Clear({-1, -1, -1, -1});
    EffectProgram::DrawRegion(Region(w, h), GL_TEXTURE0);
    const std::vector<Rgba> out = target.Read();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const V4 expected = want(x, y);
            for (int k = 0; k < 4; ++k)
                EXPECT_NEAR(out[std::size_t(y * w + x)][std::size_t(k)], expected[k], 1e-5)
                    << what << " at " << x << "," << y << " channel " << k;
        }
}

} // namespace

TEST_F(GlowTest, ThresholdKeepsPixelsFromTheGivenLumaUp) {
    const std::vector<Rgba> pixels = {
        {0.49f, 0.49f, 0.49f, 1}, {0.5f, 0.5f, 0.5f, 1}, {1, 0, 0, 0.5f}, {0, 1, 0, 0.25f},
        {0.2f, 0.9f, 0.6f, 0.8f}, {0.9f, 0.1f, 0.9f, 1}, {0, 0, 0, 0},    {1.2f, 1.1f, 1, 0.5f},
    };
    const int n = static_cast<int>(pixels.size());
    FloatTarget target(n, 1);
    FloatTexture source(n, 1, pixels);
    source.BindOn(0);
    EffectProgram& threshold = EffectProgram::sThreshold;
    threshold.Apply();
    EXPECT_TRUE(threshold.HasUniform("threshold_source"));
    EXPECT_TRUE(threshold.HasUniform("threshold_luma"));
    threshold.SetUniform("threshold_source", TextureUnit(0));

    for (const float level : {0.3f, 0.0f, 0.5f}) {
        threshold.SetUniform("threshold_luma", level);
        ExpectDrawn(target, n, 1, "threshold", [&](int x, int) {
            const Rgba& p = pixels[std::size_t(x)];
            const double luma = p[0] * 0.299 + p[1] * 0.587 + p[2] * 0.114;
            // Grey 0.5 has a Rec. 601 luma of exactly 0.5: it is kept at threshold 0.5.
            const bool kept = x == 1 ? level <= 0.5f : luma >= level;
            return kept ? ToV4(p) : V4{0, 0, 0, 0};
        });
    }
}

TEST_F(GlowTest, BlursSampleAtOddHalfOffsetsAlongTheirAxis) {
    const int w = 12, h = 9;
    const std::vector<Rgba> pixels = Pattern(w, h);
    FloatTarget target(w, h);
    FloatTexture source(w, h, pixels, GL_LINEAR);
    source.BindOn(0);

    struct Direction {
        EffectProgram* program;
        const char* name;
        bool horizontal;
    };
    for (const Direction& d : {Direction{&EffectProgram::sHorizBlur, "horizontal", true},
                               Direction{&EffectProgram::sVertBlur, "vertical", false}}) {
        d.program->Apply();
        for (const char* name : {"blur_source", "blur_size", "blur_radius"})
            EXPECT_TRUE(d.program->HasUniform(name)) << d.name << " " << name;
        d.program->SetUniform("blur_source", TextureUnit(0));
        d.program->SetUniform("blur_size", p2f(w, h));
        // 1: the centre only; 4: offsets 1.5 and 3.5; 6.5: also 5.5, reaching past the edges.
        for (const float radius : {1.0f, 4.0f, 6.5f}) {
            d.program->SetUniform("blur_radius", radius);
            ExpectDrawn(target, w, h, d.name, [&](int x, int y) {
                return BlurReference(pixels, w, h, x, y, radius, d.horizontal);
            });
        }
    }
}

TEST_F(GlowTest, GlowAddsTheBlurredColourWeightedByItsAlpha) {
    const int w = 6, h = 4;
    const std::vector<Rgba> original = Pattern(w, h);
    std::vector<Rgba> blurred = Pattern(h, w);
    std::reverse(blurred.begin(), blurred.end());
    FloatTarget target(w, h);
    FloatTexture o(w, h, original), b(w, h, blurred);
    o.BindOn(0);
    b.BindOn(1);
    EffectProgram& glow = EffectProgram::sGlow;
    glow.Apply();
    for (const char* name : {"glow_source", "glow_blurred", "glow_intensity"})
        EXPECT_TRUE(glow.HasUniform(name)) << name;
    glow.SetUniform("glow_source", TextureUnit(0));
    glow.SetUniform("glow_blurred", TextureUnit(1));
    for (const float intensity : {0.0f, 0.75f, 2.0f}) {
        glow.SetUniform("glow_intensity", intensity);
        ExpectDrawn(target, w, h, "glow", [&](int x, int y) {
            const V4 ov = ToV4(original[std::size_t(y * w + x)]), bv = ToV4(blurred[std::size_t(y * w + x)]);
            const double k = bv.a * intensity;
            return Clamp01(V4{bv.r * k + ov.r, bv.g * k + ov.g, bv.b * k + ov.b, k + ov.a});
        });
    }
}
