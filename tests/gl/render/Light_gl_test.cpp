// Lights, materials, the light model and the highlight style: applied values come back, scopes restore.
#include "gl/render/Light.h"
#include "gl/render/LightHighlight.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/state/Color.h"

#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

using namespace OGL_ZEP6_AE;

namespace {

// Positions and directions are read back in eye coordinates, under the identity.
class LightGL : public zep6test::GlProgramTest {
protected:
    void SetUp() override {
        GlProgramTest::SetUp();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
    }
};

// Colours as vectors, which print their values when a comparison fails.
p4f Rgba(const Color& c) {
    return p4f(c.red, c.green, c.blue, c.alpha);
}
p4f LightGet(int light, GLenum pname) {
    p4f value(0, 0, 0, 0);
    glGetLightfv(GL_LIGHT0 + light, pname, value);
    return value;
}
Color MaterialGet(GLenum face, GLenum pname) {
    Color value;
    glGetMaterialfv(face, pname, value);
    return value;
}
GLint Integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}
bool Enabled(GLenum cap) {
    return glIsEnabled(cap) == GL_TRUE;
}
// OpenGL's current colour, not the library's mirror of it.
Color GlColor() {
    float colour[4];
    glGetFloatv(GL_CURRENT_COLOR, colour);
    return Color(colour);
}
p3f Xyz(const p4f& v) {
    return p3f(v.x, v.y, v.z);
}

// What a spot light and a parameter light read back; the direction without w, which OpenGL does
// not keep.
auto Fields(const SpotLight<2>& l) {
    return std::make_tuple(Rgba(l.specular), l.position, Xyz(l.direction), l.exponent, l.cutoff,
                           l.quadraticAttenuation);
}
auto Fields(const ParamLight& l) {
    return std::make_tuple(l.on, Rgba(l.ambient), Rgba(l.diffuse), Rgba(l.specular), l.position,
                           Xyz(l.direction), l.spotExponent, l.spotCutoff, l.constantAttenuation,
                           l.linearAttenuation, l.quadraticAttenuation);
}
auto LightState(int i) {
    return std::make_tuple(LightGet(i, GL_AMBIENT), LightGet(i, GL_DIFFUSE), LightGet(i, GL_SPECULAR),
                           Enabled(GL_LIGHT0 + i));
}

} // namespace

TEST_F(LightGL, ALightTemplateTouchesOnlyItsOwnLight) {
    glDisable(GL_LIGHTING);
    decltype(LightState(0)) before[8];
    for (int i = 0; i < 8; ++i)
        before[i] = LightState(i);
    const Color colour(0.25f, 0.5f, 0.75f, 1.0f);
    AmbientLight<3>(colour).Apply();
    DiffuseLight<3>(colour * 0.5f).Apply();
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(LightState(i),
                  i != 3 ? before[i]
                         : std::make_tuple(Rgba(colour), Rgba(colour * 0.5f), std::get<2>(before[i]), true))
            << i;
    EXPECT_TRUE(Enabled(GL_LIGHTING));
    AmbientLight<3> off(colour);
    off.lightOn = off.lightingOn = false;
    off.Apply();
    EXPECT_FALSE(Enabled(GL_LIGHT3) || Enabled(GL_LIGHTING)) << "the switches are applied as held";
}

// The values differ from OpenGL's defaults and from those the objects read into start with, so
// that a value left out of Apply() or of Retrieve() shows.
TEST_F(LightGL, LightValuesGiveBackWhatTheyApplied) {
    AmbientLight<1> ambient(Color(0.1f, 0.2f, 0.3f, 0.4f)), readAmbient(Color::Black);
    ambient.lightOn = ambient.lightingOn = false;
    ambient.Apply();
    readAmbient.Retrieve();
    EXPECT_EQ(readAmbient.color, ambient.color);
    EXPECT_FALSE(readAmbient.lightOn || readAmbient.lightingOn);
    const DiffuseLight<6> diffuse(Color(0.5f, 0.25f, 0.125f, 1.0f));
    diffuse.Apply();
    DiffuseLight<6> readDiffuse;
    readDiffuse.Retrieve();
    EXPECT_EQ(readDiffuse.color, diffuse.color);
    EXPECT_TRUE(readDiffuse.lightOn && readDiffuse.lightingOn);

    const SpotLight<2> spot(Color(0.5f, 0.5f, 0.25f, 1.0f), p4f(1, 2, 3, 1), p4f(0, -1, 0, 1), 8.0f, 45.0f,
                            0.5f);
    spot.Apply();
    SpotLight<2> readSpot;
    readSpot.Retrieve();
    EXPECT_EQ(Fields(readSpot), Fields(spot));

    const SimpleLight simple(Color(0.75f, 0.5f, 0.25f, 1.0f));
    simple.Apply();
    EXPECT_EQ(Color::sCurrentColor, simple.color);
    SimpleLight readSimple(Color::Black);
    readSimple.Retrieve();
    EXPECT_EQ(std::make_tuple(readSimple.color, readSimple.ambient.color, readSimple.diffuse.color),
              std::make_tuple(simple.color, simple.color, simple.color));

    ParamLight light(4), read(4);
    light.SetDefaults(2);
    light.ambient = Color(0.1f, 0.1f, 0.2f, 1.0f);
    light.diffuse = Color(0.6f, 0.7f, 0.8f, 1.0f);
    light.specular = Color(0.3f, 0.3f, 0.3f, 1.0f);
    light.direction = p4f(0, 1, 0, 0);
    light.spotExponent = 2.0f;
    light.spotCutoff = 30.0f;
    light.constantAttenuation = 0.5f;
    light.linearAttenuation = 0.25f;
    light.quadraticAttenuation = 0.125f;
    light.Apply();
    read.Retrieve();
    EXPECT_EQ(Fields(read), Fields(light));

    // Two models, so that each field changes from OpenGL's default and again from the first.
    LightModel readModel;
    for (const LightModel& model :
         {LightModel(Color(0.3f, 0.2f, 0.1f, 1.0f), GL_SEPARATE_SPECULAR_COLOR, 1, 1),
          LightModel(Color(0.1f, 0.2f, 0.3f, 1.0f), GL_SINGLE_COLOR, 0, 0)}) {
        model.Apply();
        readModel.Retrieve();
        EXPECT_EQ(readModel, model);
    }
}

TEST_F(LightGL, ParamLightSwitchesAndCustomApply) {
    glEnable(GL_LIGHT2);
    glEnable(GL_LIGHTING);
    ParamLight light(2);
    light.Apply();
    EXPECT_FALSE(Enabled(GL_LIGHT2) || Enabled(GL_LIGHTING));
    light.SetDefaults(1, 0);
    light.Apply();
    EXPECT_TRUE(Enabled(GL_LIGHT2) && Enabled(GL_LIGHTING));
    EXPECT_EQ(LightGet(2, GL_POSITION), p4f(0, 0, -2, 1));

    // Without the spot flag the cutoff and exponent are sent as "no spot", and kept so.
    light.spot = light.useAmbient = false;
    light.ambient = Color::White;
    light.spotCutoff = 20.0f;
    light.spotExponent = 5.0f;
    light.constantAttenuation = 3.0f;
    light.linearAttenuation = 2.0f;
    light.ApplyCustom();
    EXPECT_EQ(std::make_tuple(light.spotCutoff, light.spotExponent, light.constantAttenuation,
                              light.linearAttenuation),
              std::make_tuple(180.0f, 0.0f, 1.0f, 0.0f));
    EXPECT_EQ(light.ambient, Color::Transparent);
    EXPECT_EQ(LightGet(2, GL_SPOT_CUTOFF).x, 180.0f);
    EXPECT_EQ(LightGet(2, GL_SPOT_EXPONENT).x, 0.0f);
    EXPECT_EQ(LightGet(2, GL_AMBIENT), Rgba(Color::Transparent));
    light.spot = true;
    light.spotCutoff = 20.0f;
    light.ApplyCustom();
    EXPECT_EQ(LightGet(2, GL_SPOT_CUTOFF).x, 20.0f) << "with the flag the spot goes through as it is";

    const GLint maxLights = Integer(GL_MAX_LIGHTS);
    for (int i = 0; i < maxLights; ++i)
        i % 3 == 1 ? glEnable(GL_LIGHT0 + i) : glDisable(GL_LIGHT0 + i);
    ParamLights lights;
    lights.Retrieve();
    EXPECT_EQ(lights.count, maxLights < 8 ? maxLights : 8);
    for (int i = 0; i < lights.count; ++i)
        EXPECT_EQ(lights.switches[i] != 0, i % 3 == 1) << i;
    EXPECT_NE(lights.lighting, 0);
    ParamLights::DisableLights();
    for (int i = 0; i < maxLights; ++i)
        EXPECT_FALSE(Enabled(GL_LIGHT0 + i)) << i;
    EXPECT_FALSE(Enabled(GL_LIGHTING));
    lights.Apply();
    for (int i = 0; i < lights.count; ++i)
        EXPECT_EQ(Enabled(GL_LIGHT0 + i), i % 3 == 1) << i;
    EXPECT_TRUE(Enabled(GL_LIGHTING));
}

TEST_F(LightGL, MaterialsAndTheirPushesRestore) {
    Material m(Color(0.1f, 0.2f, 0.3f, 1.0f), Color(0.4f, 0.5f, 0.6f, 1.0f), Color(0.7f, 0.7f, 0.7f, 1.0f),
               Color(0.05f, 0.0f, 0.0f, 1.0f), 32.0f);
    m.back.diffuse = Color(0.9f, 0.1f, 0.1f, 1.0f);
    m.Apply();
    EXPECT_EQ(MaterialGet(GL_FRONT, GL_DIFFUSE), m.front.diffuse);
    EXPECT_EQ(MaterialGet(GL_BACK, GL_DIFFUSE), m.back.diffuse);
    EXPECT_EQ(MaterialGet(GL_FRONT, GL_SHININESS).red, 32.0f);
    // Changed in the context directly: Retrieve still gives the applied material.
    const float red[4] = {1, 0, 0, 1};
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, red);
    Material read;
    read.Retrieve();
    EXPECT_EQ(read, m);

    // Each push of a colour material sets what it should and brings back colour and material,
    // also after something else was applied inside.
    const ColorMaterial original(Color(0.25f, 0.25f, 0.5f, 1.0f), Color::Gray);
    original.Apply();
    EXPECT_EQ(Color::sCurrentColor, original.color);
    ColorMaterial now;
    for (const bool custom : {false, true}) {
        {
            const ColorMaterial pushed = custom ? ColorMaterial(Color::Red, Color::Blue)
                                                : ColorMaterial(Color::DarkGray, Color::Transparent);
            const auto push = custom ? std::make_unique<PushColorMaterial>(Color::Red, Color::Blue)
                                     : std::make_unique<PushColorMaterial>();
            now.Retrieve();
            EXPECT_EQ(now, pushed);
            EXPECT_EQ(GlColor(), pushed.color);
            ColorMaterial(Color::Green, Color::Green).Apply();
        }
        now.Retrieve();
        EXPECT_EQ(now, original);
        EXPECT_EQ(GlColor(), original.color);
        EXPECT_EQ(MaterialGet(GL_BACK, GL_DIFFUSE), Color::Gray);
    }
}

TEST_F(LightGL, HighlightRestoresStippleAndColour) {
    for (bool stippleBefore : {false, true}) {
        SCOPED_TRACE(stippleBefore ? "stipple on before" : "stipple off before");
        stippleBefore ? glEnable(GL_LINE_STIPPLE) : glDisable(GL_LINE_STIPPLE);
        glLineStipple(1, 0xFFFF);
        const Color before(0.25f, 0.5f, 0.75f, 1.0f);
        before.Apply();
        {
            Highlight highlight;
            EXPECT_TRUE(Enabled(GL_LINE_STIPPLE));
            EXPECT_EQ(Integer(GL_LINE_STIPPLE_REPEAT), 5);
            EXPECT_EQ(Integer(GL_LINE_STIPPLE_PATTERN), 0x5555);
            EXPECT_EQ(Color::sCurrentColor, Color::Bright);
            EXPECT_EQ(GlColor(), Color::Bright);
            // Switched by hand inside: the destructor still brings back the saved switch.
            if (stippleBefore)
                glDisable(GL_LINE_STIPPLE);
        }
        EXPECT_EQ(Enabled(GL_LINE_STIPPLE), stippleBefore);
        EXPECT_EQ(Integer(GL_LINE_STIPPLE_PATTERN), 0x5555) << "the pattern stays";
        EXPECT_EQ(Color::sCurrentColor, before);
        EXPECT_EQ(GlColor(), before);
    }
    glDisable(GL_LINE_STIPPLE);
}
