#pragma once

// Typed pixel buffers: an OpaqueBuffer whose pixels are addressed as one of the pixel types of
// core/PixelTypes.h, and the few whole-image tests the library offers over them.

#include "Export.h"
#include "core/BufferDebug.h"
#include "core/PixelTypes.h"
#include "core/XIImage.h"
#include "gl/resources/OpaqueBuffer.h"

#include <cmath>

namespace OGL_ZEP6_AE {

// Row r starts at base address + r x row bytes (row 0 is the bottom row); pixel x of a row is
// the x-th PixelType in it.
template <class PixelType> class Buffer : public OpaqueBuffer {
public:
    using Pixel = PixelType;

    // Wraps an image's pixels as they are: its description, width, height, base address and row
    // bytes. Nothing is copied or allocated, and the memory stays the image's. A null image gives
    // an empty buffer; an image without pixels gives an empty buffer of its description.
    explicit Buffer(const XIImage* image) {
        if (!image)
            return;
        Describe(static_cast<unsigned int>(image->GetColorSpace()), static_cast<int>(image->GetBitDepth()),
                 static_cast<int>(image->GetWhiteLevel()));
        if (image->GetBaseAddress())
            Resize(static_cast<int>(image->GetWidth()), static_cast<int>(image->GetHeight()),
                   image->GetBaseAddress(), static_cast<int>(image->GetRowBytes()));
    }

    // An empty buffer (0 x 0, no memory) of that description, to be sized with Resize(). The
    // white level is rounded to an integer.
    Buffer(unsigned int colorSpace, int bitDepth, float whiteLevel) {
        Describe(colorSpace, bitDepth, static_cast<int>(std::lround(whiteLevel)));
    }

    ~Buffer() override {}

    // Row r (memory order), or null without pixels.
    PixelType* Row(long r) const {
        unsigned char* base = static_cast<unsigned char*>(GetBaseAddress());
        return base ? reinterpret_cast<PixelType*>(base + r * GetRowBytes()) : nullptr;
    }
};

// Whether any pixel is less than opaque: rows are visited from the first in memory, and the
// first alpha below the type's white (255 for 8-bit, 1.0 for float) answers true. False for a
// null buffer, one without pixels, or an all-opaque one. Instances exist for
// Buffer<RGBAPixelType<float, 1>>, Buffer<BGRAPixelType<unsigned char, 255>>,
// Buffer<ARGBPixelType<unsigned char, 255>> and Buffer<AlphaPixelType<float, 1>>.
template <class BufferType> ZEP6_API bool HasAlpha(const BufferType* buffer);

extern template ZEP6_API bool HasAlpha<Buffer<RGBA32F>>(const Buffer<RGBA32F>* buffer);
extern template ZEP6_API bool HasAlpha<Buffer<BGRA8>>(const Buffer<BGRA8>* buffer);
extern template ZEP6_API bool HasAlpha<Buffer<ARGB8>>(const Buffer<ARGB8>* buffer);
extern template ZEP6_API bool HasAlpha<Buffer<Alpha32F>>(const Buffer<Alpha32F>* buffer);

// The largest luma (0.3 red + 0.59 green + 0.11 blue) over all pixels, starting from 0, so
// negative lumas give 0. 0 for a null buffer or one without pixels.
ZEP6_API float MaxLuma(const Buffer<RGBA32F>* buffer);

// Turns the buffer into a matte of its luma: every pixel becomes white with an alpha of its
// former luma (0.3 red + 0.59 green + 0.11 blue, clamped to 0..1). True when the buffer had
// pixels to convert; false for a null buffer or one without pixels. Writes only inside the
// buffer. The instance exists for Buffer<BGRAPixelType<float, 1>>.
template <class BufferType> ZEP6_API bool ConvertLumaToAlpha(BufferType* buffer);

extern template ZEP6_API bool ConvertLumaToAlpha<Buffer<BGRA32F>>(Buffer<BGRA32F>* buffer);

} // namespace OGL_ZEP6_AE
