#include "gl/targets/TiledBuffer.h"

#include "core/Errors.h"
#include "core/ImageClear.h"
#include "core/PixelFormat.h"
#include "core/XIImage.h"
#include "gl/context/Shared.h"
#include "gl/render/Plane.h"
#include "gl/state/Push.h"
#include "gl/state/ViewArea.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glu.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

constexpr int kTileWidth = 2048;
constexpr int kTileHeight = 1080;

// The render targets of a loop. A RenderedTexture made by copying takes over the framebuffer
// object and depth attachment but is described as the default 2048 x 1080 RGBA, and there is no
// way to change a target's described size without giving its buffers back; a hand-over needs
// both, so the loop's targets are of this kind.
class TileTarget : public RenderedTexture {
public:
    // Of the given storage type (a rendered texture's own Resize always takes the best type).
    TileTarget(int width, int height, unsigned int format, unsigned int type) {
        SetType(GL_TEXTURE_RECTANGLE_ARB, width, height, format, type, false);
    }
    // Takes over other's framebuffer object and depth attachment and copies its description.
    explicit TileTarget(TileTarget& other) : RenderedTexture(other) {
        SetType(GL_TEXTURE_RECTANGLE_ARB, other.Width(), other.Height(), other.GetFormat(), other.GetType(),
                false);
    }
    // The size this target reports and applies itself with; its colour buffer stays as it is.
    void Describe(int width, int height) {
        width_ = width;
        height_ = height;
    }
};

} // namespace

TiledBuffer::TiledBuffer(XIImage* destination)
    : destination_(destination), tileTarget_(nullptr), postProcessing_(nullptr), firstTile_(false),
      readFlip_(false), savedState_(2) {
    if (destination_ != nullptr && Shared::IsThread()) {
        unsigned int format = 0, type = 0;
        GetFormatType(destination_, format, type);
        tileTarget_ = MakeTarget(kTileWidth, kTileHeight, format, Texture::GetBestType());
        tileTarget_->SetReadProcessing(postProcessing_);
    }
    Rewind(kTileWidth, kTileHeight);
}

TiledBuffer::~TiledBuffer() {
    LeaveLoopAndDelete(tileTarget_);
}

void TiledBuffer::LeaveLoopAndDelete(RenderedTexture*& target) noexcept {
    try {
        LeaveLoop();
    } catch (...) {
    }
    delete target;
    target = nullptr;
}

RenderedTexture* TiledBuffer::MakeTarget(int width, int height, unsigned int format, unsigned int type) {
    return new TileTarget(width, height, format, type);
}

// GL worker thread (the copy and the old target's description touch no OpenGL state).
RenderedTexture* TiledBuffer::HandOver(RenderedTexture*& target, int width, int height) {
    TileTarget* old = static_cast<TileTarget*>(target);
    target = new TileTarget(*old);
    if (width > 0 && height > 0)
        old->Describe(width, height);
    return old;
}

void TiledBuffer::SetPostProcessing(GLSL::Shader* shader) {
    postProcessing_ = shader;
    if (tileTarget_ != nullptr)
        tileTarget_->SetReadProcessing(shader);
}

bool TiledBuffer::Rewind(int tileWidth, int tileHeight) {
    const long width = destination_ != nullptr ? std::max(0L, destination_->GetWidth()) : 0;
    const long height = destination_ != nullptr ? std::max(0L, destination_->GetHeight()) : 0;
    imageArea_ = Region(0, 0, static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    tileSize_ = Region(0, 0, static_cast<unsigned int>(std::max(0, tileWidth)),
                       static_cast<unsigned int>(std::max(0, tileHeight)));
    currentTile_ = Region();
    tiles_.clear();
    if (tileTarget_ == nullptr || !imageArea_.valid || !tileSize_.valid)
        return false;
    for (long y = 0; y < height; y += tileHeight)
        for (long x = 0; x < width; x += tileWidth)
            tiles_.push_back(
                Region(static_cast<int>(x), static_cast<int>(y), tileSize_.width, tileSize_.height) &
                imageArea_);
    return !tiles_.empty();
}

// GL worker thread, except without a tile target (then it only clears the destination's memory).
bool TiledBuffer::Next() {
    if (tileTarget_ == nullptr) {
        ClearToTransparent(destination_);
        return false;
    }
    if (currentTile_.valid)
        Read(destination_);
    if (tiles_.empty()) {
        Deselect();
        Finalize();
        LeaveLoop();
        return false;
    }
    if (!firstTile_) {
        firstTile_ = true;
        savedState_.Retrieve();
        if (!Select()) {
            // The target could not be made complete: nothing can be drawn, so the loop ends here
            // and the destination is left as it was.
            Finalize();
            LeaveLoop();
            return false;
        }
    }
    currentTile_ = tiles_.front();
    tiles_.pop_front();
    if (!currentTile_.valid)
        return false;
    glRasterPos2i(0, 0);
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
    return true;
}

// GL worker thread.
void TiledBuffer::LeaveLoop() {
    if (!savedState_.attributes.IsPushed())
        return;
    try {
        savedState_.Apply();
    } catch (...) {
        savedState_.Pop();
        throw;
    }
    savedState_.Pop();
}

// GL worker thread. Sets the tile's projection on purpose; the loop restores it at its end.
void TiledBuffer::Orthogonal(double zNear, double zFar) {
    if (!currentTile_.valid || tileTarget_ == nullptr || destination_ == nullptr)
        return;
    Viewport();
    ProjectionMatrix::Identity.Apply(); // leaves the projection matrix selected for glOrtho
    glOrtho(currentTile_.x, currentTile_.XEnd(), currentTile_.y, currentTile_.YEnd(), zNear, zFar);
    ModelMatrix::Identity.Apply();
}

// GL worker thread.
void TiledBuffer::Perspective(double fovy, double aspect, double zNear, double zFar) {
    if (!currentTile_.valid || tileTarget_ == nullptr)
        return;
    Orthogonal(1.0, -1.0);
    PushMatrixMode projection(GL_PROJECTION);
    glScalef(static_cast<float>(Width() / 2), static_cast<float>(Height() / 2), 1.0f);
    gluPerspective(fovy, aspect, zNear, zFar);
}

// GL worker thread.
void TiledBuffer::Perspective(float left, float right, float bottom, float top, float zNear, float zFar) {
    if (!currentTile_.valid || tileTarget_ == nullptr)
        return;
    Orthogonal(1.0, -1.0);
    PushMatrixMode projection(GL_PROJECTION);
    glScalef(Width() * 0.5f, Height() * 0.5f, 1.0f);
    glFrustum(left, right, bottom, top, zNear, zFar);
}

// GL worker thread.
void TiledBuffer::RS3dPerspective(float left, float right, float bottom, float top, float zNear, float zFar) {
    if (currentTile_.valid && tileTarget_ != nullptr) {
        Orthogonal(1.0, -1.0);
        PushMatrixMode projection(GL_PROJECTION);
        glScalef(static_cast<float>(Width() / 2), static_cast<float>(Height() / 2), 1.0f);
        glTranslatef(1.0f, 1.0f, 0.0f);
        glFrustum(left, right, bottom, top, zNear, zFar);
    }
    readFlip_ = true;
}

// GL worker thread.
void TiledBuffer::Reset() {
    if (tileTarget_ == nullptr)
        return;
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
}

// GL worker thread.
bool TiledBuffer::Select() {
    return SelectTarget(tileTarget_);
}

// GL worker thread.
bool TiledBuffer::Deselect() {
    return DeselectTarget(tileTarget_);
}

// GL worker thread.
bool TiledBuffer::SelectTarget(RenderedTexture* target) {
    if (target == nullptr)
        return false;
    const bool selected = target->Select();
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
    return selected;
}

// GL worker thread. Takes a Context because RenderedTexture keeps Deselect for itself; every
// Context may be asked.
bool TiledBuffer::DeselectTarget(Context* target) {
    const bool answer = target != nullptr && target->Deselect();
    currentTile_ = Region();
    return answer;
}

// GL worker thread.
void TiledBuffer::Viewport() {
    if (!currentTile_.valid || tileTarget_ == nullptr)
        return;
    ViewArea(0, 0, static_cast<int>(currentTile_.width), static_cast<int>(currentTile_.height)).Apply();
}

// Where the image goes: at its own size, its lower-left corner at (x, y) in destination pixels
// and moved by whatever model-view matrix the caller has set (the centring and fitting
// operations translate it before writing), so an image of the destination's size written at
// (0, 0) under the tile's identity model-view is copied pixel for pixel into every tile. The
// whole image is uploaded for each tile: under a translated or scaled model-view, which part of
// it a tile shows is known only to the transformation, and the projection clips the rest.
// GL worker thread.
void TiledBuffer::Write(const XIImage* image, int x, int y) {
    if (!IsValid(image))
        return;
    const float x0 = static_cast<float>(x);
    const float y0 = static_cast<float>(y);
    DrawImage(image, x0, y0, x0 + static_cast<float>(image->GetWidth()),
              y0 + static_cast<float>(image->GetHeight()));
}

// The whole image over the whole destination, under an identity model-view: each tile shows its
// share of it, and neighbouring tiles meet without a seam because they sample one upload with
// one mapping. GL worker thread.
void TiledBuffer::WriteFit(const XIImage* image) {
    if (!IsValid(image) || tileTarget_ == nullptr || !currentTile_.valid)
        return;
    PushModelMatrix model;
    ModelMatrix::Identity.Apply();
    DrawImage(image, 0.0f, 0.0f, static_cast<float>(Width()), static_cast<float>(Height()));
}

// GL worker thread.
void TiledBuffer::DrawImage(const XIImage* image, float x0, float y0, float x1, float y1) {
    if (tileTarget_ == nullptr || !currentTile_.valid)
        return;
    PushProjectionMatrix projection;
    ProjectionMatrix::Identity.Apply();
    glOrtho(currentTile_.x, currentTile_.XEnd(), currentTile_.y, currentTile_.YEnd(), -10000.0, 10000.0);
    Push<ViewArea> area;
    Viewport();
    // The plane carries texture coordinates for unit 0 only.
    Push<TextureUnit> unit(TextureUnit(0));
    PushTextureMatrix textureMatrix;
    Push<Texture> binding;
    SubImageTexture texture(image);
    texture.Apply();
    // Nearest sampling: each pixel takes the image pixel under its centre. The texture's buffer
    // comes from the cache and is larger than the image, so linear filtering would blend the last
    // column and row with stale texels beyond them wherever the image is not drawn pixel for pixel.
    texture.ApplyNearest();
    if (readFlip_)
        texture.FlipTransform();
    sPlane.Draw(x0, y0, x1, y1, 0.0f);
}

// GL worker thread.
void TiledBuffer::Read(XIImage* image) {
    if (tileTarget_ == nullptr || image == nullptr)
        return;
    tileTarget_->Read(image, currentTile_, readFlip_);
}

// GL worker thread.
RenderedTexture* TiledBuffer::AcquireRender() {
    if (tileTarget_ == nullptr)
        return nullptr;
    RenderedTexture* handed =
        HandOver(tileTarget_, static_cast<int>(currentTile_.width), static_cast<int>(currentTile_.height));
    // The post-processing applies to the whole loop, so the new target reads through it too.
    tileTarget_->SetReadProcessing(postProcessing_);
    Select();
    return handed;
}

// GL worker thread.
void TiledBuffer::Finalize() {
    delete tileTarget_;
    tileTarget_ = nullptr;
}

} // namespace OGL_ZEP6_AE
