// ApplyKernels on both paths against a CPU separable convolution of the very pixels the target
// stored, with the same edge rule (reads beyond the edge take the edge pixel).
#include "core/TestCountersPrivate.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/Kernel.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"

#include "gl/resources/ResourceTestSupport.h"
#include "support/TestImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

constexpr int kW = 13, kH = 9;

// One axis of RGBA floats, rows from the bottom: out(p) = sum of w[i] * in(p + (i - c) * (dx, dy)),
// reads clamped to the picture; an empty kernel passes the picture through.
std::vector<double> Convolve(const std::vector<double>& in, const Kernel& k, int dx, int dy) {
    std::vector<double> out(k.size > 0 ? in.size() : 0);
    for (int p = 0; p < kW * kH && k.size > 0; ++p)
        for (int i = 0; i < k.size; ++i) {
            const int o = i - (k.size - 1) / 2;
            const int x = std::clamp(p % kW + o * dx, 0, kW - 1), y = std::clamp(p / kW + o * dy, 0, kH - 1);
            for (int c = 0; c < 4; ++c)
                out[4 * p + c] += k.values[i] * in[4 * (y * kW + x) + c];
        }
    return k.size > 0 ? out : in;
}

// Every stored sum is rounded to the target's pixel type: half floats on llvmpipe, within one step
// (2^-10, the conversion may truncate) for the |values| < 2 drawn here. The tap path stores after
// every draw, the shader path once per chunk of taps and pass.
double Tolerance(const Kernel& h, const Kernel& v, KernelPath path) {
    int stores = 2 + (h.size + v.size) / kShaderTaps;
    for (const Kernel* k : {&h, &v})
        for (int i = 0; i < k->size && path == KernelPath::Taps; ++i)
            stores += static_cast<int>(std::ceil(std::fabs(k->values[i])));
    return stores * std::ldexp(1.0, -10);
}

// Applies the kernels to a random picture with random alpha; the largest difference from the
// reference, infinite when the program links show the other path was taken (the kernel program
// links afresh on the shader path, nothing links on the tap path). Two kernels of fewer than 2
// taps change nothing.
double LargestError(const Kernel& h, const Kernel& v, KernelPath path, bool shader) {
    const bool changes = h.size > 1 || v.size > 1;
    TestImage image(Formats::RGBA32F, kW, kH);
    float* f = reinterpret_cast<float*>(image.Bytes());
    std::mt19937 random(11);
    std::generate(f, f + 4 * kW * kH, [&] { return std::uniform_real_distribution<float>(0, 1)(random); });
    RenderedTexture target(kW, kH);
    {
        PushState state;
        EXPECT_TRUE(target.Select());
        BlendFunc::Replace.Apply();
        target.Write(&image);
    }
    target.Read(&image);
    const std::vector<double> stored(f, f + 4 * kW * kH);
    const std::vector<double> want = changes ? Convolve(Convolve(stored, h, 1, 0), v, 0, 1) : stored;
    if (EffectProgram::sKernel.GetProgram().Name() != 0) // built earlier in this process
        EffectProgram::sKernel.Finalize();
    const long links = TestCount(TestCounter::Links);
    ApplyKernels(target, h, v, path);
    const bool expected = TestCount(TestCounter::Links) - links == (shader && changes ? 1 : 0);
    image.Fill(0xFF); // NaN everywhere: a pixel not read back cannot pass
    target.Read(&image);
    double largest = expected ? 0.0 : INFINITY;
    for (std::size_t i = 0; i < want.size(); ++i)
        largest = std::max(largest, std::isnan(f[i]) ? INFINITY : std::fabs(f[i] - want[i]));
    return largest;
}

// clang-format off
const std::tuple<const char*, Kernel, Kernel> kRows[] = {
    {"Box3Box4", MakeBoxKernel(3), MakeBoxKernel(4)},
    {"Triangle4Triangle3", MakeTriangleKernel(4), MakeTriangleKernel(3)}, // the second peaks off centre
    {"BinomialGaussian", MakeBinomialKernel(5), MakeGaussianKernel(7, 0.4f)},
    {"Mitchell", MakeInterpolationKernel(Interpolation::Mitchell), MakeInterpolationKernel(Interpolation::Mitchell)},
    {"BSplineWiderThanTheImage", MakeInterpolationKernel(Interpolation::BSpline), MakeBoxKernel(21)},
    {"Lopsided", Kernel{0.1f, 0.2f, 0.7f}, Kernel{0.6f, 0.4f}},
    {"SharpenNegativeAndAboveOne", Kernel{-0.25f, 1.5f, -0.25f}, Kernel{0.5f, 0.0f, 0.5f}},
    {"SingleTapStillRunsBothPasses", Kernel{0.5f}, MakeBoxKernel(3)},
    {"EmptyKernelPassesItsAxis", Kernel(), MakeBoxKernel(5)},
    {"BothSingleTapsChangeNothing", Kernel{0.5f}, Kernel{0.5f}},
};
// clang-format on

// Every row on both paths, then kernels longer than one shader pass takes (chunks added up).
TEST(Kernels, MatchTheCpuConvolution) {
    ASSERT_TRUE(OnWorker([] {
        for (const auto& [name, h, v] : kRows)
            for (KernelPath path : {KernelPath::Shader, KernelPath::Taps})
                EXPECT_LE(LargestError(h, v, path, path == KernelPath::Shader), Tolerance(h, v, path))
                    << name << (path == KernelPath::Shader ? " on the shader path" : " on the tap path");
        const Kernel h = MakeBinomialKernel(300), v = MakeBoxKernel(140);
        EXPECT_LE(LargestError(h, v, KernelPath::Shader, true), Tolerance(h, v, KernelPath::Shader))
            << "long";
    }));
}

TEST(KernelShader, BestFallsBackToTheTapsWithoutShaders) {
    ExpectWithout("GL_ARB_fragment_shader", [] {
        const Kernel h = MakeTriangleKernel(3), v = MakeBoxKernel(2);
        return LargestError(h, v, KernelPath::Best, false) <= Tolerance(h, v, KernelPath::Taps);
    });
}

} // namespace
