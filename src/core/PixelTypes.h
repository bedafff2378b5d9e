#pragma once

// Typed views of the pixels an XIImage describes with (colour space, bit depth, white level).
//
// Each pixel type is a plain structure of its channels in memory order and nothing else, so a row
// of an image can be addressed as an array of them. The template arguments are the channel type
// and the channel value that means white. Float channels use 1 as white; the value is an integer
// template argument because C++17 takes no floating-point ones.

#include <type_traits>

namespace OGL_ZEP6_AE {

// Four channels, alpha first: the classic colour-space code 32.
template <typename T, unsigned int max> struct ARGBPixelType {
    T alpha;
    T red;
    T green;
    T blue;
};

// Four channels in blue, green, red, alpha order: "BGRA" and GL_BGRA.
template <typename T, unsigned int max> struct BGRAPixelType {
    T blue;
    T green;
    T red;
    T alpha;
};

// Four channels in red, green, blue, alpha order: "RGBA" and the GL_RGBA internal formats.
template <typename T, unsigned int max> struct RGBAPixelType {
    T red;
    T green;
    T blue;
    T alpha;
};

// One alpha channel: the classic code 1 and the GL_ALPHA internal formats.
template <typename T, unsigned int max> struct AlphaPixelType { T alpha; };

// One luma channel: the GL_LUMINANCE internal formats.
template <typename T, unsigned int max> struct LumaPixelType { T luma; };

// One depth channel: the GL_DEPTH_COMPONENT internal formats.
template <typename T, unsigned int max> struct DepthPixelType { T depth; };

// The 24 instances the library works with. The suffix names the channel size; a 16-bit
// four-channel type exists for each of the three white levels a host uses:
//   ..16        white 0xFFFF (65535), also taken for any white level other than the two below
//   ..16_8000   white 0x8000 (32768)
//   ..16_4000   white 0x4000 (16384), passed to OpenGL as signed shorts
// One-channel 16-bit pixels only come with white 0xFFFF.
using ARGB8 = ARGBPixelType<unsigned char, 255>;
using BGRA8 = BGRAPixelType<unsigned char, 255>;
using RGBA8 = RGBAPixelType<unsigned char, 255>;
using ARGB16 = ARGBPixelType<unsigned short, 0xFFFF>;
using BGRA16 = BGRAPixelType<unsigned short, 0xFFFF>;
using RGBA16 = RGBAPixelType<unsigned short, 0xFFFF>;
using ARGB16_8000 = ARGBPixelType<unsigned short, 0x8000>;
using BGRA16_8000 = BGRAPixelType<unsigned short, 0x8000>;
using RGBA16_8000 = RGBAPixelType<unsigned short, 0x8000>;
using ARGB16_4000 = ARGBPixelType<unsigned short, 0x4000>;
using BGRA16_4000 = BGRAPixelType<unsigned short, 0x4000>;
using RGBA16_4000 = RGBAPixelType<unsigned short, 0x4000>;
using ARGB32F = ARGBPixelType<float, 1>;
using BGRA32F = BGRAPixelType<float, 1>;
using RGBA32F = RGBAPixelType<float, 1>;
using Alpha8 = AlphaPixelType<unsigned char, 255>;
using Alpha16 = AlphaPixelType<unsigned short, 0xFFFF>;
using Alpha32F = AlphaPixelType<float, 1>;
using Luma8 = LumaPixelType<unsigned char, 255>;
using Luma16 = LumaPixelType<unsigned short, 0xFFFF>;
using Luma32F = LumaPixelType<float, 1>;
using Depth8 = DepthPixelType<unsigned char, 255>;
using Depth16 = DepthPixelType<unsigned short, 0xFFFF>;
using Depth32F = DepthPixelType<float, 1>;

// Which of the six templates a pixel type is; GetPixelLayout (core/PixelFormat.h) gives the
// layout a colour-space code selects.
enum class PixelLayout { Unknown, ARGB, BGRA, RGBA, Alpha, Luma, Depth };

// Number of channels of a layout (0 for Unknown).
constexpr int PixelLayoutChannels(PixelLayout layout) {
    switch (layout) {
    case PixelLayout::ARGB:
    case PixelLayout::BGRA:
    case PixelLayout::RGBA:
        return 4;
    case PixelLayout::Alpha:
    case PixelLayout::Luma:
    case PixelLayout::Depth:
        return 1;
    default:
        return 0;
    }
}

// The channel maximum of the pixel type that holds pixels of (layout, bit depth, white level), or
// 0 when none of the 24 instances does. The bit depth picks the channel size (8 bits: 255, 32 bits:
// float with 1); for 16-bit four-channel pixels the white level picks the scale: exactly 32768
// gives 0x8000, exactly 16384 gives 0x4000, anything else 0xFFFF. One-channel 16-bit pixels are
// always 0xFFFF.
constexpr unsigned int PixelMaxFor(PixelLayout layout, long bitDepth, long whiteLevel) {
    const int channels = PixelLayoutChannels(layout);
    if (channels == 0 || bitDepth % channels != 0)
        return 0;
    switch (bitDepth / channels) {
    case 8:
        return 255;
    case 16:
        if (channels == 4 && whiteLevel == 0x8000)
            return 0x8000;
        if (channels == 4 && whiteLevel == 0x4000)
            return 0x4000;
        return 0xFFFF;
    case 32:
        return 1;
    default:
        return 0;
    }
}

namespace PixelTypesDetail {
template <typename T, unsigned int max, PixelLayout layout> struct Traits {
    using Channel = T;
    static constexpr PixelLayout kLayout = layout;
    static constexpr int kChannels = PixelLayoutChannels(layout);
    // Channel value that means white.
    static constexpr unsigned int kMax = max;
    // Bits per pixel, as XIImage::GetBitDepth() reports it.
    static constexpr long kBitDepth = static_cast<long>(sizeof(T)) * 8 * kChannels;
    // The white level an image of this type reports (for ..16 types the canonical 65535).
    static constexpr long kWhiteLevel = max;
    static constexpr bool kIsFloat = std::is_floating_point<T>::value;
};
} // namespace PixelTypesDetail

// Compile-time description of a pixel type: PixelTraits<BGRA16_8000>::kBitDepth is 64 and so on.
template <typename Pixel> struct PixelTraits;
template <typename T, unsigned int max>
struct PixelTraits<ARGBPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::ARGB> {};
template <typename T, unsigned int max>
struct PixelTraits<BGRAPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::BGRA> {};
template <typename T, unsigned int max>
struct PixelTraits<RGBAPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::RGBA> {};
template <typename T, unsigned int max>
struct PixelTraits<AlphaPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::Alpha> {};
template <typename T, unsigned int max>
struct PixelTraits<LumaPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::Luma> {};
template <typename T, unsigned int max>
struct PixelTraits<DepthPixelType<T, max>> : PixelTypesDetail::Traits<T, max, PixelLayout::Depth> {};

// Whether Pixel is the type for pixels of (layout, bit depth, white level): code that dispatches on
// an image's description tests the candidate instances with this.
template <typename Pixel> constexpr bool IsPixelTypeFor(PixelLayout layout, long bitDepth, long whiteLevel) {
    using Tr = PixelTraits<Pixel>;
    return layout == Tr::kLayout && bitDepth == Tr::kBitDepth &&
           PixelMaxFor(layout, bitDepth, whiteLevel) == Tr::kMax;
}

} // namespace OGL_ZEP6_AE
