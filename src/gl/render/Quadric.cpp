#include "gl/render/Quadric.h"

#include <GL/glu.h>

namespace OGL_ZEP6_AE {

Quadric::~Quadric() {
    // Deleting a GLU quadric frees memory only; no context is needed.
    Quadric::Finalize();
}

void Quadric::Initialize() {
    if (quadric_ == nullptr) {
        quadric_ = gluNewQuadric();
        Relist();
    }
}

void Quadric::Finalize() {
    if (quadric_ != nullptr) {
        gluDeleteQuadric(quadric_);
        quadric_ = nullptr;
    }
}

void Quadric::Normals(unsigned int mode) {
    Initialize();
    if (quadric_ != nullptr) {
        gluQuadricNormals(quadric_, mode);
    }
}

void Quadric::Texture(bool on) {
    Initialize();
    if (quadric_ != nullptr) {
        gluQuadricTexture(quadric_, on ? GL_TRUE : GL_FALSE);
    }
}

void Quadric::Orientation(unsigned int mode) {
    Initialize();
    if (quadric_ != nullptr) {
        gluQuadricOrientation(quadric_, mode);
    }
}

// On the GL worker thread (as the three below).
void Quadric::DrawSphere(double radius, int slices, int stacks) {
    Initialize();
    if (quadric_ != nullptr) {
        gluSphere(quadric_, radius, slices, stacks);
    }
}

void Quadric::DrawCylinder(double base, double top, double height, int slices, int stacks) {
    Initialize();
    if (quadric_ != nullptr) {
        gluCylinder(quadric_, base, top, height, slices, stacks);
    }
}

void Quadric::DrawDisk(double inner, double outer, int slices, int loops) {
    Initialize();
    if (quadric_ != nullptr) {
        gluDisk(quadric_, inner, outer, slices, loops);
    }
}

} // namespace OGL_ZEP6_AE
