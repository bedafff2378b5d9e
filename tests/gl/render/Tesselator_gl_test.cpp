// A concave outline and an outline with a hole, tessellated by GLU and drawn through plain
// OpenGL callbacks: the pixels covered are those of the exact shape.
#include "GeometryFixture.h"

#include "gl/render/Tesselator.h"

#include <GL/glu.h>

#include <array>

using namespace geometry_test;

namespace {

void Begin(GLenum mode) {
    glBegin(mode);
}
void Vertex(const GLdouble* v) {
    glVertex3dv(v);
}
void End() {
    glEnd();
}

using Outline = std::vector<std::array<GLdouble, 3>>;

void Tessellate(Tesselator& tess, std::vector<Outline>& contours, int* polygonData) {
    tess.TessBeginPolygon(polygonData);
    for (auto& contour : contours) {
        tess.TessBeginContour();
        for (auto& p : contour)
            tess.TessVertex(p.data(), p.data());
        tess.TessEndContour();
    }
    tess.TessEndPolygon();
}

class TesselatorGlTest : public GeometryGlTest {
protected:
    void SetUp() override {
        GeometryGlTest::SetUp();
        ASSERT_TRUE(tess_.IsValid());
        tess_.AddTessCallback(GLU_TESS_BEGIN, reinterpret_cast<Tesselator::Callback>(&Begin));
        tess_.AddTessCallback(GLU_TESS_VERTEX, reinterpret_cast<Tesselator::Callback>(&Vertex));
        tess_.AddTessCallback(GLU_TESS_END, reinterpret_cast<Tesselator::Callback>(&End));
    }
    Tesselator tess_;
};

TEST_F(TesselatorGlTest, ConcaveOutlineCoversItsArea) {
    // An L: the square 4...28 without its upper-right quarter 16...28 x 16...28.
    std::vector<Outline> contours = {
        {{4, 4, 0}, {28, 4, 0}, {28, 16, 0}, {16, 16, 0}, {16, 28, 0}, {4, 28, 0}}};
    Tessellate(tess_, contours, nullptr);
    std::vector<bool> expected = RectangleCoverage(4, 4, 28, 16);
    const std::vector<bool> upper = RectangleCoverage(4, 16, 16, 28);
    for (size_t i = 0; i < expected.size(); ++i)
        expected[i] = expected[i] || upper[i];
    EXPECT_EQ(Coverage(), expected);
}

TEST_F(TesselatorGlTest, WindingRulePropertyAndPolygonData) {
    // Two nested squares with the same orientation: the odd rule leaves a hole, the positive rule
    // fills it.
    std::vector<Outline> contours = {{{4, 4, 0}, {28, 4, 0}, {28, 28, 0}, {4, 28, 0}},
                                     {{12, 12, 0}, {20, 12, 0}, {20, 20, 0}, {12, 20, 0}}};
    tess_.SetTessProperty(GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
    Tessellate(tess_, contours, nullptr);
    std::vector<bool> frame = RectangleCoverage(4, 4, 28, 28);
    const std::vector<bool> hole = RectangleCoverage(12, 12, 20, 20);
    for (size_t i = 0; i < frame.size(); ++i)
        frame[i] = frame[i] && !hole[i];
    EXPECT_EQ(Coverage(), frame);

    glClear(GL_COLOR_BUFFER_BIT);
    tess_.SetTessProperty(GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_POSITIVE);
    // The polygon data reaches the *_DATA callbacks.
    static int begins = 0;
    begins = 0;
    tess_.AddTessCallback(GLU_TESS_BEGIN_DATA,
                          reinterpret_cast<Tesselator::Callback>(+[](GLenum mode, void* data) {
                              ++*static_cast<int*>(data);
                              ++begins;
                              glBegin(mode);
                          }));
    int count = 0;
    Tessellate(tess_, contours, &count);
    EXPECT_GT(count, 0);
    EXPECT_EQ(count, begins);
    EXPECT_EQ(Coverage(), RectangleCoverage(4, 4, 28, 28));
}

} // namespace
