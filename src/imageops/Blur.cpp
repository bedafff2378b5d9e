#include "imageops/ImageOperations.h"

#include "gl/render/Kernel.h"
#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/texture/SubImageTexture.h"
#include "imageops/OperationFramePrivate.h"

#include <cmath>

namespace OGL_ZEP6_AE {

using namespace imageops;

namespace {

// A usable amount: non-finite and negative ones blur by nothing, and a kernel wider than twice
// the image reads nothing but repeated edge pixels beyond that, so it is cut there.
float UsableAmount(float amount, long imageSize) {
    if (!std::isfinite(amount) || amount < 0.0f)
        return 0.0f;
    return std::fmin(amount, 2.0f * static_cast<float>(imageSize) + 1.0f);
}

int TapsOf(const Kernel* kernel) {
    return kernel ? kernel->size : 0;
}

template <class Build> void BlurWith(const XIImage* source, XIImage* destination, float amountX, float amountY,
                                     Build build) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    const Kernel horizontal = build(UsableAmount(amountX, source->GetWidth()));
    const Kernel vertical = build(UsableAmount(amountY, source->GetHeight()));
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

} // namespace OGL_ZEP6_AE
