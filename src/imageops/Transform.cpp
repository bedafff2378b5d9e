#include "imageops/ImageOperations.h"

#include "gl/render/ApplyMode.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/MatrixStack.h"
#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "imageops/OperationFramePrivate.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace OGL_ZEP6_AE {

using namespace imageops;

namespace {

bool IsFinite(const p3f& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

// The largest rectangle texture the card makes, asked once.
int LargestTexture() {
    static const int largest = [] {
        GLint size = 0;
        glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &size);
        return size > 0 ? static_cast<int>(size) : 2048;
    }();
    return largest;
}

// The filter a transform runs over its source texture before drawing it: interpolation kernels
// when it magnifies, decimation kernels of the reduction's size when it reduces.
void Prefilter(RenderedTexture& texture, const TransformParams& p) {
    const bool magnifies = p.b.x >= 1.0f && p.b.y >= 1.0f;
    if (magnifies) {
        switch (p.interpolation) {
        case TransformInterpolateCatmullRom: CatmulInterpolateTexture(texture); break;
        case TransformInterpolateMitchell: MitchellInterpolateTexture(texture); break;
        case TransformInterpolateBSpline: BSplineInterpolateTexture(texture); break;
        case TransformInterpolateLanczos2: Lanczos2InterpolateTexture(texture); break;
        case TransformInterpolateLanczos3: Lanczos3InterpolateTexture(texture); break;
        default: break;
        }
        return;
    }
    // 1 / b pixels of source per destination pixel along each axis (at least one tap).
    const float x = UsableBlurAmount(1.0f / p.b.x, texture.Width()), y = UsableBlurAmount(1.0f / p.b.y, texture.Height());
    switch (p.decimation) {
    case TransformDecimateBox: ApplyKernels(texture, MakeBoxKernel(x), MakeBoxKernel(y)); break;
    case TransformDecimateTriangle: ApplyKernels(texture, MakeTriangleKernel(x), MakeTriangleKernel(y)); break;
    case TransformDecimateBinomial: ApplyKernels(texture, MakeBinomialKernel(x), MakeBinomialKernel(y)); break;
    case TransformDecimateLanczos2: Lanczos2InterpolateTexture(texture); break;
    case TransformDecimateLanczos3: Lanczos3InterpolateTexture(texture); break;
    default: break;
    }
}

void TransformOnWorker(const XIImage* source, const XIImage* second, const XIImage* third, XIImage* destination,
                       const TransformParams& p);

} // namespace

void Transform(const XIImage* source, const XIImage* second, const XIImage* third, XIImage* destination,
               PixelApplyMode mode, const p3f& a, const p3f& b, const p3f& c, RotationOrder order,
               TransformInterpolationFilterType interpolation, TransformDecimationFilterType decimation) {
    // Translations, scales and angles that are not finite, and scales that are not positive,
    // describe no picture: the destination is left as it is.
    if (!IsValid(source) || !IsWritable(destination) || !IsFinite(a) || !IsFinite(b) || !IsFinite(c) ||
        !(b.x > 0.0f) || !(b.y > 0.0f))
        return;
    TransformParams params{mode, a, b, c, order, interpolation, decimation};
    using Job = void (*)(const XIImage*, const XIImage*, const XIImage*, XIImage*, const TransformParams&);
    if (MarshalToWorker(static_cast<Job>(&TransformOnWorker), source, second, third, destination, params))
        return;
    TransformOnWorker(source, second, third, destination, params);
}

namespace {

void TransformOnWorker(const XIImage* source, const XIImage* second, const XIImage*, XIImage* destination,
                       const TransformParams& p) {
    const int w = static_cast<int>(source->GetWidth()), h = static_cast<int>(source->GetHeight());
    // Loading a texture binds it, with its texture matrix, on the active unit: the preparation
    // below runs with the whole state saved.
    PushState state;
    // For an interpolation kernel an enlarged picture is brought to its enlarged size first (up to
    // the largest texture, linearly), so that the kernel works at the resolution it is drawn at.
    // Nearest and linear sampling draw the picture as it is.
    const bool kernel = p.interpolation >= TransformInterpolateCatmullRom && p.interpolation <= TransformInterpolateLanczos3;
    const double largest = LargestTexture();
    const double grow = kernel && p.b.x >= 1.0f && p.b.y >= 1.0f ? 1.0 : 0.0;
    const int wide = static_cast<int>(std::min(w * std::max(1.0, grow * p.b.x), largest));
    const int high = static_cast<int>(std::min(h * std::max(1.0, grow * p.b.y), largest));
    SubImageTexture picture(source);
    picture.SetExactStorage(true);
    RenderedTexture* texture = &picture;
    std::unique_ptr<RenderedTexture> enlarged;
    if (wide != w || high != h) {
        enlarged = std::make_unique<RenderedTexture>(wide, high);
        enlarged->SetExactStorage(true); // drawn with linear filtering: see SetExactStorage
        picture.Load();
        DrawInto(*enlarged, [&] {
            BlendFunc::Replace.Apply();
            enlarged->Write(source);
        });
        picture.Finalize();
        texture = enlarged.get();
    }
    Prefilter(*texture, p);

    // With an apply mode and a second image, the picture is combined with the second image (stretched
    // over it) before it is placed.
    std::unique_ptr<RenderedTexture> combined;
    ApplyMode* applyMode = ApplyMode::GetApplyMode(p.mode);
    if (applyMode != nullptr && IsValid(second)) {
        SubImageTexture back(second);
        back.SetExactStorage(true);
        back.Load();
        combined = std::make_unique<RenderedTexture>(texture->Width(), texture->Height());
        combined->SetExactStorage(true);
        DrawInto(*combined, [&] {
            BlendFunc::Replace.Apply();
            applyMode->Apply(*texture, back, 1.0f);
            EffectProgram::DrawRegion(Region(static_cast<unsigned int>(texture->Width()),
                                             static_cast<unsigned int>(texture->Height())),
                                      GL_TEXTURE1);
        });
        texture = combined.get();
    }

    const bool nearest = p.interpolation == TransformInterpolateNearest;
    ForEachTile(destination, [&](TiledBuffer&, const Region&) {
        BlendFunc::Replace.Apply();
        // The picture scaled and turned about its centre, its centre placed at a.
        Translate(p.a);
        Rotate(p.c, p.order);
        Scale(p.b.x, p.b.y, 1.0f);
        Translate(-0.5f * static_cast<float>(w), -0.5f * static_cast<float>(h), 0.0f);
        PushTextureMatrix matrix;
        texture->Apply();
        if (nearest)
            texture->ApplyNearest();
        sPlane.Draw(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h), 0.0f);
    });
}

} // namespace

} // namespace OGL_ZEP6_AE
