#include "core/TextureFormat.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

unsigned int InternalFormatFor(unsigned int format, unsigned int type, bool floatTextures,
                               bool halfFloatPixels) {
    if (format == GL_DEPTH_COMPONENT)
        return GL_DEPTH_COMPONENT24;
    switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
    case GL_UNSIGNED_INT_8_8_8_8:
    case GL_UNSIGNED_INT_8_8_8_8_REV:
        return GL_RGBA8;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
        return GL_RGBA16;
    case GL_HALF_FLOAT:
        if (halfFloatPixels)
            return GL_RGBA16F;
        return floatTextures ? GL_RGBA32F : GL_RGBA16;
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
        return floatTextures ? GL_RGBA32F : GL_RGBA16;
    default:
        return GL_RGB8;
    }
}

} // namespace OGL_ZEP6_AE
