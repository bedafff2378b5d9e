#include "gl/resources/InternalFormat.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/TextureFormat.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/state/Texturing.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

unsigned int GetInternalFormat(unsigned int format, unsigned int type) {
    // Only float types depend on the card; the others must not start the worker thread.
    switch (type) {
    case GL_FLOAT:
    case GL_UNSIGNED_INT:
        if (format == GL_DEPTH_COMPONENT)
            break;
        return InternalFormatFor(format, type, IsFloatSupported(), false);
    case GL_HALF_FLOAT:
        if (format == GL_DEPTH_COMPONENT)
            break;
        if (IsHalfFloatSupported())
            return InternalFormatFor(format, type, false, true);
        return InternalFormatFor(format, type, IsFloatSupported(), false);
    default:
        break;
    }
    return InternalFormatFor(format, type, false, false);
}

unsigned int GetInternalFormat(const XIImage* image) {
    if (!IsValid(image))
        return GL_RGBA8;
    unsigned int format = 0, type = 0;
    GetFormatType(image, format, type);
    return GetInternalFormat(format, type);
}

unsigned int GetCurrentInternalFormat() {
    auto getAttachmentParameter = ZEP6_GLCALL(glGetFramebufferAttachmentParameterivEXT);
    GLint framebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    // The default framebuffer has no colour attachment 0 to ask about.
    if (framebuffer == 0)
        return 0;

    GLint objectType = GL_NONE;
    GLint name = 0;
    getAttachmentParameter(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT,
                           GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT, &objectType);
    if (objectType == GL_NONE)
        return 0;
    getAttachmentParameter(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT,
                           GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT, &name);

    GLint internalFormat = 0;
    if (objectType == GL_TEXTURE) {
        TextureTargetBinding(GL_TEXTURE_RECTANGLE, static_cast<unsigned int>(name)).Apply();
        glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_INTERNAL_FORMAT, &internalFormat);
    } else if (objectType == GL_RENDERBUFFER_EXT) {
        ZEP6_GLCALL(glBindRenderbufferEXT)(GL_RENDERBUFFER_EXT, static_cast<GLuint>(name));
        ZEP6_GLCALL(glGetRenderbufferParameterivEXT)
        (GL_RENDERBUFFER_EXT, GL_RENDERBUFFER_INTERNAL_FORMAT_EXT, &internalFormat);
    }
    return static_cast<unsigned int>(internalFormat);
}

long CalculateTextureSize(int width, int height, unsigned int format, unsigned int type) {
    return CalculateTextureSize(width, height, GetInternalFormat(format, type));
}

} // namespace OGL_ZEP6_AE
