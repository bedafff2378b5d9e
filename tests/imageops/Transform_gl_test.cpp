// Transform against CPU references: whole-pixel moves, a quarter turn, the interpolation filters
// on constant and linear pictures, the decimation filters on a checkerboard, bad parameters.
#include "gl/state/Color.h"
#include "imageops/ImageOperations.h"
#include "support/TestImage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

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
