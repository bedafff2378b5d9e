#pragma once

// The general offscreen render target: a texture with a framebuffer object and a depth
// attachment (a depth texture, or a depth renderbuffer where depth textures are not supported).
// It can be drawn into, drawn with, written from an XIImage and read back into one, converting
// the pixel layout on the card when the image needs it. Nothing is created on the card until the
// first selection or drawing call. GL worker thread only.

#include "Export.h"
#include "gl/texture/Texture.h"

class XIImage;

namespace OGL_ZEP6_AE {

class RenderBuffer;
class Region;
class SubImageTexture;
namespace GLSL {
class Shader;
}

class ZEP6_API RenderedTexture : public Texture {
public:
    // 2048 x 1080 GL_RGBA of the best content type, rectangle target, not exact.
    RenderedTexture();
    // Convenience: the default, then Resize(width, height, format, type).
    RenderedTexture(int width, int height, unsigned int format = 0x1908 /* GL_RGBA */, unsigned int type = 0);
    // Hand-over, not a pixel copy: takes other's framebuffer object and depth attachment.
    RenderedTexture(const RenderedTexture& other);
    RenderedTexture& operator=(const RenderedTexture&) = delete;
    ~RenderedTexture() override;

    void Resize(int width, int height, unsigned int format, unsigned int type);
    void Resize(const XIImage* image);
    void Resize(const RenderedTexture& other);
    // As Resize, but the storage has exactly this content type (GL_FLOAT for float targets)
    // instead of the best one: for passes whose intermediate values need the full range and
    // precision. Nothing changes when size, format and type are already these.
    void ResizeStorage(int width, int height, unsigned int format, unsigned int type);

    // Storage of exactly the described size instead of a larger cached texture: for content that
    // is drawn with linear filtering, whose edge texels must meet their own edge (clamped) rather
    // than texels an earlier use left beyond them. Storage that does not fit is given back.
    void SetExactStorage(bool exact);

    int Width() const { return width_; }
    int Height() const { return height_; }
    TextureBuffer* ColorBuffer() const { return buffer_; }
    TextureBuffer* DepthBuffer() const { return depthTexture_; }
    RenderBuffer* DepthRenderBuffer() const { return depthRenderBuffer_; }
    unsigned int FrameBufferName() const { return frameBuffer_; }

    void SetReadProcessing(GLSL::Shader* shader) { readProcessing_ = shader; }

    bool MakeCurrent();
    void Reset() override;

    void Orthogonal(double zNear, double zFar);
    void Perspective(float left, float right, float bottom, float top, float zNear, float zFar);
    void Clear();

    void Apply() const override;
    virtual void ApplyDepth() const;

    void Write(const XIImage* image);
    void WriteFit(const XIImage* image);
    void Read(XIImage* image);
    void Read(XIImage* image, const Region& region, bool flip);
    // The same, taking the pixels from (fromX, fromY) of this texture instead of its origin.
    void Read(XIImage* image, const Region& region, bool flip, int fromX, int fromY);

    void Blit(const Region& region, float opacity);
    void BlitWithDepth(const Region& region, float weight);

    void Finalize() override;

    bool Select() override;

protected:
    bool CreateTexture() override;
    bool Deselect() override;
    void DebugRead(const TextureKey&) {}

private:
    unsigned int frameBuffer_;
    TextureBuffer* depthTexture_;
    RenderBuffer* depthRenderBuffer_;
    mutable SubImageTexture* depthImage_;
    GLSL::Shader* readProcessing_;
};

} // namespace OGL_ZEP6_AE
