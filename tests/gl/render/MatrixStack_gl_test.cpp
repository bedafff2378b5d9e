// The free functions on the current OpenGL matrix, checked against what OpenGL itself reports
// for the model-view matrix (column-major: element (row r, column c) is at 4c + r).
#include "gl/context/RootContext.h"
#include "gl/render/Matrix.h"
#include "gl/render/MatrixStack.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <array>

using namespace OGL_ZEP6_AE;

namespace {

using GlMatrix = std::array<float, 16>;

GlMatrix ModelView() {
    GlMatrix m{};
    glGetFloatv(GL_MODELVIEW_MATRIX, m.data());
    return m;
}

class MatrixStackTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(RootContext::Select());
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
    }
    void TearDown() override { EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)); }

    // The rotation block of the current matrix against an m33f (row i, column j).
    void ExpectRotationBlock(const m33f& expected, const char* what) {
        const GlMatrix gl = ModelView();
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_NEAR(gl[4 * j + i], expected[i][j], 1e-5f)
                    << what << " element (" << i << ", " << j << ")";
    }

    PushOpenGLContext saved_;
};

TEST_F(MatrixStackTest, LoadIdentityTranslateScaleMatchOpenGL) {
    glTranslatef(3, 4, 5);
    LoadIdentity();
    const GlMatrix identity = ModelView();
    for (int k = 0; k < 16; ++k)
        EXPECT_EQ(identity[k], (k % 5 == 0) ? 1.0f : 0.0f);

    Translate(p3f(1.5f, -2, 3));
    Translate(0.5f, 1, -1);
    Scale(p3f(2, 3, 4));
    Scale(0.5f, 1, 2);
    const GlMatrix ours = ModelView();

    glLoadIdentity();
    glTranslatef(1.5f, -2, 3);
    glTranslatef(0.5f, 1, -1);
    glScalef(2, 3, 4);
    glScalef(0.5f, 1, 2);
    const GlMatrix reference = ModelView();
    for (int k = 0; k < 16; ++k)
        EXPECT_FLOAT_EQ(ours[k], reference[k]) << "element " << k;
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_MODELVIEW) << "the matrix mode is left alone";
}

TEST_F(MatrixStackTest, AxisRotationEqualsAxisAngleMatrix) {
    const p3f axis(1, 2, -0.5f);
    Rotate(37.0f, axis);
    ExpectRotationBlock(m33f::axangle(axis, 37.0f), "axis rotation");
}

TEST_F(MatrixStackTest, EulerRotationForEveryOrder) {
    // The GL form turns about -Y and -Z; m33f::angle uses Ry(-y) and Rz(z), so the z angle
    // enters with the opposite sign.
    const float x = 20, y = -35, z = 50;
    for (int order = 0; order < 6; ++order) {
        glLoadIdentity();
        Rotate(x, y, z, static_cast<RotationOrder>(order));
        ExpectRotationBlock(m33f::angle(x, y, -z, static_cast<RotationOrder>(order)),
                            ("order " + std::to_string(order)).c_str());
        glLoadIdentity();
        Rotate(p3f(x, y, z), static_cast<RotationOrder>(order));
        ExpectRotationBlock(m33f::angle(x, y, -z, static_cast<RotationOrder>(order)), "p3f form");
    }
}

TEST_F(MatrixStackTest, SingleAngleIssuesOneRotationAndBadOrderNothing) {
    Rotate(0, 45, 0, static_cast<RotationOrder>(0));
    const GlMatrix ours = ModelView();
    glLoadIdentity();
    glRotatef(45, 0, -1, 0);
    const GlMatrix reference = ModelView();
    for (int k = 0; k < 16; ++k)
        EXPECT_FLOAT_EQ(ours[k], reference[k]);

    glLoadIdentity();
    glTranslatef(1, 2, 3);
    const GlMatrix before = ModelView();
    Rotate(10, 20, 30, static_cast<RotationOrder>(6));
    EXPECT_EQ(ModelView(), before) << "an order outside 0..5 does nothing";
}

TEST_F(MatrixStackTest, MultMatrixUsesStorageOrder) {
    float values[16];
    for (int k = 0; k < 16; ++k)
        values[k] = 0.25f * static_cast<float>(k + 1);
    m44f m(values, false);
    MultMatrix(m);
    const GlMatrix gl = ModelView();
    for (int k = 0; k < 16; ++k)
        EXPECT_FLOAT_EQ(gl[k], values[k]);
}

} // namespace
