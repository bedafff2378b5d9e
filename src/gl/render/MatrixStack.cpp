#include "gl/render/MatrixStack.h"

#include "gl/state/Matrices.h"

#include <GL/gl.h>

#include <cmath>

namespace OGL_ZEP6_AE {

namespace {

// Rotations this small change nothing visible; skipping them saves a matrix product per axis.
const float kNegligibleAngle = 1e-7f;

void RotateAxis(char axis, float x, float y, float z) {
    switch (axis) {
    case 'x':
        if (std::fabs(x) > kNegligibleAngle) {
            glRotatef(x, 1.0f, 0.0f, 0.0f);
        }
        break;
    case 'y':
        if (std::fabs(y) > kNegligibleAngle) {
            glRotatef(y, 0.0f, -1.0f, 0.0f);
        }
        break;
    case 'z':
        if (std::fabs(z) > kNegligibleAngle) {
            glRotatef(z, 0.0f, 0.0f, -1.0f);
        }
        break;
    }
}

// The factors of each order, left to right, indexed by RotationOrder.
const char* const kFactorOrder[] = {"xyz", "zxy", "yzx", "xzy", "zyx", "yxz"};

} // namespace

void LoadIdentity() {
    Matrix::LoadIdentity();
}

void Translate(const p3f& t) {
    glTranslatef(t.x, t.y, t.z);
}

void Translate(float x, float y, float z) {
    glTranslatef(x, y, z);
}

void Scale(const p3f& s) {
    glScalef(s.x, s.y, s.z);
}

void Scale(float x, float y, float z) {
    glScalef(x, y, z);
}

void Rotate(float degrees, const p3f& axis) {
    glRotatef(degrees, axis.x, axis.y, axis.z);
}

void Rotate(float x, float y, float z, RotationOrder order) {
    if (order < XYZ || order > YXZ) {
        return;
    }
    for (const char* axis = kFactorOrder[order]; *axis != '\0'; ++axis) {
        RotateAxis(*axis, x, y, z);
    }
}

void Rotate(const p3f& angles, RotationOrder order) {
    Rotate(angles.x, angles.y, angles.z, order);
}

void MultMatrix(const m44f& m) {
    glMultMatrixf(m.e);
}

} // namespace OGL_ZEP6_AE
