// Grids drawn for real: what they cover, the texture coordinates they carry, and that the
// matrix, client-array and colour state is as it was afterwards.
#include "GeometryFixture.h"

#include "gl/render/Grid.h"

#include <cmath>
#include <set>

using namespace geometry_test;

namespace {

TEST_F(GeometryGlTest, GridCoversClipSpaceAndRestoresState) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glTranslatef(0.5f, 0, 0); // the grid is drawn under the caller's matrix: right half only
    GLfloat before[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, before);
    // Sentinels: a texture-coordinate array left enabled and a colour set by hand.
    static const GLfloat dummy[4] = {0, 0, 0, 0};
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glTexCoordPointer(2, GL_FLOAT, 0, dummy);
    glColor4f(1, 0, 0, 1);

    Grid grid(9, 5);
    grid.Draw();

    // x from -0.5 to 1.5 in clip space: the right three quarters of the framebuffer.
    EXPECT_EQ(Coverage(), RectangleCoverage(kSize / 4, 0, kSize, kSize));
    GLfloat after[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, after);
    for (int k = 0; k < 16; ++k)
        EXPECT_EQ(after[k], before[k]) << "model-view element " << k;
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY));
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_COORD_ARRAY));
    GLvoid* pointer = nullptr;
    glGetPointerv(GL_TEXTURE_COORD_ARRAY_POINTER, &pointer);
    EXPECT_EQ(pointer, dummy);
    GLfloat color[4];
    glGetFloatv(GL_CURRENT_COLOR, color);
    EXPECT_EQ(std::vector<float>(color, color + 4), (std::vector<float>{1, 0, 0, 1}));
    GLfloat normal[3];
    glGetFloatv(GL_CURRENT_NORMAL, normal);
    EXPECT_EQ(p3f(normal[0], normal[1], normal[2]), p3f(0, 0, 1));
}

TEST_F(GeometryGlTest, GridTriangleCountAndTextureCoordinates) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    const int columns = 5, rows = 4;
    Grid grid(columns, rows);

    const auto plain = CapturePolygons([&] { grid.Draw(); });
    const auto textured = CapturePolygons([&] { grid.DrawTexture(); });
    // The rows - 1 visible rows give 2 (columns - 1) triangles each; the last row has no area and
    // a driver may or may not report its triangles.
    const size_t visible = static_cast<size_t>(2 * (columns - 1) * (rows - 1));
    EXPECT_GE(plain.size(), visible);
    EXPECT_LE(plain.size(), visible + 2 * (columns - 1));
    ASSERT_EQ(textured.size(), plain.size());

    std::set<std::pair<long, long>> corners;
    for (const auto& v : AllVertices(textured)) {
        // Window = (ndc + 1) * 16 and the texture runs 0...1 over -1...1.
        EXPECT_NEAR(v.s, v.x / kSize, 1e-5);
        EXPECT_NEAR(v.t, v.y / kSize, 1e-5);
        corners.insert({std::lround(v.s * (columns - 1)), std::lround(v.t * (rows - 1))});
    }
    EXPECT_EQ(corners.size(), static_cast<size_t>(columns * rows));
}

TEST_F(GeometryGlTest, SharedGridsAreBuiltAtFirstDraw) {
    // Nothing is made at load: the arrays appear with the first draw.
    EXPECT_EQ(sGrid.BuiltVertices(), nullptr);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    sGrid.DrawTexture();
    EXPECT_NE(sGrid.BuiltVertices(), nullptr);
    EXPECT_EQ(CountOf(Coverage()), kSize * kSize);
}

} // namespace
