// Lights, materials, the light model and the highlight style on a real context: what is applied
// comes back, applying touches only its own light, and the scoped objects restore.
#include "gl/context/RootContext.h"
#include "gl/render/Light.h"
#include "gl/render/LightHighlight.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/state/Color.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

using namespace OGL_ZEP6_AE;

namespace {

std::string ErrorsLeft() {
    std::string errors;
    for (GLenum e = glGetError(); e != GL_NO_ERROR; e = glGetError())
        errors += std::to_string(e) + " ";
    return errors;
}

class LightGL : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(RootContext::Select());
        ASSERT_EQ(ErrorsLeft(), "");
        // Positions and directions are read back in eye coordinates.
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
    }
    void TearDown() override { EXPECT_EQ(ErrorsLeft(), "") << "OpenGL errors left behind"; }

    PushOpenGLContext saved_;
};

// A parameter of a light (glGetLightfv) or of a face's material (glGetMaterialfv): a Color or p4f
// for four values, a float for one.
template <class T = Color> T Get(void (*get)(GLenum, GLenum, GLfloat*), GLenum which, GLenum pname) {
    T value{};
    get(which, pname, reinterpret_cast<float*>(&value));
    return value;
}
template <class T = Color> T LightGet(int light, GLenum pname) {
    return Get<T>(glGetLightfv, GL_LIGHT0 + light, pname);
}

GLint Integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

// OpenGL's current colour, not the library's mirror of it.
Color GlColor() {
    float colour[4];
    glGetFloatv(GL_CURRENT_COLOR, colour);
    return Color(colour);
}

bool Enabled(GLenum cap) {
    return glIsEnabled(cap) == GL_TRUE;
}

p3f Xyz(const p4f& v) {
    return p3f(v.x, v.y, v.z);
}
// Colours as vectors, which print their values when a comparison fails.
p4f Rgba(const Color& c) {
    return p4f(c.red, c.green, c.blue, c.alpha);
}

// What a spot light and a parameter light read back, to compare with what was applied. The
// direction without w, which OpenGL does not keep.
auto Fields(const SpotLight<2>& l) {
    return std::make_tuple(Rgba(l.specular), l.position, Xyz(l.direction), l.exponent, l.cutoff,
                           l.quadraticAttenuation);
}
auto Fields(const ParamLight& l) {
    return std::make_tuple(l.on, Rgba(l.ambient), Rgba(l.diffuse), Rgba(l.specular), l.position,
                           Xyz(l.direction), l.spotExponent, l.spotCutoff, l.constantAttenuation,
                           l.linearAttenuation, l.quadraticAttenuation);
}

// A light's ambient, diffuse and specular colour and its switch.
auto LightState(int i) {
    return std::make_tuple(LightGet<p4f>(i, GL_AMBIENT), LightGet<p4f>(i, GL_DIFFUSE),
                           LightGet<p4f>(i, GL_SPECULAR), Enabled(GL_LIGHT0 + i));
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
    for (int i = 0; i < 8; ++i) {
        const p4f specular = std::get<2>(before[i]); // no template here sets it
        EXPECT_EQ(LightState(i),
                  i == 3 ? std::make_tuple(Rgba(colour), Rgba(colour * 0.5f), specular, true) : before[i])
            << i;
    }
    EXPECT_TRUE(Enabled(GL_LIGHTING));

    // The switches are applied as they are held.
    AmbientLight<3> off(colour);
    off.lightOn = false;
    off.lightingOn = false;
    off.Apply();
    EXPECT_FALSE(Enabled(GL_LIGHT3));
    EXPECT_FALSE(Enabled(GL_LIGHTING));
}

// The values differ from OpenGL's defaults and from those the objects read into start with (the
// switches between the ambient and the diffuse light, which share that code), so that a value left
// out of Apply() or of Retrieve() shows.
TEST_F(LightGL, LightValuesGiveBackWhatTheyApplied) {
    AmbientLight<1> ambient(Color(0.1f, 0.2f, 0.3f, 0.4f));
    ambient.lightOn = false;
    ambient.lightingOn = false;
    ambient.Apply();
    AmbientLight<1> readAmbient(Color::Black);
    readAmbient.Retrieve();
    EXPECT_EQ(readAmbient.color, ambient.color);
    EXPECT_FALSE(readAmbient.lightOn);
    EXPECT_FALSE(readAmbient.lightingOn);

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
    EXPECT_EQ(readSimple.color, simple.color);
    EXPECT_EQ(readSimple.ambient.color, simple.color);
    EXPECT_EQ(readSimple.diffuse.color, simple.color);

    ParamLight light(4);
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
    ParamLight read(4);
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
    EXPECT_FALSE(Enabled(GL_LIGHT2));
    EXPECT_FALSE(Enabled(GL_LIGHTING));
    light.SetDefaults(1, 0);
    light.Apply();
    EXPECT_TRUE(Enabled(GL_LIGHT2));
    EXPECT_TRUE(Enabled(GL_LIGHTING));
    EXPECT_EQ(LightGet<p4f>(2, GL_POSITION), p4f(0, 0, -2, 1));

    // Without the spot flag the cutoff and exponent are sent as "no spot", and kept so.
    light.spot = false;
    light.useAmbient = false;
    light.ambient = Color::White;
    light.spotCutoff = 20.0f;
    light.spotExponent = 5.0f;
    light.constantAttenuation = 3.0f;
    light.linearAttenuation = 2.0f;
    light.ApplyCustom();
    EXPECT_EQ(light.spotCutoff, 180.0f);
    EXPECT_EQ(light.spotExponent, 0.0f);
    EXPECT_EQ(light.ambient, Color::Transparent);
    EXPECT_EQ(light.constantAttenuation, 1.0f);
    EXPECT_EQ(light.linearAttenuation, 0.0f);
    EXPECT_EQ(LightGet<float>(2, GL_SPOT_CUTOFF), 180.0f);
    EXPECT_EQ(LightGet<float>(2, GL_SPOT_EXPONENT), 0.0f);
    EXPECT_EQ(LightGet(2, GL_AMBIENT), Color::Transparent);

    // With it, the spot values go through as they are.
    light.spot = true;
    light.spotCutoff = 20.0f;
    light.ApplyCustom();
    EXPECT_EQ(LightGet<float>(2, GL_SPOT_CUTOFF), 20.0f);
}

TEST_F(LightGL, LightSwitchesRoundTripAndDisable) {
    const GLint maxLights = Integer(GL_MAX_LIGHTS);
    for (int i = 0; i < maxLights; ++i) {
        if (i % 3 == 1)
            glEnable(GL_LIGHT0 + i);
        else
            glDisable(GL_LIGHT0 + i);
    }
    glEnable(GL_LIGHTING);
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
    ParamLights::DisableLights();
}

TEST_F(LightGL, MaterialIsRememberedNotReadBack) {
    Material m(Color(0.1f, 0.2f, 0.3f, 1.0f), Color(0.4f, 0.5f, 0.6f, 1.0f), Color(0.7f, 0.7f, 0.7f, 1.0f),
               Color(0.05f, 0.0f, 0.0f, 1.0f), 32.0f);
    m.back.diffuse = Color(0.9f, 0.1f, 0.1f, 1.0f);
    m.Apply();
    EXPECT_EQ(Get(glGetMaterialfv, GL_FRONT, GL_DIFFUSE), m.front.diffuse);
    EXPECT_EQ(Get(glGetMaterialfv, GL_BACK, GL_DIFFUSE), m.back.diffuse);
    EXPECT_EQ(Get<float>(glGetMaterialfv, GL_FRONT, GL_SHININESS), 32.0f);

    // Changed in the context directly: Retrieve still gives the applied material.
    const float red[4] = {1, 0, 0, 1};
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, red);
    Material read;
    read.Retrieve();
    EXPECT_EQ(read, m);
}

TEST_F(LightGL, ColorMaterialPushesRestore) {
    const ColorMaterial original(Color(0.25f, 0.25f, 0.5f, 1.0f), Color::Gray);
    original.Apply();
    EXPECT_EQ(Color::sCurrentColor, original.color);
    // Push's own rules (restoring once, also when an exception leaves the scope) are checked on a
    // fake state (StateValues_test); here each push of a colour material sets what it should and
    // brings back colour and material, also after something else was applied inside.
    ColorMaterial now;
    const auto expectOriginal = [&] {
        now.Retrieve();
        EXPECT_EQ(now, original);
        EXPECT_EQ(GlColor(), original.color);
        EXPECT_EQ(Get(glGetMaterialfv, GL_BACK, GL_DIFFUSE), Color::Gray);
    };
    {
        PushColorMaterial push;
        now.Retrieve();
        EXPECT_EQ(now, ColorMaterial(Color::DarkGray, Color::Transparent));
        EXPECT_EQ(GlColor(), Color::DarkGray);
    }
    expectOriginal();
    {
        PushColorMaterial push(Color::Red, Color::Blue);
        now.Retrieve();
        EXPECT_EQ(now, ColorMaterial(Color::Red, Color::Blue));
        EXPECT_EQ(GlColor(), Color::Red);
        ColorMaterial(Color::Green, Color::Green).Apply();
    }
    expectOriginal();
}

TEST_F(LightGL, HighlightRestoresStippleAndColour) {
    for (bool stippleBefore : {false, true}) {
        SCOPED_TRACE(stippleBefore ? "stipple on before" : "stipple off before");
        if (stippleBefore)
            glEnable(GL_LINE_STIPPLE);
        else
            glDisable(GL_LINE_STIPPLE);
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
