#include "gl/targets/AntiAliasBuffer.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/XIImage.h"
#include "gl/context/Capabilities.h"
#include "gl/context/Shared.h"
#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/ViewArea.h"
#include "gl/targets/RenderedTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

namespace {

constexpr int kTargetWidth = 2048;
constexpr int kTargetHeight = 1080;

} // namespace

AntiAliasBuffer::AntiAliasBuffer(XIImage* destination, int level)
    : TiledBuffer(nullptr), factor_(1), supersample_(nullptr) {
    SetAntialiasLevel(level);
    // The targets are OpenGL objects of the worker's context, as in TiledBuffer.
    if (!IsValid(destination) || !Shared::IsThread())
        return;
    destination_ = destination;
    unsigned int format = 0, type = 0;
    GetFormatType(destination, format, type);
    // The resolve draws through the colour channels, so one-channel destinations render in RGBA.
    if (format == GL_LUMINANCE || format == GL_ALPHA)
        format = GL_RGBA;
    const unsigned int best = Texture::GetBestType();
    if (factor_ == 1) {
        tileTarget_ = MakeTarget(kTargetWidth, kTargetHeight, format, best);
        Rewind(kTargetWidth, kTargetHeight);
        return;
    }
    const int tileWidth = kTargetWidth / factor_;
    const int tileHeight = kTargetHeight / factor_;
    supersample_ = MakeTarget(factor_ * tileWidth, factor_ * tileHeight, format, best);
    // The resolve adds F x F weighted samples into the tile target. In half floats every addition
    // rounds, which leaves a sum of 36 samples up to 1% low; float storage keeps it exact to the
    // last bit of the destination. The tile target is small (at most 1024 x 540), so it costs
    // little.
    tileTarget_ = MakeTarget(tileWidth, tileHeight, format,
                             IsFloatSupported() ? static_cast<unsigned int>(GL_FLOAT) : best);
    Rewind(tileWidth, tileHeight);
}

AntiAliasBuffer::~AntiAliasBuffer() {
    LeaveLoopAndDelete(supersample_);
}

void AntiAliasBuffer::SetAntialiasLevel(int level) {
    static const int kFactors[] = {2, 3, 4, 6, 8};
    factor_ = level >= 1 && level <= 5 ? kFactors[level - 1] : 1;
}

// GL worker thread.
bool AntiAliasBuffer::Select() {
    return SelectTarget(DrawingTarget());
}

// GL worker thread.
bool AntiAliasBuffer::Deselect() {
    return DeselectTarget(DrawingTarget());
}

// GL worker thread.
void AntiAliasBuffer::Viewport() {
    if (!currentTile_.valid)
        return;
    const int scale = IsSupersampling() ? factor_ : 1;
    ViewArea(0, 0, static_cast<int>(currentTile_.width) * scale,
             static_cast<int>(currentTile_.height) * scale)
        .Apply();
}

// GL worker thread. The F x F box filter: F x F passes over the tile target, each sampling the
// supersample target with nearest filtering at one sub-pixel offset and weighted 1 / F^2; the first
// pass replaces and the others add. Sub-pixel (i, j) of destination pixel (x, y) is texel
// (F x + i, F y + j): the plane maps the tile's pixel centre x + 0.5 to texel F x + F / 2, and the
// offset i - (F - 1) / 2 moves it to that texel's centre.
void AntiAliasBuffer::Read(XIImage* image) {
    if (!IsValid(image) || tileTarget_ == nullptr)
        return;
    if (!IsSupersampling()) {
        TiledBuffer::Read(image);
        return;
    }
    const float width = static_cast<float>(tileTarget_->Width());
    const float height = static_cast<float>(tileTarget_->Height());
    {
        PushState whole;
        if (tileTarget_->Select()) {
            Push<BlendFunc> blend(BlendFunc::Replace);
            PushColor colour;
            Push<DepthFunc> depth(DepthFunc::Always);
            Push<Texture> texture;
            supersample_->Apply();
            supersample_->ApplyNearest();
            const float weight = 1.0f / static_cast<float>(factor_ * factor_);
            const float centre = static_cast<float>(factor_ - 1) / 2.0f;
            for (int j = 0; j < factor_; ++j)
                for (int i = 0; i < factor_; ++i) {
                    Color(weight, weight, weight, weight).Apply();
                    {
                        PushTextureMatrix offset;
                        TextureMatrix::Identity.Apply();
                        glTranslatef(static_cast<float>(i) - centre, static_cast<float>(j) - centre, 0.0f);
                        offset.Saved().Multiply();
                        sPlane.Draw(0.0f, 0.0f, width, height, 0.0f);
                    }
                    BlendFunc::Add.Apply();
                }
        }
    }
    TiledBuffer::Read(image);
}

// GL worker thread.
RenderedTexture* AntiAliasBuffer::AcquireRender() {
    if (!IsSupersampling())
        return TiledBuffer::AcquireRender();
    RenderedTexture* handed = HandOver(supersample_, static_cast<int>(currentTile_.width) * factor_,
                                       static_cast<int>(currentTile_.height) * factor_);
    Select();
    return handed;
}

// GL worker thread.
void AntiAliasBuffer::Finalize() {
    TiledBuffer::Finalize();
    delete supersample_;
    supersample_ = nullptr;
}

} // namespace OGL_ZEP6_AE
