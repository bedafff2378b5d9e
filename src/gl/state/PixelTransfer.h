#pragma once

// Pixel-transfer scales and biases: what OpenGL does to every component on its way between client
// memory and the card. The constructors that take a factor read the current values and compose
// with them, so they need a current context, as do Apply() and Retrieve() (GL worker thread).

#include "Export.h"

namespace OGL_ZEP6_AE {

// All eight scales and biases.
class ZEP6_API PixelTransfer {
public:
    float redScale;
    float redBias;
    float greenScale;
    float greenBias;
    float blueScale;
    float blueBias;
    float alphaScale;
    float alphaBias;

    // The identity: scales 1, biases 0.
    constexpr PixelTransfer()
        : redScale(1.0f), redBias(0.0f), greenScale(1.0f), greenBias(0.0f), blueScale(1.0f), blueBias(0.0f),
          alphaScale(1.0f), alphaBias(0.0f) {}
    // Composed with the current values: per channel, scale := s x current scale and
    // bias := s x current bias + b, so the given transfer follows the current one.
    PixelTransfer(float rs, float rb, float gs, float gb, float bs, float bb, float as, float ab);

    void Apply() const;
    void Retrieve();

    bool operator==(const PixelTransfer& p) const;
    bool operator!=(const PixelTransfer& p) const { return !(*this == p); }
};

// The four scales, multiplied by the factor that maps an integer type's white level to 1.
class ZEP6_API ColorSpace {
public:
    float redScale;
    float greenScale;
    float blueScale;
    float alphaScale;

    constexpr ColorSpace() : redScale(1.0f), greenScale(1.0f), blueScale(1.0f), alphaScale(1.0f) {}
    // The current scales times whiteLevel / 127 for GL_BYTE, / 255 for GL_UNSIGNED_BYTE, / 32767
    // for GL_SHORT, / 65535 for GL_UNSIGNED_SHORT, times 1 for any other type.
    ColorSpace(unsigned int type, int whiteLevel);

    void Apply() const;
    void Retrieve();

    // The factor of the constructor above for the type and white level.
    static float WhiteFactor(unsigned int type, int whiteLevel);
};

// The alpha scale alone.
class ZEP6_API Opacity {
public:
    float alphaScale;

    constexpr Opacity() : alphaScale(1.0f) {}
    // The current alpha scale times o.
    explicit Opacity(float o);

    void Apply() const;
    void Retrieve();
};

} // namespace OGL_ZEP6_AE
