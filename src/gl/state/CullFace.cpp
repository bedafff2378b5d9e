#include "gl/state/CullFace.h"
#include "gl/state/Capability.h"

namespace OGL_ZEP6_AE {

const CullFace CullFace::Default(false, GL_BACK);
const CullFace CullFace::CullBack(true, GL_BACK);

void CullFace::Apply() const {
    glCullFace(face);
    Capability(GL_CULL_FACE, flag).Apply();
}

void CullFace::Retrieve() {
    flag = Capability::IsEnabled(GL_CULL_FACE);
    GLint f = GL_BACK;
    glGetIntegerv(GL_CULL_FACE_MODE, &f);
    face = static_cast<unsigned int>(f);
}

void CullFace::DisableCull() {
    glDisable(GL_CULL_FACE);
}

} // namespace OGL_ZEP6_AE
