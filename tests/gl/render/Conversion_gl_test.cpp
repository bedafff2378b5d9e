// Every conversion main with every process body and three scales against CPU references.
#include "gl/context/EntryPoints.h"
#include "gl/render/Conversion.h"
#include "gl/render/EffectProgram.h"

#include "support/ApplyModeReference.h"
#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

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
using Main = V4 (*)(const V4& sample, double scale, Process process);

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
    Main main;
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
