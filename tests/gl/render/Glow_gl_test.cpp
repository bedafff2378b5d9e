// The four glow programs on llvmpipe against CPU references.
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
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

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

V4 ToV4(const Rgba& p) {
    return {p[0], p[1], p[2], p[3]};
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
