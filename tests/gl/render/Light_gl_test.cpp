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

#include <stdexcept>
#include <string>

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

Color LightColor(int light, GLenum pname) {
    Color c(0.0f);
    glGetLightfv(GL_LIGHT0 + light, pname, c);
    return c;
}

bool Enabled(GLenum cap) {
    return glIsEnabled(cap) == GL_TRUE;
}

// Every light's ambient, diffuse and specular colour and switch.
struct AllLights {
    Color ambient[8], diffuse[8], specular[8];
    bool on[8];
    static AllLights Take() {
        AllLights all;
        for (int i = 0; i < 8; ++i) {
            all.ambient[i] = LightColor(i, GL_AMBIENT);
            all.diffuse[i] = LightColor(i, GL_DIFFUSE);
            all.specular[i] = LightColor(i, GL_SPECULAR);
            all.on[i] = Enabled(GL_LIGHT0 + i);
        }
        return all;
    }
};

} // namespace

TEST_F(LightGL, ALightTemplateTouchesOnlyItsOwnLight) {
    glDisable(GL_LIGHTING);
    const AllLights before = AllLights::Take();
    const Color colour(0.25f, 0.5f, 0.75f, 1.0f);
    AmbientLight<3>(colour).Apply();
    DiffuseLight<3>(colour * 0.5f).Apply();
    const AllLights after = AllLights::Take();
    for (int i = 0; i < 8; ++i) {
        if (i == 3)
            continue;
        EXPECT_EQ(after.ambient[i], before.ambient[i]) << i;
        EXPECT_EQ(after.diffuse[i], before.diffuse[i]) << i;
        EXPECT_EQ(after.on[i], before.on[i]) << i;
    }
    EXPECT_EQ(after.ambient[3], colour);
    EXPECT_EQ(after.diffuse[3], colour * 0.5f);
    EXPECT_TRUE(after.on[3]);
    EXPECT_TRUE(Enabled(GL_LIGHTING));

    // The switches are applied as they are held.
    AmbientLight<3> off(colour);
    off.lightOn = false;
    off.lightingOn = false;
    off.Apply();
    EXPECT_FALSE(Enabled(GL_LIGHT3));
    EXPECT_FALSE(Enabled(GL_LIGHTING));
}

TEST_F(LightGL, LightValuesGiveBackWhatTheyApplied) {
    AmbientLight<1> ambient(Color(0.1f, 0.2f, 0.3f, 0.4f));
    ambient.lightingOn = false;
    ambient.Apply();
    AmbientLight<1> readAmbient(Color::Black);
    readAmbient.Retrieve();
    EXPECT_EQ(readAmbient.color, ambient.color);
    EXPECT_TRUE(readAmbient.lightOn);
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
    EXPECT_EQ(readSpot.specular, spot.specular);
    EXPECT_EQ(readSpot.position, spot.position);
    EXPECT_EQ(p3f(readSpot.direction.x, readSpot.direction.y, readSpot.direction.z), p3f(0, -1, 0));
    EXPECT_EQ(readSpot.exponent, 8.0f);
    EXPECT_EQ(readSpot.cutoff, 45.0f);
    EXPECT_EQ(readSpot.quadraticAttenuation, 0.5f);

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
    light.specular = Color(0.3f, 0.3f, 0.3f, 1.0f);
    light.direction = p4f(0, 0, -1, 0);
    light.spotExponent = 2.0f;
    light.spotCutoff = 30.0f;
    light.constantAttenuation = 0.5f;
    light.linearAttenuation = 0.25f;
    light.quadraticAttenuation = 0.125f;
    light.Apply();
    ParamLight read(4);
    read.Retrieve();
    EXPECT_TRUE(read.on);
    EXPECT_EQ(read.ambient, light.ambient);
    EXPECT_EQ(read.diffuse, light.diffuse);
    EXPECT_EQ(read.specular, light.specular);
    EXPECT_EQ(read.position, p4f(0, 0, -4, 1));
    EXPECT_EQ(p3f(read.direction.x, read.direction.y, read.direction.z), p3f(0, 0, -1));
    EXPECT_EQ(read.spotExponent, 2.0f);
    EXPECT_EQ(read.spotCutoff, 30.0f);
    EXPECT_EQ(read.constantAttenuation, 0.5f);
    EXPECT_EQ(read.linearAttenuation, 0.25f);
    EXPECT_EQ(read.quadraticAttenuation, 0.125f);

    const LightModel model(Color(0.3f, 0.2f, 0.1f, 1.0f), GL_SINGLE_COLOR, 1, 0);
    model.Apply();
    LightModel readModel;
    readModel.Retrieve();
    EXPECT_EQ(readModel, model);
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
    float position[4];
    glGetLightfv(GL_LIGHT2, GL_POSITION, position);
    EXPECT_EQ(p4f(position[0], position[1], position[2], position[3]), p4f(0, 0, -2, 1));

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
    float value = 0.0f;
    glGetLightfv(GL_LIGHT2, GL_SPOT_CUTOFF, &value);
    EXPECT_EQ(value, 180.0f);
    glGetLightfv(GL_LIGHT2, GL_SPOT_EXPONENT, &value);
    EXPECT_EQ(value, 0.0f);
    EXPECT_EQ(LightColor(2, GL_AMBIENT), Color::Transparent);

    // With it, the spot values go through as they are.
    light.spot = true;
    light.spotCutoff = 20.0f;
    light.ApplyCustom();
    glGetLightfv(GL_LIGHT2, GL_SPOT_CUTOFF, &value);
    EXPECT_EQ(value, 20.0f);
}

TEST_F(LightGL, LightSwitchesRoundTripAndDisable) {
    GLint maxLights = 0;
    glGetIntegerv(GL_MAX_LIGHTS, &maxLights);
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
    float front[4], back[4], shininess = 0.0f;
    glGetMaterialfv(GL_FRONT, GL_DIFFUSE, front);
    glGetMaterialfv(GL_BACK, GL_DIFFUSE, back);
    glGetMaterialfv(GL_FRONT, GL_SHININESS, &shininess);
    EXPECT_EQ(Color(front), m.front.diffuse);
    EXPECT_EQ(Color(back), m.back.diffuse);
    EXPECT_EQ(shininess, 32.0f);

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
    {
        PushColorMaterial push;
        ColorMaterial now;
        now.Retrieve();
        EXPECT_EQ(now, ColorMaterial(Color::DarkGray, Color::Transparent));
        float colour[4];
        glGetFloatv(GL_CURRENT_COLOR, colour);
        EXPECT_EQ(Color(colour), Color::DarkGray);
    }
    ColorMaterial after;
    after.Retrieve();
    EXPECT_EQ(after, original);
    float colour[4];
    glGetFloatv(GL_CURRENT_COLOR, colour);
    EXPECT_EQ(Color(colour), original.color);
    float diffuse[4];
    glGetMaterialfv(GL_BACK, GL_DIFFUSE, diffuse);
    EXPECT_EQ(Color(diffuse), Color::Gray);

    try {
        PushColorMaterial push(Color::Red, Color::Blue);
        ColorMaterial now;
        now.Retrieve();
        EXPECT_EQ(now, ColorMaterial(Color::Red, Color::Blue));
        ColorMaterial(Color::Green, Color::Green).Apply();
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    after.Retrieve();
    EXPECT_EQ(after, original);

    Push<ColorMaterial> push(ColorMaterial(Color::Yellow, Color::Black));
    push.Pop();
    ColorMaterial(Color::Blue, Color::Blue).Apply();
    push.Pop(); // already restored once: nothing
    after.Retrieve();
    EXPECT_EQ(after, ColorMaterial(Color::Blue, Color::Blue));
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
            GLint factor = 0, pattern = 0;
            glGetIntegerv(GL_LINE_STIPPLE_REPEAT, &factor);
            glGetIntegerv(GL_LINE_STIPPLE_PATTERN, &pattern);
            EXPECT_EQ(factor, 5);
            EXPECT_EQ(pattern, 0x5555);
            EXPECT_EQ(Color::sCurrentColor, Color::Bright);
            float colour[4];
            glGetFloatv(GL_CURRENT_COLOR, colour);
            EXPECT_EQ(Color(colour), Color::Bright);
            // Switched by hand inside: the destructor still brings back the saved switch.
            if (stippleBefore)
                glDisable(GL_LINE_STIPPLE);
        }
        EXPECT_EQ(Enabled(GL_LINE_STIPPLE), stippleBefore);
        GLint pattern = 0;
        glGetIntegerv(GL_LINE_STIPPLE_PATTERN, &pattern);
        EXPECT_EQ(pattern, 0x5555) << "the pattern stays";
        EXPECT_EQ(Color::sCurrentColor, before);
        float colour[4];
        glGetFloatv(GL_CURRENT_COLOR, colour);
        EXPECT_EQ(Color(colour), before);
    }
    glDisable(GL_LINE_STIPPLE);
}
