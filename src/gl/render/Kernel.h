#pragma once

// One-dimensional filter kernels applied separably on the graphics card: every row of an image is
// convolved with a horizontal kernel into an intermediate texture, then every column with a
// vertical kernel back into the image. Blurs and the resampling filters are built from here.
//
// A kernel of n taps is centred on tap c = (n - 1) / 2 (rounded down: the builders make odd
// counts, so only a kernel made by hand can have an even one), and tap i reads the source i - c
// texels away. Applied along an axis, every output pixel p is
//
//     out(p) = sum over i of values[i] * source(p + (i - c) * axis)
//
// with the axis (1, 0) or (0, 1) in texture coordinates: x to the right, y upward as OpenGL
// stores rows (row 0 at the bottom). Reads beyond the image's edge take the nearest edge pixel
// (clamp to edge, whatever the texture's storage, which the cache may make larger, holds beyond
// it), so a kernel whose taps sum to 1 keeps a flat image flat up to its border.
//
// Two ways to draw an axis give the same result:
// - the shader pass (EffectProgram::sKernel): one fragment program sums up to kShaderTaps taps in
//   float registers and writes each pixel once; longer kernels take one pass per kShaderTaps
//   taps, added into the destination by blending;
// - the tap path, without shaders: the region drawn once per non-zero tap, the source shifted by
//   the texture matrix (the part of the region that would read beyond the edge drawn apart, from
//   the edge texels), weighted through the vertex colour and summed by blending in the
//   destination (so the sum is rounded to the destination's storage after every tap).
// The shader pass is taken where GLSL programs work (IsShaderSupported()), the tap path
// elsewhere; KernelPath forces one.
//
// Kernels are plain values built on any thread. Everything that draws runs on the GL worker
// thread (or a thread with the root context current), in the context that holds the textures.

#include "Export.h"

#include <initializer_list>
#include <memory>

namespace OGL_ZEP6_AE {

class Region;
class RenderedTexture;

class ZEP6_API Kernel {
public:
    // Enough taps to reach across a 16384-pixel image from any pixel in both directions; larger
    // sizes are capped here.
    static constexpr int kMaxTaps = 2 * 16384 + 1;

    // The tap weights, `size` of them; null and 0 for an empty kernel.
    std::unique_ptr<float[]> values;
    int size = 0;

    Kernel() = default;
    // The taps as given (a kernel for a purpose of its own: {0.25f, 0.5f, 0.25f}).
    Kernel(std::initializer_list<float> taps);
    // Copies are deep: every kernel owns its array. A kernel moved from is empty.
    Kernel(const Kernel& other);
    Kernel& operator=(const Kernel& other);
    Kernel(Kernel&& other) noexcept;
    Kernel& operator=(Kernel&& other) noexcept;

    // Releases the array and allocates n = ceil(s) taps, made odd (n | 1): 4 and 4.2 give 5, 5
    // gives 5, 6 gives 7, 0.5 gives 1. A size that is not positive, or NaN, gives 1 tap; sizes
    // beyond kMaxTaps (infinity included) give kMaxTaps. The weights are not set (a builder fills
    // them). Returns whether the allocation succeeded; after a failure the kernel is empty.
    bool Resize(float s);

    // The weight of tap i, 0 outside 0 .. size - 1.
    float At(int i) const { return i >= 0 && i < size ? values[i] : 0.0f; }
};

// Builders. Each returns a kernel whose weights sum to 1 (an empty one when the allocation
// failed); where the weights would sum to 0 or to something not finite (a size below what gives
// any weight, a degenerate shape) the kernel is the identity, one tap of weight 1.
//
// Every tap 1; when the tap count n (see Resize) differs from s, the two end taps become
// 1 - (n - s) / 2, so the weights sum to s; then all are divided by s. 3 gives (1/3, 1/3, 1/3),
// 4 gives (1/8, 1/4, 1/4, 1/4, 1/8). Sizes below 1 give the identity.
ZEP6_API Kernel MakeBoxKernel(float s);
// Tap i = max(0, 1 - |s/2 - i| / (s/2)) for i = 0 .. n - 1, normalised: 4 gives
// (0, 1/4, 1/2, 1/4, 0). The peak lies at s/2, which is the centre tap only for even whole s:
// other sizes shift the image by the difference.
ZEP6_API Kernel MakeTriangleKernel(float s);
// s is raised to the next whole number; the taps are row n - 1 of Pascal's triangle, normalised:
// 4 gives (1, 4, 6, 4, 1) / 16.
ZEP6_API Kernel MakeBinomialKernel(float s);
// With m = (n - 1) / 2: tap i = exp(-x^2 / (2 shape^2)) / sqrt(2 pi shape^2), x = (i - m) / (s/2)
// (offsets in half-sizes, so the shape is relative to the kernel's half width), normalised. A
// shape that is not positive and finite gives the identity.
ZEP6_API Kernel MakeGaussianKernel(float s, float shape);

// The resampling filters, evaluated at the whole-texel tap offsets of a kernel (see Kernel.cpp for
// the formulas). At those offsets Catmull-Rom and both Lanczos filters are the identity.
enum class Interpolation {
    CatmullRom, // 5 taps
    Mitchell,   // 5 taps, Mitchell-Netravali B = C = 1/3: (1, 16, 1) / 18 in the middle
    BSpline,    // 5 taps, cubic B-spline: (1, 4, 1) / 6 in the middle
    Lanczos2,   // 3 taps
    Lanczos3,   // 5 taps
};
ZEP6_API Kernel MakeInterpolationKernel(Interpolation filter);

enum class KernelPath {
    Best,   // the shader pass where IsShaderSupported(), else the tap path
    Shader, // the shader pass (Unsupported where the driver has no GLSL programs)
    Taps,   // the tap path
};

enum class KernelAxis { Horizontal, Vertical };

// Draws the rectangle texture bound on texture unit 0, convolved along one axis, over `region` of
// the current drawing destination (one unit of the projection to a pixel, as after
// RenderedTexture::Select()), replacing what was there. Texel (i, j) of the source lies under
// pixel (region.x + i, region.y + j), and the source counts as region.width x region.height
// texels: reads beyond that take its edge texels. The source must be bound as it is drawn with
// (the tap path needs its target enabled, as Texture::Apply leaves it), with nearest filtering.
// The blend functions and equation, depth test, current colour, active unit, texture matrix and
// environment of unit 0 and the program are restored afterwards; the rest of the destination's
// state (colour mask, alpha and scissor tests) is the caller's. A kernel without a non-zero tap
// clears the region to 0.
ZEP6_API void DrawKernel(const Kernel& kernel, KernelAxis axis, const Region& region,
                         KernelPath path = KernelPath::Best);

// The tap path on its own, for a grid of nx x ny taps read row by row from the kernel (a missing
// value counts as 0): tap (x, y) reads the source (x - (nx - 1)/2, y - (ny - 1)/2) texels away
// (halves rounded down).
// Each non-zero tap of weight w is the region drawn once with colour (w, w, w, w) under
// GL_MODULATE, so that colour and alpha are both weighted, the first replacing the destination
// and the others added (subtracted for negative weights; weights beyond 1 are drawn in parts of
// at most 1, the vertex colour being clamped, and limited to 256 in magnitude). Same contract as
// DrawKernel.
ZEP6_API void DrawKernelTaps(const Kernel& kernel, int nx, int ny, const Region& region);

// Convolves the target in place: its rows with `horizontal` into an intermediate texture of its
// size (GL_RGBA, the best pixel type, taken from the texture cache and given back), then the
// columns of that with `vertical` back into the target. Nothing happens when both kernels have
// fewer than 2 taps or the target has no size; otherwise both passes run, a single-tap kernel
// scaling by its weight and an empty one (a failed allocation) passing its axis unchanged. The
// edges are the target's own: for a tile of a larger image, convolve a texture of the tile widened
// by half a kernel on each side ((size + 1) / 2 texels) and keep the tile's part of it. Runs on the
// GL worker thread in the context that holds the target (it does not move itself there); the
// context's state is as it was afterwards. Cost per axis: one full-target draw per kShaderTaps
// taps on the shader pass, up to four quads per non-zero tap on the tap path.
ZEP6_API void ApplyKernels(RenderedTexture& target, const Kernel& horizontal, const Kernel& vertical,
                           KernelPath path = KernelPath::Best);

// In-place operations on a rendered texture, each ApplyKernels with the kernels named.
ZEP6_API void BoxBlurTexture(RenderedTexture& target, float x, float y);      // MakeBoxKernel
ZEP6_API void TriangleBlurTexture(RenderedTexture& target, float x, float y); // MakeTriangleKernel
ZEP6_API void PascalBlurTexture(RenderedTexture& target, float x, float y);   // MakeBinomialKernel
ZEP6_API void CatmulInterpolateTexture(RenderedTexture& target);
ZEP6_API void MitchellInterpolateTexture(RenderedTexture& target);
ZEP6_API void BSplineInterpolateTexture(RenderedTexture& target);
ZEP6_API void Lanczos2InterpolateTexture(RenderedTexture& target);
ZEP6_API void Lanczos3InterpolateTexture(RenderedTexture& target);

// Taps one shader pass sums; longer kernels take several passes.
constexpr int kShaderTaps = 128;

} // namespace OGL_ZEP6_AE
