#include "gl/resources/Buffer.h"

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

constexpr float kLumaRed = 0.3f;
constexpr float kLumaGreen = 0.59f;
constexpr float kLumaBlue = 0.11f;

template <class Pixel> float LumaOf(const Pixel& p) {
    return kLumaRed * p.red + kLumaGreen * p.green + kLumaBlue * p.blue;
}

// Whether the buffer has pixels to visit.
template <class BufferType> bool HasPixels(const BufferType* buffer) {
    return buffer && buffer->GetBaseAddress() && buffer->GetWidth() > 0 && buffer->GetHeight() > 0;
}

} // namespace

template <class BufferType> bool HasAlpha(const BufferType* buffer) {
    using Pixel = typename BufferType::Pixel;
    using Channel = typename PixelTraits<Pixel>::Channel;
    if (!HasPixels(buffer))
        return false;
    const Channel white = static_cast<Channel>(PixelTraits<Pixel>::kMax);
    const long width = buffer->GetWidth();
    for (long r = 0; r < buffer->GetHeight(); ++r) {
        const Pixel* row = buffer->Row(r);
        for (long x = 0; x < width; ++x)
            if (row[x].alpha < white)
                return true;
    }
    return false;
}

template ZEP6_API bool HasAlpha<Buffer<RGBA32F>>(const Buffer<RGBA32F>* buffer);
template ZEP6_API bool HasAlpha<Buffer<BGRA8>>(const Buffer<BGRA8>* buffer);
template ZEP6_API bool HasAlpha<Buffer<ARGB8>>(const Buffer<ARGB8>* buffer);
template ZEP6_API bool HasAlpha<Buffer<Alpha32F>>(const Buffer<Alpha32F>* buffer);

float MaxLuma(const Buffer<RGBA32F>* buffer) {
    float maximum = 0.0f;
    if (!HasPixels(buffer))
        return maximum;
    const long width = buffer->GetWidth();
    for (long r = 0; r < buffer->GetHeight(); ++r) {
        const RGBA32F* row = buffer->Row(r);
        for (long x = 0; x < width; ++x)
            maximum = std::max(maximum, LumaOf(row[x]));
    }
    return maximum;
}

template <class BufferType> bool ConvertLumaToAlpha(BufferType* buffer) {
    using Pixel = typename BufferType::Pixel;
    if (!HasPixels(buffer))
        return false;
    const long width = buffer->GetWidth();
    for (long r = 0; r < buffer->GetHeight(); ++r) {
        Pixel* row = buffer->Row(r);
        for (long x = 0; x < width; ++x) {
            Pixel& p = row[x];
            const float luma = std::min(1.0f, std::max(0.0f, LumaOf(p)));
            p.red = 1.0f;
            p.green = 1.0f;
            p.blue = 1.0f;
            p.alpha = luma;
        }
    }
    return true;
}

template ZEP6_API bool ConvertLumaToAlpha<Buffer<BGRA32F>>(Buffer<BGRA32F>* buffer);

} // namespace OGL_ZEP6_AE
