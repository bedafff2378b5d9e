// The kernel builders' weights, without any OpenGL context.
#include "gl/render/Kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(Kernel, ResizeMakesOddTapCountsAndSurvivesBadSizes) {
    const float sizes[] = {4, 4.2f, 5, 6, 0.5f, 0, -3, kNaN, -kInf, kInf, 1e9f, 32767.5f};
    const int taps[] = {5, 5, 5, 7, 1, 1, 1, 1, 1, Kernel::kMaxTaps, Kernel::kMaxTaps, 32769};
    for (int i = 0; i < 12; ++i) {
        Kernel k;
        EXPECT_TRUE(k.Resize(sizes[i]) && k.size == taps[i]) << sizes[i] << " gives " << k.size;
    }
}

// Expected weights worked out by hand from each filter's definition; sizes and shapes that give
// no weight fall back to the identity.
TEST(Kernel, BuildersGiveTheirDefinedWeights) {
    const std::tuple<const char*, Kernel, std::vector<float>> kRows[] = {
        {"box 3", MakeBoxKernel(3), {1 / 3.f, 1 / 3.f, 1 / 3.f}},
        {"box 4", MakeBoxKernel(4), {0.125f, 0.25f, 0.25f, 0.25f, 0.125f}},
        {"box 1.5", MakeBoxKernel(1.5f), {1 / 6.f, 2 / 3.f, 1 / 6.f}},
        {"triangle 4", MakeTriangleKernel(4), {0, 0.25f, 0.5f, 0.25f, 0}},
        {"triangle 3 (peak at 1.5)", MakeTriangleKernel(3), {0, 0.5f, 0.5f}},
        {"binomial 4", MakeBinomialKernel(4), {1 / 16.f, 4 / 16.f, 6 / 16.f, 4 / 16.f, 1 / 16.f}},
        {"binomial 3.2", MakeBinomialKernel(3.2f), {1 / 16.f, 4 / 16.f, 6 / 16.f, 4 / 16.f, 1 / 16.f}},
        {"Catmull-Rom", MakeInterpolationKernel(Interpolation::CatmullRom), {0, 0, 1, 0, 0}},
        {"Mitchell", MakeInterpolationKernel(Interpolation::Mitchell), {0, 1 / 18.f, 16 / 18.f, 1 / 18.f, 0}},
        {"B-spline", MakeInterpolationKernel(Interpolation::BSpline), {0, 1 / 6.f, 4 / 6.f, 1 / 6.f, 0}},
        {"Lanczos 2", MakeInterpolationKernel(Interpolation::Lanczos2), {0, 1, 0}},
        {"Lanczos 3", MakeInterpolationKernel(Interpolation::Lanczos3), {0, 0, 1, 0, 0}},
        {"box 0.5", MakeBoxKernel(0.5f), {1}},
        {"box NaN", MakeBoxKernel(kNaN), {1}},
        {"binomial -1", MakeBinomialKernel(-1), {1}},
        {"Gaussian shape 0", MakeGaussianKernel(5, 0), {1}},
        {"Gaussian shape NaN", MakeGaussianKernel(5, kNaN), {1}},
    };
    for (const auto& [name, kernel, want] : kRows) {
        ASSERT_EQ(kernel.size, static_cast<int>(want.size())) << name;
        for (int i = 0; i < kernel.size; ++i)
            EXPECT_NEAR(kernel.values[i], want[i], 1e-7) << name << " tap " << i;
    }
}

// Long, huge and odd sizes: every weight finite and non-negative, the sum 1, symmetric where the
// filter is centred, and for the bell shapes rising up to the centre.
TEST(Kernel, WeightsStayNormalisedSymmetricAndFiniteAtAnySize) {
    const std::tuple<const char*, Kernel, bool, bool> kRows[] = {
        {"box inf", MakeBoxKernel(kInf), true, false},
        {"triangle 5.5 (feet inside)", MakeTriangleKernel(5.5f), false, false},
        {"binomial 1e9", MakeBinomialKernel(1e9f), true, true},
        {"Gaussian 9", MakeGaussianKernel(9, 0.5f), true, true},
        {"Gaussian inf", MakeGaussianKernel(kInf, 0.01f), true, true}};
    for (const auto& [name, k, symmetric, bell] : kRows) {
        double sum = 0;
        for (int i = 0; i < k.size; ++i) {
            const float w = k.values[i];
            ASSERT_TRUE(std::isfinite(w) && w >= 0) << name << " tap " << i << " = " << w;
            ASSERT_TRUE(!symmetric || w == k.values[k.size - 1 - i]) << name << " tap " << i;
            ASSERT_TRUE(!bell || i == 0 || i > k.size / 2 || k.values[i - 1] <= w) << name << " tap " << i;
            sum += w;
        }
        EXPECT_NEAR(sum, 1.0, 1e-5) << name;
    }
    // Next to the centre x = 1 / (9 / 2): the ratio is exp(-x^2 / (2 shape^2)).
    const Kernel g = MakeGaussianKernel(9, 0.5f);
    EXPECT_NEAR(g.values[3] / g.values[4], std::exp(-(2.0 / 9) * (2.0 / 9) / 0.5), 1e-6);
}

TEST(Kernel, CopiesAreDeepAndMovesEmptyTheSource) {
    Kernel a{0.25f, 0.75f}, b = a;
    b.values[0] = 9;
    const Kernel c = std::move(b);
    EXPECT_TRUE(a.values[0] == 0.25f && c.values[0] == 9 && b.size == 0 && !b.values && b.At(0) == 0);
}

} // namespace
