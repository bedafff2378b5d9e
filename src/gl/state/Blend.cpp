#include "gl/state/Blend.h"

#include "gl/context/EntryPoints.h"
#include "gl/state/Capability.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

namespace {

unsigned int GetEnum(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return static_cast<unsigned int>(value);
}

} // namespace

// ---- BlendFunc -------------------------------------------------------------------------------

const BlendFunc BlendFunc::Add(GL_ONE, GL_ONE);
const BlendFunc BlendFunc::AlphaAdd(GL_SRC_ALPHA, GL_DST_ALPHA, GL_ONE, GL_ONE);
const BlendFunc BlendFunc::BlendOver(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
const BlendFunc BlendFunc::BlendUnder(GL_ONE_MINUS_DST_ALPHA, GL_DST_ALPHA, GL_ONE_MINUS_DST_ALPHA, GL_ONE);
const BlendFunc BlendFunc::InvBlend(GL_ONE_MINUS_SRC_ALPHA, GL_SRC_ALPHA, GL_ONE, GL_SRC_ALPHA);
const BlendFunc BlendFunc::Modulate(GL_ZERO, GL_SRC_COLOR);
const BlendFunc BlendFunc::Replace(GL_ONE, GL_ZERO);
const BlendFunc BlendFunc::Invert(GL_ONE_MINUS_SRC_COLOR, GL_ZERO);
const BlendFunc BlendFunc::Mask(GL_ZERO, GL_ONE, GL_ZERO, GL_SRC_ALPHA);
const BlendFunc BlendFunc::Premultiply(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);

void BlendFunc::Apply() const {
    if (srcRGB == srcAlpha && dstRGB == dstAlpha)
        glBlendFunc(srcRGB, dstRGB);
    else
        ZEP6_GLCALL(glBlendFuncSeparate)(srcRGB, dstRGB, srcAlpha, dstAlpha);
    Capability(GL_BLEND, flag).Apply();
}

void BlendFunc::Retrieve() {
    flag = Capability::IsEnabled(GL_BLEND);
    srcRGB = GetEnum(GL_BLEND_SRC_RGB);
    dstRGB = GetEnum(GL_BLEND_DST_RGB);
    srcAlpha = GetEnum(GL_BLEND_SRC_ALPHA);
    dstAlpha = GetEnum(GL_BLEND_DST_ALPHA);
}

bool BlendFunc::operator==(const BlendFunc& b) const {
    return flag == b.flag && srcRGB == b.srcRGB && dstRGB == b.dstRGB && srcAlpha == b.srcAlpha &&
           dstAlpha == b.dstAlpha;
}

void BlendFunc::DisableBlend() {
    glDisable(GL_BLEND);
}

// ---- BlendEquation ---------------------------------------------------------------------------

const BlendEquation BlendEquation::Add(GL_FUNC_ADD);
const BlendEquation BlendEquation::Subtract(GL_FUNC_SUBTRACT);
const BlendEquation BlendEquation::Min(GL_MIN);
const BlendEquation BlendEquation::Max(GL_MAX);

void BlendEquation::Apply() const {
    if (modeRGB == modeAlpha)
        ZEP6_GLCALL(glBlendEquation)(modeRGB);
    else
        ZEP6_GLCALL(glBlendEquationSeparate)(modeRGB, modeAlpha);
    Capability(GL_BLEND, flag).Apply();
}

void BlendEquation::Retrieve() {
    flag = Capability::IsEnabled(GL_BLEND);
    modeRGB = GetEnum(GL_BLEND_EQUATION_RGB);
    modeAlpha = GetEnum(GL_BLEND_EQUATION_ALPHA);
}

bool BlendEquation::operator==(const BlendEquation& b) const {
    return flag == b.flag && modeRGB == b.modeRGB && modeAlpha == b.modeAlpha;
}

// ---- BlendColor ------------------------------------------------------------------------------

void BlendColor::Apply() const {
    ZEP6_GLCALL(glBlendColor)(color.red, color.green, color.blue, color.alpha);
    Capability(GL_BLEND, flag).Apply();
}

void BlendColor::Retrieve() {
    glGetFloatv(GL_BLEND_COLOR, &color.red);
    flag = Capability::IsEnabled(GL_BLEND);
}

// ---- BlendOp ---------------------------------------------------------------------------------

namespace {
constexpr BlendColor kNoBlendColor(Color(0.0f, 0.0f, 0.0f, 0.0f));
constexpr BlendFunc kOverAlpha(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);

// The colour factors of the constants below with the alpha factors they all share.
constexpr BlendFunc WithOverAlpha(GLenum src, GLenum dst) {
    return BlendFunc(src, dst, kOverAlpha.srcAlpha, kOverAlpha.dstAlpha);
}
constexpr BlendEquation ColourEquation(GLenum mode) {
    return BlendEquation(mode, GL_FUNC_ADD);
}
} // namespace

const BlendOp BlendOp::Default(BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA), BlendEquation(GL_FUNC_ADD),
                               kNoBlendColor);
const BlendOp BlendOp::Composite(BlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA), BlendEquation(GL_FUNC_ADD),
                                 kNoBlendColor);
const BlendOp BlendOp::Additive(WithOverAlpha(GL_ONE, GL_ONE), BlendEquation(GL_FUNC_ADD), kNoBlendColor);
const BlendOp BlendOp::Lighten(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_MAX), kNoBlendColor);
const BlendOp BlendOp::Screen(WithOverAlpha(GL_ONE, GL_ONE_MINUS_SRC_COLOR), BlendEquation(GL_FUNC_ADD),
                              kNoBlendColor);
const BlendOp BlendOp::Max(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_MAX), kNoBlendColor);
const BlendOp BlendOp::Min(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_MIN), kNoBlendColor);
const BlendOp BlendOp::Darken(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_MIN), kNoBlendColor);
const BlendOp BlendOp::Subtractive(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_FUNC_REVERSE_SUBTRACT),
                                   kNoBlendColor);
const BlendOp BlendOp::Multiply(WithOverAlpha(GL_ZERO, GL_SRC_COLOR), ColourEquation(GL_MAX), kNoBlendColor);
const BlendOp BlendOp::Difference(WithOverAlpha(GL_ONE, GL_ONE), ColourEquation(GL_FUNC_REVERSE_SUBTRACT),
                                  kNoBlendColor);
const BlendOp BlendOp::Replace(BlendFunc(GL_ONE, GL_ZERO), BlendEquation(GL_FUNC_ADD), kNoBlendColor);

void BlendOp::Apply() const {
    func.Apply();
    equation.Apply();
    color.Apply();
}

void BlendOp::Retrieve() {
    func.Retrieve();
    equation.Retrieve();
    color.Retrieve();
}

bool BlendOp::operator==(const BlendOp& b) const {
    return func == b.func && equation == b.equation && color == b.color;
}

} // namespace OGL_ZEP6_AE
