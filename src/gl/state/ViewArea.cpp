#include "gl/state/ViewArea.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

void ViewArea::Apply() const {
    glViewport(viewport[0], viewport[1], viewport[2], viewport[3]);
    glScissor(scissor[0], scissor[1], scissor[2], scissor[3]);
}

void ViewArea::Retrieve() {
    glGetIntegerv(GL_VIEWPORT, viewport);
    glGetIntegerv(GL_SCISSOR_BOX, scissor);
}

} // namespace OGL_ZEP6_AE
