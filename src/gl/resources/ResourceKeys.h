#pragma once

// The request keys of the three caches. A request accepts a cached buffer when the buffer's own
// key satisfies it (IsAcceptable, called on the request with the candidate's key).

#include "Export.h"

namespace OGL_ZEP6_AE {

// A block of pixel memory: its size in bytes. Any block at least that large will do.
struct ZEP6_API MemoryKey {
    int size = 0;

    MemoryKey() = default;
    explicit MemoryKey(int bytes) : size(bytes) {}

    bool IsAcceptable(const MemoryKey& candidate) const { return candidate.size >= size; }
};

// A renderbuffer. A request names width, height, pixel format and type; the renderbuffer fills
// in the internal format OpenGL gave it and its size in bytes.
struct ZEP6_API RenderKey {
    int width = 0;
    int height = 0;
    unsigned int format = 0;         // pixel format enumerant: GL_RGBA, GL_DEPTH_COMPONENT, ...
    unsigned int type = 0;           // pixel type enumerant: GL_UNSIGNED_BYTE, GL_FLOAT, ...
    unsigned int internalFormat = 0; // filled in once the renderbuffer exists
    int size = 0;                    // bytes, filled in likewise

    RenderKey() = default;
    RenderKey(int width, int height, unsigned int format, unsigned int type)
        : width(width), height(height), format(format), type(type) {}

    // Same width, height, format and type.
    bool IsAcceptable(const RenderKey& candidate) const {
        return candidate.width == width && candidate.height == height && candidate.format == format &&
               candidate.type == type;
    }
};

// A texture. A non-exact request may be served by a larger texture of the same target and
// internal format; an exact one only by one of the same size.
class ZEP6_API TextureKey {
public:
    // A rectangle texture (GL_TEXTURE_RECTANGLE_ARB) of 0 x 0 four-float texels
    // (GL_RGBA32F_ARB), not exact.
    TextureKey() = default;
    TextureKey(unsigned int target, int width, int height, unsigned int internalFormat, unsigned char exact)
        : target_(target), width_(width), height_(height), internalFormat_(internalFormat), exact_(exact) {}

    unsigned int Target() const { return target_; }
    int Width() const { return width_; }
    int Height() const { return height_; }
    unsigned int InternalFormat() const { return internalFormat_; }
    bool Exact() const { return exact_ != 0; }

    // The texture records the internal format OpenGL actually gave it.
    void SetInternalFormat(unsigned int internalFormat) { internalFormat_ = internalFormat; }

    // Bytes the texture takes (CalculateTextureSize of width, height and internal format).
    int Size() const;

    // Same target and internal format; when this request is exact, the same width and height,
    // otherwise a candidate at least as wide and as high. The candidate's exact flag is not looked
    // at.
    bool IsAcceptable(const TextureKey& candidate) const;

private:
    unsigned int target_ = 0x84F5; // GL_TEXTURE_RECTANGLE_ARB
    int width_ = 0;
    int height_ = 0;
    unsigned int internalFormat_ = 0x8814; // GL_RGBA32F_ARB
    unsigned char exact_ = 0;
};

} // namespace OGL_ZEP6_AE
