#pragma once

#include "core/XIImage.h"

#include <cstddef>
#include <vector>

namespace zep6gl {

// A host frame as the tool hands it to the library: pixels it owns, with the description
// (colour space, bit depth, white level, orientation) set by whoever made it.
class HostImage : public XIImage {
public:
    HostImage(long colorSpace, long bitDepth, long whiteLevel, long width, long height, long rowPadding = 0,
              bool bottomUp = true, bool withPixels = true)
        : colorSpace_(colorSpace), bitDepth_(bitDepth), whiteLevel_(whiteLevel), width_(width),
          height_(height), rowBytes_(width * bitDepth / 8 + rowPadding), bottomUp_(bottomUp) {
        if (withPixels && rowBytes_ > 0 && height_ > 0)
            pixels_.assign(static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height_), 0);
    }

    bool IsReadOnly() const override { return false; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return rowBytes_; }
    void* GetBaseAddress() const override {
        return pixels_.empty() ? nullptr : const_cast<unsigned char*>(pixels_.data());
    }
    long GetColorSpace() const override { return colorSpace_; }
    long GetBitDepth() const override { return bitDepth_; }
    long GetWhiteLevel() const override { return whiteLevel_; }
    bool IsBottomUp() const override { return bottomUp_; }
    void* GetNative() const override { return nullptr; }

    void SetRowBytes(long rowBytes) { rowBytes_ = rowBytes; }
    void SetBottomUp(bool bottomUp) { bottomUp_ = bottomUp; }
    unsigned char* Row(long y) { return pixels_.data() + static_cast<std::size_t>(y) * rowBytes_; }
    const unsigned char* Row(long y) const {
        return pixels_.data() + static_cast<std::size_t>(y) * rowBytes_;
    }

private:
    long colorSpace_, bitDepth_, whiteLevel_, width_, height_, rowBytes_;
    bool bottomUp_;
    std::vector<unsigned char> pixels_;
};

// Names of the OpenGL enumerants the tool prints.
const char* GlEnumName(unsigned int value);

} // namespace zep6gl
