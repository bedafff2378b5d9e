#pragma once

// Blending state: the blend factors, the blend equation, the blend colour, and the three
// together. Each Apply() also switches GL_BLEND by its flag. All Apply()/Retrieve() calls run on
// the GL worker thread (or a thread that has the root context current).

#include "Export.h"
#include "gl/state/Color.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

// Source and destination factors, for colour and for alpha.
class ZEP6_API BlendFunc {
public:
    bool flag;
    unsigned int srcRGB;
    unsigned int dstRGB;
    unsigned int srcAlpha;
    unsigned int dstAlpha;

    // (GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA) for colour and alpha, blending on.
    constexpr BlendFunc() : BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA) {}
    // The same pair for colour and alpha, blending on.
    constexpr BlendFunc(unsigned int src, unsigned int dst)
        : flag(true), srcRGB(src), dstRGB(dst), srcAlpha(src), dstAlpha(dst) {}
    constexpr BlendFunc(unsigned int srcRGB_, unsigned int dstRGB_, unsigned int srcAlpha_,
                        unsigned int dstAlpha_)
        : flag(true), srcRGB(srcRGB_), dstRGB(dstRGB_), srcAlpha(srcAlpha_), dstAlpha(dstAlpha_) {}

    // glBlendFunc when colour and alpha use the same pair, else glBlendFuncSeparate (Unsupported
    // when the driver lacks it); then GL_BLEND by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const BlendFunc& b) const;
    bool operator!=(const BlendFunc& b) const { return !(*this == b); }

    static void DisableBlend();

    static const BlendFunc Add;
    static const BlendFunc AlphaAdd;
    static const BlendFunc BlendOver;
    static const BlendFunc BlendUnder;
    static const BlendFunc InvBlend;
    static const BlendFunc Modulate;
    static const BlendFunc Replace;
    static const BlendFunc Invert;
    static const BlendFunc Mask;
    static const BlendFunc Premultiply;
};

// The blend equation for colour and for alpha.
class ZEP6_API BlendEquation {
public:
    bool flag;
    unsigned int modeRGB;
    unsigned int modeAlpha;

    // GL_FUNC_ADD for both, blending on.
    constexpr BlendEquation() : BlendEquation(GL_FUNC_ADD) {}
    constexpr explicit BlendEquation(unsigned int mode) : flag(true), modeRGB(mode), modeAlpha(mode) {}
    constexpr BlendEquation(unsigned int rgb, unsigned int alpha)
        : flag(true), modeRGB(rgb), modeAlpha(alpha) {}

    // glBlendEquation when both modes are equal, else glBlendEquationSeparate (Unsupported when
    // the one needed is missing); then GL_BLEND by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const BlendEquation& b) const;
    bool operator!=(const BlendEquation& b) const { return !(*this == b); }

    static const BlendEquation Add;
    static const BlendEquation Subtract;
    static const BlendEquation Min;
    static const BlendEquation Max;
};

// The constant blend colour.
class ZEP6_API BlendColor {
public:
    Color color;
    bool flag;

    constexpr BlendColor() : color(0.0f, 0.0f, 0.0f, 0.0f), flag(true) {}
    constexpr explicit BlendColor(const Color& c) : color(c), flag(true) {}

    // glBlendColor (Unsupported when missing); then GL_BLEND by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const BlendColor& b) const { return color == b.color && flag == b.flag; }
    bool operator!=(const BlendColor& b) const { return !(*this == b); }
};

// Factors, equation and colour together, applied in that order (so the colour's flag decides
// GL_BLEND last).
class ZEP6_API BlendOp {
public:
    BlendFunc func;
    BlendEquation equation;
    BlendColor color;

    // Factors (GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA), equation GL_FUNC_ADD, colour white; all on.
    constexpr BlendOp() : func(), equation(), color(Color(1.0f, 1.0f, 1.0f, 1.0f)) {}
    constexpr BlendOp(const BlendFunc& f, const BlendEquation& e, const BlendColor& c)
        : func(f), equation(e), color(c) {}

    void Apply() const;
    void Retrieve();

    bool operator==(const BlendOp& b) const;
    bool operator!=(const BlendOp& b) const { return !(*this == b); }

    static const BlendOp Default;
    static const BlendOp Composite;
    static const BlendOp Additive;
    static const BlendOp Lighten;
    static const BlendOp Screen;
    static const BlendOp Max;
    static const BlendOp Min;
    static const BlendOp Darken;
    static const BlendOp Subtractive;
    static const BlendOp Multiply;
    static const BlendOp Difference;
    static const BlendOp Replace;
};

} // namespace OGL_ZEP6_AE
