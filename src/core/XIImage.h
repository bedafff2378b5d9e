#pragma once

// The image interface every frame crosses the library's boundary through, in both directions.
// Host plug-ins wrap their own frame buffers in it and the library's memory buffers implement it.
//
// An image describes its pixels with three numbers rather than with an enumeration of the
// library's own:
//   - a colour-space code: a classic pixel-format number (1, 2, 4, 8, 16, 24, 32, 33, 34, 36, 40;
//     32 is alpha-first A, R, G, B), a four-character code packed big-endian ("RGBA", "BGRA", ...)
//     or an OpenGL internal-format enumerant (GL_RGBA8, GL_RGBA16F, GL_ALPHA8, ...);
//   - a bit depth: bits per pixel, all channels together (32, 64 or 128 for four channels,
//     8, 16 or 32 for one);
//   - a white level: the channel value that stands for full intensity (255, 65535, 32768, 16384,
//     or 1 for float channels).
//
// Rows are GetRowBytes() apart, which may exceed width * bit depth / 8.
//
// This header is self-contained on purpose: plug-ins implement the interface and may take this
// file on its own. The class lives in the global namespace and its order of virtual operations is
// part of the binary interface; never reorder or insert.
class __attribute__((visibility("default"))) XIImage {
public:
    virtual ~XIImage() = default;

    // The pixels must not be written.
    virtual bool IsReadOnly() const = 0;
    // Width in pixels.
    virtual long GetWidth() const = 0;
    // Height in pixels (number of rows).
    virtual long GetHeight() const = 0;
    // Distance in bytes from one row to the next.
    virtual long GetRowBytes() const = 0;
    // Address of the first row in memory.
    virtual void* GetBaseAddress() const = 0;
    // Colour-space code, see above.
    virtual long GetColorSpace() const = 0;
    // Bits per pixel, all channels together.
    virtual long GetBitDepth() const = 0;
    // Channel value that stands for full intensity.
    virtual long GetWhiteLevel() const = 0;
    // The first row in memory is the bottom row of the picture.
    virtual bool IsBottomUp() const = 0;
    // An opaque native handle of the image, or null.
    virtual void* GetNative() const = 0;
};
