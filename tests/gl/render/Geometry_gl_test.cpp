// The free drawing helpers, checked through an independent feedback capture (what OpenGL says
// was drawn, vertex by vertex) and through the pixels they cover in a small framebuffer.
#include "GeometryFixture.h"

#include "gl/render/Geometry.h"
#include "gl/render/Region.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <set>
#include <utility>

using namespace geometry_test;

namespace {

// Window positions of a polygon's vertices, rounded, as a set (drivers may start a strip
// triangle at any of its vertices to keep the winding).
std::set<std::pair<int, int>> PointSet(const FeedbackPolygon& polygon) {
    std::set<std::pair<int, int>> points;
    for (const auto& v : polygon)
        points.insert({static_cast<int>(std::lround(v.x)), static_cast<int>(std::lround(v.y))});
    return points;
}

// The normal a drawing leaves current, set first to one that no helper gives (OpenGL's default
// (0, 0, 1) is what several of them give).
p3f NormalAfter(const std::function<void()>& draw) {
    glNormal3f(0.6f, 0.0f, 0.8f);
    draw();
    GLfloat n[3];
    glGetFloatv(GL_CURRENT_NORMAL, n);
    return p3f(n[0], n[1], n[2]);
}

// Expects every vertex at a + (b - a) s + (d - a) t + offset for its texture coordinate (s, t), and
// (s, t) on a grid of nx x ny parameters; returns how many of the grid's points were used.
std::size_t ExpectGridPoints(const std::vector<FeedbackVertex>& vertices, const p3f& a, const p3f& b,
                             const p3f& d, const p3f& offset, int nx, int ny) {
    std::set<std::pair<int, int>> used;
    for (const auto& v : vertices) {
        const p3f expected = a + (b - a) * v.s + (d - a) * v.t + offset;
        EXPECT_NEAR(v.x, expected.x, 1e-3) << "at (" << v.s << ", " << v.t << ")";
        EXPECT_NEAR(v.y, expected.y, 1e-3) << "at (" << v.s << ", " << v.t << ")";
        const int i = static_cast<int>(std::lround(v.s * (nx - 1)));
        const int j = static_cast<int>(std::lround(v.t * (ny - 1)));
        EXPECT_NEAR(v.s, static_cast<float>(i) / (nx - 1), 1e-6);
        EXPECT_NEAR(v.t, static_cast<float>(j) / (ny - 1), 1e-6);
        used.insert({i, j});
    }
    return used.size();
}

struct RegionCase {
    Region region;
    std::array<int, 5> rows; // the five band edges, worked out by hand
};

TEST_F(GeometryGlTest, DrawRegionCutsFourBandsInStripOrder) {
    // Window = vertex + 50 under this projection, so negative origins stay inside the view.
    glViewport(0, 0, 100, 100);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(-50, 50, -50, 50, -1, 1);
    glMatrixMode(GL_MODELVIEW);

    const RegionCase cases[] = {
        {Region(0, 0, 10, 7), {0, 1, 3, 5, 7}},
        {Region(3, 4, 5, 9), {4, 6, 8, 10, 13}},
        {Region(-8, -9, 4, 5), {-9, -7, -6, -5, -4}}, // (-15) / 2 truncates toward zero
        {Region(-20, 10, 30, 20), {10, 15, 20, 25, 30}},
    };
    for (const auto& c : cases) {
        const auto polygons = CapturePolygons([&] { DrawRegion(c.region); });
        ASSERT_EQ(polygons.size(), 8u) << c.region;
        // The strip's vertices: left and right end of each band edge, top to bottom.
        std::vector<std::pair<int, int>> strip;
        for (int y : c.rows) {
            strip.push_back({c.region.x + 50, y + 50});
            strip.push_back({c.region.x + static_cast<int>(c.region.width) + 50, y + 50});
        }
        for (size_t k = 0; k < polygons.size(); ++k) {
            const std::set<std::pair<int, int>> expected = {strip[k], strip[k + 1], strip[k + 2]};
            EXPECT_EQ(PointSet(polygons[k]), expected) << c.region << " triangle " << k;
        }
    }
}

TEST_F(GeometryGlTest, DrawRegionCoversExactlyTheRegion) {
    DrawRegion(Region(5, 3, 17, 11));
    EXPECT_EQ(Coverage(), RectangleCoverage(5, 3, 22, 14));
}

TEST_F(GeometryGlTest, DrawTexturedRegionMapsCornersToTextureCorners) {
    const Region region(4, 6, 12, 8);
    const auto vertices = AllVertices(CapturePolygons([&] { DrawTexturedRegion(region); }));
    ASSERT_FALSE(vertices.empty());
    for (const auto& v : vertices) {
        // The texture runs 0...1 across the region in both directions.
        EXPECT_NEAR(v.s, (v.x - 4) / 12, 1e-5) << v.x << "," << v.y;
        EXPECT_NEAR(v.t, (v.y - 6) / 8, 1e-5) << v.x << "," << v.y;
        EXPECT_FLOAT_EQ(v.z, 0.5f) << "z = 0 lies mid-depth";
    }
    EXPECT_EQ(NormalAfter([&] { DrawTexturedRegion(region); }), p3f(0, 0, 1));
    EXPECT_EQ(Coverage(), RectangleCoverage(4, 6, 16, 14));
}

TEST_F(GeometryGlTest, RasterProjectionMakesOneUnitOnePixel) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glTranslatef(7, 7, 0);
    glMatrixMode(GL_TEXTURE);

    RasterProjection(kSize, kSize);
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_MODELVIEW);
    GLfloat modelView[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, modelView);
    for (int k = 0; k < 16; ++k)
        EXPECT_EQ(modelView[k], k % 5 == 0 ? 1.0f : 0.0f) << "model-view element " << k;

    // A unit square at (3, 9) lands on pixel (3, 9) and nowhere else.
    glRecti(3, 9, 4, 10);
    EXPECT_EQ(Coverage(), RectangleCoverage(3, 9, 4, 10));

    // Half the size: the same square now covers 2 x 2 pixels from (6, 18).
    glClear(GL_COLOR_BUFFER_BIT);
    RasterProjection(kSize / 2, kSize / 2);
    glRecti(3, 9, 4, 10);
    EXPECT_EQ(Coverage(), RectangleCoverage(6, 18, 8, 20));
}

// Corners of a quad along its edge, counter-clockwise in the window, and their pixel rectangle.
const p3f kA(4, 4, 0), kB(20, 4, 0), kC(20, 12, 0), kD(4, 12, 0);

TEST_F(GeometryGlTest, DrawQuadStripsThroughCornersWithTheirTextureCoordinates) {
    const auto polygons = CapturePolygons([] { DrawQuad(kA, kB, kC, kD); });
    ASSERT_EQ(polygons.size(), 2u);
    // Strip order a, b, d, c: the triangles are (a, b, d) and (b, d, c).
    EXPECT_EQ(PointSet(polygons[0]), (std::set<std::pair<int, int>>{{4, 4}, {20, 4}, {4, 12}}));
    EXPECT_EQ(PointSet(polygons[1]), (std::set<std::pair<int, int>>{{20, 4}, {4, 12}, {20, 12}}));
    for (const auto& v : AllVertices(polygons)) {
        EXPECT_FLOAT_EQ(v.s, v.x == 4 ? 0.0f : 1.0f);
        EXPECT_FLOAT_EQ(v.t, v.y == 4 ? 0.0f : 1.0f);
    }
    DrawQuad(kA, kB, kC, kD);
    EXPECT_EQ(Coverage(), RectangleCoverage(4, 4, 20, 12));
}

TEST_F(GeometryGlTest, QuadNormalFollowsTheCornerOrderAndFlip) {
    struct Case {
        p3f a, b, c, d;
        p3f normal; // worked out by hand from (d - b) x (c - a)
    };
    const Case cases[] = {
        {kA, kB, kC, kD, p3f(0, 0, -1)},
        {kA, kD, kC, kB, p3f(0, 0, 1)},
        // A quad standing in the x-z plane.
        {p3f(0, 0, 0), p3f(2, 0, 0), p3f(2, 0, 2), p3f(0, 0, 2), p3f(0, 1, 0)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NormalAfter([&] { DrawQuad(c.a, c.b, c.c, c.d); }), c.normal) << "plain";
        EXPECT_EQ(NormalAfter([&] { DrawQuad(c.a, c.b, c.c, c.d, 3, 3, false); }), c.normal) << "divided";
        EXPECT_EQ(NormalAfter([&] { DrawQuad(c.a, c.b, c.c, c.d, 3, 3, true); }), -c.normal) << "flipped";
        EXPECT_EQ(NormalAfter([&] { DrawQuad(c.a, p2f(), c.b, p2f(), c.c, p2f(), c.d, p2f(), 3, 3); }),
                  c.normal)
            << "per-corner texture";
    }
}

TEST_F(GeometryGlTest, DividedQuadPlacesGridPointsAndParameters) {
    // A parallelogram, so the bilinear division is affine: point = a + u (b - a) + v (d - a).
    const p3f a(2, 3, 0), b(26, 7, 0), d(6, 27, 0);
    const p3f c = b + d - a;
    const int nx = 4, ny = 3;
    const auto polygons = CapturePolygons([&] { DrawQuad(a, b, c, d, nx, ny, false); });
    // Each row of cells is a strip of 2 (nx - 1) triangles.
    ASSERT_EQ(polygons.size(), static_cast<size_t>(2 * (nx - 1) * (ny - 1)));
    EXPECT_EQ(ExpectGridPoints(AllVertices(polygons), a, b, d, p3f(0, 0, 0), nx, ny),
              static_cast<size_t>(nx * ny))
        << "every grid point is used";

    // The divided quad covers the same pixels as the whole one.
    DrawQuad(a, b, c, d);
    const std::vector<bool> whole = Coverage();
    glClear(GL_COLOR_BUFFER_BIT);
    DrawQuad(a, b, c, d, nx, ny, true);
    EXPECT_EQ(Coverage(), whole);
    EXPECT_GT(CountOf(whole), 400);

    // Winding: every triangle of the divided quad turns the same way as the whole quad's.
    const auto signedArea = [](const FeedbackPolygon& p) {
        return (p[1].x - p[0].x) * (p[2].y - p[0].y) - (p[2].x - p[0].x) * (p[1].y - p[0].y);
    };
    const auto whole2 = CapturePolygons([&] { DrawQuad(a, b, c, d); });
    ASSERT_FALSE(whole2.empty());
    const bool ccw = signedArea(whole2[0]) > 0;
    for (const auto& p : polygons)
        EXPECT_EQ(signedArea(p) > 0, ccw);

    EXPECT_TRUE(CapturePolygons([&] { DrawQuad(a, b, c, d, 1, 5, false); }).empty());
}

TEST_F(GeometryGlTest, DividedQuadInterpolatesCornerTextureCoordinates) {
    const p2f ta(0.1f, 0.2f), tb(0.9f, 0.1f), tc(0.7f, 0.8f), td(0.2f, 0.6f);
    // A rectangle in the window: u runs with x from 4 to 28, v with y from 2 to 30.
    const auto vertices = AllVertices(CapturePolygons(
        [&] { DrawQuad(p3f(4, 2, 0), ta, p3f(28, 2, 0), tb, p3f(28, 30, 0), tc, p3f(4, 30, 0), td, 5, 3); }));
    ASSERT_EQ(vertices.size(), 2u * 4 * 2 * 3);
    for (const auto& v : vertices) {
        const float u = (v.x - 4) / 24, w = (v.y - 2) / 28;
        // Interpolate along the edges a-b and d-c, then between them.
        const p2f bottom = ta + (tb - ta) * u;
        const p2f top = td + (tc - td) * u;
        const p2f expected = bottom + (top - bottom) * w;
        EXPECT_NEAR(v.s, expected.x, 1e-5) << "at " << v.x << "," << v.y;
        EXPECT_NEAR(v.t, expected.y, 1e-5) << "at " << v.x << "," << v.y;
    }
}

TEST_F(GeometryGlTest, DrawPlaneLaysATexturedGridOverTheParallelogram) {
    const p3f a(3, 5, 0), b(27, 9, 0), d(7, 25, 0);
    const p3f c = b + d - a;
    glTranslatef(0.5f, 0.25f, 0); // the frame is multiplied onto what the caller has
    GLfloat before[16], after[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, before);

    for (const auto& size : {std::pair<int, int>(20, 20), std::pair<int, int>(3, 6)}) {
        const auto vertices =
            AllVertices(CapturePolygons([&] { DrawPlane(a, b, c, d, size.first, size.second); }));
        ASSERT_FALSE(vertices.empty());
        EXPECT_EQ(ExpectGridPoints(vertices, a, b, d, p3f(0.5f, 0.25f, 0), size.first, size.second),
                  static_cast<size_t>(size.first * size.second))
            << size.first << " x " << size.second;
        glGetFloatv(GL_MODELVIEW_MATRIX, after);
        EXPECT_TRUE(std::equal(before, before + 16, after)) << "model-view restored";
    }
}

} // namespace
