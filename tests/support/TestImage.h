#pragma once

// A concrete XIImage over memory the test owns, with every reported value settable, so tests can
// describe any image a host could hand in: padded rows, odd white levels, top-down, read-only,
// invalid geometry or no pixels at all.

#include "core/PixelFormat.h"
#include "core/XIImage.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace zep6test {

// What an image says about its pixels.
struct ImageFormat {
    long colorSpace;
    long bitDepth;
    long whiteLevel;
};

// Descriptions hosts commonly use.
namespace Formats {
using OGL_ZEP6_AE::FourCC;
constexpr ImageFormat ARGB8{32, 32, 255};
constexpr ImageFormat ARGB16{32, 64, 32768};
constexpr ImageFormat ARGB32F{32, 128, 1};
constexpr ImageFormat BGRA8{FourCC("BGRA"), 32, 255};
constexpr ImageFormat RGBA8{FourCC("RGBA"), 32, 255};
constexpr ImageFormat RGBA16{FourCC("RGBA"), 64, 65535};
constexpr ImageFormat RGBA16_8000{FourCC("RGBA"), 64, 32768};
constexpr ImageFormat RGBA16_4000{FourCC("RGBA"), 64, 16384};
constexpr ImageFormat RGBA32F{FourCC("RGBA"), 128, 1};
constexpr ImageFormat Alpha8{1, 8, 255};
} // namespace Formats

// Whether a TestImage has pixel memory. Without, it reports a null base address and never
// allocates, which suits large descriptions that only size or validity code looks at.
enum class Pixels { Owned, None };

class TestImage : public XIImage {
public:
    // A zero-filled image of width x height whose rows are the packed row length plus rowPadding
    // bytes. Bottom-up, writable, no native handle.
    TestImage(const ImageFormat& format, long width, long height, long rowPadding = 0,
              Pixels pixels = Pixels::Owned)
        : format_(format), width_(width), height_(height),
          rowBytes_(std::max(0L, width * format.bitDepth / 8 + rowPadding)),
          nullBase_(pixels == Pixels::None), ownsPixels_(pixels == Pixels::Owned) {
        Reserve();
    }
    TestImage(long colorSpace, long bitDepth, long whiteLevel, long width, long height, long rowPadding = 0,
              Pixels pixels = Pixels::Owned)
        : TestImage(ImageFormat{colorSpace, bitDepth, whiteLevel}, width, height, rowPadding, pixels) {}

    bool IsReadOnly() const override { return readOnly_; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return rowBytes_; }
    void* GetBaseAddress() const override {
        return nullBase_ ? nullptr : const_cast<unsigned char*>(bytes_.data());
    }
    long GetColorSpace() const override { return format_.colorSpace; }
    long GetBitDepth() const override { return format_.bitDepth; }
    long GetWhiteLevel() const override { return format_.whiteLevel; }
    bool IsBottomUp() const override { return bottomUp_; }
    void* GetNative() const override { return nullptr; }

    // The setters change what the image reports. Geometry changes grow owned memory to
    // row bytes x height so the reported rows always exist; they never move pixels around.
    TestImage& SetWidth(long width) { width_ = width; return *this; }
    TestImage& SetHeight(long height) { height_ = height; Reserve(); return *this; }
    TestImage& SetRowBytes(long rowBytes) { rowBytes_ = rowBytes; Reserve(); return *this; }
    TestImage& SetColorSpace(long colorSpace) { format_.colorSpace = colorSpace; return *this; }
    TestImage& SetBitDepth(long bitDepth) { format_.bitDepth = bitDepth; return *this; }
    TestImage& SetWhiteLevel(long whiteLevel) { format_.whiteLevel = whiteLevel; return *this; }
    TestImage& SetBottomUp(bool bottomUp) { bottomUp_ = bottomUp; return *this; }
    TestImage& SetReadOnly(bool readOnly) { readOnly_ = readOnly; return *this; }
    // Makes GetBaseAddress() report null (the memory is kept); without pixels it is always null.
    TestImage& SetNullBase(bool nullBase) { nullBase_ = nullBase || !ownsPixels_; return *this; }

    // The owned memory, padding included (empty without pixels).
    unsigned char* Bytes() { return bytes_.data(); }
    const unsigned char* Bytes() const { return bytes_.data(); }
    std::size_t ByteCount() const { return bytes_.size(); }
    void Fill(unsigned char value) { std::fill(bytes_.begin(), bytes_.end(), value); }

    // Row y in memory order (row 0 is the bottom of the picture when bottom-up).
    unsigned char* Row(long y) { return bytes_.data() + y * rowBytes_; }
    const unsigned char* Row(long y) const { return bytes_.data() + y * rowBytes_; }

    // Pixel x of memory row y seen as a pixel type (core/PixelTypes.h). Copies through memcpy
    // because padded rows need not be aligned for the type.
    template <typename Pixel> Pixel Get(long x, long y) const {
        Pixel pixel;
        std::memcpy(&pixel, Row(y) + x * static_cast<long>(sizeof(Pixel)), sizeof(Pixel));
        return pixel;
    }
    template <typename Pixel> void Set(long x, long y, const Pixel& pixel) {
        std::memcpy(Row(y) + x * static_cast<long>(sizeof(Pixel)), &pixel, sizeof(Pixel));
    }

private:
    void Reserve() {
        if (!ownsPixels_)
            return;
        const long needed = std::max(0L, rowBytes_) * std::max(0L, height_);
        if (static_cast<std::size_t>(needed) > bytes_.size())
            bytes_.resize(static_cast<std::size_t>(needed), 0);
    }

    ImageFormat format_;
    long width_;
    long height_;
    long rowBytes_;
    bool bottomUp_ = true;
    bool readOnly_ = false;
    bool nullBase_;
    bool ownsPixels_;
    std::vector<unsigned char> bytes_;
};

} // namespace zep6test
