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
#include <cmath>

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
        ResizeStorage(width, height, format, type);
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
    : destination_(destination), tileTarget_(nullptr), postProcessing_(nullptr), margin_(0), firstTile_(false),
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

bool TiledBuffer::Rewind(int tileWidth, int tileHeight, int margin) {
    margin_ = std::max(0, margin);
    const long width = destination_ != nullptr ? std::max(0L, destination_->GetWidth()) : 0;
    const long height = destination_ != nullptr ? std::max(0L, destination_->GetHeight()) : 0;
    imageArea_ = Region(0, 0, static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    tileSize_ = Region(0, 0, static_cast<unsigned int>(std::max(0, tileWidth)),
                       static_cast<unsigned int>(std::max(0, tileHeight)));
    currentTile_ = currentCore_ = Region();
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
    currentCore_ = tiles_.front();
    tiles_.pop_front();
    if (!currentCore_.valid)
        return false;
    currentTile_ = Region(currentCore_.x - margin_, currentCore_.y - margin_,
                          currentCore_.width + 2u * static_cast<unsigned int>(margin_),
                          currentCore_.height + 2u * static_cast<unsigned int>(margin_)) &
                   imageArea_;
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
    currentTile_ = currentCore_ = Region();
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
// (0, 0) under the tile's identity model-view is copied pixel for pixel into every tile.
// GL worker thread.
void TiledBuffer::Write(const XIImage* image, int x, int y) {
    if (!IsValid(image))
        return;
    const double x0 = x, y0 = y;
    DrawImage(image, x0, y0, x0 + static_cast<double>(image->GetWidth()),
              y0 + static_cast<double>(image->GetHeight()));
}

// The whole image over the whole destination, under an identity model-view: each tile shows its
// share of it. GL worker thread.
void TiledBuffer::WriteFit(const XIImage* image) {
    if (!IsValid(image) || tileTarget_ == nullptr || !currentTile_.valid)
        return;
    PushModelMatrix model;
    ModelMatrix::Identity.Apply();
    DrawImage(image, 0.0, 0.0, static_cast<double>(Width()), static_cast<double>(Height()));
}

namespace {

// The span [lo, hi) of texels (out of `count`) that drawing coordinates [from, to) cover when the
// image's `count` texels span [start, end), with one texel of margin either side (what linear
// sampling at the span's edges reads), within the image.
void TexelSpan(double from, double to, double start, double end, long count, long& lo, long& hi) {
    const double perTexel = (end - start) / static_cast<double>(count);
    lo = std::max(0L, static_cast<long>(std::floor((std::min(from, to) - start) / perTexel)) - 1);
    hi = std::min(count, static_cast<long>(std::ceil((std::max(from, to) - start) / perTexel)) + 1);
}

} // namespace

// Uploads only the part of the image the current tile shows (and a texel of margin), as a
// texture of its own, and draws it where that part of the whole image would be. Stretched (the
// image's pixels do not fall one to one on destination pixels) it is sampled linearly from
// storage of exactly its size, so that the margin, not stale texels, meets the edge; otherwise
// nearest, each pixel taking the image pixel under its centre. GL worker thread.
void TiledBuffer::DrawImage(const XIImage* image, double x0, double y0, double x1, double y1) {
    if (tileTarget_ == nullptr || !currentTile_.valid)
        return;
    const long width = image->GetWidth(), height = image->GetHeight();
    ModelMatrix model;
    model.Retrieve();
    const double* m = model.m;
    const double sx = m[0] * (x1 - x0) / static_cast<double>(width);
    const double sy = m[5] * (y1 - y0) / static_cast<double>(height);
    const bool affine = m[3] == 0.0 && m[7] == 0.0 && m[15] == 1.0;
    const double det = m[0] * m[5] - m[1] * m[4];
    const bool stretched =
        !affine || m[1] != 0.0 || m[4] != 0.0 || std::fabs(sx) != 1.0 || std::fabs(sy) != 1.0;

    // Texel columns [u0, u1) and rows [v0, v1), rows counted up the drawn quad.
    long u0 = 0, u1 = width, v0 = 0, v1 = height;
    if (affine && det != 0.0) {
        // The tile's corners taken back through the model-view into drawing coordinates.
        double lo[2] = {HUGE_VAL, HUGE_VAL}, hi[2] = {-HUGE_VAL, -HUGE_VAL};
        for (int corner = 0; corner < 4; ++corner) {
            const double wx = (corner & 1 ? currentTile_.XEnd() : currentTile_.x) - m[12];
            const double wy = (corner & 2 ? currentTile_.YEnd() : currentTile_.y) - m[13];
            const double ox = (m[5] * wx - m[4] * wy) / det, oy = (m[0] * wy - m[1] * wx) / det;
            lo[0] = std::min(lo[0], ox), hi[0] = std::max(hi[0], ox);
            lo[1] = std::min(lo[1], oy), hi[1] = std::max(hi[1], oy);
        }
        TexelSpan(lo[0], hi[0], x0, x1, width, u0, u1);
        TexelSpan(lo[1], hi[1], y0, y1, height, v0, v1);
    }
    if (u0 >= u1 || v0 >= v1)
        return; // the tile shows none of it
    // After RS3dPerspective the image is drawn upside down: quad row v shows picture row H - 1 - v.
    const long pictureY = readFlip_ ? height - v1 : v0;

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
    texture.SetExactStorage(stretched);
    texture.SetRegion(Region(static_cast<int>(u0), static_cast<int>(pictureY),
                             static_cast<unsigned int>(u1 - u0), static_cast<unsigned int>(v1 - v0)));
    texture.Apply();
    if (!stretched)
        texture.ApplyNearest();
    if (readFlip_)
        texture.FlipTransform();
    const double perX = (x1 - x0) / static_cast<double>(width),
                 perY = (y1 - y0) / static_cast<double>(height);
    sPlane.Draw(static_cast<float>(x0 + u0 * perX), static_cast<float>(y0 + v0 * perY),
                static_cast<float>(x0 + u1 * perX), static_cast<float>(y0 + v1 * perY), 0.0f);
}

// GL worker thread.
void TiledBuffer::Read(XIImage* image) {
    if (tileTarget_ == nullptr || image == nullptr)
        return;
    // Only the tile's own area, from where it lies in the drawn area (a flipped read mirrors the
    // whole destination, so the place in the target is the same either way).
    tileTarget_->Read(image, currentCore_, readFlip_, currentCore_.x - currentTile_.x, currentCore_.y - currentTile_.y);
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
