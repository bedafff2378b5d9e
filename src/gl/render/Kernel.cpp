#include "gl/render/Kernel.h"

#include "geometry/Region.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"
#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "gl/targets/RenderedTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <utility>

namespace OGL_ZEP6_AE {

// ---- Kernel ----------------------------------------------------------------------------------

Kernel::Kernel(std::initializer_list<float> taps) {
    if (taps.size() == 0 || taps.size() > static_cast<std::size_t>(kMaxTaps))
        return;
    values.reset(new float[taps.size()]);
    size = static_cast<int>(taps.size());
    std::copy(taps.begin(), taps.end(), values.get());
}

Kernel::Kernel(const Kernel& other) {
    *this = other;
}

Kernel& Kernel::operator=(const Kernel& other) {
    if (this == &other)
        return *this;
    values.reset(other.size > 0 ? new float[other.size] : nullptr);
    size = other.size;
    std::copy(other.values.get(), other.values.get() + size, values.get());
    return *this;
}

Kernel::Kernel(Kernel&& other) noexcept : values(std::move(other.values)), size(other.size) {
    other.size = 0;
}

Kernel& Kernel::operator=(Kernel&& other) noexcept {
    if (this == &other)
        return *this;
    values = std::move(other.values);
    size = other.size;
    other.size = 0;
    return *this;
}

bool Kernel::Resize(float s) {
    values.reset();
    size = 0;
    int n = 1;
    // Written so that NaN lands on one tap: ceil() of NaN or infinity has no int value.
    if (s >= static_cast<float>(kMaxTaps))
        n = kMaxTaps;
    else if (s > 0.0f)
        n = static_cast<int>(std::ceil(s)) | 1;
    values.reset(new (std::nothrow) float[n]);
    if (!values)
        return false;
    size = n;
    return true;
}

// ---- Builders --------------------------------------------------------------------------------

namespace {

constexpr double kPi = 3.14159265358979323846;

Kernel Identity() {
    return Kernel{1.0f};
}

// The sizes the builders compute with: NaN and the non-positive become 0 (one tap), the rest is
// capped where Resize caps the tap count, so that no formula meets an infinite size.
float UsableSize(float s) {
    return s > 0.0f ? std::min(s, static_cast<float>(Kernel::kMaxTaps)) : 0.0f;
}

// Fills a kernel of Resize(s) taps with weight(i) and divides by their sum, taken in double; the
// identity when the sum is 0 or not finite or the allocation failed.
template <class Weight> Kernel Build(float s, Weight weight) {
    Kernel kernel;
    if (!kernel.Resize(s))
        return kernel;
    double sum = 0.0;
    for (int i = 0; i < kernel.size; ++i)
        sum += weight(i);
    if (sum == 0.0 || !std::isfinite(sum))
        return Identity();
    for (int i = 0; i < kernel.size; ++i)
        kernel.values[i] = static_cast<float>(weight(i) / sum);
    return kernel;
}

} // namespace

Kernel MakeBoxKernel(float s) {
    s = UsableSize(s);
    if (s < 1.0f)
        return Identity();
    const int n = static_cast<int>(std::ceil(s)) | 1;
    const double end = 1.0 - (n - static_cast<double>(s)) / 2.0;
    return Build(s, [n, end](int i) { return i == 0 || i == n - 1 ? end : 1.0; });
}

Kernel MakeTriangleKernel(float s) {
    s = UsableSize(s);
    if (s <= 0.0f)
        return Identity();
    const double half = s / 2.0;
    // The tent is 0 beyond its feet, which an odd tap count rounded up from s can reach.
    return Build(s, [half](int i) { return std::max(0.0, 1.0 - std::fabs(half - i) / half); });
}

Kernel MakeBinomialKernel(float s) {
    s = std::ceil(UsableSize(s));
    Kernel kernel;
    if (!kernel.Resize(s))
        return kernel;
    // Row m of Pascal's triangle from its middle outward, C(m, k - 1) = C(m, k) * k / (m - k + 1),
    // starting at 1 and normalised at the end: the values only shrink, so long rows never overflow
    // (C(32768, 16384) has almost 10^4 digits); the far ends of very long rows underflow to 0.
    const int m = kernel.size - 1;
    const int middle = m / 2;
    std::unique_ptr<double[]> row(new (std::nothrow) double[m + 1]);
    if (!row)
        return Kernel();
    row[middle] = 1.0;
    for (int k = middle; k > 0; --k)
        row[k - 1] = row[k] * k / (m - k + 1);
    for (int k = middle + 1; k <= m; ++k)
        row[k] = row[m - k];
    double sum = 0.0;
    for (int k = 0; k <= m; ++k)
        sum += row[k];
    for (int k = 0; k <= m; ++k)
        kernel.values[k] = static_cast<float>(row[k] / sum);
    return kernel;
}

Kernel MakeGaussianKernel(float s, float shape) {
    s = UsableSize(s);
    if (!(shape > 0.0f) || !std::isfinite(shape) || s <= 1.0f)
        return Identity();
    const double variance = static_cast<double>(shape) * shape;
    const double scale = 1.0 / std::sqrt(2.0 * kPi * variance);
    const int n = static_cast<int>(std::ceil(s)) | 1;
    const double m = (n - 1) / 2.0;
    const double half = s / 2.0;
    return Build(s, [=](int i) {
        const double x = (i - m) / half;
        return scale * std::exp(-x * x / (2.0 * variance));
    });
}

namespace {

// The cubic filters of Mitchell and Netravali, with parameters B and C:
//
//   k(x) = 1/6 * ( (12 - 9B - 6C)|x|^3 + (-18 + 12B + 6C)|x|^2 + (6 - 2B) )           |x| < 1
//   k(x) = 1/6 * ( (-B - 6C)|x|^3 + (6B + 30C)|x|^2 + (-12B - 48C)|x| + (8B + 24C) )   1 <= |x| < 2
//   k(x) = 0                                                                           otherwise
//
// Catmull-Rom is B = 0, C = 1/2 (Keys' cubic with a = -1/2), Mitchell-Netravali B = C = 1/3, the
// cubic B-spline B = 1, C = 0. At the whole offsets 0, 1, 2 they give
//   Catmull-Rom 1, 0, 0 (it interpolates, so on the texel grid it is the identity);
//   Mitchell    16/18, 1/18, 0;
//   B-spline    4/6, 1/6, 0.
double Cubic(double b, double c, double x) {
    x = std::fabs(x);
    if (x < 1.0)
        return ((12.0 - 9.0 * b - 6.0 * c) * x * x * x + (-18.0 + 12.0 * b + 6.0 * c) * x * x +
                (6.0 - 2.0 * b)) /
               6.0;
    if (x < 2.0)
        return ((-b - 6.0 * c) * x * x * x + (6.0 * b + 30.0 * c) * x * x + (-12.0 * b - 48.0 * c) * x +
                (8.0 * b + 24.0 * c)) /
               6.0;
    return 0.0;
}

// Exactly 0 at the non-zero whole numbers, where sin(pi x) in floating point is only close to 0,
// so that those taps are not drawn.
double Sinc(double x) {
    if (x == std::round(x))
        return x == 0.0 ? 1.0 : 0.0;
    return std::sin(kPi * x) / (kPi * x);
}

// Lanczos with a lobes: L(x) = sinc(x) sinc(x / a) for |x| < a, 0 otherwise, sinc(x) =
// sin(pi x) / (pi x). sinc is 0 at every non-zero whole x, so on the texel grid it is the identity.
double Lanczos(int a, double x) {
    return std::fabs(x) < a ? Sinc(x) * Sinc(x / a) : 0.0;
}

} // namespace

// Each filter is evaluated at the tap offsets -(n - 1)/2 .. (n - 1)/2 of a kernel of the size
// named and normalised, as every builder does. Whole-texel offsets are all a separable kernel on
// the texel grid can sample, and there Catmull-Rom and both Lanczos filters are 0 except at 0:
// their kernels are the identity, and the operations named after them leave the texture as it
// is. Only Mitchell-Netravali and the B-spline, which do not interpolate, smooth it.
Kernel MakeInterpolationKernel(Interpolation filter) {
    switch (filter) {
    case Interpolation::CatmullRom:
        return Build(4.0f, [](int i) { return Cubic(0.0, 0.5, i - 2.0); });
    case Interpolation::Mitchell:
        return Build(4.0f, [](int i) { return Cubic(1.0 / 3.0, 1.0 / 3.0, i - 2.0); });
    case Interpolation::BSpline:
        return Build(4.0f, [](int i) { return Cubic(1.0, 0.0, i - 2.0); });
    case Interpolation::Lanczos2:
        return Build(3.0f, [](int i) { return Lanczos(2, i - 1.0); });
    case Interpolation::Lanczos3:
        return Build(5.0f, [](int i) { return Lanczos(3, i - 2.0); });
    }
    return Identity();
}

// ---- Drawing ---------------------------------------------------------------------------------

namespace {

// Sums the taps of one chunk along kernel_step: kernel_weights holds them four to a vec4 (an
// array of floats would take a whole register per element on many drivers), kernel_groups says
// how many vec4 are in use, kernel_first is the offset of the first tap in texels. The texture
// coordinate is the pixel's own texel centre, so whole-texel offsets read exactly one texel each;
// the clamp to the centres of the edge texels keeps reads inside the source's kernel_size texels
// (its storage may be larger, and hold anything beyond).
const char* const kKernelSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect kernel_source;
uniform vec4 kernel_weights[32];
uniform int kernel_groups;
uniform float kernel_first;
uniform vec2 kernel_step;
uniform vec2 kernel_size;

vec4 tap(vec2 position)
{
    return texture2DRect(kernel_source, clamp(position, vec2(0.5), kernel_size - vec2(0.5)));
}

void main()
{
    vec2 position = gl_TexCoord[0].st + kernel_first * kernel_step;
    vec4 sum = vec4(0.0);
    for (int group = 0; group < 32; ++group) {
        if (group >= kernel_groups)
            break;
        vec4 w = kernel_weights[group];
        sum += w.x * tap(position);
        sum += w.y * tap(position + kernel_step);
        sum += w.z * tap(position + 2.0 * kernel_step);
        sum += w.w * tap(position + 3.0 * kernel_step);
        position += 4.0 * kernel_step;
    }
    gl_FragColor = sum;
}
)glsl";

static_assert(kShaderTaps == 32 * 4, "the shader holds 32 vec4 of weights");

GLSL::Shader sKernelShader(GL_FRAGMENT_SHADER, kKernelSource);
EffectProgram sKernelProgram(&sKernelShader);

// The texture matrix that takes the plane's coordinates 0 .. 1 to texels s0 .. s1 and t0 .. t1.
void LoadTexelMatrix(double s0, double s1, double t0, double t1) {
    TextureMatrix matrix(true);
    matrix.m[0] = s1 - s0;
    matrix.m[5] = t1 - t0;
    matrix.m[12] = s0;
    matrix.m[13] = t0;
    matrix.Apply();
}

// GL worker thread. The shader pass: the non-zero stretch of the kernel in chunks of kShaderTaps,
// the first replacing the destination, the others added to it.
void DrawShaderPasses(const Kernel& kernel, KernelAxis axis, const Region& region) {
    int first = 0;
    int last = kernel.size - 1;
    while (first <= last && kernel.values[first] == 0.0f)
        ++first;
    while (last >= first && kernel.values[last] == 0.0f)
        --last;
    const int centre = (kernel.size - 1) / 2;

    PushProgram program;
    Push<TextureUnit> unit;
    PushBlendFunc blend;
    Push<BlendEquation> equation(BlendEquation::Add);
    Push<DepthFunc> depth(DepthFunc::Always);

    EffectProgram& pass = EffectProgram::sKernel;
    pass.Apply();
    pass.SetUniform("kernel_source", TextureUnit(0)); // makes unit 0 active
    PushTextureMatrix matrix;
    LoadTexelMatrix(0.0, region.width, 0.0, region.height);
    pass.SetUniform("kernel_size", p2f(static_cast<float>(region.width), static_cast<float>(region.height)));
    pass.SetUniform("kernel_step", axis == KernelAxis::Horizontal ? p2f(1.0f, 0.0f) : p2f(0.0f, 1.0f));
    // Arrays are listed under the name of their first element.
    GLSL::Uniform* weights = pass.GetUniform("kernel_weights[0]");
    if (!weights)
        weights = pass.GetUniform("kernel_weights");
    const int location = weights ? static_cast<int>(*weights) : -1;

    int start = first;
    do {
        const int count = std::min(kShaderTaps, last - start + 1);
        float chunk[kShaderTaps] = {};
        for (int i = 0; i < count; ++i)
            chunk[i] = kernel.values[start + i];
        if (location >= 0)
            ZEP6_GLCALL(glUniform4fv)(location, kShaderTaps / 4, chunk);
        pass.SetUniform("kernel_groups", std::max(0, (count + 3) / 4));
        pass.SetUniform("kernel_first", static_cast<float>(start - centre));
        (start == first ? BlendFunc::Replace : BlendFunc::Add).Apply();
        sPlane.Draw(region);
        start += std::max(count, 1);
    } while (start <= last);
}

// A stretch of pixels p0 .. p1 along one axis (from the region's start) and the texel
// coordinates s0 .. s1 it reads.
struct Span {
    double p0, p1, s0, s1;
};

// An axis of `length` texels read `offset` texels away, in the piece that reads inside the source
// and the piece beyond its edge, which repeats the edge texel. Returns the number of pieces, 1 or 2.
int Spans(unsigned int length, int offset, Span out[2]) {
    const double size = length;
    const double inside0 = std::clamp(-static_cast<double>(offset), 0.0, size);
    const double inside1 = std::clamp(size - offset, 0.0, size);
    int count = 0;
    if (inside0 > 0.0)
        out[count++] = {0.0, inside0, 0.5, 0.5};
    if (inside1 > inside0)
        out[count++] = {inside0, inside1, inside0 + offset, inside1 + offset};
    if (inside1 < size)
        out[count++] = {inside1, size, size - 0.5, size - 0.5};
    return count;
}

// The largest weight magnitude the tap path draws, in parts of at most 1 each.
constexpr float kMaxTapParts = 256.0f;

bool UseShader(KernelPath path) {
    return path == KernelPath::Shader || (path == KernelPath::Best && IsShaderSupported());
}

} // namespace

EffectProgram& EffectProgram::sKernel = sKernelProgram;

// GL worker thread.
void DrawKernelTaps(const Kernel& kernel, int nx, int ny, const Region& region) {
    PushBlendFunc blend;
    Push<BlendEquation> equation;
    Push<DepthFunc> depth(DepthFunc::Always);
    PushColor colour;
    Push<TextureUnit> unit;
    TextureUnit::Activate(GL_TEXTURE0);
    Push<TextureEnvironment> environment;
    // The vertex colour (w, w, w, w) modulates all four channels of the texel, and blending adds
    // them with factor 1: colour and alpha are both the weighted sums of the source's. (Colour
    // (1, 1, 1, w) with source-alpha blending would weight the colour by the texel's alpha too.)
    TextureEnvironment::ApplyMode(GL_MODULATE);
    PushTextureMatrix matrix;

    const int cx = (nx - 1) / 2;
    const int cy = (ny - 1) / 2;
    bool first = true;
    // The region once, the source read (dx, dy) texels away, weighted by w in [-1, 1]: one quad
    // per piece that reads inside the source or repeats an edge.
    auto draw = [&](int dx, int dy, float w) {
        (first ? BlendFunc::Replace : BlendFunc::Add).Apply();
        (w < 0.0f ? BlendEquation(GL_FUNC_REVERSE_SUBTRACT) : BlendEquation::Add).Apply();
        const float a = std::fabs(w);
        Color(a, a, a, a).Apply();
        Span xs[2], ys[2];
        const int xCount = Spans(region.width, dx, xs);
        const int yCount = Spans(region.height, dy, ys);
        for (int j = 0; j < yCount; ++j)
            for (int i = 0; i < xCount; ++i) {
                LoadTexelMatrix(xs[i].s0, xs[i].s1, ys[j].s0, ys[j].s1);
                sPlane.Draw(static_cast<float>(region.x + xs[i].p0), static_cast<float>(region.y + ys[j].p0),
                            static_cast<float>(region.x + xs[i].p1), static_cast<float>(region.y + ys[j].p1),
                            0.0f);
            }
        first = false;
    };
    int index = 0;
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x, ++index) {
            float w = kernel.At(index);
            if (w == 0.0f || std::isnan(w))
                continue;
            // The vertex colour is clamped to [0, 1]: larger weights go in parts of 1, as many as
            // kMaxTapParts (a normalised kernel of non-negative taps never has a weight above 1).
            w = std::clamp(w, -kMaxTapParts, kMaxTapParts);
            for (; std::fabs(w) > 1.0f; w -= std::copysign(1.0f, w))
                draw(x - cx, y - cy, std::copysign(1.0f, w));
            draw(x - cx, y - cy, w);
        }
    if (first)
        draw(0, 0, 0.0f);
}

// GL worker thread.
void DrawKernel(const Kernel& kernel, KernelAxis axis, const Region& region, KernelPath path) {
    if (!region.valid)
        return;
    if (UseShader(path))
        DrawShaderPasses(kernel, axis, region);
    else if (axis == KernelAxis::Horizontal)
        DrawKernelTaps(kernel, kernel.size, 1, region);
    else
        DrawKernelTaps(kernel, 1, kernel.size, region);
}

// GL worker thread.
void ApplyKernels(RenderedTexture& target, const Kernel& horizontal, const Kernel& vertical,
                  KernelPath path) {
    if (horizontal.size < 2 && vertical.size < 2)
        return;
    const int width = target.Width();
    const int height = target.Height();
    if (width <= 0 || height <= 0)
        return;
    const Region all(static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    // An empty kernel (a failed allocation) passes its axis through unchanged.
    const Kernel identity{1.0f};
    RenderedTexture intermediate(width, height);
    auto pass = [&](RenderedTexture& destination, const RenderedTexture& source, const Kernel& kernel,
                    KernelAxis axis) {
        PushState state;
        if (!destination.Select())
            return false;
        // Unit 0 is active after Select(): the source is bound there, enabled, sampled nearest.
        source.Apply();
        source.ApplyNearest();
        DrawKernel(kernel.size > 0 ? kernel : identity, axis, all, path);
        return true;
    };
    if (pass(intermediate, target, horizontal, KernelAxis::Horizontal))
        pass(target, intermediate, vertical, KernelAxis::Vertical);
}

void BoxBlurTexture(RenderedTexture& target, float x, float y) {
    ApplyKernels(target, MakeBoxKernel(x), MakeBoxKernel(y));
}

void TriangleBlurTexture(RenderedTexture& target, float x, float y) {
    ApplyKernels(target, MakeTriangleKernel(x), MakeTriangleKernel(y));
}

void PascalBlurTexture(RenderedTexture& target, float x, float y) {
    ApplyKernels(target, MakeBinomialKernel(x), MakeBinomialKernel(y));
}

namespace {
void Interpolate(RenderedTexture& target, Interpolation filter) {
    const Kernel kernel = MakeInterpolationKernel(filter);
    ApplyKernels(target, kernel, kernel);
}
} // namespace

void CatmulInterpolateTexture(RenderedTexture& target) {
    Interpolate(target, Interpolation::CatmullRom);
}

void MitchellInterpolateTexture(RenderedTexture& target) {
    Interpolate(target, Interpolation::Mitchell);
}

void BSplineInterpolateTexture(RenderedTexture& target) {
    Interpolate(target, Interpolation::BSpline);
}

void Lanczos2InterpolateTexture(RenderedTexture& target) {
    Interpolate(target, Interpolation::Lanczos2);
}

void Lanczos3InterpolateTexture(RenderedTexture& target) {
    Interpolate(target, Interpolation::Lanczos3);
}

} // namespace OGL_ZEP6_AE
