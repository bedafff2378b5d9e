#pragma once

// Whole-image operations. Each fills a destination host image from source images and may be
// called from any thread: the call moves itself onto the library's GL worker thread and waits
// (an operation called from inside a job runs directly). Images of any layout the library knows
// may be mixed, and of any size up to 16383 x 16383 (the work is done in tiles).
//
// An invalid image (IsValid) or a read-only destination makes an operation do nothing. A failure
// on the worker thread does not reach the caller as an exception: the call returns normally and
// Shared::ErrorMessage() gives the failure's text until the next job.

#include "Export.h"
#include "core/PixelTypes.h"
#include "geometry/Matrix.h"
#include "geometry/Vector.h"
#include "gl/render/ApplyMode.h"
#include "gl/render/Kernel.h"
#include "gl/state/Blend.h"

class XIImage;

namespace OGL_ZEP6_AE {

class Color;
class Texture;
template <class PixelType> class Buffer;

// Copies the source into the destination, converting its layout and white level and scaling
// nothing: the source lands with its lower-left corner on the destination's, and destination
// pixels it does not reach become transparent black.
// Two images of exactly the same description (IsMatchingFormat) are copied byte for byte on the
// calling thread, without the graphics card.
ZEP6_API void Copy(const XIImage* source, XIImage* destination);

// Fills the destination with one colour. Transparent black (all four components exactly 0) zeroes
// row bytes x height bytes on the calling thread, padding included, without the graphics card.
ZEP6_API void Clear(XIImage* destination, const Color& color);

// Blurs the source into the destination with a horizontal and a vertical kernel, applied one
// after the other: a Gaussian of width `amount` pixels (Blur; `shape` is the standard deviation
// relative to half the width, 0.85 a common choice), a box (BoxBlur) or binomial weights
// (PascalBlur). Amounts below 1 leave that direction as it is (both below 1: a copy); negative,
// NaN and infinite amounts count as 0, and amounts wider than twice the source are taken as
// twice the source (what the image can use). Beyond its edges the source repeats its edge pixels.
ZEP6_API void Blur(const XIImage* source, XIImage* destination, float amountX, float amountY, float shape);
ZEP6_API void BoxBlur(const XIImage* source, XIImage* destination, float amountX, float amountY);
ZEP6_API void PascalBlur(const XIImage* source, XIImage* destination, float amountX, float amountY);

// The separable filter of the blurs: the source through `horizontal`, then `vertical` (either may
// be null: no filtering that way), written into the destination tile by tile. Each tile filters
// the part of the source under it widened by half the kernels' sizes, so tile seams do not show.
// Kernels of at most one tap on both sides copy. `path` picks how the card sums the taps (the
// shader pass where GLSL programs work, by default); every path gives the same result.
ZEP6_API void ApplyKernels(const XIImage* source, XIImage* destination, const Kernel* horizontal,
                           const Kernel* vertical, KernelPath path = KernelPath::Best);

// The same as Copy, without moving to the worker thread or the byte-copy shortcut: a diagnostic
// for code already on the GL worker thread (elsewhere it clears the destination instead).
ZEP6_API void Test(const XIImage* source, XIImage* destination);

// Colour multiplied by alpha; alpha kept.
ZEP6_API void Premultiply(const XIImage* source, XIImage* destination);

// The source at its own size, centred on the destination (to the lower-left whole pixel where the
// sizes differ by an odd number); the rest transparent black.
ZEP6_API void Center(const XIImage* source, XIImage* destination);

// The destination keeps its colour and takes the source's alpha (corners aligned; where the
// source does not reach, the destination is left as it is).
ZEP6_API void CopyAlpha(const XIImage* source, XIImage* destination);

// The source stretched over the whole destination, sampled linearly. Images of exactly the same
// description are copied byte for byte on the calling thread.
ZEP6_API void Resize(const XIImage* source, XIImage* destination);

// The source scaled to fit the destination keeping its aspect, centred (in whole pixels); the
// rest transparent black. A source scaled to nothing draws nothing.
ZEP6_API void FitInto(const XIImage* source, XIImage* destination);

// The background copied, then the foreground (both at the lower-left corner) modulated in all
// four channels by `opacity` (clamped to 0..1; NaN counts as 0) and blended over it with `op`'s
// factors, equation and colour. An invalid background leaves transparent black under the
// foreground; an invalid foreground leaves the background. `third` is not read.
ZEP6_API void Composite(const XIImage* foreground, const XIImage* background, const XIImage* third,
                        XIImage* destination, float opacity, const BlendOp& op);

// The colour, its alpha multiplied by the mask's alpha (RenderMask) or by one minus it
// (RenderInvMask), over the image (which may be invalid: then over transparent black).
ZEP6_API void RenderMask(const XIImage* mask, const XIImage* image, XIImage* destination, const Color& color);
ZEP6_API void RenderInvMask(const XIImage* mask, const XIImage* image, XIImage* destination, const Color& color);

// The source's alpha, or its alpha-weighted luma (0.3 R + 0.59 G + 0.11 B, times alpha), stretched
// over the destination buffer. A null destination is left alone.
ZEP6_API void GetAlpha(const XIImage* source, Buffer<Alpha32F>* destination);
ZEP6_API void GetLuma(const XIImage* source, Buffer<Luma32F>* destination);

// destination = 1 - source over the rows and columns both have, on the processor; no clamping.
ZEP6_API void Invert(const Buffer<Luma32F>* source, Buffer<Luma32F>* destination);

// The texture at its own size at the destination's lower-left corner; the rest transparent black.
// The texture stays the caller's (its storage is not given back by the call).
ZEP6_API void CopyTexture(const Texture& texture, XIImage* destination);

// Each image blurred by its own amounts (blurs[i]: across and up, a Gaussian at shape 0.85, amounts
// below 1 not blurred), all laid over one another (straight colour, premultiplied as they
// accumulate), then the result drawn over the background with `op`. With `unpremultiply` the
// stored result is divided by its alpha. Null or invalid images are left out, a count below 1
// composites nothing over the background, null `blurs` blurs nothing.
ZEP6_API void CompositeBlurredImages(const XIImage** images, const XIImage* background, XIImage* destination,
                                     const p2f* blurs, int count, BlendOp op, bool unpremultiply);

// How Transform samples its picture when it magnifies (both scale factors at least 1).
enum TransformInterpolationFilterType : int {
    TransformInterpolateNearest = 0,    // nearest texel
    TransformInterpolateLinear = 1,     // the card's linear filter
    TransformInterpolateCatmullRom = 2, // the kernels of Kernel.h, at the enlarged size, then linear
    TransformInterpolateMitchell = 3,
    TransformInterpolateBSpline = 4,
    TransformInterpolateLanczos2 = 5,
    TransformInterpolateLanczos3 = 6,
};

// How Transform filters its picture before it reduces it (either scale factor below 1).
enum TransformDecimationFilterType : int {
    TransformDecimateNone = 0,     // the card's linear filter only
    TransformDecimateBox = 1,      // kernels 1 / scale wide along each axis
    TransformDecimateTriangle = 2,
    TransformDecimateBinomial = 3,
    TransformDecimateLanczos2 = 4, // the interpolation kernels of that name
    TransformDecimateLanczos3 = 5,
};

// What Transform's job carries to the worker.
struct TransformParams {
    PixelApplyMode mode;
    p3f a, b, c;
    RotationOrder order;
    TransformInterpolationFilterType interpolation;
    TransformDecimationFilterType decimation;
};

// The source scaled by b (x and y), turned by the angles c (degrees, in `order`) about its centre,
// and its centre placed at a (destination pixels, from the lower-left corner); the rest of the
// destination transparent black. When the mode is an apply mode and `second` is valid, the source
// is first combined with `second` (stretched over it) by that mode. `third` is not read.
// Translations, scales or angles that are not finite and scales that are not above 0 leave the
// destination as it is. The source must fit in one texture of the card.
ZEP6_API void Transform(const XIImage* source, const XIImage* second, const XIImage* third, XIImage* destination,
                        PixelApplyMode mode, const p3f& a, const p3f& b, const p3f& c, RotationOrder order,
                        TransformInterpolationFilterType interpolation, TransformDecimationFilterType decimation);

} // namespace OGL_ZEP6_AE
