#pragma once

// The internal formats the library creates textures in, and the one of the current drawing
// destination. These ask the card what it offers (float and half-float textures), so they need
// the root context: they run on the GL worker thread, or hand the capability test to it.

#include "Export.h"

class XIImage;

namespace OGL_ZEP6_AE {

// The internal format in which a texture for pixels of (format, type) is created: the rule of
// InternalFormatFor (core/TextureFormat.h) with the card's answers for "GL_ARB_texture_float" and
// "GL_ARB_half_float_pixel" (each asked once per process, and only for the types that need it).
ZEP6_API unsigned int GetInternalFormat(unsigned int format, unsigned int type);

// GL_RGBA8 for an invalid image, else the internal format for the image's pixel format and type.
ZEP6_API unsigned int GetInternalFormat(const XIImage* image);

// The internal format of colour attachment 0 of the bound framebuffer object; 0 when no
// framebuffer object is bound or nothing is attached. A texture attachment is bound to
// GL_TEXTURE_RECTANGLE to be asked (that binding is left changed), a renderbuffer to
// GL_RENDERBUFFER. Throws Unsupported when the framebuffer-object entry points are missing.
// Runs on the thread that has the context current (the GL worker thread).
ZEP6_API unsigned int GetCurrentInternalFormat();

// Bytes a texture for pixels of (format, type) takes: CalculateTextureSize
// (core/PixelFormat.h) of GetInternalFormat(format, type).
ZEP6_API long CalculateTextureSize(int width, int height, unsigned int format, unsigned int type);

} // namespace OGL_ZEP6_AE
