#include "gl/render/ApplyMode.h"

#include "core/Errors.h"
#include "geometry/Region.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "gl/targets/RenderedTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cmath>

namespace OGL_ZEP6_AE {

namespace {

// ---- Main programs ---------------------------------------------------------------------------

// Straight: premultiplied inputs, result mixed with the clamped sum of both, then unpremultiplied.
const char* const kMainFragmentSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect front;
uniform sampler2DRect back;
uniform float apply_mix;

vec4 apply(vec4 fg, vec4 bg);

void main()
{
    vec4 fg = texture2DRect(front, gl_TexCoord[0].st);
    vec4 bg = texture2DRect(back, gl_TexCoord[1].st);
    fg.rgb *= fg.a;
    bg.rgb *= bg.a;
    vec4 og = clamp(fg + bg, 0.0, 1.0);
    vec4 result = clamp(mix(og, apply(fg, bg), apply_mix), 0.0, 1.0);
    if (result.a > 0.0)
        result.rgb /= result.a;
    gl_FragColor = result;
}
)glsl";

// Light: the front is light whose brightness (its alpha) is its brightest channel.
const char* const kMainLightSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect front;
uniform sampler2DRect back;
uniform float apply_mix;

vec4 apply(vec4 fg, vec4 bg);

void main()
{
    vec4 fg = texture2DRect(front, gl_TexCoord[0].st);
    vec4 bg = texture2DRect(back, gl_TexCoord[1].st);
    fg.a = max(fg.r, max(fg.g, fg.b));
    if (fg.a > 0.0) {
        fg = clamp(fg, 0.0, 1.0);
        bg.rgb *= bg.a;
        bg.rgb *= 1.0 - fg.rgb;
        vec4 result = clamp(apply(fg, bg), 0.0, 1.0);
        result = mix(bg, result, apply_mix);
        if (result.a > 0.0)
            result.rgb /= result.a;
        gl_FragColor = result;
    } else {
        gl_FragColor = vec4(fg.rgb, 0.0);
    }
}
)glsl";

// ---- Mode bodies -----------------------------------------------------------------------------
//
// Each body receives the two pixels as its main prepared them (premultiplied for the straight
// main) and returns the combined pixel. "alpha over" is fg.a + bg.a (1 - fg.a).

#define ZEP6_MODE_PROLOGUE                                                                                   \
    "float luma(vec4 pixel);\n"                                                                              \
    "float saturation(vec4 pixel);\n"                                                                        \
    "float rand();\n"
#define ZEP6_MODE(code) ZEP6_MODE_PROLOGUE "vec4 apply(vec4 fg, vec4 bg)\n{\n" code "}\n"
#define ZEP6_ALPHA_OVER "fg.a + bg.a * (1.0 - fg.a)"

const char* const kOver = ZEP6_MODE("    return vec4(fg.rgb * fg.a + bg.rgb * (1.0 - fg.a), fg.a + bg.a);\n");
const char* const kLighten = ZEP6_MODE("    return vec4(max(fg.rgb, bg.rgb), " ZEP6_ALPHA_OVER ");\n");
const char* const kDarken = ZEP6_MODE("    return vec4(min(fg.rgb, bg.rgb), " ZEP6_ALPHA_OVER ");\n");
const char* const kMultiply = ZEP6_MODE("    return fg * bg;\n");
const char* const kScreen = ZEP6_MODE("    return fg + bg * (1.0 - fg);\n");
const char* const kDifference = ZEP6_MODE("    return vec4(abs(fg.rgb - bg.rgb), " ZEP6_ALPHA_OVER ");\n");
const char* const kLighter = ZEP6_MODE("    return luma(fg) > luma(bg) ? fg : bg;\n");
const char* const kDarker = ZEP6_MODE("    return luma(fg) < luma(bg) ? fg : bg;\n");
const char* const kScaleMultiply = ZEP6_MODE("    return vec4(fg.rgb * bg.rgb * 4.0, fg.a);\n");
const char* const kScaleScreen =
    ZEP6_MODE("    return vec4(2.0 * (fg.rgb + bg.rgb * (1.0 - fg.rgb)) - 1.0, fg.a);\n");
const char* const kExpandDifference =
    ZEP6_MODE("    return vec4(abs(fg.rgb - bg.rgb) * 2.0, " ZEP6_ALPHA_OVER ");\n");
const char* const kExpandDifference2 =
    ZEP6_MODE("    return vec4(abs(fg.rgb - bg.rgb) * 4.0, " ZEP6_ALPHA_OVER ");\n");
const char* const kAdd = ZEP6_MODE("    return fg + bg;\n");
const char* const kSubtract = ZEP6_MODE("    return vec4(bg.rgb - fg.rgb, fg.a);\n");
const char* const kOverlay = ZEP6_MODE("    vec3 low = 2.0 * bg.rgb * fg.rgb;\n"
                                       "    vec3 high = 2.0 * (fg.rgb + bg.rgb * (1.0 - fg.rgb)) - 1.0;\n"
                                       "    vec3 result = vec3(fg.r < 0.5 ? low.r : high.r,\n"
                                       "                       fg.g < 0.5 ? low.g : high.g,\n"
                                       "                       fg.b < 0.5 ? low.b : high.b);\n"
                                       "    return vec4(result, " ZEP6_ALPHA_OVER ");\n");
const char* const kSoftLight = ZEP6_MODE(
    "    return vec4(fg.rgb + (bg.rgb - 0.5) * (1.0 - fg.rgb) * fg.rgb * 2.0, " ZEP6_ALPHA_OVER ");\n");
const char* const kHardLight = ZEP6_MODE("    vec3 m = fg.rgb * bg.rgb;\n"
                                         "    vec3 s = fg.rgb + bg.rgb - m;\n"
                                         "    vec3 up = fg.rgb + (s - fg.rgb) * (bg.rgb - 0.5) * 0.5;\n"
                                         "    vec3 down = fg.rgb + (m - fg.rgb) * (0.5 - bg.rgb) * 0.5;\n"
                                         "    vec3 result = vec3(bg.r > 0.5 ? up.r : down.r,\n"
                                         "                       bg.g > 0.5 ? up.g : down.g,\n"
                                         "                       bg.b > 0.5 ? up.b : down.b);\n"
                                         "    return vec4(result, " ZEP6_ALPHA_OVER ");\n");

// The colour-model modes work on four-channel vectors: delta = pixel - luma(pixel) on every
// channel, alpha included.
#define ZEP6_COLOR_MODEL_HELPERS                                                                             \
    "float MaxSatRatio(float l, float d)\n"                                                                  \
    "{\n"                                                                                                    \
    "    return d > 0.0 ? (1.0 - l) / d : -l / d;\n"                                                         \
    "}\n"                                                                                                    \
    "float LimitRatio(float ratio, float l, vec4 delta)\n"                                                   \
    "{\n"                                                                                                    \
    "    if (ratio > 1.0) {\n"                                                                               \
    "        if (delta.r > 0.0) ratio = min(ratio, MaxSatRatio(l, delta.r));\n"                              \
    "        if (delta.g > 0.0) ratio = min(ratio, MaxSatRatio(l, delta.g));\n"                              \
    "        if (delta.b > 0.0) ratio = min(ratio, MaxSatRatio(l, delta.b));\n"                              \
    "    }\n"                                                                                                \
    "    return ratio;\n"                                                                                    \
    "}\n"                                                                                                    \
    "float ClipFactor(float l, float d)\n"                                                                   \
    "{\n"                                                                                                    \
    "    if (l + d > 1.0) return (1.0 - l) / d;\n"                                                           \
    "    if (l + d < 0.0) return -l / d;\n"                                                                  \
    "    return 1.0;\n"                                                                                      \
    "}\n"

const char* const kHue = ZEP6_MODE_PROLOGUE ZEP6_COLOR_MODEL_HELPERS
    "vec4 apply(vec4 fg, vec4 bg)\n"
    "{\n"
    "    vec4 bgDelta = bg - luma(bg);\n"
    "    float bgSaturation = saturation(bg);\n"
    "    if (bgSaturation > 0.0) {\n"
    "        float ratio = LimitRatio(saturation(fg) / bgSaturation, luma(fg), bgDelta);\n"
    "        vec4 delta = bgDelta * ratio;\n"
    "        return delta + (luma(fg) - luma(delta));\n"
    "    }\n"
    "    return vec4(vec3(luma(fg)), 0.0);\n"
    "}\n";

const char* const kSaturation = ZEP6_MODE_PROLOGUE ZEP6_COLOR_MODEL_HELPERS
    "vec4 apply(vec4 fg, vec4 bg)\n"
    "{\n"
    "    vec4 result = fg;\n"
    "    float fgSaturation = saturation(fg);\n"
    "    if (fgSaturation > 0.0) {\n"
    "        vec4 fgDelta = fg - luma(fg);\n"
    "        float ratio = LimitRatio(saturation(bg) / fgSaturation, luma(fg), fgDelta);\n"
    "        vec4 delta = fgDelta * ratio;\n"
    "        result = (luma(fg) - luma(delta)) + delta;\n"
    "    }\n"
    "    result.a = fg.a + bg.a;\n"
    "    return clamp(result, 0.0, 1.0);\n"
    "}\n";

const char* const kColor =
    ZEP6_MODE_PROLOGUE ZEP6_COLOR_MODEL_HELPERS "vec4 apply(vec4 fg, vec4 bg)\n"
                                                "{\n"
                                                "    vec4 bgDelta = bg - luma(bg);\n"
                                                "    float l = luma(fg);\n"
                                                "    float clip = min(ClipFactor(l, bgDelta.r), "
                                                "min(ClipFactor(l, bgDelta.g), ClipFactor(l, bgDelta.b)));\n"
                                                "    if (clip < 1.0)\n"
                                                "        bgDelta *= clip;\n"
                                                "    vec4 result = bgDelta + (l - luma(bgDelta));\n"
                                                "    result.a = fg.a + bg.a;\n"
                                                "    return result;\n"
                                                "}\n";

const char* const kLuminosity =
    ZEP6_MODE("    float fgLuma = luma(fg);\n"
              "    if (fgLuma > 0.0) {\n"
              "        float bgLuma = luma(bg);\n"
              "        if (bgLuma > 0.0)\n"
              "            return vec4(clamp(bg.rgb * fgLuma / bgLuma, 0.0, 1.0), bg.a);\n"
              "        return vec4(vec3(clamp(fgLuma, 0.0, 1.0)), fg.a);\n"
              "    }\n"
              "    return vec4(0.0);\n");

const char* const kTransparency = ZEP6_MODE("    return vec4(bg.rgb, max(0.0, bg.a - fg.a));\n");
const char* const kOpacity = ZEP6_MODE("    return vec4(bg.rgb, min(1.0, bg.a + fg.a));\n");
const char* const kMoreGray = ZEP6_MODE("    vec3 b = abs(bg.rgb - 0.5);\n"
                                        "    vec3 f = abs(fg.rgb - 0.5);\n"
                                        "    return vec4(b.r < f.r ? bg.r : fg.r, b.g < f.g ? bg.g : fg.g,\n"
                                        "                b.b < f.b ? bg.b : fg.b, bg.a);\n");
const char* const kLeastGray = ZEP6_MODE("    vec3 b = abs(bg.rgb - 0.5);\n"
                                         "    vec3 f = abs(fg.rgb - 0.5);\n"
                                         "    return vec4(b.r > f.r ? bg.r : fg.r, b.g > f.g ? bg.g : fg.g,\n"
                                         "                b.b > f.b ? bg.b : fg.b, bg.a);\n");
const char* const kReverseSubtract = ZEP6_MODE("    return vec4(fg.r >= bg.r ? fg.r - bg.r : 0.0,\n"
                                               "                fg.g >= bg.g ? fg.g - bg.g : 0.0,\n"
                                               "                fg.b >= bg.b ? fg.b - bg.b : 0.0,\n"
                                               "                clamp(fg.a + bg.a, 0.0, 1.0));\n");
// Modes whose result is the front as it comes.
const char* const kFront = ZEP6_MODE("    return fg;\n");
const char* const kSoftDissolve = ZEP6_MODE("    float r = rand();\n"
                                            "    if (bg.a + r >= 1.0001)\n"
                                            "        return fg * fg.a + bg * (1.0 - fg.a);\n"
                                            "    return fg;\n");
const char* const kNone = ZEP6_MODE("    return vec4(0.0);\n");
const char* const kBack = ZEP6_MODE("    return bg;\n");
const char* const kUnder =
    ZEP6_MODE("    return vec4(bg.rgb * bg.a + fg.rgb * (1.0 - bg.a), fg.a + bg.a);\n");

#undef ZEP6_MODE
#undef ZEP6_MODE_PROLOGUE
#undef ZEP6_ALPHA_OVER
#undef ZEP6_COLOR_MODEL_HELPERS

// Width and height of the seed circle of rand(): a frame of high definition.
constexpr float kSeedWidth = 1920.0f;
constexpr float kSeedHeight = 1080.0f;

} // namespace

GLSL::Shader ApplyMode::sMainFragment(GL_FRAGMENT_SHADER, kMainFragmentSource);
GLSL::Shader ApplyMode::sMainLight(GL_FRAGMENT_SHADER, kMainLightSource);

ApplyMode ApplyMode::sOver(kOver);
ApplyMode ApplyMode::sLighten(kLighten);
ApplyMode ApplyMode::sDarken(kDarken);
ApplyMode ApplyMode::sMultiply(kMultiply);
ApplyMode ApplyMode::sScreen(kScreen);
ApplyMode ApplyMode::sDifference(kDifference);
ApplyMode ApplyMode::sLighter(kLighter);
ApplyMode ApplyMode::sDarker(kDarker);
ApplyMode ApplyMode::sScaleMultiply(kScaleMultiply);
ApplyMode ApplyMode::sScaleScreen(kScaleScreen);
ApplyMode ApplyMode::sExpandDifference(kExpandDifference);
ApplyMode ApplyMode::sExpandDifference2(kExpandDifference2);
ApplyMode ApplyMode::sAdd(kAdd);
ApplyMode ApplyMode::sSubtract(kSubtract);
ApplyMode ApplyMode::sOverlay(kOverlay);
ApplyMode ApplyMode::sSoftLight(kSoftLight);
ApplyMode ApplyMode::sHardLight(kHardLight);
ApplyMode ApplyMode::sHue(kHue);
ApplyMode ApplyMode::sSaturation(kSaturation);
ApplyMode ApplyMode::sColor(kColor);
ApplyMode ApplyMode::sLuminosity(kLuminosity);
ApplyMode ApplyMode::sTransparency(kTransparency);
ApplyMode ApplyMode::sOpacity(kOpacity);
ApplyMode ApplyMode::sMoreGray(kMoreGray);
ApplyMode ApplyMode::sLeastGray(kLeastGray);
ApplyMode ApplyMode::sReverseSubtract(kReverseSubtract);
ApplyMode ApplyMode::sClippedSubtract(kFront);
ApplyMode ApplyMode::sLessGray(kFront);
ApplyMode ApplyMode::sMostGray(kFront);
ApplyMode ApplyMode::sBoostExponential1(kFront);
ApplyMode ApplyMode::sBoostExponential2(kFront);
ApplyMode ApplyMode::sBoostEqualPowerPositive(kFront);
ApplyMode ApplyMode::sBoostEqualPowerNegative(kFront);
ApplyMode ApplyMode::sBoostEqualPowerBias1(kFront);
ApplyMode ApplyMode::s5050Mix(kFront);
ApplyMode ApplyMode::sDissolve(kFront);
ApplyMode ApplyMode::sDancingDissolve(kFront);
ApplyMode ApplyMode::sAlphaMask(kFront);
ApplyMode ApplyMode::sLumaMask(kFront);
ApplyMode ApplyMode::sInverseAlphaMask(kFront);
ApplyMode ApplyMode::sInverseLumaMask(kFront);
ApplyMode ApplyMode::sAddAlpha(kFront);
ApplyMode ApplyMode::sAddPremultiplied(kFront);
ApplyMode ApplyMode::sReverseSubtractBasic(kReverseSubtract);
ApplyMode ApplyMode::sBitwiseAND(kFront);
ApplyMode ApplyMode::sBitwiseOR(kFront);
ApplyMode ApplyMode::sBitwiseXOR(kFront);
ApplyMode ApplyMode::sSoftDissolve(kSoftDissolve);
ApplyMode ApplyMode::sDancingSoftDissolve(kFront);

ApplyMode ApplyMode::sNone(kNone);
ApplyMode ApplyMode::sCopy(kFront);
ApplyMode ApplyMode::sFront(kFront);
ApplyMode ApplyMode::sBack(kBack);
ApplyMode ApplyMode::sUnder(kUnder);

namespace {

// The modes in PixelApplyMode order. Pointers to statics of this file: constant-initialised.
ApplyMode* const kModes[] = {
    &ApplyMode::sOver,
    &ApplyMode::sLighten,
    &ApplyMode::sDarken,
    &ApplyMode::sMultiply,
    &ApplyMode::sScreen,
    &ApplyMode::sDifference,
    &ApplyMode::sLighter,
    &ApplyMode::sDarker,
    &ApplyMode::sScaleMultiply,
    &ApplyMode::sScaleScreen,
    &ApplyMode::sExpandDifference,
    &ApplyMode::sExpandDifference2,
    &ApplyMode::sAdd,
    &ApplyMode::sSubtract,
    &ApplyMode::sOverlay,
    &ApplyMode::sSoftLight,
    &ApplyMode::sHardLight,
    &ApplyMode::sHue,
    &ApplyMode::sSaturation,
    &ApplyMode::sColor,
    &ApplyMode::sLuminosity,
    &ApplyMode::sTransparency,
    &ApplyMode::sOpacity,
    &ApplyMode::sMoreGray,
    &ApplyMode::sLeastGray,
    &ApplyMode::sReverseSubtract,
    &ApplyMode::sClippedSubtract,
    &ApplyMode::sLessGray,
    &ApplyMode::sMostGray,
    &ApplyMode::sBoostExponential1,
    &ApplyMode::sBoostExponential2,
    &ApplyMode::sBoostEqualPowerPositive,
    &ApplyMode::sBoostEqualPowerNegative,
    &ApplyMode::sBoostEqualPowerBias1,
    &ApplyMode::s5050Mix,
    &ApplyMode::sDissolve,
    &ApplyMode::sDancingDissolve,
    &ApplyMode::sAlphaMask,
    &ApplyMode::sLumaMask,
    &ApplyMode::sInverseAlphaMask,
    &ApplyMode::sInverseLumaMask,
    &ApplyMode::sAddAlpha,
    &ApplyMode::sAddPremultiplied,
    &ApplyMode::sReverseSubtractBasic,
    &ApplyMode::sBitwiseAND,
    &ApplyMode::sBitwiseOR,
    &ApplyMode::sBitwiseXOR,
    &ApplyMode::sSoftDissolve,
    &ApplyMode::sDancingSoftDissolve,
};
static_assert(sizeof kModes / sizeof kModes[0] == PixelApplyDancingSoftDissolve + 1,
              "one object per mode value");

} // namespace

ApplyMode::ApplyMode(const char* body)
    : body_(GL_FRAGMENT_SHADER, body), shadersPending_(true), lightShadersPending_(true), seed_(0.0f, 0.0f) {}

// GL worker thread.
void ApplyMode::Apply(const Texture& front, const Texture& back, float mix) {
    TextureUnit(0, front).Apply();
    TextureUnit(1, back).Apply();
    ApplyBound(mix);
}

void ApplyMode::ApplyLight(const Texture& front, const Texture& back, float mix) {
    TextureUnit(0, front).Apply();
    TextureUnit(1, back).Apply();
    ApplyLightBound(mix);
}

void ApplyMode::ApplyBound(float mix) {
    Use(*this, sMainFragment, shadersPending_, mix);
}

void ApplyMode::ApplyLightBound(float mix) {
    Use(light_, sMainLight, lightShadersPending_, mix);
}

void ApplyMode::Compile() {
    body_.Initialize();
}

void ApplyMode::Use(EffectProgram& program, GLSL::Shader& main, bool& pending, float mix) {
    if (pending) {
        program.AddShader(&EffectProgram::sMultiTexture);
        program.AddShader(&main);
        program.AddShader(&body_);
        pending = false;
        Compile();
    }
    program.EffectProgram::Apply();
    program.SetUniform("front", TextureUnit(0));
    program.SetUniform("back", TextureUnit(1));
    program.SetUniform("apply_mix", mix);
    program.SetUniform("random", seed_);
}

void ApplyMode::ApplyRandom(float angle) {
    seed_ = p2f(std::cos(angle) * kSeedWidth, std::sin(angle) * kSeedHeight);
    if (GetProgram().Name() != 0 && GetProgram().IsCurrent())
        SetUniform("random", seed_);
    else if (light_.GetProgram().Name() != 0 && light_.GetProgram().IsCurrent())
        light_.SetUniform("random", seed_);
}

ApplyMode* ApplyMode::GetApplyMode(PixelApplyMode mode) {
    const int value = static_cast<int>(mode);
    if (value < 0 || value > PixelApplyDancingSoftDissolve)
        return nullptr;
    ApplyMode* selected = kModes[value];
    if (value == PixelApplySoftDissolve)
        selected->ApplyRandom(0.0f);
    return selected;
}

void ApplyMode::Apply(const Texture& front, const Texture& back, PixelApplyMode mode, float mix) {
    if (ApplyMode* selected = GetApplyMode(mode))
        selected->Apply(front, back, mix);
}

void ApplyMode::ApplyLight(const Texture& front, const Texture& back, PixelApplyMode mode, float mix) {
    if (ApplyMode* selected = GetApplyMode(mode))
        selected->ApplyLight(front, back, mix);
}

void ApplyMode::Finalize() {
    EffectProgram::Finalize();
    light_.Finalize();
    body_.Finalize();
}

} // namespace OGL_ZEP6_AE
