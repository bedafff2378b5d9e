#pragma once

// Format conversion while a texture is drawn: a main program that samples "texture" at texture
// coordinate 0, reorders the channels and applies "scale", linked with a process body
//
//     vec4 process(vec4 f);
//
// that premultiplies, unpremultiplies, extracts alpha or luma, and so on. Texture upload and
// read-back draw through it.
//
// Main programs:
// - sFromARGB: f = sample.gbar (stored A, R, G, B become R, G, B, A); f = process(f * scale);
//   alpha clamped to [0, 1].
// - sFromBGRA: f = sample.bgra; f = process(f * scale); alpha clamped to [0, 1].
// - sToARGB: f = process(sample) * scale; with scale < 1 every channel clamped to [0, scale],
//   otherwise the alpha to [0, 1]; written as f.argb.
// - sToBGRA: as sToARGB, written as f.bgra.
// - sNoSwizzle: as sToARGB, written in the sampled order.
//
// The program is relinked only when the main or the process body changes. The static shaders are
// made at load without any OpenGL call. GL thread only.

#include "Export.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"

namespace OGL_ZEP6_AE {

class Texture;

class ZEP6_API Conversion : public EffectProgram {
public:
    // No main and no process body chosen (sNoSwizzle and sNoProcess), scale 1, no texture.
    Conversion();

    // Choose the main program / the process body (null: sNoSwizzle / sNoProcess). A different
    // pointer deletes the program (it is linked again at the next Apply()); the same one changes
    // nothing.
    void SetConversion(GLSL::Shader* shader);
    void SetProcessing(GLSL::Shader* shader);
    // The texture the next Apply() binds on GL_TEXTURE0 (not owned; forgotten after that Apply).
    void SetTexture(const Texture* texture);
    void SetScale(float scale);

    GLSL::Shader* GetConversion() const { return conversion_; }
    GLSL::Shader* GetProcessing() const { return processing_; }
    float GetScale() const { return scale_; }

    // Links when the shaders changed, makes the program current and sets "scale"; with a texture
    // set, binds it on GL_TEXTURE0 and sets "texture" to unit 0. Draws nothing.
    void Apply() override;

    // Main programs.
    static GLSL::Shader sFromARGB;
    static GLSL::Shader sFromBGRA;
    static GLSL::Shader sToARGB;
    static GLSL::Shader sToBGRA;
    static GLSL::Shader sNoSwizzle;

    // Process bodies.
    static GLSL::Shader sNoProcess;                // f
    static GLSL::Shader sPremultiply;              // rgb * clamp(a, 0, 1)
    static GLSL::Shader sUnpremultiply;            // rgb / clamp(a, 0, 1) when that exceeds 1/1024
    static GLSL::Shader sInvertColor;              // 1 - rgb
    static GLSL::Shader sCopyAlpha;                // (1, 1, 1, a)
    static GLSL::Shader sCopyAlphaPremult;         // (a, a, a, a)
    static GLSL::Shader sCopyLuma;                 // (1, 1, 1, luma)
    static GLSL::Shader sCopyLumaPremult;          // luma * a on all four
    static GLSL::Shader sCopyLumaSaveColor;        // (rgb, luma)
    static GLSL::Shader sCopyLumaSaveColorPremult; // k = luma * a: (rgb * k, k)
    static GLSL::Shader sCopyInvAlpha;             // (1, 1, 1, 1 - a)
    static GLSL::Shader sCopyInvLuma;              // (1, 1, 1, 1 - luma)
    static GLSL::Shader sCopyInvLumaPremult;       // (1 - luma) * a on all four
    static GLSL::Shader sAdditiveColor;            // i = max(r, g, b, a) > 0: (rgb / i, i)

private:
    GLSL::Shader* conversion_;
    GLSL::Shader* processing_;
    const Texture* texture_;
    float scale_;
    bool dirty_;
};

} // namespace OGL_ZEP6_AE
