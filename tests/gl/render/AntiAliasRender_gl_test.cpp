// The multipass render on llvmpipe: the pass loop, anti-aliasing against a CPU coverage average
// (through one tile and through many), lens-jitter depth of field against the projected lens
// offsets, and the post-process blur against a CPU run of its three stripes.
#include "core/PixelTypes.h"
#include "gl/render/AntiAliasRender.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "gl/state/State.h"
#include "gl/state/ViewArea.h"
#include "gl/targets/TiledBuffer.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

using Rgbaf = RGBA32F; // red, green, blue, alpha

// Draws one frame per tile of `image` (tiles of at most tileW x tileH, drawn with a margin), each
// tile cleared first; `pass` draws the scene and returns the box it drew (tile window pixels).
void Render(TestImage& image, AntiAliasRender& render, const std::function<Region3d(TiledBuffer&)>& pass,
            int tileW = 2048, int tileH = 1080, int margin = 0) {
    TiledBuffer tiles(&image);
    tiles.Rewind(tileW, tileH, margin);
    while (tiles.Next()) {
        ClearAllBuffers(Color::Transparent, 1.0f);
        while (render.Next())
            render.AddRegion(pass(tiles));
    }
}

// Drawn as a plug-in draws a scene: with the depth test on, so that the drawn pixels have a
// depth below 1 (a pixel left at depth 1 counts as empty).
void Quad(float x0, float y0, float x1, float y1, float z) {
    glEnable(GL_DEPTH_TEST);
    glBegin(GL_QUADS);
    glVertex3f(x0, y0, z);
    glVertex3f(x1, y0, z);
    glVertex3f(x1, y1, z);
    glVertex3f(x0, y1, z);
    glEnd();
}

// Quality 0 draws once into the caller's framebuffer (no target made); quality 3 draws 8 passes,
// the last one flagged; a viewport of size 0 draws nothing.
ZEP6_WORKER_TEST(AntiAliasRender, PassLoop) {
    TestImage image(Formats::RGBA32F, 16, 8);
    TiledBuffer tiles(&image);
    ASSERT_TRUE(tiles.Next());
    AntiAliasRender plain, eight(3, 0.0f, 0.0f);
    int n = 0, last = 0;
    while (plain.Next())
        ++n;
    EXPECT_TRUE(n == 1 && !plain.HasTargets()) << n << " passes";
    for (n = 0; eight.Next(); last = eight.IsLastPass() ? n : last)
        ++n;
    EXPECT_EQ(std::make_pair(n, last), std::make_pair(8, 8));
    EXPECT_TRUE(eight.HasTargets() && !eight.IsInUse());
    PushState state;
    ViewArea(0, 0, 0, 0).Apply();
    EXPECT_FALSE(eight.Next());
}

// A triangle with edges at every slope: each pixel must hold the average of its coverage at the
// passes' offsets. Pixels with a sample within 0.02 pixel of an edge are left out (the rasteriser
// snaps vertices to a sub-pixel grid), fewer than a tenth of them. The second frame clears and draws only the
// box the first one drew: the rest keeps the green that was put there between the frames.
TEST(AntiAliasRender, AntiAliasingAveragesTheJitteredCoverageAndTouchesOnlyTheDrawnBox) {
    constexpr int W = 31, H = 23;
    const p2f v[3] = {{3.3f, 2.7f}, {27.6f, 6.2f}, {11.1f, 20.9f}};
    for (int quality : {1, 3, 5})
        for (const auto& [tileW, tileH] : {std::pair<int, int>{2048, 1080}, std::pair<int, int>{13, 9}}) {
            TestImage image(Formats::RGBA32F, W, H);
            AntiAliasRender render(quality, 0.0f, 0.0f);
            ASSERT_TRUE(OnWorker([&] {
                TiledBuffer tiles(&image);
                tiles.Rewind(tileW, tileH);
                while (tiles.Next()) {
                    const Region tile = tiles.GetCurrentTile();
                    auto frame = [&] {
                        while (render.Next()) {
                            render.Orthogonal(tiles, -1.0, 1.0);
                            glEnable(GL_DEPTH_TEST);
                            glColor4f(1.0f, 0.5f, 0.25f, 1.0f);
                            glBegin(GL_TRIANGLES);
                            for (const p2f& p : v)
                                glVertex3f(p.x, p.y, 0.0f);
                            glEnd();
                            render.AddRegion(Region3d(p3f(3.3f - tile.x, 2.7f - tile.y, 0.5f),
                                                      p3f(27.6f - tile.x, 20.9f - tile.y, 0.5f)));
                        }
                    };
                    ClearAllBuffers(Color::Transparent, 1.0f);
                    frame();
                    ClearColorBuffer(Color(0.0f, 1.0f, 0.0f, 1.0f));
                    frame();
                }
            }));
            const int passes = render.Passes();
            int skipped = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    float coverage = 0.0f, nearest = 1.0f;
                    for (int k = 1; k <= passes; ++k) {
                        const p2f p(x + 1.0f - render.JitterOf(k).x, y + 1.0f - render.JitterOf(k).y);
                        bool inside = true; // left of every edge, counter-clockwise
                        for (int e = 0; e < 3; ++e) {
                            const p2f a = v[e], d = v[(e + 1) % 3] - v[e];
                            const float side = (d.x * (p.y - a.y) - d.y * (p.x - a.x)) / std::hypot(d.x, d.y);
                            nearest = std::min(nearest, std::fabs(side)), inside = inside && side > 0;
                        }
                        coverage += inside ? 1.0f / passes : 0.0f;
                    }
                    // The drawn box widened by a pixel, whole pixels.
                    const bool inBox = x >= 2 && x < 29 && y >= 1 && y < 22;
                    if (nearest < 0.02f && inBox) {
                        ++skipped;
                        continue;
                    }
                    const Rgbaf want = inBox ? Rgbaf{coverage, 0.5f * coverage, 0.25f * coverage, coverage}
                                             : Rgbaf{0.0f, 1.0f, 0.0f, 1.0f};
                    const Rgbaf got = image.Get<Rgbaf>(x, y);
                    EXPECT_LT(std::max({std::fabs(got.red - want.red), std::fabs(got.green - want.green),
                                        std::fabs(got.blue - want.blue), std::fabs(got.alpha - want.alpha)}),
                              2e-3f)
                        << "quality " << quality << ", tiles " << tileW << "x" << tileH << ", pixel " << x
                        << "," << y << ": alpha " << got.alpha << ", want " << want.alpha;
                }
            EXPECT_LT(skipped, W * H / 10) << "quality " << quality;
        }
}

// Camera for the depth-of-field cases: near 1, far 100; the tiled buffer maps the frustum's
// normalised square onto -W/2 ... W/2, so the window [-a, a] x [-b, b] at the near plane is the
// frustum (-2a, 0, -2b, 0) and lands on the whole image.
constexpr float kNear = 1.0f, kFar = 100.0f, kFocus = 10.0f;

// The window at the near plane: -0.5 ... 0.5 across, -b ... b up for the image's aspect.
float HalfHeight(const TiledBuffer& tiles) {
    return 0.5f * static_cast<float>(tiles.Height()) / static_cast<float>(tiles.Width());
}
void Camera(AntiAliasRender& render, TiledBuffer& tiles) {
    render.Perspective(tiles, -1.0f, 0.0f, -2.0f * HalfHeight(tiles), 0.0f, kNear, kFar);
}
// The point of the plane at distance z that lands on image position (px, py).
p3f OnPlane(const TiledBuffer& tiles, float px, float py, float z) {
    return p3f((px / tiles.Width() - 0.5f) * z / kNear,
               (py / tiles.Height() - 0.5f) * 2.0f * HalfHeight(tiles) * z / kNear, -z);
}

// A white square of one pixel at image position (px, py) at distance z.
void PixelSquare(const TiledBuffer& tiles, float px, float py, float z) {
    const p3f lo = OnPlane(tiles, px - 0.5f, py - 0.5f, z), hi = OnPlane(tiles, px + 0.5f, py + 0.5f, z);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    Quad(lo.x, lo.y, hi.x, hi.y, -z);
}

TEST(AntiAliasRender, LensJitterKeepsTheFocusSharpAndSpreadsAFarPointOverItsCircle) {
    constexpr int W = 64, H = 64;
    const float aperture = 1.0f, farZ = 50.0f;
    const p2f sharp(20.5f, 40.5f), spread(44.5f, 24.5f);
    // Once in one tile and once in tiles of 23 x 19, which must agree: the lens offsets follow the
    // whole image, not the tile.
    TestImage image(Formats::RGBA32F, W, H), tiled(Formats::RGBA32F, W, H);
    AntiAliasRender render;
    render.Initialize(1, kFocus, aperture, 0.0f, kNear, kFar, true);
    for (TestImage* out : {&image, &tiled})
        ASSERT_TRUE(OnWorker([&] {
            Render(
                *out, render,
                [&](TiledBuffer& tiles) {
                    Camera(render, tiles);
                    PixelSquare(tiles, sharp.x, sharp.y, kFocus);
                    PixelSquare(tiles, spread.x, spread.y, farZ);
                    return Region3d(p3f(0, 0, 0), p3f(W, H, 1));
                },
                out == &image ? 2048 : 23, out == &image ? 1080 : 19);
        }));
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            ASSERT_NEAR(image.Get<Rgbaf>(x, y).alpha, tiled.Get<Rgbaf>(x, y).alpha, 2e-3f) << x << "," << y;
    // Where each pass puts the far point: the lens offset e seen from its distance against the
    // focus distance, in pixels, plus the pass's sub-pixel jitter.
    // The lens offset is (L - 0.5) W aperture / (2 focus near) eye units; W pixels per unit.
    const float pixels = W * aperture / (2.0f * kFocus * kNear) * kNear * (1.0f / farZ - 1.0f / kFocus) * W;
    p2f expected;
    float reach = 0.0f;
    for (int k = 1; k <= render.Passes(); ++k) {
        const p2f shift = (render.LensSampleOf(k) - 0.5f) * pixels;
        expected += (shift + (render.JitterOf(k) - 0.5f)) / static_cast<float>(render.Passes());
        reach = std::max(reach, std::hypot(shift.x, shift.y));
    }
    ASSERT_GT(reach, 2.0f) << "the case needs a visible spread";
    // Alpha within `radius` of `centre` (a square), and where its centroid lies.
    auto energy = [&](const p2f& centre, float radius, p2f* centroid = nullptr) {
        float sum = 0.0f;
        p2f weighted;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (std::max(std::fabs(x + 0.5f - centre.x), std::fabs(y + 0.5f - centre.y)) <= radius) {
                    sum += image.Get<Rgbaf>(x, y).alpha;
                    weighted += p2f(x + 0.5f, y + 0.5f) * image.Get<Rgbaf>(x, y).alpha;
                }
        if (centroid)
            *centroid = weighted / sum;
        return sum;
    };
    EXPECT_NEAR(energy(sharp, 1.0f), 1.0f, 2e-3f) << "the point in focus stays within a pixel";
    p2f centroid;
    EXPECT_NEAR(energy(spread, reach + 1.5f, &centroid), 1.0f, 2e-3f)
        << "the far point stays within its circle";
    EXPECT_LT(energy(spread, 1.0f), 0.75f) << "the far point is spread";
    EXPECT_NEAR(centroid.x, spread.x + expected.x, 0.3f);
    EXPECT_NEAR(centroid.y, spread.y + expected.y, 0.3f);
}

// A checkered plane (cells of 3 pixels, opaque red and blue) filling the image at distance z,
// rendered with the post-process blur. The cells' edges fall between pixels, so the sub-pixel
// jitter of several passes leaves the picture as one pass draws it.
void RenderPlane(TestImage& image, float z, float aperture, int quality, float smooth,
                 bool smallTiles = false) {
    AntiAliasRender render;
    render.Initialize(quality, kFocus, aperture, smooth, kNear, kFar, false);
    ASSERT_TRUE(OnWorker([&] {
        Render(
            image, render,
            [&](TiledBuffer& tiles) {
                Camera(render, tiles);
                for (int cy = -1; cy * 3 < tiles.Height() + 3; ++cy)
                    for (int cx = -1; cx * 3 < tiles.Width() + 3; ++cx) {
                        const bool red = (cx + cy) % 2 == 0;
                        glColor4f(red ? 1.0f : 0.0f, 0.0f, red ? 0.0f : 1.0f, 1.0f);
                        const p3f lo = OnPlane(tiles, cx * 3.0f, cy * 3.0f, z);
                        const p3f hi = OnPlane(tiles, cx * 3.0f + 3.0f, cy * 3.0f + 3.0f, z);
                        Quad(lo.x, lo.y, hi.x, hi.y, -z);
                    }
                // The whole depth range: the stripes reach further, but samples beyond their own circle
                // count for nothing, so the picture is the same.
                return Region3d(p3f(0, 0, 0), p3f(tiles.Width(), tiles.Height(), 1));
            },
            smallTiles ? 17 : 2048, smallTiles ? 13 : 1080, smallTiles ? render.TileMargin() : 0);
    }));
}

Rgbaf Checker(int x, int y) {
    const bool red = ((x + 3) / 3 + (y + 3) / 3) % 2 == 0;
    return red ? Rgbaf{1, 0, 0, 1} : Rgbaf{0, 0, 1, 1};
}

// The three stripes on the CPU for a plane of one depth: every sample along the stripe whose
// circle of radius R covers the pixel adds its colour over the stripe's area.
std::vector<Rgbaf> StripeBlurs(std::vector<Rgbaf> image, int W, int H, float R, float reach) {
    auto coverage = [](p2f offset, float radius) {
        const float q = offset.x * offset.x + offset.y * offset.y;
        if (q <= (radius - 0.5f) * (radius - 0.5f))
            return 1.0f;
        if (q > (radius + 0.5f) * (radius + 0.5f))
            return 0.0f;
        const float m = std::max(std::fabs(offset.x), std::fabs(offset.y)) * radius / std::sqrt(q) + 0.5f;
        return m - std::floor(m);
    };
    for (int stripe = 0; stripe < 3; ++stripe) {
        const float angle = AntiAliasRender::StripeAngle(stripe);
        const p2f axis(std::cos(angle), std::sin(angle));
        const p2f step = axis / std::max(std::fabs(axis.x), std::fabs(axis.y));
        float area = 1.0f;
        for (int i = 1; i <= std::ceil(R); ++i)
            area += 2.0f * coverage(step * static_cast<float>(i), R);
        std::vector<Rgbaf> out(image.size(), Rgbaf{0, 0, 0, 0});
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                Rgbaf sum{0, 0, 0, 0};
                for (int k = -static_cast<int>(reach); k <= static_cast<int>(reach); ++k) {
                    const p2f offset = step * static_cast<float>(k);
                    const int sx = std::clamp(static_cast<int>(std::floor(x + 0.5f + offset.x)), 0, W - 1);
                    const int sy = std::clamp(static_cast<int>(std::floor(y + 0.5f + offset.y)), 0, H - 1);
                    const float w = coverage(offset, R) / area;
                    const Rgbaf& c = image[static_cast<size_t>(sy * W + sx)];
                    sum = {sum.red + c.red * w, sum.green + c.green * w, sum.blue + c.blue * w,
                           sum.alpha + c.alpha * w};
                }
                out[static_cast<size_t>(y * W + x)] = sum; // weights sum to 1: no clamping needed
            }
        image = out;
    }
    return image;
}

TEST(AntiAliasRender, PostBlurLeavesTheFocusPlaneAndBlursAFarPlaneInThreeStripes) {
    constexpr int W = 48, H = 40;
    const float aperture = 45.0f;
    // One pass; and four passes, whose accumulated frame is blurred, after depth smoothing (which
    // leaves a flat plane's depth as it is).
    for (const auto& [quality, smooth] : {std::pair<int, float>{0, 0.0f}, std::pair<int, float>{1, 2.0f}}) {
        SCOPED_TRACE(quality);
        TestImage focused(Formats::RGBA32F, W, H), blurred(Formats::RGBA32F, W, H);
        RenderPlane(focused, kFocus, aperture, quality, smooth);
        RenderPlane(blurred, 40.0f, aperture, quality, smooth);
        // Through tiles of 17 x 13 drawn with the render's margin: no seams.
        TestImage tiled(Formats::RGBA32F, W, H);
        RenderPlane(tiled, 40.0f, aperture, quality, smooth, true);
        float seams = 0.0f;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                seams = std::max(seams, std::fabs(tiled.Get<Rgbaf>(x, y).red - blurred.Get<Rgbaf>(x, y).red));
        EXPECT_LT(seams, 2e-3f) << "tiles against one tile";

        AntiAliasRender reference;
        reference.Initialize(0, kFocus, aperture, 0.0f, kNear, kFar, false);
        const float length = AntiAliasRender::StripeLength(aperture);
        const float coc = reference.CoCFromDistance(length, 40.0f);
        const float reach = std::ceil(coc / 2.0f) + 1.0f;
        ASSERT_GE(coc / 2.0f, 1.5f) << "the case needs a visible blur";
        std::vector<Rgbaf> checker;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                checker.push_back(Checker(x, y));
        const std::vector<Rgbaf> want = StripeBlurs(checker, W, H, coc / 2.0f, reach);

        float worstFocused = 0.0f, worstBlurred = 0.0f, changed = 0.0f;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const Rgbaf f = focused.Get<Rgbaf>(x, y), b = blurred.Get<Rgbaf>(x, y), c = Checker(x, y);
                worstFocused = std::max({worstFocused, std::fabs(f.red - c.red), std::fabs(f.blue - c.blue),
                                         std::fabs(f.alpha - c.alpha)});
                const Rgbaf& w = want[static_cast<size_t>(y * W + x)];
                worstBlurred = std::max({worstBlurred, std::fabs(b.red - w.red), std::fabs(b.green - w.green),
                                         std::fabs(b.blue - w.blue), std::fabs(b.alpha - w.alpha)});
                changed = std::max(changed, std::fabs(b.red - c.red));
            }
        EXPECT_LT(worstFocused, 2e-3f) << "the plane in focus is unchanged";
        EXPECT_LT(worstBlurred, 5e-3f) << "the far plane against the CPU stripes";
        EXPECT_GT(changed, 0.3f) << "the far plane is blurred";
    }
}

} // namespace
