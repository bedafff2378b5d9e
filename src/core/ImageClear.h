#pragma once

// Clearing a host image in its own memory, without the graphics card: for the paths that have
// no render target to work with (a tile loop set up away from the GL worker thread, a finished
// loop). Pure logic: any thread, no OpenGL.

#include "Export.h"

class XIImage;

namespace OGL_ZEP6_AE {

// Sets every pixel of the image to transparent black. That is all-zero bytes in every layout the
// library knows (8-bit, 16-bit whatever the white level, float), so only the pixels of each row
// are zeroed: width * bit depth / 8 bytes per row, rows GetRowBytes() apart, padding left as it
// is. An invalid image (see IsValid) or a read-only one is left alone.
ZEP6_API void ClearToTransparent(XIImage* image);

} // namespace OGL_ZEP6_AE
