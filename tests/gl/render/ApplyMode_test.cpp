// The program objects without any OpenGL context: the library's static programs exist at load
// with no OpenGL object made, and the mode selector refuses values out of range.
#include "gl/render/ApplyMode.h"
#include "gl/render/Conversion.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/Glow.h"

#include <gtest/gtest.h>

#include <string>

using namespace OGL_ZEP6_AE;

TEST(ProgramStatics, ExistAtLoadWithoutOpenGLObjects) {
    for (ApplyMode* mode :
         {&ApplyMode::sOver, &ApplyMode::sHue, &ApplyMode::sSoftDissolve, &ApplyMode::sUnder}) {
        EXPECT_EQ(mode->GetProgram().Name(), 0);
        EXPECT_EQ(mode->LightProgram().GetProgram().Name(), 0);
        EXPECT_EQ(mode->Body().Name(), 0u);
        EXPECT_EQ(mode->ShaderCount(), 0) << "the shaders are added on first use";
        EXPECT_NE(std::string(mode->Body().Source()).find("vec4 apply(vec4 fg, vec4 bg)"), std::string::npos);
    }
    for (EffectProgram* glow : {&EffectProgram::sThreshold, &EffectProgram::sHorizBlur,
                                &EffectProgram::sVertBlur, &EffectProgram::sGlow}) {
        EXPECT_EQ(glow->GetProgram().Name(), 0);
        EXPECT_EQ(glow->ShaderCount(), 1);
    }
    for (GLSL::Shader* shader : {&Conversion::sFromARGB, &Conversion::sNoSwizzle, &Conversion::sAdditiveColor,
                                 &EffectProgram::sVertexShader, &EffectProgram::sMultiTexture}) {
        EXPECT_EQ(shader->Name(), 0u);
        EXPECT_GT(std::string(shader->Source()).size(), 0u);
    }
    EXPECT_EQ(EffectProgram::sVertexShader.Type(), 0x8B31u); // GL_VERTEX_SHADER
    EXPECT_EQ(Conversion::sToARGB.Type(), 0x8B30u);          // GL_FRAGMENT_SHADER
}

// Each value's own object is checked with its formula (ApplyMode_gl_test); here the values
// outside the range.
TEST(ApplyModeSelector, UnknownValuesSelectNothing) {
    for (const int value : {-1, 49, 50, 1000, -2147483647 - 1})
        EXPECT_EQ(ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(value)), nullptr) << value;
}
