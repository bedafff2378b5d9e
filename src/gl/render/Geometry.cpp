#include "gl/render/Geometry.h"

#include "gl/render/Grid.h"
#include "geometry/Region.h"
#include "gl/state/Matrices.h"
#include "gl/state/Push.h"

#include <GL/gl.h>

#include <initializer_list>

namespace OGL_ZEP6_AE {

namespace {

p3f QuadNormal(const p3f& a, const p3f& b, const p3f& c, const p3f& d, bool flip) {
    return flip ? (c - a).cross(d - b).normalize() : (d - b).cross(c - a).normalize();
}

p3f Bilinear(const p3f& a, const p3f& b, const p3f& c, const p3f& d, float u, float v) {
    return a * ((1.0f - u) * (1.0f - v)) + b * (u * (1.0f - v)) + c * (u * v) + d * ((1.0f - u) * v);
}

p2f Bilinear(const p2f& a, const p2f& b, const p2f& c, const p2f& d, float u, float v) {
    return a * ((1.0f - u) * (1.0f - v)) + b * (u * (1.0f - v)) + c * (u * v) + d * ((1.0f - u) * v);
}

// The strips of a subdivided quad; texCoord maps the parameters (u, v) to a texture coordinate.
// Within a strip the upper point of each column comes first, which winds the triangles as the
// undivided quad's a, b, d.
template <typename TexCoord>
void DrawCells(const p3f& a, const p3f& b, const p3f& c, const p3f& d, int nx, int ny, const p3f& normal,
               TexCoord texCoord) {
    if (nx < 2 || ny < 2) {
        return;
    }
    // Parameters as quotients, so that neighbouring strips share their edge bit for bit and the
    // far edges are exactly 1.
    const float lastU = static_cast<float>(nx - 1);
    const float lastV = static_cast<float>(ny - 1);
    glNormal3fv(normal);
    for (int j = 0; j + 1 < ny; ++j) {
        const float v0 = static_cast<float>(j) / lastV;
        const float v1 = static_cast<float>(j + 1) / lastV;
        glBegin(GL_TRIANGLE_STRIP);
        for (int i = 0; i < nx; ++i) {
            const float u = static_cast<float>(i) / lastU;
            const p2f t1 = texCoord(u, v1);
            glTexCoord2f(t1.x, t1.y);
            glVertex3fv(Bilinear(a, b, c, d, u, v1));
            const p2f t0 = texCoord(u, v0);
            glTexCoord2f(t0.x, t0.y);
            glVertex3fv(Bilinear(a, b, c, d, u, v0));
        }
        glEnd();
    }
}

} // namespace

// On the GL worker thread.
void DrawRegion(const Region& region) {
    const int x0 = region.x;
    const int x1 = region.XEnd();
    const int y0 = region.y;
    const int y4 = region.YEnd();
    const int y2 = (y0 + y4) / 2;
    const int y1 = (y2 + y0) / 2;
    const int y3 = (y2 + y4) / 2;
    glBegin(GL_TRIANGLE_STRIP);
    for (const int y : {y0, y1, y2, y3, y4}) {
        glVertex2i(x0, y);
        glVertex2i(x1, y);
    }
    glEnd();
}

// On the GL worker thread.
void DrawTexturedRegion(const Region& region) {
    const float x0 = static_cast<float>(region.x);
    const float x1 = static_cast<float>(region.XEnd());
    const float y0 = static_cast<float>(region.y);
    const float y1 = static_cast<float>(region.YEnd());
    glBegin(GL_TRIANGLE_STRIP);
    // The region lies in the plane z = 0, so its normal is the z axis.
    glNormal3f(0.0f, 0.0f, 1.0f);
    glTexCoord2f(0.0f, 0.0f);
    glVertex3f(x0, y0, 0.0f);
    glTexCoord2f(1.0f, 0.0f);
    glVertex3f(x1, y0, 0.0f);
    glTexCoord2f(0.0f, 1.0f);
    glVertex3f(x0, y1, 0.0f);
    glTexCoord2f(1.0f, 1.0f);
    glVertex3f(x1, y1, 0.0f);
    glEnd();
}

// On the GL worker thread.
void RasterProjection(int width, int height) {
    // Loading the identity projection leaves GL_PROJECTION selected, so glOrtho multiplies onto
    // it; the identity model-view matrix then leaves GL_MODELVIEW selected.
    ProjectionMatrix::Identity.Apply();
    glOrtho(0.0, static_cast<double>(width), 0.0, static_cast<double>(height), -1.0, 1.0);
    ModelMatrix::Identity.Apply();
}

// On the GL worker thread.
void DrawQuad(const p3f& a, const p3f& b, const p3f& c, const p3f& d) {
    glBegin(GL_TRIANGLE_STRIP);
    glNormal3fv(QuadNormal(a, b, c, d, false));
    glTexCoord2f(0.0f, 0.0f);
    glVertex3fv(a);
    glTexCoord2f(1.0f, 0.0f);
    glVertex3fv(b);
    glTexCoord2f(0.0f, 1.0f);
    glVertex3fv(d);
    glTexCoord2f(1.0f, 1.0f);
    glVertex3fv(c);
    glEnd();
}

void DrawQuad(const p3f& a, const p3f& b, const p3f& c, const p3f& d, int nx, int ny, bool flip) {
    DrawCells(a, b, c, d, nx, ny, QuadNormal(a, b, c, d, flip), [](float u, float v) { return p2f(u, v); });
}

void DrawQuad(const p3f& a, const p2f& ta, const p3f& b, const p2f& tb, const p3f& c, const p2f& tc,
              const p3f& d, const p2f& td, int nx, int ny) {
    DrawCells(a, b, c, d, nx, ny, QuadNormal(a, b, c, d, false),
              [&](float u, float v) { return Bilinear(ta, tb, tc, td, u, v); });
}

// On the GL worker thread. The grid is shared by every call and not locked, as all drawing.
void DrawPlane(const p3f& a, const p3f& b, const p3f& c, const p3f& d, int nx, int ny) {
    static Grid grid(20, 20);
    grid.Resize(nx, ny);
    const p3f u = (b - a) * 0.5f;
    const p3f v = (d - a) * 0.5f;
    const p3f w = u.cross(v);
    const p3f o = (a + c) * 0.5f;
    const float frame[16] = {u.x, u.y, u.z, 0.0f, v.x, v.y, v.z, 0.0f,
                             w.x, w.y, w.z, 0.0f, o.x, o.y, o.z, 1.0f};
    PushModelStack modelView;
    glMultMatrixf(frame);
    grid.DrawTexture();
}

} // namespace OGL_ZEP6_AE
