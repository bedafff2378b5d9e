#include "gl/state/Matrices.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

const ModelMatrix ModelMatrix::Identity(true);
const ProjectionMatrix ProjectionMatrix::Identity(true);
const TextureMatrix TextureMatrix::Identity(true);

namespace {

unsigned int CurrentMode() {
    GLint mode = GL_MODELVIEW;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    return static_cast<unsigned int>(mode);
}

void ReadFloats(GLenum query, m44f& out) {
    glGetFloatv(query, out.e);
}

} // namespace

void Matrix::Apply() const {
    glMatrixMode(mode);
}

void Matrix::Retrieve() {
    mode = CurrentMode();
}

void Matrix::Multiply() const {
    glMultMatrixd(m);
}

void Matrix::LoadIdentity() {
    glLoadIdentity();
}

p3f Matrix::operator*(const p3f& p) const {
    const double x = p.x, y = p.y, z = p.z;
    const double tx = m[0] * x + m[4] * y + m[8] * z + m[12];
    const double ty = m[1] * x + m[5] * y + m[9] * z + m[13];
    const double tz = m[2] * x + m[6] * y + m[10] * z + m[14];
    const double w = m[3] * x + m[7] * y + m[11] * z + m[15];
    return p3f(static_cast<float>(tx / w), static_cast<float>(ty / w), static_cast<float>(tz / w));
}

p4f Matrix::operator*(const p4f& p) const {
    const double x = p.x, y = p.y, z = p.z, w = p.w;
    return p4f(static_cast<float>(m[0] * x + m[4] * y + m[8] * z + m[12] * w),
               static_cast<float>(m[1] * x + m[5] * y + m[9] * z + m[13] * w),
               static_cast<float>(m[2] * x + m[6] * y + m[10] * z + m[14] * w),
               static_cast<float>(m[3] * x + m[7] * y + m[11] * z + m[15] * w));
}

bool Matrix::operator==(const Matrix& other) const {
    if (mode != other.mode)
        return false;
    for (int i = 0; i < 16; ++i)
        if (m[i] != other.m[i])
            return false;
    return true;
}

void Matrix::Load(unsigned int target) const {
    glMatrixMode(target);
    glLoadMatrixd(m);
    glMatrixMode(mode);
}

void Matrix::Read(unsigned int query) {
    mode = CurrentMode();
    glGetDoublev(query, m);
}

void ModelMatrix::Apply() const {
    Load(GL_MODELVIEW);
}
void ModelMatrix::Retrieve() {
    Read(GL_MODELVIEW_MATRIX);
}
void ModelMatrix::Retrieve(m44f& out) {
    ReadFloats(GL_MODELVIEW_MATRIX, out);
}

void ProjectionMatrix::Apply() const {
    Load(GL_PROJECTION);
}
void ProjectionMatrix::Retrieve() {
    Read(GL_PROJECTION_MATRIX);
}
void ProjectionMatrix::Retrieve(m44f& out) {
    ReadFloats(GL_PROJECTION_MATRIX, out);
}

void TextureMatrix::Apply() const {
    Load(GL_TEXTURE);
}
void TextureMatrix::Retrieve() {
    Read(GL_TEXTURE_MATRIX);
}

} // namespace OGL_ZEP6_AE
