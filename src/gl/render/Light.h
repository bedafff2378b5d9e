#pragma once

// Fixed-function lights as values. The templates hold one property of light N (GL_LIGHT0 + N,
// N from 0 to 7) together with the switches of that light and of lighting as a whole; SimpleLight
// is a coloured ambient-plus-diffuse light 0; ParamLight is one light with every parameter;
// ParamLights is the set of light switches.
//
// Positions and spot directions go through the current model-view matrix when applied, as
// OpenGL defines it, and are read back in eye coordinates: apply and read them under the same
// model-view matrix (normally the identity) for a value to come back unchanged.
//
// Apply()/Retrieve() run on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "geometry/Vector.h"
#include "gl/state/Color.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace detail {
// Shared by the light templates: light is the light's number (0 to 7), pname GL_AMBIENT,
// GL_DIFFUSE, ...
ZEP6_API void ApplyLightColor(int light, unsigned int pname, const Color& color, bool lightOn,
                              bool lightingOn);
ZEP6_API void RetrieveLightColor(int light, unsigned int pname, Color& color, bool& lightOn,
                                 bool& lightingOn);
ZEP6_API void ApplySpotLight(int light, const Color& specular, const p4f& position, const p4f& direction,
                             float exponent, float cutoff, float quadratic, bool lightOn, bool lightingOn);
ZEP6_API void RetrieveSpotLight(int light, Color& specular, p4f& position, p4f& direction, float& exponent,
                                float& cutoff, float& quadratic, bool& lightOn, bool& lightingOn);
// Switches light number `light` and GL_LIGHTING.
ZEP6_API void SwitchLight(int light, bool lightOn, bool lightingOn);
} // namespace detail

// The ambient colour of light N. Apply: glLightfv(GL_AMBIENT), then light N and GL_LIGHTING by
// the two switches.
template <int N> class AmbientLight {
    static_assert(N >= 0 && N < 8, "lights 0 to 7");

public:
    Color color;
    bool lightOn;
    bool lightingOn;

    AmbientLight() : AmbientLight(Color::White) {}
    explicit AmbientLight(const Color& c) : color(c), lightOn(true), lightingOn(true) {}

    void Apply() const { detail::ApplyLightColor(N, GL_AMBIENT, color, lightOn, lightingOn); }
    void Retrieve() { detail::RetrieveLightColor(N, GL_AMBIENT, color, lightOn, lightingOn); }
};

// The diffuse colour of light N, as AmbientLight with GL_DIFFUSE.
template <int N> class DiffuseLight {
    static_assert(N >= 0 && N < 8, "lights 0 to 7");

public:
    Color color;
    bool lightOn;
    bool lightingOn;

    DiffuseLight() : DiffuseLight(Color::Transparent) {}
    explicit DiffuseLight(const Color& c) : color(c), lightOn(true), lightingOn(true) {}

    void Apply() const { detail::ApplyLightColor(N, GL_DIFFUSE, color, lightOn, lightingOn); }
    void Retrieve() { detail::RetrieveLightColor(N, GL_DIFFUSE, color, lightOn, lightingOn); }
};

// The specular and spot parameters of light N. Apply: glLightfv of GL_SPECULAR, GL_POSITION,
// GL_SPOT_CUTOFF, GL_SPOT_DIRECTION, GL_SPOT_EXPONENT, GL_QUADRATIC_ATTENUATION in that order,
// then the two switches.
template <int N> class SpotLight {
    static_assert(N >= 0 && N < 8, "lights 0 to 7");

public:
    Color specular;
    p4f position;
    p4f direction;
    float exponent;
    float cutoff; // degrees; 180 is no spot
    float quadraticAttenuation;
    bool lightOn;
    bool lightingOn;

    SpotLight()
        : SpotLight(Color::Transparent, p4f(0.0f, 0.0f, 0.0f, 1.0f), p4f(0.0f, 0.0f, -1.0f, 1.0f), 0.0f,
                    180.0f, 0.0f) {}
    SpotLight(const Color& specular_, const p4f& position_, const p4f& direction_, float exponent_,
              float cutoff_, float quadratic_)
        : specular(specular_), position(position_), direction(direction_), exponent(exponent_),
          cutoff(cutoff_), quadraticAttenuation(quadratic_), lightOn(true), lightingOn(true) {}

    void Apply() const {
        detail::ApplySpotLight(N, specular, position, direction, exponent, cutoff, quadraticAttenuation,
                               lightOn, lightingOn);
    }
    void Retrieve() {
        detail::RetrieveSpotLight(N, specular, position, direction, exponent, cutoff, quadraticAttenuation,
                                  lightOn, lightingOn);
    }
};

// Light 0 with one colour for the current colour, its ambient and its diffuse part.
class ZEP6_API SimpleLight {
public:
    Color color;
    AmbientLight<0> ambient;
    DiffuseLight<0> diffuse;

    SimpleLight() : SimpleLight(Color::White) {}
    explicit SimpleLight(const Color& c) : color(c), ambient(c), diffuse(c) {}

    // Sets Color::sCurrentColor and the OpenGL colour, then applies the ambient and the diffuse
    // part.
    void Apply() const;
    // Reads the diffuse part, then the ambient part; the colour comes from Color::sCurrentColor.
    void Retrieve();
};

// One light with all its parameters. Some fields are carried for the plug-ins that fill them and
// are not read by the library (userFlag*, userValue*, userParams); copies keep them.
class ZEP6_API ParamLight {
public:
    bool on; // the light's switch; also switches GL_LIGHTING
    bool useAmbient;
    bool spot;
    unsigned char reserved;
    bool userFlag0;
    bool userFlag1;
    Color ambient;
    Color diffuse;
    Color specular;
    float quadraticAttenuation;
    float userValue0;
    float userValue1;
    p4f position;
    p4f direction;
    float userParams[4];
    float constantAttenuation;
    float linearAttenuation;
    float spotExponent;
    float spotCutoff;
    unsigned int light; // GL_LIGHT0 + index

    // Off, black ambient, white diffuse and specular, quadratic attenuation 64000, at the origin,
    // cutoff 90.
    explicit ParamLight(int index = 0);

    // On, black ambient, white diffuse, no specular, at (0, 0, -2n, 1); the direction, the user
    // parameters and the light number are kept. The second argument is not used.
    void SetDefaults(int n, int unused = 0);

    // Switches the light and GL_LIGHTING by `on`; then ambient, diffuse, specular, position, spot
    // direction, spot exponent and cutoff, constant, linear and quadratic attenuation.
    void Apply() const;
    // First rewrites the fields that its flags switch off: ambient transparent black unless
    // useAmbient, exponent 0 and cutoff 180 unless spot; constant attenuation 1 and linear 0
    // always. Then Apply().
    void ApplyCustom();
    // Reads the light's switch and every parameter that Apply() writes (GL_LIGHTING is not read).
    void Retrieve();
};

// The switches of the lights and of lighting.
class ZEP6_API ParamLights {
public:
    static constexpr int kMaxLights = 8;

    int switches[kMaxLights];
    int lighting;
    int count; // lights recorded, at most 8

    ParamLights() : switches{0, 0, 0, 0, 0, 0, 0, 0}, lighting(0), count(0) {}

    // Switches each recorded light, then GL_LIGHTING.
    void Apply() const;
    // Records GL_MAX_LIGHTS lights (at most 8) and GL_LIGHTING.
    void Retrieve();

    // Switches off every light up to GL_MAX_LIGHTS and GL_LIGHTING.
    static void DisableLights();
};

} // namespace OGL_ZEP6_AE
