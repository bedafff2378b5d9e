// The blurs on host images: exact to a CPU convolution with the same taps (edges repeated), across
// tile seams, for every kernel kind; bad amounts. (Host threads at once: Operations_gl_test.)
#include "gl/render/Kernel.h"
#include "gl/state/Blend.h"
#include "imageops/ImageOperations.h"
#include "support/TestImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

// A float RGBA picture, bottom-up, with structure at every scale (so a wrong tap shows).
TestImage Picture(long width, long height, unsigned seed) {
    TestImage image(Formats::RGBA32F, width, height);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                const unsigned h = static_cast<unsigned>((x * 73856093L) ^ (y * 19349663L) ^ (c * 83492791L)) * 2654435761u + seed;
                const float smooth = 0.5f + 0.4f * std::sin(0.05f * static_cast<float>(x + 3 * c) + 0.07f * static_cast<float>(y));
                const float value = c == 3 ? 0.3f + 0.7f * static_cast<float>((h >> 8) % 1000) / 1000.0f
                                           : 0.5f * smooth + 0.5f * static_cast<float>((h >> 12) % 1000) / 1000.0f;
                image.Set<float>(x * 4 + c, y, value);
            }
    return image;
}

// One pass of a kernel along x or y over float RGBA, the image's edge pixels repeated beyond it.
std::vector<float> Convolve(const std::vector<float>& in, long width, long height, const Kernel& k, bool alongX) {
    std::vector<float> out(in.size());
    const int centre = (k.size - 1) / 2;
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                double sum = 0.0;
                for (int i = 0; i < k.size; ++i) {
                    const long sx = alongX ? std::clamp<long>(x + i - centre, 0, width - 1) : x;
                    const long sy = alongX ? y : std::clamp<long>(y + i - centre, 0, height - 1);
                    sum += k.values[i] * in[(sy * width + sx) * 4 + c];
                }
                out[(y * width + x) * 4 + c] = static_cast<float>(sum);
            }
    return out;
}

std::vector<float> Reference(const TestImage& source, const Kernel& h, const Kernel& v) {
    const long w = source.GetWidth(), ht = source.GetHeight();
    std::vector<float> pixels(static_cast<std::size_t>(w * ht * 4));
    for (long y = 0; y < ht; ++y)
        for (long x = 0; x < w * 4; ++x)
            pixels[static_cast<std::size_t>(y * w * 4 + x)] = source.Get<float>(x, y);
    return Convolve(Convolve(pixels, w, ht, h, true), w, ht, v, false);
}

// The largest difference between the destination and the reference over the pixels `at` picks.
double WorstDifference(const TestImage& destination, const std::vector<float>& want,
                       const std::function<bool(long, long)>& at) {
    double worst = 0.0;
    const long w = destination.GetWidth();
    for (long y = 0; y < destination.GetHeight(); ++y)
        for (long x = 0; x < w; ++x)
            if (at(x, y))
                for (int c = 0; c < 4; ++c)
                    worst = std::max(worst, std::fabs(static_cast<double>(destination.Get<float>(x * 4 + c, y)) -
                                                      want[static_cast<std::size_t>((y * w + x) * 4 + c)]));
    return worst;
}

// Half floats keep 11 significant bits; the intermediate and the target each round once.
constexpr double kTolerance = 2.5e-3;

struct Case {
    const char* name;
    std::function<void(const XIImage*, XIImage*)> blur;
    Kernel horizontal, vertical;
    // The tap path rounds the running sum to the storage type after every tap.
    double tolerance = kTolerance;
};

TEST(Blur, EveryKindEqualsTheConvolution) {
    const Case cases[] = {
        {"gaussian 6", [](const XIImage* s, XIImage* d) { Blur(s, d, 6.0f, 6.0f, 0.85f); },
         MakeGaussianKernel(6.0f, 0.85f), MakeGaussianKernel(6.0f, 0.85f)},
        {"gaussian 9 x 2.5, shape 0.5", [](const XIImage* s, XIImage* d) { Blur(s, d, 9.0f, 2.5f, 0.5f); },
         MakeGaussianKernel(9.0f, 0.5f), MakeGaussianKernel(2.5f, 0.5f)},
        {"box 4", [](const XIImage* s, XIImage* d) { BoxBlur(s, d, 4.0f, 4.0f); }, MakeBoxKernel(4.0f), MakeBoxKernel(4.0f)},
        {"box 1 x 5 (a single tap across)", [](const XIImage* s, XIImage* d) { BoxBlur(s, d, 1.0f, 5.0f); },
         MakeBoxKernel(1.0f), MakeBoxKernel(5.0f)},
        {"gaussian 6 on the tap path", [](const XIImage* s, XIImage* d) {
             const Kernel k = MakeGaussianKernel(6.0f, 0.85f);
             ApplyKernels(s, d, &k, &k, KernelPath::Taps);
         },
         MakeGaussianKernel(6.0f, 0.85f), MakeGaussianKernel(6.0f, 0.85f), 7 * kTolerance / 2},
        {"pascal 5 x 3", [](const XIImage* s, XIImage* d) { PascalBlur(s, d, 5.0f, 3.0f); },
         MakeBinomialKernel(5.0f), MakeBinomialKernel(3.0f)},
    };
    const TestImage source = Picture(61, 37, 7);
    for (const Case& c : cases) {
        TestImage destination(Formats::RGBA32F, 61, 37);
        c.blur(&source, &destination);
        EXPECT_LT(WorstDifference(destination, Reference(source, c.horizontal, c.vertical), [](long, long) { return true; }),
                  c.tolerance)
            << c.name;
    }
}

// 2500 x 1200 is four tiles of at most 2048 x 1080: the pixels either side of both seams, the
// frame's edges and a grid inside all match the whole-frame convolution.
TEST(Blur, NoSeamBetweenTiles) {
    const TestImage source = Picture(2500, 1200, 3);
    TestImage destination(Formats::RGBA32F, 2500, 1200);
    Blur(&source, &destination, 14.0f, 11.0f, 0.85f);
    const std::vector<float> want = Reference(source, MakeGaussianKernel(14.0f, 0.85f), MakeGaussianKernel(11.0f, 0.85f));
    auto nearSeamOrEdge = [](long x, long y) {
        auto near = [](long v, long at) { return v >= at - 8 && v < at + 8; };
        return near(x, 2048) || near(y, 1080) || x < 8 || y < 8 || x >= 2492 || y >= 1192 || (x % 97 == 0 && y % 89 == 0);
    };
    EXPECT_LT(WorstDifference(destination, want, nearSeamOrEdge), kTolerance);
}

TEST(Blur, AmountsBelowOneAndBadAmountsCopy) {
    const TestImage source = Picture(40, 24, 11);
    const float amounts[] = {0.0f, 0.99f, -3.0f, NAN, INFINITY, -INFINITY};
    for (const float a : amounts) {
        TestImage destination(Formats::RGBA32F, 40, 24);
        Blur(&source, &destination, a, a, 0.85f);
        EXPECT_LT(WorstDifference(destination, Reference(source, MakeBoxKernel(1.0f), MakeBoxKernel(1.0f)),
                                  [](long, long) { return true; }),
                  1e-6)
            << a;
    }
    // A huge amount is cut to what a 40 x 24 image can use: a kernel of 81 x 49 taps.
    TestImage huge(Formats::RGBA32F, 40, 24);
    BoxBlur(&source, &huge, 1e9f, 1e9f);
    EXPECT_LT(WorstDifference(huge, Reference(source, MakeBoxKernel(81.0f), MakeBoxKernel(49.0f)),
                              [](long, long) { return true; }),
              kTolerance);
}

// Two layers, one blurred across, one not, accumulated premultiplied over one another and drawn
// over a background with (one, one minus source alpha); across two tiles.
TEST(CompositeBlurredImages, EqualsBlurredLayersOverTheBackground) {
    const long w = 2100, h = 6;
    const TestImage first = Picture(w, h, 21), second = Picture(w - 30, h - 2, 22), back = Picture(w, h, 23);
    const XIImage* images[] = {&first, nullptr, &second};
    const p2f blurs[] = {p2f(7.0f, 0.0f), p2f(50.0f, 50.0f), p2f(0.5f, 0.5f)};
    TestImage destination(Formats::RGBA32F, w, h);
    CompositeBlurredImages(images, &back, &destination, blurs, 3, BlendOp::Composite, false);

    const std::vector<float> blurred = Reference(first, MakeGaussianKernel(7.0f, 0.85f), MakeBoxKernel(1.0f));
    std::vector<float> want(static_cast<std::size_t>(w * h * 4));
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            float acc[4] = {0, 0, 0, 0};
            auto over = [&](const float* s) {
                for (int c = 0; c < 3; ++c)
                    acc[c] = s[c] * s[3] + acc[c] * (1.0f - s[3]);
                acc[3] = s[3] + acc[3] * (1.0f - s[3]);
            };
            over(&blurred[static_cast<std::size_t>((y * w + x) * 4)]);
            if (x < second.GetWidth() && y < second.GetHeight()) {
                const float s[4] = {second.Get<float>(x * 4, y), second.Get<float>(x * 4 + 1, y),
                                    second.Get<float>(x * 4 + 2, y), second.Get<float>(x * 4 + 3, y)};
                over(s);
            }
            for (int c = 0; c < 4; ++c)
                want[static_cast<std::size_t>((y * w + x) * 4 + c)] = acc[c] + back.Get<float>(x * 4 + c, y) * (1.0f - acc[3]);
        }
    EXPECT_LT(WorstDifference(destination, want, [](long, long) { return true; }), 2 * kTolerance);
    // No list, a negative count: the background alone.
    TestImage plain(Formats::RGBA32F, w, h);
    CompositeBlurredImages(nullptr, &back, &plain, nullptr, -1, BlendOp::Composite, false);
    EXPECT_LT(WorstDifference(plain, Reference(back, MakeBoxKernel(1.0f), MakeBoxKernel(1.0f)), [](long, long) { return true; }),
              kTolerance);
}

} // namespace
