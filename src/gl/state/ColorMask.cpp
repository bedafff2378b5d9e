#include "gl/state/ColorMask.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

const ColorMask ColorMask::Default(true, true, true, true);
const ColorMask ColorMask::AllChannels(true, true, true, true);
const ColorMask ColorMask::NoAlpha(true, true, true, false);
const ColorMask ColorMask::AlphaOnly(false, false, false, true);

void ColorMask::Apply() const {
    glColorMask(red ? GL_TRUE : GL_FALSE, green ? GL_TRUE : GL_FALSE, blue ? GL_TRUE : GL_FALSE,
                alpha ? GL_TRUE : GL_FALSE);
}

void ColorMask::Retrieve() {
    GLboolean mask[4] = {GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE};
    glGetBooleanv(GL_COLOR_WRITEMASK, mask);
    red = mask[0] == GL_TRUE;
    green = mask[1] == GL_TRUE;
    blue = mask[2] == GL_TRUE;
    alpha = mask[3] == GL_TRUE;
}

bool ColorMask::operator==(const ColorMask& m) const {
    return red == m.red && green == m.green && blue == m.blue && alpha == m.alpha;
}

} // namespace OGL_ZEP6_AE
