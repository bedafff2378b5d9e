#pragma once

#include "HostImage.h"

#include <string>

namespace zep6gl {

// Image files for the tool; the library itself knows no file format.
//
// Reading gives a top-down RGBA host image (FourCC "RGBA"): 8-bit PNG as 32 bits at white 255,
// 16-bit PNG as 64 bits at white 65535 (grey and colour without alpha are expanded, alpha
// opaque), OpenEXR as 128-bit floats at white 1 (a missing alpha is 1, a Y channel is grey).
// The format is told by the file's content.
HostImage ReadImage(const std::string& path);

// Writes any valid four-channel image of the library's descriptions (ARGB, BGRA, RGBA; 8-bit,
// 16-bit at any white level, half or float), honouring its row bytes and orientation. Integer
// data goes to PNG of the same depth, 16-bit values as value * 65535 / white level, rounded and
// clamped (data the library passes to OpenGL as signed shorts clamps at black); float data goes
// to OpenEXR (half channels unless `floatChannels`). The format follows the extension (".png" or
// ".exr"); a float image cannot go to PNG nor an integer one to EXR. OpenEXR files get the
// windows given, when present and of the image's size, else a data and display window of the
// image at the origin. The file is written in place, as a program writing a file does (an existing
// one keeps its mode, a symbolic link's target is written), a read-only output is refused, and a
// failed or interrupted write leaves no output file.
void WriteImage(const std::string& path, const XIImage& image, bool floatChannels = false,
                const FileWindows& windows = {});

// Every failure of the two functions above throws std::runtime_error with one line naming the
// file and the reason; running out of memory included.

// The most bytes of pictures one command may hold (--max-memory); by default half the machine's
// physical memory. Readers check a file's claimed size against it before they take any memory,
// and commands check the pictures they will hold together.
unsigned long long MemoryLimit();
void SetMemoryLimit(unsigned long long bytes);
unsigned long long DefaultMemoryLimit();
// A size as --max-memory takes it: bytes, or a number with K, M, G or T (powers of 1024).
bool ParseSize(const std::string& text, unsigned long long& bytes);
// Throws "<culprit>: <what> needs N MiB, more than the memory limit of M MiB (--max-memory)"
// when `bytes` exceed the limit.
void RequireMemory(const std::string& culprit, unsigned long long bytes, const std::string& what);

} // namespace zep6gl
