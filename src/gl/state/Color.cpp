#include "gl/state/Color.h"

#include <GL/gl.h>

#include <algorithm>
#include <cstdlib>

namespace OGL_ZEP6_AE {

// The constants are constant-initialised (constexpr constructor), so other static objects may use
// them while they are constructed.
const Color Color::Default(1.0f, 1.0f, 1.0f, 1.0f);
const Color Color::White(1.0f, 1.0f, 1.0f, 1.0f);
const Color Color::Bright(1.0f, 1.0f, 1.0f, 1.0f);
const Color Color::Transparent(0.0f, 0.0f, 0.0f, 0.0f);
const Color Color::Off(0.0f, 0.0f, 0.0f, 0.0f);
const Color Color::Normal(1.0f, 0.0f, 0.0f, 1.0f);
const Color Color::Red(1.0f, 0.0f, 0.0f, 1.0f);
const Color Color::Black(0.0f, 0.0f, 0.0f, 1.0f);
const Color Color::Green(0.0f, 1.0f, 0.0f, 1.0f);
const Color Color::Blue(0.0f, 0.0f, 1.0f, 1.0f);
const Color Color::Yellow(1.0f, 1.0f, 0.0f, 1.0f);
const Color Color::DarkGray(0.2f, 0.2f, 0.2f, 1.0f);
const Color Color::Gray(0.4f, 0.4f, 0.4f, 1.0f);
const Color Color::LightGray(0.8f, 0.8f, 0.8f, 1.0f);
const Color Color::LumaScale(0.3f, 0.59f, 0.11f, 1.0f);
const Color Color::MaskRed(1.0f, 0.0f, 0.0f, 0.5f);
const Color Color::BluishWhite(0.9f, 0.9f, 1.0f, 1.0f);
const Color Color::RedishWhite(1.0f, 0.9f, 0.9f, 1.0f);

Color Color::sCurrentColor(-1.0f, -1.0f, -1.0f, -1.0f);

Color::Color(const float* v) : red(v[0]), green(v[1]), blue(v[2]), alpha(v[3]) {}

Color::Color(unsigned long packed)
    : red(static_cast<float>(packed & 255) / 255.0f), green(static_cast<float>((packed >> 8) & 255) / 255.0f),
      blue(static_cast<float>((packed >> 16) & 255) / 255.0f), alpha(1.0f) {}

void Color::Apply() const {
    sCurrentColor = *this;
    glColor4fv(&red);
}

void Color::Retrieve() {
    *this = sCurrentColor;
}

float Color::Luma() const {
    return (0.299f * red + 0.587f * green + 0.114f * blue) * alpha;
}

Color Color::Clamp() const {
    auto unit = [](float v) { return std::min(1.0f, std::max(0.0f, v)); };
    return Color(unit(red), unit(green), unit(blue), unit(alpha));
}

Color Color::operator*(float s) const {
    return Color(red * s, green * s, blue * s, alpha * s);
}

Color Color::operator+(const Color& c) const {
    return Color(red + c.red, green + c.green, blue + c.blue, alpha + c.alpha);
}

Color Color::operator-(const Color& c) const {
    return Color(red - c.red, green - c.green, blue - c.blue, alpha - c.alpha);
}

Color Color::operator*(const Color& c) const {
    return Color(red * c.red, green * c.green, blue * c.blue, alpha * c.alpha);
}

bool Color::operator==(const Color& c) const {
    return red == c.red && green == c.green && blue == c.blue && alpha == c.alpha;
}

bool Color::operator!=(const Color& c) const {
    return !(*this == c);
}

Color Color::Random() {
    constexpr float kScale = 1.0f / 32767.0f;
    Color c;
    c.blue = static_cast<float>(std::rand()) * kScale;
    c.green = static_cast<float>(std::rand()) * kScale;
    c.red = static_cast<float>(std::rand()) * kScale;
    c.alpha = 1.0f;
    return c;
}

} // namespace OGL_ZEP6_AE
