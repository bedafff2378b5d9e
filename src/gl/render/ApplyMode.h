#pragma once

// The blend modes: programs that combine a front and a back texture pixel by pixel.
//
// A mode object holds one fragment shader, its body, which defines
//
//     vec4 apply(vec4 fg, vec4 bg);
//
// and links it into one of two main programs:
// - the straight main (Apply): both samples premultiplied, the result mixed by "apply_mix" with
//   the clamped sum of the two, clamped, and unpremultiplied;
// - the light main (ApplyLight): the front is light whose alpha is its brightest channel; the
//   back, premultiplied and darkened by (1 - front), is mixed with the clamped mode result.
// Each main has its own program in the mode object, so one object serves both.
//
// The front is sampled on GL_TEXTURE0 at texture coordinate 0 and the back on GL_TEXTURE1 at
// coordinate 1 (rectangle textures, coordinates in texels through the texture matrices). Applying
// a mode only makes its program current and sets its uniforms; the caller then draws, for example
// EffectProgram::DrawRegion(region, GL_TEXTURE1).
//
// The mode objects are process-wide statics made at load without any OpenGL call; their programs
// are linked once, on first use, in the context current then. They are not locked: GL thread only.

#include "Export.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"
#include "geometry/Vector.h"

class XIImage;

namespace OGL_ZEP6_AE {

class Texture;

// The modes a plug-in selects by number; any other value selects nothing.
enum PixelApplyMode : int {
    PixelApplyOver = 0,
    PixelApplyLighten = 1,
    PixelApplyDarken = 2,
    PixelApplyMultiply = 3,
    PixelApplyScreen = 4,
    PixelApplyDifference = 5,
    PixelApplyLighter = 6,
    PixelApplyDarker = 7,
    PixelApplyScaleMultiply = 8,
    PixelApplyScaleScreen = 9,
    PixelApplyExpandDifference = 10,
    PixelApplyExpandDifference2 = 11,
    PixelApplyAdd = 12,
    PixelApplySubtract = 13,
    PixelApplyOverlay = 14,
    PixelApplySoftLight = 15,
    PixelApplyHardLight = 16,
    PixelApplyHue = 17,
    PixelApplySaturation = 18,
    PixelApplyColor = 19,
    PixelApplyLuminosity = 20,
    PixelApplyTransparency = 21,
    PixelApplyOpacity = 22,
    PixelApplyMoreGray = 23,
    PixelApplyLeastGray = 24,
    PixelApplyReverseSubtract = 25,
    PixelApplyClippedSubtract = 26,
    PixelApplyLessGray = 27,
    PixelApplyMostGray = 28,
    PixelApplyBoostExponential1 = 29,
    PixelApplyBoostExponential2 = 30,
    PixelApplyBoostEqualPowerPositive = 31,
    PixelApplyBoostEqualPowerNegative = 32,
    PixelApplyBoostEqualPowerBias1 = 33,
    PixelApply5050Mix = 34,
    PixelApplyDissolve = 35,
    PixelApplyDancingDissolve = 36,
    PixelApplyAlphaMask = 37,
    PixelApplyLumaMask = 38,
    PixelApplyInverseAlphaMask = 39,
    PixelApplyInverseLumaMask = 40,
    PixelApplyAddAlpha = 41,
    PixelApplyAddPremultiplied = 42,
    PixelApplyReverseSubtractBasic = 43,
    PixelApplyBitwiseAND = 44,
    PixelApplyBitwiseOR = 45,
    PixelApplyBitwiseXOR = 46,
    PixelApplySoftDissolve = 47,
    PixelApplyDancingSoftDissolve = 48,
};

class ZEP6_API ApplyMode : public EffectProgram {
public:
    // A mode whose body shader has the given source (copied; no OpenGL call).
    explicit ApplyMode(const char* body);

    // Binds front on GL_TEXTURE0 and back on GL_TEXTURE1 (each texture applies itself on its
    // unit), links the straight program on first use, makes it current and sets "front" = unit 0,
    // "back" = unit 1, "apply_mix" = mix and "random" = the seed of ApplyRandom(). Draws nothing.
    void Apply(const Texture& front, const Texture& back, float mix);
    // The same with the light main.
    void ApplyLight(const Texture& front, const Texture& back, float mix);
    // As Apply() and ApplyLight() for callers that bound the front on GL_TEXTURE0 and the back on
    // GL_TEXTURE1 themselves (their own OpenGL textures).
    void ApplyBound(float mix);
    void ApplyLightBound(float mix);

    // Seeds rand() with (cos(angle) * 1920, sin(angle) * 1080), angle in radians: the uniform
    // "random" of whichever of this mode's programs is current is set now, and every later
    // Apply sets it again (so a seed given before the program exists is not lost).
    void ApplyRandom(float angle);
    p2f RandomSeed() const { return seed_; }

    // The mode object of a PixelApplyMode, or null for any other value. Selecting 47
    // (sSoftDissolve) resets its seed with ApplyRandom(0) every time.
    static ApplyMode* GetApplyMode(PixelApplyMode mode);
    // GetApplyMode(mode), then its Apply(); nothing for an unknown mode.
    static void Apply(const Texture& front, const Texture& back, PixelApplyMode mode, float mix);
    // GetApplyMode(mode), then its ApplyLight(); nothing for an unknown mode.
    static void ApplyLight(const Texture& front, const Texture& back, PixelApplyMode mode, float mix);
    // Composites two host images into a third, from any thread (the call moves itself onto the
    // GL worker thread and waits): destination = mode(front, back) mixed by `mix`, drawn tile by
    // tile over the destination. A valid mask multiplies the front's alpha; an invalid mask or back
    // is left out; an invalid front or destination makes the call do nothing; an unknown mode
    // draws the tiles without a program.
    static void Apply(const XIImage* front, const XIImage* back, const XIImage* mask,
                      XIImage* destination, PixelApplyMode mode, float mix);

    // Deletes both programs and the body shader; the next use links again.
    void Finalize() override;

    GLSL::Shader& Body() { return body_; }
    // The program of the light main (this object itself is the straight one).
    EffectProgram& LightProgram() { return light_; }

    // The modes of PixelApplyMode, in value order.
    static ApplyMode sOver;
    static ApplyMode sLighten;
    static ApplyMode sDarken;
    static ApplyMode sMultiply;
    static ApplyMode sScreen;
    static ApplyMode sDifference;
    static ApplyMode sLighter;
    static ApplyMode sDarker;
    static ApplyMode sScaleMultiply;
    static ApplyMode sScaleScreen;
    static ApplyMode sExpandDifference;
    static ApplyMode sExpandDifference2;
    static ApplyMode sAdd;
    static ApplyMode sSubtract;
    static ApplyMode sOverlay;
    static ApplyMode sSoftLight;
    static ApplyMode sHardLight;
    static ApplyMode sHue;
    static ApplyMode sSaturation;
    static ApplyMode sColor;
    static ApplyMode sLuminosity;
    static ApplyMode sTransparency;
    static ApplyMode sOpacity;
    static ApplyMode sMoreGray;
    static ApplyMode sLeastGray;
    static ApplyMode sReverseSubtract;
    static ApplyMode sClippedSubtract;
    static ApplyMode sLessGray;
    static ApplyMode sMostGray;
    static ApplyMode sBoostExponential1;
    static ApplyMode sBoostExponential2;
    static ApplyMode sBoostEqualPowerPositive;
    static ApplyMode sBoostEqualPowerNegative;
    static ApplyMode sBoostEqualPowerBias1;
    static ApplyMode s5050Mix;
    static ApplyMode sDissolve;
    static ApplyMode sDancingDissolve;
    static ApplyMode sAlphaMask;
    static ApplyMode sLumaMask;
    static ApplyMode sInverseAlphaMask;
    static ApplyMode sInverseLumaMask;
    static ApplyMode sAddAlpha;
    static ApplyMode sAddPremultiplied;
    static ApplyMode sReverseSubtractBasic;
    static ApplyMode sBitwiseAND;
    static ApplyMode sBitwiseOR;
    static ApplyMode sBitwiseXOR;
    static ApplyMode sSoftDissolve;
    static ApplyMode sDancingSoftDissolve;

    // Modes no PixelApplyMode selects: transparent black, the front (sCopy, sFront), the back,
    // and the back over the front (sUnder).
    static ApplyMode sNone;
    static ApplyMode sCopy;
    static ApplyMode sFront;
    static ApplyMode sBack;
    static ApplyMode sUnder;

private:
    // Compiles the body shader; a failure propagates unchanged.
    void Compile();
    // Links (on first use) and applies one of the two programs, then sets its uniforms.
    void Use(EffectProgram& program, GLSL::Shader& main, bool& pending, float mix);

    GLSL::Shader body_;
    EffectProgram light_;
    bool shadersPending_;
    bool lightShadersPending_;
    p2f seed_;

    static GLSL::Shader sMainFragment;
    static GLSL::Shader sMainLight;
};

} // namespace OGL_ZEP6_AE
