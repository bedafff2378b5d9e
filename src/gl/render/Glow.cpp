#include "gl/render/Glow.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {

const char* const kThresholdSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect threshold_source;
uniform float threshold_luma;

void main()
{
    vec4 pixel = texture2DRect(threshold_source, gl_TexCoord[0].st);
    if (dot(pixel.rgb, vec3(0.299, 0.587, 0.114)) >= threshold_luma)
        gl_FragColor = pixel;
    else
        gl_FragColor = vec4(0.0);
}
)glsl";

// One blur direction: `axis` is the component along which the samples are taken.
#define ZEP6_BLUR_SOURCE(axis, offsetVector)                                                                 \
    "#extension GL_ARB_texture_rectangle : enable\n"                                                         \
    "uniform sampler2DRect blur_source;\n"                                                                   \
    "uniform vec2 blur_size;\n"                                                                              \
    "uniform float blur_radius;\n"                                                                           \
    "\n"                                                                                                     \
    "void main()\n"                                                                                          \
    "{\n"                                                                                                    \
    "    vec2 centre = gl_TexCoord[0].st;\n"                                                                 \
    "    vec4 result = texture2DRect(blur_source, centre);\n"                                                \
    "    float sum = 1.0;\n"                                                                                 \
    "    for (float offset = 1.5; offset <= blur_radius; offset += 2.0) {\n"                                 \
    "        float weight = 1.0 - (offset * offset) / (blur_radius * blur_radius);\n"                        \
    "        float low = clamp(centre." axis " - offset, 0.0, blur_size." axis " - 1.0);\n"                  \
    "        float high = clamp(centre." axis " + offset, 0.0, blur_size." axis " - 1.0);\n"                 \
    "        result += texture2DRect(blur_source, " offsetVector(                                            \
        "low") ") * weight;\n"                                                                               \
               "        result += texture2DRect(blur_source, " offsetVector(                                 \
                   "high") ") * weight;\n"                                                                   \
                           "        sum += 2.0 * weight;\n"                                                  \
                           "    }\n"                                                                         \
                           "    gl_FragColor = clamp(result / sum, 0.0, 1.0);\n"                             \
                           "}\n"
#define ZEP6_ALONG_X(v) "vec2(" v ", centre.y)"
#define ZEP6_ALONG_Y(v) "vec2(centre.x, " v ")"

const char* const kHorizBlurSource = ZEP6_BLUR_SOURCE("x", ZEP6_ALONG_X);
const char* const kVertBlurSource = ZEP6_BLUR_SOURCE("y", ZEP6_ALONG_Y);

#undef ZEP6_BLUR_SOURCE
#undef ZEP6_ALONG_X
#undef ZEP6_ALONG_Y

const char* const kGlowSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect glow_source;
uniform sampler2DRect glow_blurred;
uniform float glow_intensity;

void main()
{
    vec4 original = texture2DRect(glow_source, gl_TexCoord[0].st);
    vec4 blurred = texture2DRect(glow_blurred, gl_TexCoord[0].st);
    float k = blurred.a * glow_intensity;
    gl_FragColor = clamp(vec4(blurred.rgb * k + original.rgb, k + original.a), 0.0, 1.0);
}
)glsl";

GLSL::Shader sThresholdShader(GL_FRAGMENT_SHADER, kThresholdSource);
GLSL::Shader sHorizBlurShader(GL_FRAGMENT_SHADER, kHorizBlurSource);
GLSL::Shader sVertBlurShader(GL_FRAGMENT_SHADER, kVertBlurSource);
GLSL::Shader sGlowShader(GL_FRAGMENT_SHADER, kGlowSource);

EffectProgram sThresholdProgram(&sThresholdShader);
EffectProgram sHorizBlurProgram(&sHorizBlurShader);
EffectProgram sVertBlurProgram(&sVertBlurShader);
EffectProgram sGlowProgram(&sGlowShader);

} // namespace

EffectProgram& EffectProgram::sThreshold = sThresholdProgram;
EffectProgram& EffectProgram::sHorizBlur = sHorizBlurProgram;
EffectProgram& EffectProgram::sVertBlur = sVertBlurProgram;
EffectProgram& EffectProgram::sGlow = sGlowProgram;

} // namespace OGL_ZEP6_AE
