#pragma once

#include "Export.h"
#include "core/XIImage.h"
#include "gl/resources/Resource.h"

namespace OGL_ZEP6_AE {

class MemoryBuffer;

// An image in main memory whose pixels live in a block from the memory cache (or, for a wrapper,
// in memory owned by someone else). Rows are padded to 16-byte boundaries and blocks are rounded
// up (to 1 MiB below 4 MiB, to 4 MiB above) so that blocks of nearby sizes are interchangeable in
// the cache. The base of the typed buffers Buffer<PixelType>.
//
// The colour space of a buffer sized by Resize(width, height, colorSpace) is an OpenGL internal
// format (GL_RGBA32F, GL_RGBA8, GL_ALPHA16F, ...), from which bit depth and white level follow.
// As an XIImage it is writable, bottom-up and has no native handle.
//
// Buffers may be sized on any thread, but their blocks come from the memory cache, which is
// emptied each time a job for the GL worker thread ends: the library sizes its buffers inside jobs.
class ZEP6_API OpaqueBuffer : public Resource, public XIImage {
public:
    // Colour space GL_RGBA16F, bit depth 16, white level 1, 0 x 0, no memory.
    OpaqueBuffer();
    // A block has one owner: buffers are not copied.
    OpaqueBuffer(const OpaqueBuffer&) = delete;
    OpaqueBuffer& operator=(const OpaqueBuffer&) = delete;
    // Gives the block back to the memory cache.
    ~OpaqueBuffer() override;

    // XIImage
    bool IsReadOnly() const override { return false; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return rowBytes_; }
    void* GetBaseAddress() const override { return baseAddress_; }
    long GetColorSpace() const override { return static_cast<long>(colorSpace_); }
    long GetBitDepth() const override { return bitDepth_; }
    long GetWhiteLevel() const override { return whiteLevel_; }
    bool IsBottomUp() const override { return true; }
    void* GetNative() const override { return nullptr; }

    // Resource: gives the block back to the memory cache and clears the base address (memory
    // that was only wrapped is left alone). The buffer can be sized again.
    void Finalize() override;
    void Dump() const override {}

    // The run-time type name of the object.
    const char* Name() const;
    // Row bytes x height (at most INT_MAX, for wrapped memory of more).
    int Size() const;

    // Sizes the buffer for pixels of an internal-format colour space: bit depth and white level
    // follow from its pixel format and type (GL_UNSIGNED_BYTE: 8 bits a channel, white 255;
    // GL_UNSIGNED_SHORT: 16, 65535; GL_FLOAT: 32, 1; GL_HALF_FLOAT: 16, 1; a format other than
    // GL_RGBA, GL_RGB or a one-channel one, or another type, gives bit depth 0). The old block
    // goes back to the cache and a new one is taken. False, with no block, when the rounded byte
    // count is 0 (a zero or negative size, a colour space of no known depth) or too large for
    // one block.
    bool Resize(int width, int height, unsigned int colorSpace);
    // The same with bit depth and white level given (the white level truncated to an integer).
    bool Resize(int width, int height, unsigned int colorSpace, int bitDepth, float whiteLevel);
    // Sized like the image: its pixel format and type give the internal format in which the
    // library would keep such pixels (GetInternalFormat), which becomes the colour space. A null
    // image releases the block and gives false.
    bool Resize(const XIImage* image);

    // Empties the memory cache.
    static void FinalizePool();

protected:
    // Sets the description (colour space, bit depth, white level) without touching the pixels.
    void Describe(unsigned int colorSpace, int bitDepth, int whiteLevel) {
        colorSpace_ = colorSpace;
        bitDepth_ = bitDepth;
        whiteLevel_ = whiteLevel;
    }

    // Releases the block, then: with data, wraps that memory (row bytes as given, or computed
    // when 0) and returns false, the memory staying its owner's; without, allocates as the
    // public forms do, for the current colour space, bit depth and white level.
    bool Resize(int width, int height, void* data, int rowBytes);

    // (width x bitDepth, rounded up to a multiple of alignBits) / 8.
    static int figureRowBytes(int width, int bitDepth, int alignBits);
    // Rounded up to a multiple of 1 MiB below 4 MiB, else to a multiple of 4 MiB; 0 for 0 or
    // less.
    static int roundImageBytes(int bytes);

private:
    bool Allocate(int width, int height);

    unsigned int colorSpace_;
    int bitDepth_;
    int whiteLevel_;
    int width_;
    int height_;
    int rowBytes_;
    void* baseAddress_;
    MemoryBuffer* memory_;
};

} // namespace OGL_ZEP6_AE
