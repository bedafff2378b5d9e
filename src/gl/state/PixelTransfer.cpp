#include "gl/state/PixelTransfer.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {
float GetFloat(GLenum name) {
    GLfloat value = 0.0f;
    glGetFloatv(name, &value);
    return value;
}
} // namespace

PixelTransfer::PixelTransfer(float rs, float rb, float gs, float gb, float bs, float bb, float as, float ab) {
    Retrieve();
    // The given transfer follows the current one: v -> s (scale v + bias) + b.
    redBias = rs * redBias + rb;
    redScale *= rs;
    greenBias = gs * greenBias + gb;
    greenScale *= gs;
    blueBias = bs * blueBias + bb;
    blueScale *= bs;
    alphaBias = as * alphaBias + ab;
    alphaScale *= as;
}

void PixelTransfer::Apply() const {
    glPixelTransferf(GL_RED_SCALE, redScale);
    glPixelTransferf(GL_RED_BIAS, redBias);
    glPixelTransferf(GL_GREEN_SCALE, greenScale);
    glPixelTransferf(GL_GREEN_BIAS, greenBias);
    glPixelTransferf(GL_BLUE_SCALE, blueScale);
    glPixelTransferf(GL_BLUE_BIAS, blueBias);
    glPixelTransferf(GL_ALPHA_SCALE, alphaScale);
    glPixelTransferf(GL_ALPHA_BIAS, alphaBias);
}

void PixelTransfer::Retrieve() {
    redScale = GetFloat(GL_RED_SCALE);
    redBias = GetFloat(GL_RED_BIAS);
    greenScale = GetFloat(GL_GREEN_SCALE);
    greenBias = GetFloat(GL_GREEN_BIAS);
    blueScale = GetFloat(GL_BLUE_SCALE);
    blueBias = GetFloat(GL_BLUE_BIAS);
    alphaScale = GetFloat(GL_ALPHA_SCALE);
    alphaBias = GetFloat(GL_ALPHA_BIAS);
}

bool PixelTransfer::operator==(const PixelTransfer& p) const {
    return redScale == p.redScale && redBias == p.redBias && greenScale == p.greenScale &&
           greenBias == p.greenBias && blueScale == p.blueScale && blueBias == p.blueBias &&
           alphaScale == p.alphaScale && alphaBias == p.alphaBias;
}

float ColorSpace::WhiteFactor(unsigned int type, int whiteLevel) {
    const float white = static_cast<float>(whiteLevel);
    switch (type) {
    case GL_BYTE:
        return white / 127.0f;
    case GL_UNSIGNED_BYTE:
        return white / 255.0f;
    case GL_SHORT:
        return white / 32767.0f;
    case GL_UNSIGNED_SHORT:
        return white / 65535.0f;
    default:
        return 1.0f;
    }
}

ColorSpace::ColorSpace(unsigned int type, int whiteLevel) {
    Retrieve();
    const float f = WhiteFactor(type, whiteLevel);
    redScale *= f;
    greenScale *= f;
    blueScale *= f;
    alphaScale *= f;
}

void ColorSpace::Apply() const {
    glPixelTransferf(GL_RED_SCALE, redScale);
    glPixelTransferf(GL_GREEN_SCALE, greenScale);
    glPixelTransferf(GL_BLUE_SCALE, blueScale);
    glPixelTransferf(GL_ALPHA_SCALE, alphaScale);
}

void ColorSpace::Retrieve() {
    redScale = GetFloat(GL_RED_SCALE);
    greenScale = GetFloat(GL_GREEN_SCALE);
    blueScale = GetFloat(GL_BLUE_SCALE);
    alphaScale = GetFloat(GL_ALPHA_SCALE);
}

Opacity::Opacity(float o) : alphaScale(GetFloat(GL_ALPHA_SCALE) * o) {}

void Opacity::Apply() const {
    glPixelTransferf(GL_ALPHA_SCALE, alphaScale);
}

void Opacity::Retrieve() {
    alphaScale = GetFloat(GL_ALPHA_SCALE);
}

} // namespace OGL_ZEP6_AE
