#include "HostImage.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace zep6gl {

const char* GlEnumName(unsigned int value) {
    switch (value) {
    case 0: return "0";
    case GL_RGBA: return "GL_RGBA";
    case GL_BGRA: return "GL_BGRA";
    case GL_RGB: return "GL_RGB";
    case GL_BGR: return "GL_BGR";
    case GL_ALPHA: return "GL_ALPHA";
    case GL_LUMINANCE: return "GL_LUMINANCE";
    case GL_DEPTH_COMPONENT: return "GL_DEPTH_COMPONENT";
    case GL_COLOR_INDEX: return "GL_COLOR_INDEX";
    case GL_UNSIGNED_BYTE: return "GL_UNSIGNED_BYTE";
    case GL_SHORT: return "GL_SHORT";
    case GL_UNSIGNED_SHORT: return "GL_UNSIGNED_SHORT";
    case GL_UNSIGNED_INT: return "GL_UNSIGNED_INT";
    case GL_FLOAT: return "GL_FLOAT";
    case GL_HALF_FLOAT: return "GL_HALF_FLOAT";
    case GL_UNSIGNED_INT_8_8_8_8: return "GL_UNSIGNED_INT_8_8_8_8";
    case GL_UNSIGNED_SHORT_5_6_5: return "GL_UNSIGNED_SHORT_5_6_5";
    case GL_UNSIGNED_SHORT_5_6_5_REV: return "GL_UNSIGNED_SHORT_5_6_5_REV";
    case GL_UNSIGNED_SHORT_1_5_5_5_REV: return "GL_UNSIGNED_SHORT_1_5_5_5_REV";
    case GL_UNSIGNED_SHORT_5_5_5_1: return "GL_UNSIGNED_SHORT_5_5_5_1";
    default: return "?";
    }
}

} // namespace zep6gl
