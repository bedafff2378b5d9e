#include "gl/state/BufferBinding.h"

#include "gl/context/EntryPoints.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

namespace {

// The query that reads the binding of a buffer target; 0 for a target this class does not know.
GLenum BindingQuery(unsigned int target) {
    switch (target) {
    case GL_PIXEL_PACK_BUFFER:
        return GL_PIXEL_PACK_BUFFER_BINDING;
    case GL_PIXEL_UNPACK_BUFFER:
        return GL_PIXEL_UNPACK_BUFFER_BINDING;
    case GL_ARRAY_BUFFER:
        return GL_ARRAY_BUFFER_BINDING;
    case GL_ELEMENT_ARRAY_BUFFER:
        return GL_ELEMENT_ARRAY_BUFFER_BINDING;
    default:
        return 0;
    }
}

} // namespace

PushBufferBinding::PushBufferBinding(unsigned int target, unsigned int name)
    : target_(target), saved_(0), pushed_(false) {
    auto bind = ZEP6_GLCALL(glBindBuffer);
    if (const GLenum query = BindingQuery(target)) {
        GLint current = 0;
        glGetIntegerv(query, &current);
        saved_ = static_cast<unsigned int>(current);
    }
    pushed_ = true;
    bind(target, name);
}

PushBufferBinding::~PushBufferBinding() {
    try {
        Pop();
    } catch (...) {
    }
}

void PushBufferBinding::Pop() {
    if (!pushed_)
        return;
    pushed_ = false;
    const bool exists = saved_ != 0 && GLEntry::glIsBuffer && GLEntry::glIsBuffer(saved_) == GL_TRUE;
    ZEP6_GLCALL(glBindBuffer)(target_, exists ? saved_ : 0);
}

} // namespace OGL_ZEP6_AE
