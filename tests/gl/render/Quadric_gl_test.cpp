// GLU quadrics through the library's wrapper: made on first use, drawn where they should be.
#include "GeometryFixture.h"

#include "gl/render/Quadric.h"

#include <GL/glu.h>

#include <cmath>

using namespace geometry_test;

namespace {

// The pixels whose centres lie inside the ring r0 <= distance < r1 around (cx, cy).
std::vector<bool> RingCoverage(float cx, float cy, float r0, float r1) {
    std::vector<bool> covered(kSize * kSize);
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) {
            const float d = std::hypot(x + 0.5f - cx, y + 0.5f - cy);
            covered[y * kSize + x] = d >= r0 && d < r1;
        }
    return covered;
}

// Pixels on which two coverages disagree.
int Differences(const std::vector<bool>& a, const std::vector<bool>& b) {
    int n = 0;
    for (size_t i = 0; i < a.size(); ++i)
        n += a[i] != b[i] ? 1 : 0;
    return n;
}

TEST_F(GeometryGlTest, QuadricIsMadeOnFirstUseAndFinalized) {
    Quadric quadric;
    EXPECT_FALSE(quadric.IsInitialized());
    EXPECT_TRUE(quadric.IsListed());
    quadric.Normals(GLU_SMOOTH);
    EXPECT_TRUE(quadric.IsInitialized());
    quadric.Finalize();
    EXPECT_FALSE(quadric.IsInitialized());
    glTranslatef(16, 16, 0);
    quadric.DrawDisk(0, 8, 32, 1);
    EXPECT_TRUE(quadric.IsInitialized()) << "drawing makes it again";
    EXPECT_GT(CountOf(Coverage()), 150);
}

TEST_F(GeometryGlTest, DiskAndSphereCoverTheirCircles) {
    Quadric quadric;
    glTranslatef(16, 16, 0);
    quadric.DrawDisk(5, 12, 64, 2);
    // A 64-gon ring: only pixels straddling its edges may differ from the exact ring.
    const std::vector<bool> ring = RingCoverage(16, 16, 5, 12);
    EXPECT_LE(Differences(Coverage(), ring), 12) << "of " << CountOf(ring);
    EXPECT_FALSE(Coverage()[16 * kSize + 16]) << "the hole stays empty";

    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, kSize, 0, kSize, -20, 20); // the sphere's depth fits the view volume
    glMatrixMode(GL_MODELVIEW);
    quadric.DrawSphere(10, 48, 24);
    const std::vector<bool> disc = RingCoverage(16, 16, 0, 10);
    EXPECT_LE(Differences(Coverage(), disc), 16) << "of " << CountOf(disc);
}

TEST_F(GeometryGlTest, QuadricSettingsReachGlu) {
    Quadric quadric;
    glTranslatef(16, 16, 0);
    // Texture coordinates only when asked for.
    auto vertices = AllVertices(CapturePolygons([&] { quadric.DrawDisk(0, 10, 16, 1); }));
    ASSERT_FALSE(vertices.empty());
    for (const auto& v : vertices)
        EXPECT_EQ(v.s, 0.0f);
    quadric.Texture(true);
    vertices = AllVertices(CapturePolygons([&] { quadric.DrawDisk(0, 10, 16, 1); }));
    for (const auto& v : vertices) {
        // GLU maps the disk's radius 10 onto 0.5 of texture space around (0.5, 0.5).
        EXPECT_NEAR(v.s, 0.5f + (v.x - 16) / 20, 1e-4);
        EXPECT_NEAR(v.t, 0.5f + (v.y - 16) / 20, 1e-4);
    }

    // The orientation decides which way the disk's triangles turn.
    const auto signedArea = [](const FeedbackPolygon& p) {
        return (p[1].x - p[0].x) * (p[2].y - p[0].y) - (p[2].x - p[0].x) * (p[1].y - p[0].y);
    };
    const auto outside = CapturePolygons([&] { quadric.DrawDisk(0, 10, 16, 1); });
    quadric.Orientation(GLU_INSIDE);
    const auto inside = CapturePolygons([&] { quadric.DrawDisk(0, 10, 16, 1); });
    ASSERT_FALSE(outside.empty());
    ASSERT_FALSE(inside.empty());
    EXPECT_GT(signedArea(outside[0]), 0);
    EXPECT_LT(signedArea(inside[0]), 0);

    // A cylinder turned so that its axis runs up the window shows its side: the rectangle of its
    // diameter by its height (GLU puts facet corners on the x extremes, so the edges are exact).
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, kSize, 0, kSize, -20, 20);
    glMatrixMode(GL_MODELVIEW);
    glRotatef(-90, 1, 0, 0); // z -> y
    quadric.DrawCylinder(6, 6, 10, 32, 4);
    EXPECT_EQ(Coverage(), RectangleCoverage(10, 16, 22, 26));
}

} // namespace
