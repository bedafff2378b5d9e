// Light, material and light-model values without a context: the defaults the effects rely on.
#include "gl/render/Light.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/state/ColorScale.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

using namespace OGL_ZEP6_AE;

TEST(LightValues, TemplateDefaultsAndValueConstructors) {
    const AmbientLight<1> ambient;
    EXPECT_EQ(ambient.color, Color::White);
    EXPECT_TRUE(ambient.lightOn && ambient.lightingOn);
    EXPECT_EQ(DiffuseLight<1>().color, Color::Transparent);
    const SpotLight<4> spot;
    EXPECT_EQ(spot.specular, Color::Transparent);
    EXPECT_EQ(spot.position, p4f(0, 0, 0, 1));
    EXPECT_EQ(spot.direction, p4f(0, 0, -1, 1));
    EXPECT_EQ(spot.exponent, 0.0f);
    EXPECT_EQ(spot.cutoff, 180.0f);
    EXPECT_EQ(spot.quadraticAttenuation, 0.0f);

    const SimpleLight simple(Color::Yellow);
    EXPECT_EQ(simple.color, Color::Yellow);
    EXPECT_EQ(simple.ambient.color, Color::Yellow);
    EXPECT_EQ(simple.diffuse.color, Color::Yellow);
    EXPECT_EQ(SimpleLight().color, Color::White);
}

TEST(LightValues, ParamLightConstructorAndSetDefaults) {
    ParamLight light(2);
    EXPECT_FALSE(light.on);
    EXPECT_TRUE(light.useAmbient);
    EXPECT_FALSE(light.spot);
    EXPECT_TRUE(light.userFlag0);
    EXPECT_FALSE(light.userFlag1);
    EXPECT_EQ(light.ambient, Color::Black);
    EXPECT_EQ(light.diffuse, Color(1, 1, 1, 1));
    EXPECT_EQ(light.specular, Color::White);
    EXPECT_EQ(light.quadraticAttenuation, 64000.0f);
    EXPECT_EQ(light.userValue0, 0.001f);
    EXPECT_EQ(light.userValue1, 0.0f);
    EXPECT_EQ(light.position, p4f(0, 0, 0, 1));
    EXPECT_EQ(light.direction, p4f(0, 0, 0, 1));
    EXPECT_EQ(light.constantAttenuation, 1.0f);
    EXPECT_EQ(light.linearAttenuation, 0.0f);
    EXPECT_EQ(light.spotExponent, 0.0f);
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

TEST(LightValues, MaterialsAndLightModel) {
    const Material& m = Material::Default;
    for (const Material::Face* face : {&m.front, &m.back}) {
        EXPECT_EQ(face->ambient, Color::DarkGray);
        EXPECT_EQ(face->diffuse, Color::LightGray);
        EXPECT_EQ(face->specular, Color::Transparent);
        EXPECT_EQ(face->emission, Color::Transparent);
        EXPECT_EQ(face->shininess, 0.0f);
        EXPECT_EQ(face->indexes[0], 0.0f);
    }
    const ColorMaterial cm(Color::Red, Color::Blue);
    EXPECT_EQ(cm.color, Color::Red);
    EXPECT_EQ(cm.material.front.ambient, Color::Red);
    EXPECT_EQ(cm.material.back.diffuse, Color::Blue);
    EXPECT_EQ(cm.material.back.specular, Color::Transparent);

    const LightModel model;
    EXPECT_EQ(model.ambient, Color::DarkGray);
    EXPECT_EQ(model.colorControl, static_cast<unsigned>(GL_SEPARATE_SPECULAR_COLOR));
    EXPECT_EQ(model.localViewer, 0);
    EXPECT_EQ(model.twoSided, 1);

    const ColorScale scale(0.5f);
    EXPECT_EQ(scale.color, Color(0.5f));
    EXPECT_EQ(scale.material.color, Color(0.5f));
    EXPECT_EQ(scale.blend, BlendFunc(GL_ZERO, GL_SRC_COLOR));
}
