#include "imageops/ImageOperations.h"

#include "gl/render/Conversion.h"
#include "gl/render/Kernel.h"
#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "imageops/OperationFramePrivate.h"

#include <cmath>
#include <vector>

namespace OGL_ZEP6_AE {

using namespace imageops;

namespace {

int TapsOf(const Kernel* kernel) {
    return kernel ? kernel->size : 0;
}

template <class Build> void BlurWith(const XIImage* source, XIImage* destination, float amountX, float amountY,
                                     Build build) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    const Kernel horizontal = build(UsableBlurAmount(amountX, source->GetWidth()));
    const Kernel vertical = build(UsableBlurAmount(amountY, source->GetHeight()));
    ApplyKernels(source, destination, &horizontal, &vertical);
}

} // namespace

void ApplyKernels(const XIImage* source, XIImage* destination, const Kernel* horizontal, const Kernel* vertical,
                  KernelPath path) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    if (TapsOf(horizontal) <= 1 && TapsOf(vertical) <= 1) {
        if (source != destination)
            Copy(source, destination);
        return;
    }
    using ImageForm = void (*)(const XIImage*, XIImage*, const Kernel*, const Kernel*, KernelPath);
    if (MarshalToWorker(static_cast<ImageForm>(&ApplyKernels), source, destination, horizontal, vertical, path))
        return;

    static const Kernel kIdentity = MakeBoxKernel(1.0f);
    const Kernel& h = TapsOf(horizontal) > 0 ? *horizontal : kIdentity;
    const Kernel& v = TapsOf(vertical) > 0 ? *vertical : kIdentity;
    // Half a kernel beyond each side of a tile, so that every pixel of the tile sees all its taps.
    const int mx = (h.size + 1) / 2;
    const int my = (v.size + 1) / 2;
    const Region picture(0, 0, static_cast<unsigned int>(source->GetWidth()),
                         static_cast<unsigned int>(source->GetHeight()));
    SubImageTexture texture(source);
    // Samples past the region must meet its own edge, not texels of a larger cached texture.
    texture.SetExactStorage(true);
    ForEachTile(destination, [&](TiledBuffer&, const Region& tile) {
        const Region area = tile.Grow(mx, my) & picture;
        if (!area.valid)
            return;
        texture.SetRegion(area);
        texture.Load();
        OGL_ZEP6_AE::ApplyKernels(texture, h, v, path);
        BlendFunc::Replace.Apply();
        texture.Apply();
        texture.ApplyNearest();
        const float x = static_cast<float>(area.x), y = static_cast<float>(area.y);
        sPlane.Draw(x, y, x + static_cast<float>(area.width), y + static_cast<float>(area.height), 0.0f);
    });
}

void Blur(const XIImage* source, XIImage* destination, float amountX, float amountY, float shape) {
    BlurWith(source, destination, amountX, amountY, [shape](float amount) { return MakeGaussianKernel(amount, shape); });
}

void BoxBlur(const XIImage* source, XIImage* destination, float amountX, float amountY) {
    BlurWith(source, destination, amountX, amountY, [](float amount) { return MakeBoxKernel(amount); });
}

void PascalBlur(const XIImage* source, XIImage* destination, float amountX, float amountY) {
    BlurWith(source, destination, amountX, amountY, [](float amount) { return MakeBinomialKernel(amount); });
}

void CompositeBlurredImages(const XIImage** images, const XIImage* background, XIImage* destination,
                            const p2f* blurs, int count, BlendOp op, bool unpremultiply) {
    if (!IsWritable(destination))
        return;
    if (MarshalToWorker(&CompositeBlurredImages, images, background, destination, blurs, count, op, unpremultiply))
        return;
    // A negative count or no list means no images; null and invalid entries are left out, and a
    // missing list of amounts blurs nothing.
    const int n = images != nullptr && count > 0 ? count : 0;
    struct Layer {
        const XIImage* image;
        float x, y;
        Region picture;
    };
    std::vector<Layer> layers;
    for (int i = 0; i < n; ++i) {
        const XIImage* image = images[i];
        if (!IsValid(image))
            continue;
        const long iw = image->GetWidth(), ih = image->GetHeight();
        layers.push_back({image, UsableBlurAmount(blurs ? blurs[i].x : 0.0f, iw), UsableBlurAmount(blurs ? blurs[i].y : 0.0f, ih),
                          Region(static_cast<unsigned int>(iw), static_cast<unsigned int>(ih))});
    }
    const Kernel identity{1.0f};
    ForEachTile(
        destination,
        [&](TiledBuffer& tiles, const Region& tile) {
            // The working area: the tile, widened for every blurred layer by half its kernels
            // (within that layer's picture), so that the tile's pixels see all their taps.
            Region work = tile;
            for (const Layer& layer : layers)
                if (layer.x >= 1.0f || layer.y >= 1.0f) {
                    const Region grown = tile.Grow(static_cast<int>(std::ceil(layer.x / 2)),
                                                   static_cast<int>(std::ceil(layer.y / 2))) & layer.picture;
                    if (grown.valid)
                        work = work | grown;
                }
            RenderedTexture accumulation(static_cast<int>(work.width), static_cast<int>(work.height));
            DrawInto(accumulation, [&] {
                ClearColorBuffer(Color::Transparent);
                for (const Layer& layer : layers) {
                    const Region area = work & layer.picture;
                    if (!area.valid)
                        continue;
                    SubImageTexture texture(layer.image);
                    texture.SetExactStorage(true);
                    texture.SetRegion(area);
                    texture.Load();
                    ApplyKernels(texture, layer.x >= 1.0f ? MakeGaussianKernel(layer.x, 0.85f) : identity,
                                 layer.y >= 1.0f ? MakeGaussianKernel(layer.y, 0.85f) : identity);
                    // Straight layers accumulate premultiplied, one over the other.
                    BlendFunc::BlendOver.Apply();
                    Color::White.Apply();
                    PushTextureMatrix matrix;
                    texture.Apply();
                    texture.ApplyNearest();
                    const float x = static_cast<float>(area.x - work.x), y = static_cast<float>(area.y - work.y);
                    sPlane.Draw(x, y, x + static_cast<float>(area.width), y + static_cast<float>(area.height), 0.0f);
                }
            });
            BlendFunc::Replace.Apply();
            tiles.Write(background, 0, 0);
            Push<BlendOp> blend(op);
            PushTextureMatrix matrix;
            accumulation.Apply();
            accumulation.ApplyNearest();
            const float x = static_cast<float>(work.x), y = static_cast<float>(work.y);
            sPlane.Draw(x, y, x + static_cast<float>(work.width), y + static_cast<float>(work.height), 0.0f);
        },
        unpremultiply ? &Conversion::sUnpremultiply : nullptr);
}

} // namespace OGL_ZEP6_AE
