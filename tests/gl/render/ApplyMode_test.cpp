// The program objects without any OpenGL context: the library's static programs exist at load
// with no OpenGL object made, the mode selector maps every value, and the dissolve seed is reset
// on selection without touching OpenGL.
#include "gl/render/ApplyMode.h"
#include "gl/render/Conversion.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/Glow.h"

#include <gtest/gtest.h>

#include <cmath>
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

TEST(ApplyModeSelector, MapsEveryValueToItsOwnObject) {
    ApplyMode* seen[PixelApplyDancingSoftDissolve + 1] = {};
    for (int value = 0; value <= PixelApplyDancingSoftDissolve; ++value) {
        ApplyMode* mode = ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(value));
        ASSERT_NE(mode, nullptr) << value;
        for (int earlier = 0; earlier < value; ++earlier)
            EXPECT_NE(seen[earlier], mode) << value << " and " << earlier << " share an object";
        seen[value] = mode;
    }
    EXPECT_EQ(ApplyMode::GetApplyMode(PixelApplyOver), &ApplyMode::sOver);
    EXPECT_EQ(ApplyMode::GetApplyMode(PixelApplyLuminosity), &ApplyMode::sLuminosity);
    EXPECT_EQ(ApplyMode::GetApplyMode(PixelApplyReverseSubtractBasic), &ApplyMode::sReverseSubtractBasic);
    EXPECT_EQ(ApplyMode::GetApplyMode(PixelApplyDancingSoftDissolve), &ApplyMode::sDancingSoftDissolve);
    for (ApplyMode* extra :
         {&ApplyMode::sNone, &ApplyMode::sCopy, &ApplyMode::sFront, &ApplyMode::sBack, &ApplyMode::sUnder})
        for (ApplyMode* selected : seen)
            EXPECT_NE(extra, selected) << "no value selects the further objects";

    for (const int value : {-1, 49, 50, 1000, -2147483647 - 1})
        EXPECT_EQ(ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(value)), nullptr) << value;
}

TEST(ApplyModeSelector, SelectingSoftDissolveResetsItsSeed) {
    ApplyMode::sSoftDissolve.ApplyRandom(2.0f);
    EXPECT_EQ(ApplyMode::sSoftDissolve.RandomSeed(), p2f(std::cos(2.0f) * 1920, std::sin(2.0f) * 1080));
    ApplyMode::GetApplyMode(PixelApplySoftDissolve);
    EXPECT_EQ(ApplyMode::sSoftDissolve.RandomSeed(), p2f(1920, 0));
    ApplyMode::sDissolve.ApplyRandom(2.0f);
    ApplyMode::GetApplyMode(PixelApplyDissolve);
    EXPECT_NE(ApplyMode::sDissolve.RandomSeed(), p2f(1920, 0)) << "only 47 resets its seed";
}
