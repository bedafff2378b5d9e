// Light and material values without a context: what the composing constructors and SetDefaults do.
#include "gl/render/Light.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

using namespace OGL_ZEP6_AE;

TEST(LightValues, SimpleLightSetsAmbientAndDiffuseToItsColour) {
    const SimpleLight simple(Color::Yellow);
    EXPECT_EQ(simple.ambient.color, Color::Yellow);
    EXPECT_EQ(simple.diffuse.color, Color::Yellow);
}

TEST(LightValues, ParamLightConstructorAndSetDefaults) {
    ParamLight light(2);
    EXPECT_FALSE(light.on);
    EXPECT_EQ(light.quadraticAttenuation, 64000.0f);
    EXPECT_EQ(light.spotCutoff, 90.0f);
    EXPECT_EQ(light.light, static_cast<unsigned>(GL_LIGHT2));

    // SetDefaults keeps the direction, the carried parameters and the light number.
    light.direction = p4f(1, 2, 3, 0);
    light.userParams[2] = 7.0f;
    light.spot = true;
    light.userFlag1 = true;
    light.SetDefaults(3, 99);
    EXPECT_TRUE(light.on);
    EXPECT_FALSE(light.spot);
    EXPECT_FALSE(light.userFlag1);
    EXPECT_EQ(light.diffuse, Color::White);
    EXPECT_EQ(light.specular, Color::Transparent);
    EXPECT_EQ(light.position, p4f(0, 0, -6, 1));
    EXPECT_EQ(light.direction, p4f(1, 2, 3, 0));
    EXPECT_EQ(light.userParams[2], 7.0f);
    EXPECT_EQ(light.light, static_cast<unsigned>(GL_LIGHT2));

    // A copy carries every field, the ones the library never reads included.
    const ParamLight copy = light;
    EXPECT_EQ(copy.userParams[2], 7.0f);
    EXPECT_EQ(copy.position, light.position);
}

TEST(LightValues, ColorMaterialSetsBothFacesAndKeepsSpecular) {
    const ColorMaterial cm(Color::Red, Color::Blue);
    EXPECT_EQ(cm.material.front.ambient, Color::Red);
    EXPECT_EQ(cm.material.back.diffuse, Color::Blue);
    EXPECT_EQ(cm.material.back.specular, Color::Transparent);
}

// SetDefault() applies this model: the effects' shading depends on it.
TEST(LightValues, LightModelIsTwoSidedWithSeparateSpecular) {
    const LightModel model;
    EXPECT_EQ(model.ambient, Color::DarkGray);
    EXPECT_EQ(model.colorControl, static_cast<unsigned>(GL_SEPARATE_SPECULAR_COLOR));
    EXPECT_EQ(model.localViewer, 0);
    EXPECT_EQ(model.twoSided, 1);
}
