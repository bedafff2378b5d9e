#pragma once

#include "Export.h"
#include "gl/context/RootContext.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceFactory.h"
#include "gl/resources/ResourceKeys.h"

class XIImage;

namespace OGL_ZEP6_AE {

class Region;

// An OpenGL texture with a framebuffer object that makes it a drawing destination. Made and
// given back through the texture cache (384 MiB idle budget): TextureBuffer::Make(key) and
// TextureBuffer::Recycle(). A newly made texture starts transparent black; a reused one holds
// what its last user left. Used on the GL worker thread only.
class ZEP6_API TextureBuffer : public Context, public Resource {
public:
    // Copies the key and creates the texture (Initialize()).
    explicit TextureBuffer(const TextureKey& key);
    TextureBuffer(const TextureBuffer&) = delete;
    TextureBuffer& operator=(const TextureBuffer&) = delete;
    // Deletes the texture and framebuffer object (only when the thread has a context current).
    ~TextureBuffer() override;

    // Deletes the texture and the framebuffer object. The key stays: Initialize(), Bind() or
    // Attach() make the texture again, Select() both.
    void Finalize() override;
    void Dump() const override {}

    // Creates the texture when there is none: level 0 defined at the key's size (OpenGLError()
    // when no name can be made or OpenGL makes another size), the internal format OpenGL gave it
    // stored into the key, and, unless it is a depth texture, its colour cleared to transparent
    // black through its framebuffer (under a full state save, so nothing else changes). The
    // texture binding of the key's target is restored.
    void Initialize() const;
    // Disables 2-D and rectangle texturing, makes the texture when needed, then enables the key's
    // target and binds the texture to it.
    void Bind() const;
    // glAreTexturesResident for the texture; false without one.
    bool IsResident() const;
    // Makes the texture when needed, sets its filters to GL_LINEAR and attaches level 0 to the
    // bound framebuffer object at `attachment`.
    void Attach(unsigned int attachment) const;

    // Makes the texture the drawing destination: binds it, binds its framebuffer object (made
    // when needed) with the texture as colour attachment 0, applies the library's default state
    // and Orthogonal(-10000, 10000). False for a 0-sized key or when no framebuffer object can be
    // made; false after deleting the texture when the framebuffer is incomplete (the next use
    // makes a new one). OffscreenUnsupported without framebuffer objects.
    bool Select() override;
    // Does nothing and returns false: the caller restores its previous destination.
    bool Deselect() override;
    // Viewport and scissor box over the whole texture, projection glOrtho(0, width, 0, height,
    // zNear, zFar), model-view identity (the matrix mode ends as GL_MODELVIEW). Nothing for a
    // 0-sized key.
    void Orthogonal(double zNear, double zFar);
    // The whole-target projection of a width x height drawing destination: viewport and
    // scissor over it, orthographic projection in pixels, identity model-view (left selected).
    // Nothing for an empty size. Runs on the GL worker thread.
    static void OrthogonalFor(int width, int height, double zNear, double zFar);
    // SetDefault(), then Orthogonal(-10000, 10000).
    void Reset();

    // Pixel transfer between an area of an image (`source`) and the texture or the current read
    // framebuffer at the position of `dest` (its size is not used: the block has the source's).
    // The area is addressed in the image's memory through the pixel-store state, which is
    // restored afterwards. A null image throws OpenGLError(); an image without base address or
    // an empty source area does nothing.
    //
    // Uploads into the texture (made when needed) in the image's own pixel format and type.
    void LoadImageNative(const XIImage* image, const Region& source, const Region& dest) const;
    // Reads from the current read framebuffer into the image in its own pixel format and type.
    void ReadImageNative(const XIImage* image, const Region& source, const Region& dest) const;
    // The same with the image's bytes taken as RGBA (GL_BGRA becomes GL_RGBA, GL_BGR GL_RGB, and
    // packed 8-bit words become bytes): the bytes move unchanged, so the texture's red and blue
    // hold the image's bytes in memory order.
    void LoadImageAsRgba(const XIImage* image, const Region& source, const Region& dest) const;
    void ReadImageAsRgba(const XIImage* image, const Region& source, const Region& dest) const;

    const TextureKey& Key() const { return key_; }
    int Width() const { return key_.Width(); }
    int Height() const { return key_.Height(); }
    // Bytes, as counted by the cache.
    int Size() const { return key_.Size(); }
    // The OpenGL names, 0 when there is none.
    unsigned int TextureName() const { return texture_; }
    unsigned int FrameBufferName() const { return frameBuffer_; }

    // The texture cache. A request that is not exact is first raised to at least 2048 x 1080,
    // so that one cached texture serves frames of many sizes; an exact request of width or
    // height 0 (or less) gives null without touching the cache.
    static TextureBuffer* Make(const TextureKey& key);
    static void Recycle(TextureBuffer* buffer);
    static CacheCounters Counters();

    // The smallest texture a request that is not exact gets.
    static constexpr int kMinimumWidth = 2048;
    static constexpr int kMinimumHeight = 1080;

private:
    bool SelectTarget(bool keepTextureWhenIncomplete);
    void Transfer(const XIImage* image, const Region& source, const Region& dest, bool load,
                  bool asRgba) const;
    // The transfer through a staging buffer object; false, with nothing moved, where it cannot
    // be used (the caller then moves the pixels straight to or from host memory).
    bool TransferThroughBuffer(const XIImage* image, const Region& area, const Region& target,
                               unsigned int format, unsigned int type, bool load) const;
    void DeleteNames() const;

    mutable TextureKey key_;
    mutable unsigned int texture_;
    mutable unsigned int frameBuffer_;
};

// The texture cache's type: same target and internal format, large enough (or the same size for
// exact requests); 384 MiB kept idle at most.
using TextureFactory = ResourceFactory<TextureKey, TextureBuffer, 0x18000000>;

// A cache texture for the length of a scope: given back with TextureBuffer::Recycle() on every way
// out, an exception included. Runs on the GL worker thread.
class ScopedTextureBuffer {
public:
    explicit ScopedTextureBuffer(const TextureKey& key) : buffer_(TextureBuffer::Make(key)) {}
    explicit ScopedTextureBuffer(TextureBuffer* buffer) : buffer_(buffer) {}
    ~ScopedTextureBuffer() {
        try {
            if (buffer_ != nullptr)
                TextureBuffer::Recycle(buffer_);
        } catch (...) {
        }
    }
    ScopedTextureBuffer(const ScopedTextureBuffer&) = delete;
    ScopedTextureBuffer& operator=(const ScopedTextureBuffer&) = delete;

    TextureBuffer* Get() const { return buffer_; }

private:
    TextureBuffer* buffer_;
};

} // namespace OGL_ZEP6_AE
