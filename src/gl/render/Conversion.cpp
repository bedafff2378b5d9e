#include "gl/render/Conversion.h"

#include "gl/state/Texturing.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {

#define ZEP6_CONVERSION_HEADER                                                                               \
    "#extension GL_ARB_texture_rectangle : enable\n"                                                         \
    "uniform sampler2DRect texture;\n"                                                                       \
    "uniform float scale;\n"                                                                                 \
    "vec4 process(vec4 f);\n"

// Reading into the library's order: the scale applies before processing.
#define ZEP6_FROM_MAIN(swizzle)                                                                              \
    ZEP6_CONVERSION_HEADER                                                                                   \
    "void main()\n"                                                                                          \
    "{\n"                                                                                                    \
    "    vec4 f = texture2DRect(texture, gl_TexCoord[0].st)." swizzle ";\n"                                  \
    "    f = process(f * scale);\n"                                                                          \
    "    f.a = clamp(f.a, 0.0, 1.0);\n"                                                                      \
    "    gl_FragColor = f;\n"                                                                                \
    "}\n"

// Writing out of the library's order: the scale applies after processing, and a scale below one
// (a white level below the full range) also bounds every channel.
#define ZEP6_TO_MAIN(swizzle)                                                                                \
    ZEP6_CONVERSION_HEADER                                                                                   \
    "void main()\n"                                                                                          \
    "{\n"                                                                                                    \
    "    vec4 f = process(texture2DRect(texture, gl_TexCoord[0].st)) * scale;\n"                             \
    "    if (scale < 1.0)\n"                                                                                 \
    "        f = clamp(f, 0.0, scale);\n"                                                                    \
    "    else\n"                                                                                             \
    "        f.a = clamp(f.a, 0.0, 1.0);\n"                                                                  \
    "    gl_FragColor = f" swizzle ";\n"                                                                     \
    "}\n"

#define ZEP6_PROCESS(code) "float luma(vec4 pixel);\nvec4 process(vec4 f)\n{\n" code "}\n"

const char* const kFromARGB = ZEP6_FROM_MAIN("gbar");
const char* const kFromBGRA = ZEP6_FROM_MAIN("bgra");
const char* const kToARGB = ZEP6_TO_MAIN(".argb");
const char* const kToBGRA = ZEP6_TO_MAIN(".bgra");
const char* const kNoSwizzle = ZEP6_TO_MAIN("");

const char* const kNoProcess = ZEP6_PROCESS("    return f;\n");
const char* const kPremultiply = ZEP6_PROCESS("    float a = clamp(f.a, 0.0, 1.0);\n"
                                              "    return vec4(f.rgb * a, f.a);\n");
// Below 1/1024 the alpha carries too little of the colour to divide it out.
const char* const kUnpremultiply = ZEP6_PROCESS("    float a = clamp(f.a, 0.0, 1.0);\n"
                                                "    if (a > 1.0 / 1024.0)\n"
                                                "        return vec4(f.rgb / a, f.a);\n"
                                                "    return f;\n");
const char* const kInvertColor = ZEP6_PROCESS("    return vec4(1.0 - f.rgb, f.a);\n");
const char* const kCopyAlpha = ZEP6_PROCESS("    return vec4(1.0, 1.0, 1.0, f.a);\n");
const char* const kCopyAlphaPremult = ZEP6_PROCESS("    return vec4(f.a);\n");
const char* const kCopyLuma = ZEP6_PROCESS("    return vec4(1.0, 1.0, 1.0, luma(f));\n");
const char* const kCopyLumaPremult = ZEP6_PROCESS("    return vec4(luma(f) * f.a);\n");
const char* const kCopyLumaSaveColor = ZEP6_PROCESS("    return vec4(f.rgb, luma(f));\n");
const char* const kCopyLumaSaveColorPremult = ZEP6_PROCESS("    float a = luma(f) * f.a;\n"
                                                           "    return vec4(f.rgb * a, a);\n");
const char* const kCopyInvAlpha = ZEP6_PROCESS("    return vec4(1.0, 1.0, 1.0, 1.0 - f.a);\n");
const char* const kCopyInvLuma = ZEP6_PROCESS("    return vec4(1.0, 1.0, 1.0, 1.0 - luma(f));\n");
const char* const kCopyInvLumaPremult = ZEP6_PROCESS("    return vec4((1.0 - luma(f)) * f.a);\n");
const char* const kAdditiveColor = ZEP6_PROCESS("    float i = max(max(f.r, f.g), max(f.b, f.a));\n"
                                                "    if (i > 0.0)\n"
                                                "        return vec4(f.rgb / i, i);\n"
                                                "    return f;\n");

#undef ZEP6_CONVERSION_HEADER
#undef ZEP6_FROM_MAIN
#undef ZEP6_TO_MAIN
#undef ZEP6_PROCESS

} // namespace

GLSL::Shader Conversion::sFromARGB(GL_FRAGMENT_SHADER, kFromARGB);
GLSL::Shader Conversion::sFromBGRA(GL_FRAGMENT_SHADER, kFromBGRA);
GLSL::Shader Conversion::sToARGB(GL_FRAGMENT_SHADER, kToARGB);
GLSL::Shader Conversion::sToBGRA(GL_FRAGMENT_SHADER, kToBGRA);
GLSL::Shader Conversion::sNoSwizzle(GL_FRAGMENT_SHADER, kNoSwizzle);

GLSL::Shader Conversion::sNoProcess(GL_FRAGMENT_SHADER, kNoProcess);
GLSL::Shader Conversion::sPremultiply(GL_FRAGMENT_SHADER, kPremultiply);
GLSL::Shader Conversion::sUnpremultiply(GL_FRAGMENT_SHADER, kUnpremultiply);
GLSL::Shader Conversion::sInvertColor(GL_FRAGMENT_SHADER, kInvertColor);
GLSL::Shader Conversion::sCopyAlpha(GL_FRAGMENT_SHADER, kCopyAlpha);
GLSL::Shader Conversion::sCopyAlphaPremult(GL_FRAGMENT_SHADER, kCopyAlphaPremult);
GLSL::Shader Conversion::sCopyLuma(GL_FRAGMENT_SHADER, kCopyLuma);
GLSL::Shader Conversion::sCopyLumaPremult(GL_FRAGMENT_SHADER, kCopyLumaPremult);
GLSL::Shader Conversion::sCopyLumaSaveColor(GL_FRAGMENT_SHADER, kCopyLumaSaveColor);
GLSL::Shader Conversion::sCopyLumaSaveColorPremult(GL_FRAGMENT_SHADER, kCopyLumaSaveColorPremult);
GLSL::Shader Conversion::sCopyInvAlpha(GL_FRAGMENT_SHADER, kCopyInvAlpha);
GLSL::Shader Conversion::sCopyInvLuma(GL_FRAGMENT_SHADER, kCopyInvLuma);
GLSL::Shader Conversion::sCopyInvLumaPremult(GL_FRAGMENT_SHADER, kCopyInvLumaPremult);
GLSL::Shader Conversion::sAdditiveColor(GL_FRAGMENT_SHADER, kAdditiveColor);

Conversion::Conversion()
    : conversion_(nullptr), processing_(nullptr), texture_(nullptr), scale_(1.0f), dirty_(true) {}

void Conversion::SetConversion(GLSL::Shader* shader) {
    if (shader == conversion_)
        return;
    EffectProgram::Finalize();
    conversion_ = shader;
    dirty_ = true;
}

void Conversion::SetProcessing(GLSL::Shader* shader) {
    if (shader == processing_)
        return;
    EffectProgram::Finalize();
    processing_ = shader;
    dirty_ = true;
}

void Conversion::SetTexture(const Texture* texture) {
    texture_ = texture;
}

void Conversion::SetScale(float scale) {
    scale_ = scale;
}

// GL worker thread.
void Conversion::Apply() {
    if (dirty_) {
        AddShader(conversion_ ? conversion_ : &sNoSwizzle);
        AddShader(processing_ ? processing_ : &sNoProcess);
        dirty_ = false;
    }
    EffectProgram::Apply();
    SetUniform("scale", scale_);
    if (texture_) {
        TextureUnit(0, *texture_).Apply();
        SetUniform("texture", TextureUnit(0));
        texture_ = nullptr;
    }
}

} // namespace OGL_ZEP6_AE
