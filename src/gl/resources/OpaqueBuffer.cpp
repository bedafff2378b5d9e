#include "gl/resources/OpaqueBuffer.h"

#include "core/PixelFormat.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/MemoryBuffer.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <climits>
#include <typeinfo>

namespace OGL_ZEP6_AE {

namespace {

// Rows start on 16-byte boundaries.
constexpr int kRowAlignBits = 128;

int ChannelsOf(unsigned int format) {
    switch (format) {
    case GL_DEPTH_COMPONENT:
    case GL_ALPHA:
    case GL_LUMINANCE:
        return 1;
    case GL_RGB:
        return 3;
    case GL_RGBA:
        return 4;
    default:
        return 0;
    }
}

} // namespace

OpaqueBuffer::OpaqueBuffer()
    : colorSpace_(GL_RGBA16F), bitDepth_(16), whiteLevel_(1), width_(0), height_(0), rowBytes_(0),
      baseAddress_(nullptr), memory_(nullptr) {}

OpaqueBuffer::~OpaqueBuffer() {
    OpaqueBuffer::Finalize();
}

void OpaqueBuffer::Finalize() {
    if (memory_) {
        MemoryBuffer* memory = memory_;
        memory_ = nullptr;
        MemoryBuffer::Recycle(memory);
    }
    baseAddress_ = nullptr;
}

int OpaqueBuffer::Size() const {
    const long long size = static_cast<long long>(rowBytes_) * height_;
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

const char* OpaqueBuffer::Name() const {
    return typeid(*this).name();
}

bool OpaqueBuffer::Resize(int width, int height, unsigned int colorSpace) {
    colorSpace_ = colorSpace;
    unsigned int format = 0, type = 0;
    GetColorSpaceFormat(colorSpace, format, type);
    const int channels = ChannelsOf(format);
    switch (type) {
    case GL_UNSIGNED_BYTE:
        bitDepth_ = channels * 8;
        whiteLevel_ = 255;
        break;
    case GL_UNSIGNED_SHORT:
        bitDepth_ = channels * 16;
        whiteLevel_ = 65535;
        break;
    case GL_FLOAT:
        bitDepth_ = channels * 32;
        whiteLevel_ = 1;
        break;
    case GL_HALF_FLOAT:
        bitDepth_ = channels * 16;
        whiteLevel_ = 1;
        break;
    default:
        bitDepth_ = 0;
        break;
    }
    return Allocate(width, height);
}

bool OpaqueBuffer::Resize(int width, int height, unsigned int colorSpace, int bitDepth, float whiteLevel) {
    colorSpace_ = colorSpace;
    bitDepth_ = bitDepth;
    whiteLevel_ = static_cast<int>(whiteLevel);
    return Allocate(width, height);
}

bool OpaqueBuffer::Resize(const XIImage* image) {
    if (!image) {
        Finalize();
        return false;
    }
    // Only the description counts here, so an image without pixels can serve as a template.
    unsigned int format = 0, type = 0;
    GetColorSpaceFormat(static_cast<int>(image->GetColorSpace()), static_cast<int>(image->GetBitDepth()),
                        static_cast<int>(image->GetWhiteLevel()), format, type);
    return Resize(static_cast<int>(image->GetWidth()), static_cast<int>(image->GetHeight()),
                  GetInternalFormat(format, type));
}

bool OpaqueBuffer::Resize(int width, int height, void* data, int rowBytes) {
    if (!data)
        return Allocate(width, height);
    Finalize();
    width_ = width;
    height_ = height;
    rowBytes_ = rowBytes != 0 ? rowBytes : figureRowBytes(width, bitDepth_, kRowAlignBits);
    baseAddress_ = data;
    return false;
}

bool OpaqueBuffer::Allocate(int width, int height) {
    width_ = width;
    height_ = height;
    Finalize();
    rowBytes_ = width > 0 && height > 0 ? figureRowBytes(width, bitDepth_, kRowAlignBits) : 0;
    const long long bytes = static_cast<long long>(rowBytes_) * (height > 0 ? height : 0);
    // One block is addressed with an int; leave room for the rounding.
    if (bytes <= 0 || bytes > INT_MAX - 0x400000) {
        rowBytes_ = 0;
        return false;
    }
    const int blockBytes = roundImageBytes(static_cast<int>(bytes));
    memory_ = MemoryBuffer::Make(MemoryKey(blockBytes));
    baseAddress_ = memory_->Data();
    return true;
}

int OpaqueBuffer::figureRowBytes(int width, int bitDepth, int alignBits) {
    long long bits = static_cast<long long>(width) * bitDepth;
    if (bits <= 0)
        return 0;
    if (alignBits > 1)
        bits = (bits + alignBits - 1) / alignBits * alignBits;
    const long long bytes = bits / 8;
    return bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
}

int OpaqueBuffer::roundImageBytes(int bytes) {
    if (bytes <= 0)
        return 0;
    const long long step = bytes < 0x400000 ? 0x100000 : 0x400000;
    const long long rounded = (static_cast<long long>(bytes) + step - 1) / step * step;
    return rounded > INT_MAX ? INT_MAX : static_cast<int>(rounded);
}

void OpaqueBuffer::FinalizePool() {
    MemoryBuffer::Purge();
}

} // namespace OGL_ZEP6_AE
