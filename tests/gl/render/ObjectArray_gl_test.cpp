// Immediate-mode guard, client-array guard, ObjectArray drawing and IndexVertices on a real
// context. Normals are checked through lighting: with one white light along +z and a white
// diffuse material, a vertex with normal n comes out with grey level max(n.z, 0), which the
// feedback capture reports as the vertex colour.
#include "GeometryFixture.h"

#include "gl/render/ObjectArray.h"

#include <cmath>

using namespace geometry_test;

namespace {

void LightAlongZ() {
    const GLfloat direction[4] = {0, 0, 1, 0};
    const GLfloat white[4] = {1, 1, 1, 1};
    const GLfloat black[4] = {0, 0, 0, 1};
    glEnable(GL_LIGHTING);
    glEnable(GL_LIGHT0);
    glLightfv(GL_LIGHT0, GL_POSITION, direction);
    glLightfv(GL_LIGHT0, GL_DIFFUSE, white);
    glLightfv(GL_LIGHT0, GL_AMBIENT, black);
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, black);
    glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, white);
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, black);
}

p3f CurrentNormal() {
    GLfloat n[3];
    glGetFloatv(GL_CURRENT_NORMAL, n);
    return p3f(n[0], n[1], n[2]);
}

std::vector<float> CurrentColor() {
    GLfloat c[4];
    glGetFloatv(GL_CURRENT_COLOR, c);
    return std::vector<float>(c, c + 4);
}

TEST_F(GeometryGlTest, ObjectBracketsAPrimitive) {
    glNormal3f(1, 0, 0);
    const auto polygons = CapturePolygons([] {
        Object triangle(GL_TRIANGLES);
        glVertex2f(1, 1);
        glVertex2f(9, 1);
        glVertex2f(1, 9);
    });
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_EQ(polygons[0].size(), 3u);
    EXPECT_EQ(CurrentNormal(), p3f(0, 0, 1)) << "set before the primitive began";
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "begin and end matched";
}

TEST_F(GeometryGlTest, PushArraysSetsAndRestoresClientArrays) {
    struct Case {
        bool tex, normals, colors;
    };
    const GLenum arrays[] = {GL_TEXTURE_COORD_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY};
    // Sentinel state: normals on, the others off, vertex array off.
    glEnableClientState(GL_NORMAL_ARRAY);
    glColor4f(0.25f, 0.5f, 0.75f, 1);
    for (const Case c : {Case{false, false, false}, Case{true, false, true}, Case{false, true, false},
                         Case{true, true, true}}) {
        {
            PushArrays push(c.tex, c.normals, c.colors);
            EXPECT_TRUE(glIsEnabled(GL_VERTEX_ARRAY));
            const bool wanted[] = {c.tex, c.normals, c.colors};
            for (int i = 0; i < 3; ++i)
                EXPECT_EQ(glIsEnabled(arrays[i]) == GL_TRUE, wanted[i]) << "array " << i;
            glColor4f(0, 1, 0, 0); // what drawing from a colour array may leave behind
        }
        EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY));
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_COORD_ARRAY));
        EXPECT_TRUE(glIsEnabled(GL_NORMAL_ARRAY));
        EXPECT_FALSE(glIsEnabled(GL_COLOR_ARRAY));
        if (c.colors) {
            EXPECT_EQ(CurrentColor(), (std::vector<float>{0.25f, 0.5f, 0.75f, 1}));
            EXPECT_EQ(Color::sCurrentColor, Color(0.25f, 0.5f, 0.75f, 1)) << "the mirror follows";
        } else {
            EXPECT_EQ(CurrentColor(), (std::vector<float>{0, 1, 0, 0}))
                << "without a colour array: untouched";
        }
        glColor4f(0.25f, 0.5f, 0.75f, 1);
    }
    {
        PushArrays onlyVertices;
        EXPECT_TRUE(glIsEnabled(GL_VERTEX_ARRAY));
        EXPECT_FALSE(glIsEnabled(GL_NORMAL_ARRAY));
    }
}

TEST_F(GeometryGlTest, ObjectArrayDrawsWhatWasRecorded) {
    ObjectArray array(GL_QUADS, 4);
    // Two quads side by side, red and green; texture coordinates on the second only.
    array.Color(Color(1, 0, 0, 1));
    array.Vertex(p3f(2, 2, 0));
    array.Vertex(p3f(10, 2, 0));
    array.Vertex(p3f(10, 10, 0));
    array.Vertex(p3f(2, 10, 0));
    array.Color(Color(0, 1, 0, 1));
    array.Vertex(p3f(20, 2, 0), p2f(0.25f, 0.5f));
    array.Vertex(p3f(28, 2, 0));
    array.Vertex(p3f(28, 10, 0));
    array.Vertex(p3f(20, 10, 0), p2f(0.75f, 1));
    ASSERT_EQ(array.Count(), 8);
    glColor4f(0.1f, 0.2f, 0.3f, 0.4f);

    const auto vertices = AllVertices(CapturePolygons([&] { array.Draw(); }));
    ASSERT_FALSE(vertices.empty());
    for (const auto& v : vertices) {
        const bool second = v.x > 15;
        EXPECT_FLOAT_EQ(v.r, second ? 0.0f : 1.0f);
        EXPECT_FLOAT_EQ(v.g, second ? 1.0f : 0.0f);
        if (second && std::lround(v.x) == 20 && std::lround(v.y) == 10) {
            EXPECT_FLOAT_EQ(v.s, 0.75f);
            EXPECT_FLOAT_EQ(v.t, 1.0f);
        } else if (second) {
            EXPECT_FLOAT_EQ(v.s, 0.25f) << "the texture coordinate stays until changed";
            EXPECT_FLOAT_EQ(v.t, 0.5f);
        } else {
            EXPECT_FLOAT_EQ(v.s, 0.0f) << "initial texture coordinate";
            EXPECT_FLOAT_EQ(v.t, 0.0f);
        }
    }
    EXPECT_FALSE(array.MustDraw());
    EXPECT_EQ(array.Count(), 8) << "vertices stay after drawing";

    array.Draw();
    const auto pixels = Pixels();
    const auto at = [&](int x, int y) {
        const auto p = pixels.begin() + 4 * (y * kSize + x);
        return std::vector<int>(p, p + 4);
    };
    EXPECT_EQ(at(5, 5), (std::vector<int>{255, 0, 0, 255}));
    EXPECT_EQ(at(24, 5), (std::vector<int>{0, 255, 0, 255}));
    EXPECT_EQ(at(15, 5)[3], 0) << "between the quads";
    EXPECT_EQ(CurrentColor(), (std::vector<float>{0.1f, 0.2f, 0.3f, 0.4f})) << "colour restored";
    EXPECT_FALSE(glIsEnabled(GL_COLOR_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY));
}

TEST_F(GeometryGlTest, ObjectArrayNormalsAndCurrentColour) {
    LightAlongZ();
    ObjectArray unlitNormals(GL_TRIANGLES, 3);
    unlitNormals.Vertex(p3f(1, 1, 0));
    unlitNormals.Vertex(p3f(9, 1, 0));
    unlitNormals.Vertex(p3f(1, 9, 0));
    // No normal given: the array's current normal (0, 0, 1) faces the light.
    glNormal3f(1, 0, 0);
    for (const auto& v : AllVertices(CapturePolygons([&] { unlitNormals.Draw(); })))
        EXPECT_NEAR(v.r, 1.0f, 1e-3);
    EXPECT_EQ(CurrentNormal(), p3f(0, 0, 1));

    ObjectArray lit(GL_TRIANGLES, 3);
    lit.Normal(p3f(0, 0, 1));
    lit.Vertex(p3f(1, 1, 0));
    lit.Normal(p3f(0.6f, 0, 0.8f));
    lit.Vertex(p3f(9, 1, 0));
    lit.Normal(p3f(1, 0, 0));
    lit.Vertex(p3f(1, 9, 0));
    for (const auto& v : AllVertices(CapturePolygons([&] { lit.Draw(); }))) {
        const float expected = std::lround(v.x) == 9 ? 0.8f : (std::lround(v.y) == 9 ? 0.0f : 1.0f);
        EXPECT_NEAR(v.r, expected, 2e-3) << "vertex at " << v.x << "," << v.y;
    }
}

TEST_F(GeometryGlTest, EmptyObjectArrayDrawsNothing) {
    ObjectArray array(GL_TRIANGLES, 0);
    EXPECT_TRUE(array.MustDraw());
    EXPECT_TRUE(CapturePolygons([&] { array.Draw(); }).empty());
    EXPECT_FALSE(array.MustDraw());
}

TEST_F(GeometryGlTest, IndexVerticesDrawsTheIndexedRange) {
    LightAlongZ();
    const std::vector<p3f> positions = {p3f(1, 1, 0), p3f(20, 1, 0), p3f(1, 20, 0), p3f(20, 20, 0),
                                        p3f(30, 30, 0)};
    const std::vector<p3f> normals = {p3f(0, 0, 1), p3f(0, 0.6f, 0.8f), p3f(0.8f, 0, 0.6f), p3f(1, 0, 0),
                                      p3f(0, 0, 1)};
    const std::vector<p3f> texCoords = {p3f(0, 0, 9), p3f(1, 0, 9), p3f(0, 1, 9), p3f(1, 1, 9), p3f(5, 5, 9)};
    // The range [1, 7) of the indices: triangles (1, 3, 2) and (0, 1, 2); index 4 lies outside it.
    const std::vector<int> indices = {4, 1, 3, 2, 0, 1, 2, 4};
    const auto polygons =
        CapturePolygons([&] { IndexVertices(GL_TRIANGLES, positions, normals, texCoords, indices, 1, 6); });
    ASSERT_EQ(polygons.size(), 2u);
    const float light[] = {1, 0.8f, 0.6f, 0};
    for (const auto& polygon : polygons) {
        for (const auto& v : polygon) {
            const int i = (v.x > 10 ? 1 : 0) + (v.y > 10 ? 2 : 0);
            EXPECT_NEAR(v.x, positions[i].x, 1e-4);
            EXPECT_NEAR(v.r, light[i], 2e-3) << "normal of vertex " << i;
            EXPECT_FLOAT_EQ(v.s, texCoords[i].x);
            EXPECT_FLOAT_EQ(v.t, texCoords[i].y);
        }
    }
    // The second triangle's vertices are vertices 0, 1, 2.
    std::set<int> second;
    for (const auto& v : polygons[1])
        second.insert((v.x > 10 ? 1 : 0) + (v.y > 10 ? 2 : 0));
    EXPECT_EQ(second, (std::set<int>{0, 1, 2}));
}

} // namespace
