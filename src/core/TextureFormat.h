#pragma once

// The rule that picks the internal format of a texture made for pixels of a given OpenGL format
// and type. Pure logic: the caller says what the card offers (GetInternalFormat in
// gl/resources/InternalFormat.h asks the card and applies this rule).

#include "Export.h"

namespace OGL_ZEP6_AE {

// The internal format for pixels of (format, type):
//   format GL_DEPTH_COMPONENT (any type)                      GL_DEPTH_COMPONENT24
//   GL_BYTE, GL_UNSIGNED_BYTE, GL_UNSIGNED_INT_8_8_8_8(_REV)  GL_RGBA8
//   GL_SHORT, GL_UNSIGNED_SHORT                               GL_RGBA16
//   GL_UNSIGNED_INT, GL_FLOAT                                 GL_RGBA32F with float textures, else GL_RGBA16
//   GL_HALF_FLOAT                                             GL_RGBA16F with half-float pixels, else as
//                                                             GL_FLOAT
//   any other type (GL_INT, the packed 16-bit types, 0)       GL_RGB8
ZEP6_API unsigned int InternalFormatFor(unsigned int format, unsigned int type, bool floatTextures,
                                        bool halfFloatPixels);

} // namespace OGL_ZEP6_AE
