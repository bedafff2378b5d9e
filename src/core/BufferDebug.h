#pragma once

// Debug image writers. Kept for plug-ins that call them; in this library they are inert: they
// write nothing and return false.

#include "Export.h"

class XIImage;

namespace OGL_ZEP6_AE {

// Which channels a debug writer would write.
enum class Channel : int { All = 0, Red = 1, Green = 2, Blue = 3, Alpha = 4, Luma = 5, Depth = 6 };

// The image, as a file at path.
ZEP6_API bool WriteImageToFile(const char* path, const XIImage* image, Channel channel);
// A block of width x height of the current read framebuffer.
ZEP6_API bool WriteBufferToFile(const char* path, int width, int height, Channel channel);
// The whole current read framebuffer.
ZEP6_API bool WriteBufferToFile(const char* path, Channel channel);

} // namespace OGL_ZEP6_AE
