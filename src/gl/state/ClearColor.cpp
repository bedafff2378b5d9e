#include "gl/state/ClearColor.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

const ClearColor ClearColor::Default(Color(0.0f, 0.0f, 0.0f, 0.0f), 1.0f);

void ClearColor::Apply() const {
    glClearColor(color.red, color.green, color.blue, color.alpha);
    glClearDepth(depth);
}

void ClearColor::Retrieve() {
    glGetFloatv(GL_COLOR_CLEAR_VALUE, &color.red);
    glGetFloatv(GL_DEPTH_CLEAR_VALUE, &depth);
}

} // namespace OGL_ZEP6_AE
