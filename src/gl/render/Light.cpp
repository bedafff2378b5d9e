#include "gl/render/Light.h"

#include "gl/state/Capability.h"

#include <GL/gl.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

bool IsOn(GLenum cap) {
    GLboolean value = GL_FALSE;
    glGetBooleanv(cap, &value);
    return value == GL_TRUE;
}

int GetInt(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

GLenum LightEnum(int light) {
    return static_cast<GLenum>(GL_LIGHT0 + light);
}

float GetLightFloat(GLenum light, GLenum pname) {
    GLfloat value = 0.0f;
    glGetLightfv(light, pname, &value);
    return value;
}

} // namespace

// ---- light templates -------------------------------------------------------------------------

namespace detail {

void SwitchLight(int light, bool lightOn, bool lightingOn) {
    Capability(LightEnum(light), lightOn).Apply();
    Capability(GL_LIGHTING, lightingOn).Apply();
}

void ApplyLightColor(int light, unsigned int pname, const Color& color, bool lightOn, bool lightingOn) {
    glLightfv(LightEnum(light), pname, color);
    SwitchLight(light, lightOn, lightingOn);
}

void RetrieveLightColor(int light, unsigned int pname, Color& color, bool& lightOn, bool& lightingOn) {
    glGetLightfv(LightEnum(light), pname, color);
    lightOn = IsOn(LightEnum(light));
    lightingOn = IsOn(GL_LIGHTING);
}

void ApplySpotLight(int light, const Color& specular, const p4f& position, const p4f& direction,
                    float exponent, float cutoff, float quadratic, bool lightOn, bool lightingOn) {
    const GLenum l = LightEnum(light);
    glLightfv(l, GL_SPECULAR, specular);
    glLightfv(l, GL_POSITION, position);
    glLightfv(l, GL_SPOT_CUTOFF, &cutoff);
    glLightfv(l, GL_SPOT_DIRECTION, direction);
    glLightfv(l, GL_SPOT_EXPONENT, &exponent);
    glLightfv(l, GL_QUADRATIC_ATTENUATION, &quadratic);
    SwitchLight(light, lightOn, lightingOn);
}

void RetrieveSpotLight(int light, Color& specular, p4f& position, p4f& direction, float& exponent,
                       float& cutoff, float& quadratic, bool& lightOn, bool& lightingOn) {
    const GLenum l = LightEnum(light);
    glGetLightfv(l, GL_SPECULAR, specular);
    glGetLightfv(l, GL_POSITION, position);
    cutoff = GetLightFloat(l, GL_SPOT_CUTOFF);
    // The direction has three components; w is not part of the light.
    GLfloat d[3] = {0.0f, 0.0f, 0.0f};
    glGetLightfv(l, GL_SPOT_DIRECTION, d);
    direction.x = d[0];
    direction.y = d[1];
    direction.z = d[2];
    exponent = GetLightFloat(l, GL_SPOT_EXPONENT);
    quadratic = GetLightFloat(l, GL_QUADRATIC_ATTENUATION);
    lightOn = IsOn(l);
    lightingOn = IsOn(GL_LIGHTING);
}

} // namespace detail

// ---- SimpleLight -----------------------------------------------------------------------------

void SimpleLight::Apply() const {
    color.Apply();
    ambient.Apply();
    diffuse.Apply();
}

void SimpleLight::Retrieve() {
    diffuse.Retrieve();
    ambient.Retrieve();
    color.Retrieve();
}

// ---- ParamLight ------------------------------------------------------------------------------

ParamLight::ParamLight(int index)
    : on(false), useAmbient(true), spot(false), reserved(0), userFlag0(true), userFlag1(false),
      ambient(Color::Black), diffuse(1.0f, 1.0f, 1.0f, 1.0f), specular(Color::White),
      quadraticAttenuation(64000.0f), userValue0(0.001f), userValue1(0.0f), position(0.0f, 0.0f, 0.0f, 1.0f),
      direction(0.0f, 0.0f, 0.0f, 1.0f), userParams{0.0f, 0.0f, 0.0f, 0.0f}, constantAttenuation(1.0f),
      linearAttenuation(0.0f), spotExponent(0.0f), spotCutoff(90.0f),
      light(static_cast<unsigned int>(GL_LIGHT0 + index)) {}

void ParamLight::SetDefaults(int n, int) {
    on = true;
    useAmbient = true;
    spot = false;
    userFlag0 = true;
    userFlag1 = false;
    ambient = Color::Black;
    diffuse = Color::White;
    specular = Color::Transparent;
    quadraticAttenuation = 64000.0f;
    userValue0 = 0.001f;
    userValue1 = 0.0f;
    position = p4f(0.0f, 0.0f, -2.0f * static_cast<float>(n), 1.0f);
    constantAttenuation = 1.0f;
    linearAttenuation = 0.0f;
    spotExponent = 0.0f;
    spotCutoff = 90.0f;
}

void ParamLight::Apply() const {
    Capability(light, on).Apply();
    Capability(GL_LIGHTING, on).Apply();
    glLightfv(light, GL_AMBIENT, ambient);
    glLightfv(light, GL_DIFFUSE, diffuse);
    glLightfv(light, GL_SPECULAR, specular);
    glLightfv(light, GL_POSITION, position);
    glLightfv(light, GL_SPOT_DIRECTION, direction);
    glLightf(light, GL_SPOT_EXPONENT, spotExponent);
    glLightf(light, GL_SPOT_CUTOFF, spotCutoff);
    glLightf(light, GL_CONSTANT_ATTENUATION, constantAttenuation);
    glLightf(light, GL_LINEAR_ATTENUATION, linearAttenuation);
    glLightf(light, GL_QUADRATIC_ATTENUATION, quadraticAttenuation);
}

void ParamLight::ApplyCustom() {
    if (!useAmbient)
        ambient = Color::Transparent;
    if (!spot) {
        spotExponent = 0.0f;
        spotCutoff = 180.0f;
    }
    constantAttenuation = 1.0f;
    linearAttenuation = 0.0f;
    Apply();
}

void ParamLight::Retrieve() {
    on = IsOn(light);
    glGetLightfv(light, GL_AMBIENT, ambient);
    glGetLightfv(light, GL_DIFFUSE, diffuse);
    glGetLightfv(light, GL_SPECULAR, specular);
    glGetLightfv(light, GL_POSITION, position);
    GLfloat d[3] = {0.0f, 0.0f, 0.0f};
    glGetLightfv(light, GL_SPOT_DIRECTION, d);
    direction.x = d[0];
    direction.y = d[1];
    direction.z = d[2];
    spotExponent = GetLightFloat(light, GL_SPOT_EXPONENT);
    spotCutoff = GetLightFloat(light, GL_SPOT_CUTOFF);
    constantAttenuation = GetLightFloat(light, GL_CONSTANT_ATTENUATION);
    linearAttenuation = GetLightFloat(light, GL_LINEAR_ATTENUATION);
    quadraticAttenuation = GetLightFloat(light, GL_QUADRATIC_ATTENUATION);
}

// ---- ParamLights -----------------------------------------------------------------------------

void ParamLights::Apply() const {
    const int lights = std::min(count, kMaxLights);
    for (int i = 0; i < lights; ++i)
        Capability(LightEnum(i), switches[i] != 0).Apply();
    Capability(GL_LIGHTING, lighting != 0).Apply();
}

void ParamLights::Retrieve() {
    count = std::min(GetInt(GL_MAX_LIGHTS), kMaxLights);
    lighting = GetInt(GL_LIGHTING);
    for (int i = 0; i < count; ++i)
        switches[i] = GetInt(LightEnum(i));
}

void ParamLights::DisableLights() {
    const int lights = GetInt(GL_MAX_LIGHTS);
    for (int i = 0; i < lights; ++i)
        Capability::Disable(LightEnum(i));
    Capability::Disable(GL_LIGHTING);
}

} // namespace OGL_ZEP6_AE
