#include "gl/render/Tesselator.h"

#include <GL/glu.h>

namespace OGL_ZEP6_AE {

Tesselator::Tesselator() : tess_(gluNewTess()) {}

Tesselator::~Tesselator() {
    if (tess_ != nullptr) {
        gluDeleteTess(tess_);
    }
}

void Tesselator::AddTessCallback(unsigned int which, Callback fn) {
    if (tess_ != nullptr) {
        gluTessCallback(tess_, which, fn);
    }
}

void Tesselator::SetTessProperty(unsigned int which, double value) {
    if (tess_ != nullptr) {
        gluTessProperty(tess_, which, value);
    }
}

void Tesselator::TessBeginPolygon(void* data) {
    if (tess_ != nullptr) {
        gluTessBeginPolygon(tess_, data);
    }
}

// On the GL worker thread: the callbacks usually draw.
void Tesselator::TessEndPolygon() {
    if (tess_ != nullptr) {
        gluTessEndPolygon(tess_);
    }
}

void Tesselator::TessBeginContour() {
    if (tess_ != nullptr) {
        gluTessBeginContour(tess_);
    }
}

void Tesselator::TessEndContour() {
    if (tess_ != nullptr) {
        gluTessEndContour(tess_);
    }
}

void Tesselator::TessVertex(double* coords, void* data) {
    if (tess_ != nullptr) {
        gluTessVertex(tess_, coords, data);
    }
}

} // namespace OGL_ZEP6_AE
