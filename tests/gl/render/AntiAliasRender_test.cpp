// The pass tables, circles of confusion and bad values of the multipass render, without a
// context (nothing here reaches the card).
#include "gl/render/AntiAliasRender.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <tuple>

using namespace OGL_ZEP6_AE;

namespace {

TEST(AntiAliasRender, QualityGivesThePassCountAndEachJitterEntryOnceLastFirst) {
    const std::pair<int, int> cases[] = {{0, 1}, {1, 4}, {2, 6}, {3, 8}, {4, 12}, {5, 16}, {6, 1}, {-3, 1}};
    for (const auto& [quality, passes] : cases) {
        AntiAliasRender render(quality, 0.0f, 0.0f);
        std::set<std::pair<float, float>> used;
        for (int k = 1; k <= passes; ++k)
            used.insert({render.JitterOf(k).x, render.JitterOf(k).y});
        EXPECT_EQ(std::make_tuple(render.Passes(), render.IsEffective(), static_cast<int>(used.size())),
                  std::make_tuple(passes, passes > 1, passes))
            << "quality " << quality;
    }
    // Quality 3: the eight-entry table, its last entry at the first pass.
    AntiAliasRender eight(3, 0.0f, 0.0f);
    EXPECT_EQ(eight.JitterOf(1), p2f(0.1875f, 0.3125f));
    EXPECT_EQ(eight.JitterOf(8), p2f(0.5625f, 0.4375f));
    EXPECT_EQ(eight.LensSampleOf(1), p2f(0.5f, 0.5f)) << "no lens samples without lens jitter";
}

TEST(AntiAliasRender, LensJitterTakesAtMostSevenPassesAndNoPostBlur) {
    AntiAliasRender render;
    render.Initialize(5, 100.0f, 5000.0f, 0.0f, 10.0f, 10000.0f, true);
    EXPECT_EQ(render.Passes(), 7);
    EXPECT_EQ(render.PostBlur(), 0.0f);
    EXPECT_EQ(render.LensSampleOf(1), p2f(0.90536f, 0.216689f)) << "the seventh lens sample first";
    EXPECT_EQ(render.JitterOf(7), p2f(0.450223f, 0.443336f));
    // A small aperture keeps the anti-aliasing count; without lens jitter the aperture blurs.
    render.Initialize(1, 100.0f, 0.5f, 0.0f, 10.0f, 10000.0f, true);
    EXPECT_EQ(render.Passes(), 4);
    render.Initialize(5, 100.0f, 5000.0f, 0.0f, 10.0f, 10000.0f, false);
    EXPECT_EQ(render.Passes(), 16);
    EXPECT_EQ(render.PostBlur(), 5000.0f);
}

TEST(AntiAliasRender, CircleOfConfusion) {
    AntiAliasRender render;
    render.Initialize(0, 100.0f, 50.0f, 0.0f, 10.0f, 1000.0f, false);
    EXPECT_NEAR(render.CoCFromDistance(50.0f, 100.0f), 0.75f, 1e-4f) << "in focus";
    // Growing away from the focus, nearer (50) and further (150, 400).
    const float c50 = render.CoCFromDistance(50.0f, 50.0f), c150 = render.CoCFromDistance(50.0f, 150.0f);
    EXPECT_TRUE(c50 > 0.75f && c150 > 0.75f && render.CoCFromDistance(50.0f, 400.0f) > c150) << c50 << ", " << c150;
    EXPECT_EQ(render.CoCFromDistance(1e6f, 1000.0f), 100.0f) << "held at 100";
    EXPECT_EQ(render.CoCFromDistance(50.0f, 0.0f), 100.0f) << "distance 0";

    EXPECT_NEAR(render.ZFromDepth(0.0f), 10.0f, 1e-3f);
    EXPECT_NEAR(render.ZFromDepth(1.0f), 1000.0f, 0.1f);
    float low = -1.0f, high = -1.0f;
    render.CoCFromDepth(50.0f, 0.0f, 1.0f, low, high);
    EXPECT_EQ(low, 0.0f) << "the range straddles the focus";
    EXPECT_FLOAT_EQ(high, std::max(render.CoCFromDistance(50.0f, 10.0f), render.CoCFromDistance(50.0f, 1000.0f)));
    render.CoCFromDepth(50.0f, 0.99f, 0.999f, low, high);
    EXPECT_FLOAT_EQ(low, render.CoCFromDistance(50.0f, render.ZFromDepth(0.99f))) << "all behind the focus";
    EXPECT_FLOAT_EQ(high, render.CoCFromDistance(50.0f, render.ZFromDepth(0.999f)));

    EXPECT_NEAR(AntiAliasRender::StripeLength(10.0f), 5.17638f, 1e-5f);
    for (int stripe = 0; stripe < 3; ++stripe)
        EXPECT_NEAR(AntiAliasRender::StripeAngle(stripe) * 180.0 / 3.14159265358979, 45.0 + 60.0 * stripe, 1e-4);
}

TEST(AntiAliasRender, BadValuesMeanNoDepthOfField) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (float bad : {nan, inf, -inf, -5.0f}) {
        AntiAliasRender made(0, bad, bad), render;
        render.Initialize(0, 100.0f, bad, bad, bad, bad, false);
        EXPECT_FALSE(made.IsEffective() || render.IsEffective() || render.PostBlur() != 0.0f) << bad;
        EXPECT_NEAR(render.ZFromDepth(0.0f), 10.0f, 1e-3f) << "clip distances kept";
        render.Initialize(0, bad, 50.0f, 0.0f, 10.0f, 1000.0f, true);
        EXPECT_EQ(render.Passes(), 1) << "no lens jitter without a focus: " << bad;
    }
}

} // namespace
