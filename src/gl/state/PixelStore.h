#pragma once

// Pixel-store parameters: how OpenGL finds pixels in client memory when it reads (unpack: texture
// loads) and writes (pack: read-back) them. Apply()/Retrieve() and the image constructors run on
// the GL worker thread (or a thread with the root context current).

#include "Export.h"

class XIImage;

namespace OGL_ZEP6_AE {

// The four unpack parameters used by plain image loads.
class ZEP6_API PixelStore {
public:
    int alignment;
    int rowLength;
    int skipPixels;
    int skipRows;

    // OpenGL's initial values: alignment 4, everything else 0.
    constexpr PixelStore() : PixelStore(4, 0, 0, 0) {}
    constexpr PixelStore(int alignment_, int rowLength_, int skipPixels_, int skipRows_)
        : alignment(alignment_), rowLength(rowLength_), skipPixels(skipPixels_), skipRows(skipRows_) {}

    // GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_PIXELS, GL_UNPACK_SKIP_ROWS.
    void Apply() const;
    void Retrieve();

    bool operator==(const PixelStore& p) const;
    bool operator!=(const PixelStore& p) const { return !(*this == p); }
};

// Alignment, row length, image height and the two skips, for unpacking (PixelUnpack) or
// packing (PixelPack).
class ZEP6_API PixelAddressing {
public:
    int alignment;
    int rowLength;
    int imageHeight;
    int skipPixels;
    int skipRows;

    constexpr PixelAddressing() : PixelAddressing(4, 0, 0, 0, 0) {}
    constexpr PixelAddressing(int alignment_, int rowLength_, int imageHeight_, int skipPixels_,
                              int skipRows_)
        : alignment(alignment_), rowLength(rowLength_), imageHeight(imageHeight_), skipPixels(skipPixels_),
          skipRows(skipRows_) {}
    // Addresses an area of the image: row length = row bytes / (bit depth / 8), the alignment
    // under which rows of that length lie the image's row bytes apart (4 when none does),
    // image height = the image's height, and the two skips. For an invalid image the row length
    // and image height are 0.
    PixelAddressing(const XIImage* image, int skipPixels_, int skipRows_);

    bool operator==(const PixelAddressing& p) const;
    bool operator!=(const PixelAddressing& p) const { return !(*this == p); }
};

class ZEP6_API PixelUnpack : public PixelAddressing {
public:
    using PixelAddressing::PixelAddressing;
    constexpr PixelUnpack() : PixelAddressing() {}

    // GL_UNPACK_ALIGNMENT, _ROW_LENGTH, _IMAGE_HEIGHT, _SKIP_PIXELS, _SKIP_ROWS.
    void Apply() const;
    void Retrieve();
};

class ZEP6_API PixelPack : public PixelAddressing {
public:
    using PixelAddressing::PixelAddressing;
    constexpr PixelPack() : PixelAddressing() {}

    // GL_PACK_ALIGNMENT, _ROW_LENGTH, _IMAGE_HEIGHT, _SKIP_PIXELS, _SKIP_ROWS.
    void Apply() const;
    void Retrieve();
};

} // namespace OGL_ZEP6_AE
