#include "gl/state/CullFace.h"

namespace OGL_ZEP6_AE {

const CullFace CullFace::Default(false, GL_BACK);
const CullFace CullFace::CullBack(true, GL_BACK);

void CullFace::Apply() const {
    glCullFace(face);
    if (flag)
        glEnable(GL_CULL_FACE);
    else
        glDisable(GL_CULL_FACE);
}

void CullFace::Retrieve() {
    flag = glIsEnabled(GL_CULL_FACE) == GL_TRUE;
    GLint f = GL_BACK;
    glGetIntegerv(GL_CULL_FACE_MODE, &f);
    face = static_cast<unsigned int>(f);
}

void CullFace::DisableCull() {
    glDisable(GL_CULL_FACE);
}

} // namespace OGL_ZEP6_AE
