#pragma once

#include "core/XIImage.h"

#include <cstddef>
#include <utility>

namespace zep6gl {

// Zeroed pixel memory that costs the machine only the pages written to. A file's header may
// claim a picture of up to 16383 x 16383 that its data never fills: the decoders write row after
// row into memory of the claimed size, so a truncated or lying file fails having used no more
// than the rows it really held. Throws std::bad_alloc when the address space is refused.
class PixelMemory {
public:
    PixelMemory() = default;
    explicit PixelMemory(std::size_t bytes);
    PixelMemory(const PixelMemory& other);
    PixelMemory(PixelMemory&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    PixelMemory& operator=(PixelMemory other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~PixelMemory();

    unsigned char* Data() const { return data_; }
    std::size_t Size() const { return size_; }

private:
    unsigned char* data_ = nullptr;
    std::size_t size_ = 0;
};

// Where an OpenEXR picture lies: its pixels are the data window, whose lower corner is given
// here, inside the display window. Carried from a file read to a file written, so that a picture
// keeps its place; absent for pictures that have none (PNG, pictures made by the tool).
struct FileWindows {
    bool present = false;
    int dataX = 0, dataY = 0;
    int displayMinX = 0, displayMinY = 0, displayMaxX = 0, displayMaxY = 0;
};

// A host frame as the tool hands it to the library: pixels it owns, with the description
// (colour space, bit depth, white level, orientation) set by whoever made it.
class HostImage : public XIImage {
public:
    HostImage(long colorSpace, long bitDepth, long whiteLevel, long width, long height, long rowPadding = 0,
              bool bottomUp = true, bool withPixels = true)
        : colorSpace_(colorSpace), bitDepth_(bitDepth), whiteLevel_(whiteLevel), width_(width),
          height_(height), rowBytes_(width * bitDepth / 8 + rowPadding), bottomUp_(bottomUp) {
        if (withPixels && rowBytes_ > 0 && height_ > 0)
            pixels_ = PixelMemory(static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height_));
    }

    bool IsReadOnly() const override { return false; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return rowBytes_; }
    void* GetBaseAddress() const override { return pixels_.Data(); }
    long GetColorSpace() const override { return colorSpace_; }
    long GetBitDepth() const override { return bitDepth_; }
    long GetWhiteLevel() const override { return whiteLevel_; }
    bool IsBottomUp() const override { return bottomUp_; }
    void* GetNative() const override { return nullptr; }

    const FileWindows& Windows() const { return windows_; }
    void SetWindows(const FileWindows& windows) { windows_ = windows; }
    void SetRowBytes(long rowBytes) { rowBytes_ = rowBytes; }
    void SetBottomUp(bool bottomUp) { bottomUp_ = bottomUp; }
    unsigned char* Row(long y) { return pixels_.Data() + static_cast<std::size_t>(y) * rowBytes_; }
    const unsigned char* Row(long y) const { return pixels_.Data() + static_cast<std::size_t>(y) * rowBytes_; }

private:
    long colorSpace_, bitDepth_, whiteLevel_, width_, height_, rowBytes_;
    bool bottomUp_;
    PixelMemory pixels_;
    FileWindows windows_;
};

// Names of the OpenGL enumerants the tool prints.
const char* GlEnumName(unsigned int value);

} // namespace zep6gl
