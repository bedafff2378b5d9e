#include "gl/state/ProgramInUse.h"

#include "gl/context/EntryPoints.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

void ProgramInUse::Apply() const {
    ZEP6_GLCALL(glUseProgram)(program);
}

void ProgramInUse::Retrieve() {
    GLint name = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &name);
    program = static_cast<unsigned int>(name);
}

} // namespace OGL_ZEP6_AE
