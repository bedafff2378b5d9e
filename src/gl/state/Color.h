#pragma once

// Colours as the library passes them around: four floats, red, green, blue, alpha.
//
// Color::sCurrentColor mirrors the current OpenGL colour: everything in the library that sets the
// colour (Color::Apply, PushColor, ColorScale, ColorMaterial, the lights) keeps it up to date, so
// that the colour can be saved and restored without asking the context.

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Color {
public:
    float red;
    float green;
    float blue;
    float alpha;

    // Opaque white.
    constexpr Color() : red(1.0f), green(1.0f), blue(1.0f), alpha(1.0f) {}
    constexpr Color(float r, float g, float b, float a) : red(r), green(g), blue(b), alpha(a) {}
    // All four components v.
    constexpr explicit Color(float v) : red(v), green(v), blue(v), alpha(v) {}
    // Four floats in the order red, green, blue, alpha.
    explicit Color(const float* v);
    // A packed 0x00BBGGRR value: each byte over 255; alpha 1.
    explicit Color(unsigned long packed);

    // Stores the colour in sCurrentColor, then makes it the OpenGL colour. On the GL worker thread.
    void Apply() const;
    // Copies sCurrentColor; the context is not read.
    void Retrieve();

    // (0.299 red + 0.587 green + 0.114 blue) times alpha.
    float Luma() const;
    // Each component clamped to [0, 1].
    Color Clamp() const;

    Color operator*(float s) const;
    Color operator+(const Color& c) const;
    Color operator-(const Color& c) const;
    Color operator*(const Color& c) const;
    bool operator==(const Color& c) const;
    bool operator!=(const Color& c) const;

    operator float*() { return &red; }
    operator const float*() const { return &red; }

    // Three successive rand() values scaled by 1/32767 become blue, green and red; alpha 1.
    static Color Random();

    static const Color Default;
    static const Color White;
    static const Color Bright;
    static const Color Transparent;
    static const Color Off;
    static const Color Normal; // the same value as Red
    static const Color Red;
    static const Color Black;
    static const Color Green;
    static const Color Blue;
    static const Color Yellow;
    static const Color DarkGray;
    static const Color Gray;
    static const Color LightGray;
    static const Color LumaScale;
    static const Color MaskRed;
    static const Color BluishWhite;
    static const Color RedishWhite;

    // The library's mirror of the current OpenGL colour; (-1, -1, -1, -1) until first set.
    static Color sCurrentColor;
};

} // namespace OGL_ZEP6_AE
