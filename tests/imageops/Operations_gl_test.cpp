// The whole-image operations against CPU references computed from their recipes (blending
// arithmetic per pixel), on frames wider than one tile, over several pairs of source and
// destination layouts; Transform: whole-pixel moves, a quarter turn, the interpolation filters on
// constant and linear pictures, the decimation filters on a checkerboard, bad parameters.
#include "gl/resources/Buffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/resources/ResourceTestSupport.h"
#include "imageops/ImageOperations.h"
#include "support/PixelLayouts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <thread>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

using RGBA = std::array<double, 4>;

const Layout kBGRA8{"BGRA8", Kind::BGRA, {kBGRA, 32, 255}};
const Layout kRGBA16{"RGBA16", Kind::RGBA, {kRGBA, 64, 65535}};
const Layout kARGB16{"ARGB16_8000", Kind::ARGB, {32, 64, 32768}};
const Layout kRGBA32F{"RGBA32F", Kind::RGBA, {kRGBA, 128, 1}};

struct Pair {
    Layout source;
    bool sourceBottomUp;
    Layout destination;
};
// 8-bit top-down into float, 16-bit into 8-bit top-down, float into 16-bit at white 0x8000.
const Pair kPairs[] = {{kBGRA8, false, kRGBA32F}, {kRGBA16, true, kBGRA8}, {kRGBA32F, true, kARGB16}};

TestImage Source(const Layout& layout, long width, long height, bool bottomUp) {
    TestImage image(layout.format, width, height, 8);
    image.SetBottomUp(bottomUp);
    FillSource(image, layout);
    return image;
}

RGBA At(const TestImage& image, const Layout& layout, long x, long y) {
    RGBA v{0, 0, 0, 0};
    if (x >= 0 && y >= 0 && x < image.GetWidth() && y < image.GetHeight())
        SourceRGBA(image, layout, x, y, v.data());
    return v;
}

// Runs `operation` for every pair into a destination of w x h (filled with 0xA5 first), and
// compares with want(source, second, px, py).
void ExpectEveryPair(long sw, long sh, long w, long h,
                     const std::function<void(const TestImage&, const TestImage&, TestImage&)>& operation,
                     const std::function<RGBA(const std::function<RGBA(long, long)>&, const std::function<RGBA(long, long)>&,
                                              long, long)>& want,
                     double extraTolerance = 0.0) {
    for (const Pair& pair : kPairs) {
        const TestImage source = Source(pair.source, sw, sh, pair.sourceBottomUp);
        const TestImage second = Source(kBGRA8, w, h, true);
        // Rows 8 bytes longer than packed: for float pixels not a whole number of pixels apart.
        TestImage destination(pair.destination.format, w, h, 8);
        destination.SetBottomUp(pair.destination.kind != Kind::BGRA);
        destination.Fill(0xA5);
        operation(source, second, destination);
        const auto s = [&](long x, long y) { return At(source, pair.source, x, y); };
        const auto b = [&](long x, long y) { return At(second, kBGRA8, x, y); };
        const Comparison c = CompareWithReference(destination, pair.destination,
                                                  Tolerance(pair.destination.format) + Tolerance(pair.source.format) + extraTolerance,
                                                  [&](long px, long py, double rgba[4]) {
                                                      const RGBA v = want(s, b, px, py);
                                                      std::copy(v.begin(), v.end(), rgba);
                                                  });
        EXPECT_EQ(c.mismatches, 0) << pair.source.name << " -> " << pair.destination.name << ": " << c;
    }
}

using Get = std::function<RGBA(long, long)>;

TEST(Operations, PremultiplyCenterAndComposite) {
    ExpectEveryPair(2100, 6, 2100, 6, [](const TestImage& s, const TestImage&, TestImage& d) { Premultiply(&s, &d); },
                    [](const Get& s, const Get&, long x, long y) {
                        const RGBA v = s(x, y);
                        return RGBA{v[0] * v[3], v[1] * v[3], v[2] * v[3], v[3]};
                    });
    // 2061 x 5 centred in 2100 x 8: 19 columns and one row short on the lower-left.
    ExpectEveryPair(2061, 5, 2100, 8, [](const TestImage& s, const TestImage&, TestImage& d) { Center(&s, &d); },
                    [](const Get& s, const Get&, long x, long y) { return s(x - 19, y - 1); });
    // Default blending (source alpha, one minus source alpha) of the foreground at opacity 0.6.
    ExpectEveryPair(2100, 6, 2100, 6,
                    [](const TestImage& s, const TestImage& b, TestImage& d) { Composite(&s, &b, nullptr, &d, 0.6f, BlendOp::Default); },
                    [](const Get& s, const Get& b, long x, long y) {
                        const RGBA f = s(x, y), g = b(x, y);
                        const double a = f[3] * 0.6;
                        RGBA r;
                        for (int c = 0; c < 4; ++c)
                            r[c] = f[c] * 0.6 * a + g[c] * (1.0 - a);
                        return r;
                    });
}

TEST(Operations, MasksAndCopyAlpha) {
    const Color colour(0.9f, 0.2f, 0.4f, 0.8f);
    for (const bool inverse : {false, true})
        ExpectEveryPair(2100, 6, 2100, 6,
                        [&](const TestImage& m, const TestImage& i, TestImage& d) {
                            (inverse ? RenderInvMask : RenderMask)(&m, &i, &d, colour);
                        },
                        [&](const Get& m, const Get& i, long x, long y) {
                            const double ma = m(x, y)[3], da = colour.alpha * (inverse ? 1.0 - ma : ma);
                            const RGBA img = i(x, y);
                            const double c[3] = {colour.red, colour.green, colour.blue};
                            RGBA r;
                            for (int k = 0; k < 3; ++k)
                                r[k] = img[k] * (1.0 - da) + c[k] * da;
                            r[3] = img[3] * (1.0 - da) + da;
                            return r;
                        });
    // The destination keeps its colour and takes the (smaller) source's alpha where it reaches.
    for (const Pair& pair : kPairs) {
        const TestImage source = Source(pair.source, 2070, 4, pair.sourceBottomUp);
        TestImage destination = Source(pair.destination, 2100, 6, true);
        const TestImage before = destination;
        CopyAlpha(&source, &destination);
        const Comparison c = CompareWithReference(destination, pair.destination,
                                                  Tolerance(pair.destination.format) + Tolerance(pair.source.format),
                                                  [&](long x, long y, double rgba[4]) {
                                                      SourceRGBA(before, pair.destination, x, y, rgba);
                                                      if (x < 2070 && y < 4)
                                                          rgba[3] = At(source, pair.source, x, y)[3];
                                                  });
        EXPECT_EQ(c.mismatches, 0) << pair.source.name << ": " << c;
    }
}

// Bilinear sampling of the source at destination pixel centres mapped through the scale, edges
// clamped: what the card's linear filter does.
RGBA Bilinear(const Get& s, long sw, long sh, double x, double y) {
    x = std::clamp(x - 0.5, 0.0, sw - 1.0), y = std::clamp(y - 0.5, 0.0, sh - 1.0);
    const long x0 = static_cast<long>(x), y0 = static_cast<long>(y);
    const long x1 = std::min(x0 + 1, sw - 1), y1 = std::min(y0 + 1, sh - 1);
    const double fx = x - x0, fy = y - y0;
    RGBA r;
    const RGBA a = s(x0, y0), b = s(x1, y0), c = s(x0, y1), d = s(x1, y1);
    for (int k = 0; k < 4; ++k)
        r[k] = (a[k] * (1 - fx) + b[k] * fx) * (1 - fy) + (c[k] * (1 - fx) + d[k] * fx) * fy;
    return r;
}

TEST(Operations, ResizeAndFitInto) {
    // Down by 2 across (two tiles of destination still), up by 1.5 vertically.
    ExpectEveryPair(4200, 4, 2100, 6, [](const TestImage& s, const TestImage&, TestImage& d) { Resize(&s, &d); },
                    [](const Get& s, const Get&, long x, long y) { return Bilinear(s, 4200, 4, (x + 0.5) * 2.0, (y + 0.5) / 1.5); },
                    1.0 / 128);
    // 200 x 100 into 100 x 100: a 100 x 50 picture, rows 25 to 74; the rest transparent.
    ExpectEveryPair(200, 100, 100, 100, [](const TestImage& s, const TestImage&, TestImage& d) { FitInto(&s, &d); },
                    [](const Get& s, const Get&, long x, long y) {
                        if (y < 25 || y >= 75)
                            return RGBA{0, 0, 0, 0};
                        return Bilinear(s, 200, 100, (x + 0.5) * 2.0, (y - 25 + 0.5) * 2.0);
                    },
                    1.0 / 128);
}

TEST(Operations, AlphaLumaInvertAndTexture) {
    const Layout layout = kRGBA16;
    const TestImage source = Source(layout, 2100, 5, false);
    Buffer<Alpha32F> alpha(GL_ALPHA32F_ARB, 32, 1.0f);
    Buffer<Luma32F> luma(GL_LUMINANCE32F_ARB, 32, 1.0f), inverted(GL_LUMINANCE32F_ARB, 32, 1.0f);
    ASSERT_TRUE(OnWorker([&] {
        ASSERT_TRUE(alpha.Resize(2100, 5, GL_ALPHA32F_ARB) && luma.Resize(2100, 5, GL_LUMINANCE32F_ARB) &&
                    inverted.Resize(2000, 7, GL_LUMINANCE32F_ARB));
        GetAlpha(&source, &alpha);
        GetLuma(&source, &luma);
        for (long y = 0; y < 7; ++y)
            for (long x = 0; x < 2000; ++x)
                inverted.Row(y)[x].luma = 5.0f;
        Invert(&luma, &inverted);
        double worst = 0.0;
        for (long y = 0; y < 5; ++y)
            for (long x = 0; x < 2100; ++x) {
                const RGBA v = At(source, layout, x, y);
                worst = std::max(worst, std::fabs(alpha.Row(y)[x].alpha - v[3]));
                const double l = (0.3 * v[0] + 0.59 * v[1] + 0.11 * v[2]) * v[3];
                worst = std::max(worst, std::fabs(luma.Row(y)[x].luma - l));
                if (x < 2000) {
                    ASSERT_EQ(inverted.Row(y)[x].luma, 1.0f - luma.Row(y)[x].luma);
                }
            }
        EXPECT_LT(worst, 3e-3);
        EXPECT_EQ(inverted.Row(5)[0].luma, 5.0f) << "Invert wrote past the source's rows";
        GetAlpha(&source, nullptr); // no effect, no crash
    }));
    // A 30 x 3 texture of one colour lands at the lower-left; the rest is transparent.
    TestImage fill(kRGBA32F.format, 30, 3);
    for (long y = 0; y < 3; ++y)
        for (long x = 0; x < 30; ++x)
            fill.Set(x, y, RGBA32F{0.25f, 0.5f, 1.0f, 0.75f});
    SubImageTexture texture(&fill);
    ASSERT_TRUE(OnWorker([&] { texture.Load(); }));
    TestImage destination(kRGBA32F.format, 2100, 4);
    CopyTexture(texture, &destination);
    const Comparison c = CompareWithReference(destination, kRGBA32F, Tolerance(kRGBA32F.format), [](long x, long y, double rgba[4]) {
        const bool inside = x < 30 && y < 3;
        rgba[0] = inside ? 0.25 : 0, rgba[1] = inside ? 0.5 : 0, rgba[2] = inside ? 1 : 0, rgba[3] = inside ? 0.75 : 0;
    });
    EXPECT_EQ(c.mismatches, 0) << c;
}

// Five host threads, each running its own operation on its own frames at once, get exactly what
// the same calls give one after the other; two of them blur with kernels of their own.
TEST(OperationsFromHostThreads, EachThreadGetsItsOwnResult) {
    const TestImage source = Source(kRGBA16, 300, 40, false);
    const std::function<void(TestImage&)> operations[] = {
        [&](TestImage& d) { Premultiply(&source, &d); },
        [&](TestImage& d) { Resize(&source, &d); },
        [&](TestImage& d) { Blur(&source, &d, 7.0f, 3.0f, 0.85f); },
        [&](TestImage& d) { Blur(&source, &d, 3.0f, 9.0f, 0.6f); },
        [&](TestImage& d) {
            Transform(&source, nullptr, nullptr, &d, PixelApplyOver, p3f(150.0f, 20.0f, 0.0f), p3f(0.8f, 0.8f, 1.0f),
                      p3f(0.0f, 0.0f, 30.0f), XYZ, TransformInterpolateLinear, TransformDecimateBox);
        },
    };
    std::vector<TestImage> alone, together;
    for (int i = 0; i < 5; ++i) {
        alone.emplace_back(kRGBA32F.format, 200 + 10 * i, 30);
        together.emplace_back(kRGBA32F.format, 200 + 10 * i, 30);
        operations[i](alone.back());
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 5; ++i)
        threads.emplace_back([&, i] {
            for (int repeat = 0; repeat < 3; ++repeat)
                operations[i](together[static_cast<std::size_t>(i)]);
        });
    for (std::thread& t : threads)
        t.join();
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_TRUE(std::equal(alone[i].Bytes(), alone[i].Bytes() + alone[i].ByteCount(), together[i].Bytes()))
            << "operation " << i;
}

// ---- Transform ----------------------------------------------------------------------------

TestImage Filled(long w, long h, const std::function<float(long, long, int)>& value) {
    TestImage image(Formats::RGBA32F, w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c)
                image.Set<float>(x * 4 + c, y, value(x, y, c));
    return image;
}

// The largest difference over the pixels `at` picks, against want(x, y, channel).
double Worst(const TestImage& image, const std::function<bool(long, long)>& at,
             const std::function<double(long, long, int)>& want) {
    double worst = 0.0;
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x)
            if (at(x, y))
                for (int c = 0; c < 4; ++c)
                    worst = std::max(worst, std::fabs(image.Get<float>(x * 4 + c, y) - want(x, y, c)));
    return worst;
}

const auto kEverywhere = [](long, long) { return true; };
const p3f kNoTurn(0.0f, 0.0f, 0.0f), kUnit(1.0f, 1.0f, 1.0f);

void Place(const TestImage& source, TestImage& destination, const p3f& a, const p3f& b, const p3f& c,
         TransformInterpolationFilterType interpolation, TransformDecimationFilterType decimation = TransformDecimateNone) {
    Transform(&source, nullptr, nullptr, &destination, static_cast<PixelApplyMode>(-1), a, b, c, XYZ, interpolation,
              decimation);
}

float Pattern(long x, long y, int c) {
    return static_cast<float>((x * 7 + y * 13 + c * 5) % 17) / 16.0f;
}

TEST(Transform, WholePixelMovesAndAQuarterTurnAreExact) {
    // Moved by (7, 3) across two tiles, nearest: a copy; the rest transparent.
    const TestImage source = Filled(2100, 6, Pattern);
    TestImage moved(Formats::RGBA32F, 2110, 10);
    Place(source, moved, p3f(1050.0f + 7.0f, 3.0f + 3.0f, 0.0f), kUnit, kNoTurn, TransformInterpolateNearest);
    EXPECT_EQ(Worst(moved, kEverywhere, [](long x, long y, int c) {
                  return x >= 7 && y >= 3 && x < 2107 && y < 9 ? Pattern(x - 7, y - 3, c) : 0.0f;
              }), 0.0);
    // A quarter turn about the centre of a square: the Z turn is about (0, 0, -1), so a pixel at
    // (sx, sy) from the centre lands at (sy, -sx).
    const TestImage square = Filled(20, 20, Pattern);
    TestImage turned(Formats::RGBA32F, 20, 20);
    Place(square, turned, p3f(10.0f, 10.0f, 0.0f), kUnit, p3f(0.0f, 0.0f, 90.0f), TransformInterpolateNearest);
    EXPECT_EQ(Worst(turned, kEverywhere, [](long x, long y, int c) { return Pattern(19 - y, x, c); }), 0.0);
}

TEST(Transform, InterpolationKeepsConstantAndLinearPictures) {
    const TestImage flat = Filled(24, 16, [](long, long, int c) { return 0.25f * static_cast<float>(c + 1); });
    const TestImage ramp = Filled(24, 16, [](long x, long, int c) { return c == 3 ? 1.0f : static_cast<float>(x) / 32.0f; });
    for (int f = TransformInterpolateNearest; f <= TransformInterpolateLanczos3; ++f) {
        const auto filter = static_cast<TransformInterpolationFilterType>(f);
        TestImage a(Formats::RGBA32F, 48, 32), b(Formats::RGBA32F, 48, 32);
        Place(flat, a, p3f(24.0f, 16.0f, 0.0f), p3f(2.0f, 2.0f, 1.0f), kNoTurn, filter);
        Place(ramp, b, p3f(24.0f, 16.0f, 0.0f), p3f(2.0f, 2.0f, 1.0f), kNoTurn, filter);
        EXPECT_LT(Worst(a, kEverywhere, [](long, long, int c) { return 0.25 * (c + 1); }), 1e-6) << "filter " << f;
        // Away from the edges a symmetric filter keeps a ramp; nearest repeats each texel twice.
        EXPECT_LT(Worst(b, [](long x, long) { return x >= 6 && x < 42; },
                        [f](long x, long, int c) {
                            if (c == 3)
                                return 1.0;
                            const double at = f == TransformInterpolateNearest ? std::floor(x / 2.0) : (x + 0.5) / 2.0 - 0.5;
                            return at / 32.0;
                        }),
                  2e-3)
            << "filter " << f;
    }
}

// An enlarged picture drawn a quarter pixel off samples its last texels linearly: they must meet
// the picture's own edge, not what a larger cached texture held beyond it (here: red).
TEST(Transform, EnlargedEdgesDoNotReadStaleTexels) {
    TestImage red(Formats::RGBA32F, 600, 400);
    Clear(&red, Color(1.0f, 0.0f, 0.0f, 1.0f));
    const TestImage flat = Filled(24, 16, [](long, long, int c) { return c == 3 ? 1.0f : 0.25f; });
    TestImage enlarged(Formats::RGBA32F, 48, 32);
    Place(flat, enlarged, p3f(23.75f, 15.75f, 0.0f), p3f(2.0f, 2.0f, 1.0f), kNoTurn, TransformInterpolateCatmullRom);
    EXPECT_LT(Worst(enlarged, kEverywhere, [](long, long, int c) { return c == 3 ? 1.0 : 0.25; }), 1e-3);
}

TEST(Transform, DecimationTakesACheckerboardToItsMean) {
    const TestImage board = Filled(64, 48, [](long x, long y, int c) { return c == 3 ? 1.0f : static_cast<float>((x + y) % 2); });
    for (int f = TransformDecimateNone; f <= TransformDecimateLanczos3; ++f) {
        TestImage half(Formats::RGBA32F, 32, 24);
        Place(board, half, p3f(16.0f, 12.0f, 0.0f), p3f(0.5f, 0.5f, 1.0f), kNoTurn, TransformInterpolateLinear,
            static_cast<TransformDecimationFilterType>(f));
        // The outermost pixels also see the repeated edge, which is not the board's mean.
        EXPECT_LT(Worst(half, [](long x, long y) { return x > 0 && y > 0 && x < 31 && y < 23; },
                        [](long, long, int c) { return c == 3 ? 1.0 : 0.5; }),
                  2e-3)
            << "filter " << f;
    }
}

// With an apply mode and a second image of the same size, an unmoved picture is the mode's
// composite of the two.
TEST(Transform, AnApplyModeCombinesTheSecondImage) {
    const TestImage front = Filled(16, 12, Pattern);
    const TestImage back = Filled(16, 12, [](long x, long y, int c) { return Pattern(y, x, c) * 0.5f + 0.25f; });
    TestImage transformed(Formats::RGBA32F, 16, 12), composited(Formats::RGBA32F, 16, 12);
    Transform(&front, &back, nullptr, &transformed, PixelApplyMultiply, p3f(8.0f, 6.0f, 0.0f), kUnit, kNoTurn, XYZ,
              TransformInterpolateNearest, TransformDecimateNone);
    ApplyMode::Apply(&front, &back, nullptr, &composited, PixelApplyMultiply, 1.0f);
    EXPECT_LT(Worst(transformed, kEverywhere, [&](long x, long y, int c) { return composited.Get<float>(x * 4 + c, y); }),
              1e-3);
    EXPECT_GT(Worst(transformed, kEverywhere, [&](long x, long y, int c) { return front.Get<float>(x * 4 + c, y); }), 0.1)
        << "the mode changed nothing";
}

TEST(Transform, ParametersThatDescribeNoPictureChangeNothing) {
    const TestImage source = Filled(8, 8, Pattern);
    const float bad[] = {0.0f, -1.0f, NAN, INFINITY};
    for (const float v : bad) {
        TestImage destination = Filled(8, 8, [](long, long, int) { return 0.75f; });
        Place(source, destination, kNoTurn, p3f(v, 1.0f, 1.0f), kNoTurn, TransformInterpolateLinear);
        Place(source, destination, kNoTurn, kUnit, p3f(0.0f, 0.0f, std::isfinite(v) ? NAN : v), TransformInterpolateLinear);
        Place(source, destination, p3f(std::isfinite(v) ? NAN : v, 0.0f, 0.0f), kUnit, kNoTurn, TransformInterpolateLinear);
        EXPECT_EQ(Worst(destination, kEverywhere, [](long, long, int) { return 0.75; }), 0.0) << v;
    }
}

} // namespace
