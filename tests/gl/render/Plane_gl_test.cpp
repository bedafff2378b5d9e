// The shared plane and triangle: where their corners land and which texture coordinates they
// carry, read back through an independent feedback capture.
#include "GeometryFixture.h"

#include "gl/render/Plane.h"
#include "gl/render/Region.h"

#include <cmath>

using namespace geometry_test;

namespace {

// Unit square of normalised device coordinates onto the whole framebuffer.
void Identity() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

TEST_F(GeometryGlTest, DefaultPlaneSpansClipSpaceWithInsetTexture) {
    Identity();
    const auto vertices = AllVertices(CapturePolygons([] { sPlane.Draw(); }));
    ASSERT_GE(vertices.size(), 4u);
    for (const auto& v : vertices) {
        const bool right = std::lround(v.x) == kSize, top = std::lround(v.y) == kSize;
        EXPECT_TRUE(right || std::lround(v.x) == 0) << v.x;
        EXPECT_TRUE(top || std::lround(v.y) == 0) << v.y;
        // -1...1 carries 0.01...0.99.
        EXPECT_NEAR(v.s, right ? 0.99f : 0.01f, 1e-6);
        EXPECT_NEAR(v.t, top ? 0.99f : 0.01f, 1e-6);
    }
    sPlane.Draw();
    EXPECT_EQ(CountOf(Coverage()), kSize * kSize);
}

TEST_F(GeometryGlTest, PlaneCornersComeInTheDocumentedOrder) {
    // Each corner carries its own texture coordinate: (x1, y1) gets (1 - inset, 1 - inset) and so on.
    const auto polygons = CapturePolygons([] { sPlane.Draw(2, 3, 30, 20, 0.25f); });
    const auto vertices = AllVertices(polygons);
    ASSERT_GE(vertices.size(), 4u);
    for (const auto& v : vertices) {
        EXPECT_FLOAT_EQ(v.s, std::lround(v.x) == 30 ? 0.75f : 0.25f) << v.x << "," << v.y;
        EXPECT_FLOAT_EQ(v.t, std::lround(v.y) == 20 ? 0.75f : 0.25f) << v.x << "," << v.y;
    }
    // The first vertex OpenGL reports is the first one given: (x1, y1).
    EXPECT_EQ(std::lround(polygons[0][0].x), 30);
    EXPECT_EQ(std::lround(polygons[0][0].y), 20);
    GLfloat normal[3];
    glGetFloatv(GL_CURRENT_NORMAL, normal);
    EXPECT_EQ(p3f(normal[0], normal[1], normal[2]), p3f(0, 0, 1));
}

TEST_F(GeometryGlTest, PlaneSizeAndRegionFormsCoverTheirPixels) {
    sPlane.Draw(7.0f, 5.0f);
    EXPECT_EQ(Coverage(), RectangleCoverage(0, 0, 7, 5));
    for (const auto& v : AllVertices(CapturePolygons([] { sPlane.Draw(7.0f, 5.0f); }))) {
        EXPECT_FLOAT_EQ(v.s, v.x / 7) << "no inset";
        EXPECT_FLOAT_EQ(v.t, v.y / 5) << "no inset";
    }

    glClear(GL_COLOR_BUFFER_BIT);
    sPlane.Draw(Region(9, 11, 6, 13));
    EXPECT_EQ(Coverage(), RectangleCoverage(9, 11, 15, 24));
    for (const auto& v : AllVertices(CapturePolygons([] { sPlane.Draw(Region(9, 11, 6, 13)); }))) {
        EXPECT_FLOAT_EQ(v.s, (v.x - 9) / 6);
        EXPECT_FLOAT_EQ(v.t, (v.y - 11) / 13);
    }
}

TEST_F(GeometryGlTest, TriangleCornersAndTextureCoordinates) {
    Identity();
    const auto polygons = CapturePolygons([] { sTriangle.Draw(); });
    ASSERT_EQ(polygons.size(), 1u);
    ASSERT_EQ(polygons[0].size(), 3u);
    // Window = (ndc + 1) * 16: (-0.5, 1) -> (8, 32), (0, -1) -> (16, 0), (0.5, 1) -> (24, 32).
    struct Corner {
        float x, y, s, t;
    };
    const Corner corners[] = {
        {8, 32, 0.0001f, 0.9999f}, {16, 0, 0.4999f, 0.0001f}, {24, 32, 0.9999f, 0.9999f}};
    for (const auto& v : polygons[0]) {
        bool found = false;
        for (const auto& c : corners) {
            if (std::fabs(v.x - c.x) < 1e-3f && std::fabs(v.y - c.y) < 1e-3f) {
                found = true;
                EXPECT_NEAR(v.s, c.s, 1e-6);
                EXPECT_NEAR(v.t, c.t, 1e-6);
            }
        }
        EXPECT_TRUE(found) << "unexpected corner " << v.x << "," << v.y;
    }
    GLfloat normal[3];
    glGetFloatv(GL_CURRENT_NORMAL, normal);
    EXPECT_EQ(p3f(normal[0], normal[1], normal[2]), p3f(0, 0, 1));
}

} // namespace
