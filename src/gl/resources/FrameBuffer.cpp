#include "gl/resources/FrameBuffer.h"

#include "gl/context/EntryPoints.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

void FrameBuffer::Retrieve() {
    GLint binding = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &binding);
    name = binding;
}

void FrameBuffer::Apply() const {
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, static_cast<GLuint>(name));
}

} // namespace OGL_ZEP6_AE
