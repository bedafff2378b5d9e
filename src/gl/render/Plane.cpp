#include "gl/render/Plane.h"

#include "geometry/Region.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

SimplePlane sPlane;
Triangle sTriangle;

// On the GL worker thread.
void SimplePlane::Draw(float x0, float y0, float x1, float y1, float inset) const {
    const float lo = inset;
    const float hi = 1.0f - inset;
    glBegin(GL_QUADS);
    glNormal3f(0.0f, 0.0f, 1.0f);
    glTexCoord2f(hi, hi);
    glVertex2f(x1, y1);
    glTexCoord2f(lo, hi);
    glVertex2f(x0, y1);
    glTexCoord2f(lo, lo);
    glVertex2f(x0, y0);
    glTexCoord2f(hi, lo);
    glVertex2f(x1, y0);
    glEnd();
}

void SimplePlane::Draw() const {
    Draw(-1.0f, -1.0f, 1.0f, 1.0f, 0.01f);
}

void SimplePlane::Draw(float w, float h) const {
    Draw(0.0f, 0.0f, w, h, 0.0f);
}

void SimplePlane::Draw(const Region& region) const {
    Draw(static_cast<float>(region.x), static_cast<float>(region.y), static_cast<float>(region.XEnd()),
         static_cast<float>(region.YEnd()), 0.0f);
}

// On the GL worker thread.
void Triangle::Draw() const {
    glBegin(GL_TRIANGLES);
    glNormal3f(0.0f, 0.0f, 1.0f);
    glTexCoord2f(0.0001f, 0.9999f);
    glVertex2f(-0.5f, 1.0f);
    glTexCoord2f(0.4999f, 0.0001f);
    glVertex2f(0.0f, -1.0f);
    glTexCoord2f(0.9999f, 0.9999f);
    glVertex2f(0.5f, 1.0f);
    glEnd();
}

} // namespace OGL_ZEP6_AE
