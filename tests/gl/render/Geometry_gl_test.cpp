// The fixed-function drawing helpers judged by the vertices OpenGL reports in feedback mode or
// by the pixels they cover; each must leave the caller's matrices, client arrays and colour.
#include "core/Errors.h"
#include "gl/render/Feedback.h"
#include "gl/render/Geometry.h"
#include "gl/render/Grid.h"
#include "gl/render/MatrixStack.h"
#include "gl/render/ObjectArray.h"
#include "gl/render/Plane.h"
#include "gl/render/PointSprite.h"
#include "gl/render/Quadric.h"
#include "geometry/Region.h"
#include "gl/render/Tesselator.h"
#include "geometry/Vector.h"

#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

// ---- A float target at one unit per pixel, and an independent feedback capture ------------

constexpr int kSize = 32;

struct FeedbackVertex {
    float x, y, z;
    float r, g, b, a;
    float s, t;
};
using FeedbackPolygon = std::vector<FeedbackVertex>;

// The polygons (triangles or quads, as the driver reports them) that `draw` produces, in order.
// Fails the test on any other kind of record.
inline std::vector<FeedbackPolygon> CapturePolygons(const std::function<void()>& draw) {
    std::vector<GLfloat> buffer(1 << 18);
    glFeedbackBuffer(static_cast<GLsizei>(buffer.size()), GL_3D_COLOR_TEXTURE, buffer.data());
    glRenderMode(GL_FEEDBACK);
    draw();
    const GLint count = glRenderMode(GL_RENDER);
    EXPECT_GE(count, 0) << "feedback buffer overflow";
    std::vector<FeedbackPolygon> polygons;
    for (GLint i = 0; i < count;) {
        const int token = static_cast<int>(buffer[i++]);
        if (token == GL_PASS_THROUGH_TOKEN) {
            ++i;
            continue;
        }
        if (token != GL_POLYGON_TOKEN) {
            ADD_FAILURE() << "unexpected feedback token " << token;
            break;
        }
        const int n = static_cast<int>(buffer[i++]);
        FeedbackPolygon polygon;
        for (int v = 0; v < n; ++v, i += 3 + 4 + 4) {
            const GLfloat* f = &buffer[i];
            polygon.push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8]});
        }
        polygons.push_back(polygon);
    }
    return polygons;
}

inline float SignedArea(const FeedbackPolygon& p) {
    float area = 0;
    for (size_t i = 0; i < p.size(); ++i) {
        const auto& a = p[i];
        const auto& b = p[(i + 1) % p.size()];
        area += a.x * b.y - b.x * a.y;
    }
    return area / 2;
}

class GeometryGlTest : public zep6test::GlProgramTest {
protected:
    void SetUp() override {
        zep6test::GlProgramTest::SetUp();
        target_ = std::make_unique<zep6test::FloatTarget>(kSize, kSize);
        ASSERT_TRUE(target_->IsComplete());
        Reset();
    }
    void TearDown() override {
        target_.reset();
        zep6test::GlProgramTest::TearDown();
    }

    // A pixel projection over the target, identity model-view, nothing enabled, white.
    void Reset() {
        glViewport(0, 0, kSize, kSize);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, kSize, 0, kSize, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glDisable(GL_CULL_FACE);
        glDisable(GL_LIGHTING);
        glColor4f(1, 1, 1, 1);
        target_->Clear({0, 0, 0, 0});
    }

    // Pixels whose coverage (non-zero alpha; the clear colour has none) differs from
    // inside(pixel centre); with no `inside`, the pixels covered.
    int CoverageDifferences(const std::function<bool(float, float)>& inside) const {
        const std::vector<zep6test::Rgba> pixels = target_->Read();
        int n = 0;
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x)
                n += (pixels[size_t(y * kSize + x)][3] != 0) != inside(x + 0.5f, y + 0.5f) ? 1 : 0;
        return n;
    }
    int Covered() const {
        return CoverageDifferences([](float, float) { return false; });
    }

    std::unique_ptr<zep6test::FloatTarget> target_;
};

// ---- The table ---------------------------------------------------------------------------

// The colour current before every row; vertices without colours of their own carry it.
constexpr float kColour[4] = {0.25f, 0.5f, 0.75f, 1.0f};
const p3f kUnchecked(9, 9, 9);

// An expected vertex in window coordinates; lit rows give the grey level as r = g = b.
struct V {
    float x, y, s = 0, t = 0;
    float r = kColour[0], g = kColour[1], b = kColour[2];
};
V Grey(float x, float y, float s, float t, float level) {
    return {x, y, s, t, level, level, level};
}

bool Matches(const FeedbackVertex& got, const V& e) {
    return std::fabs(got.x - e.x) < 1e-3f && std::fabs(got.y - e.y) < 1e-3f &&
           std::fabs(got.z - 0.5f) < 1e-4f && std::fabs(got.s - e.s) < 1e-5f &&
           std::fabs(got.t - e.t) < 1e-5f && std::fabs(got.r - e.r) < 2e-3f &&
           std::fabs(got.g - e.g) < 2e-3f && std::fabs(got.b - e.b) < 2e-3f;
}

std::string Text(const FeedbackVertex& v) {
    return "(" + std::to_string(v.x) + ", " + std::to_string(v.y) + ") st (" + std::to_string(v.s) + ", " +
           std::to_string(v.t) + ") rgb (" + std::to_string(v.r) + ", " + std::to_string(v.g) + ", " +
           std::to_string(v.b) + ")";
}

using Inside = std::function<bool(float, float)>;
Inside Rect(float x0, float y0, float x1, float y1) {
    return [=](float x, float y) { return x >= x0 && x < x1 && y >= y0 && y < y1; };
}
Inside Ring(float r0, float r1) {
    return [=](float x, float y) {
        const float d = std::hypot(x - 16, y - 16);
        return d >= r0 && d < r1;
    };
}

struct Row {
    const char* name;
    std::function<void()> setup; // before the row's drawing, after the reset
    std::function<void()> draw;
    std::vector<std::vector<V>> strips = {}; // triangle strips expected in this order, or
    std::vector<V> points = {};              // the vertices expected, without structure
    int polygons = -1;                       // how many, when nothing else says (-1: not checked)
    int winding = 0;                         // +1 counter-clockwise, -1 clockwise, 0 not checked
    Inside inside = nullptr;                 // the pixels covered, within `slack` differences
    int slack = 0;
    p3f normal = kUnchecked;                                // left current
    std::function<V(const FeedbackVertex&)> rule = nullptr; // each vertex's expected values
};

// Normalised device coordinates onto the framebuffer: window = (ndc + 1) * 16.
void Ndc() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
}

// The strip of DrawRegion, band edges worked out by hand, moved by 10 pixels.
std::vector<std::vector<V>> RegionStrip(int x0, int x1, std::array<int, 5> ys) {
    std::vector<V> strip;
    for (int y : ys) {
        strip.push_back({float(x0 + 10), float(y + 10)});
        strip.push_back({float(x1 + 10), float(y + 10)});
    }
    return {strip};
}

// Rows of strips over a grid of nx x ny parameters, each column giving the upper point first:
// point(u, v) and texture(u, v) for u = i / (nx - 1), v = j / (ny - 1). `lastRow` adds the grid's
// flat top row.
template <class P, class T>
std::vector<std::vector<V>> GridStrips(int nx, int ny, P point, T texture, bool lastRow = false) {
    std::vector<std::vector<V>> strips;
    for (int j = 0; j + 1 < ny || (lastRow && j < ny); ++j) {
        std::vector<V> strip;
        const float v0 = float(j) / float(ny - 1), v1 = std::min(float(j + 1) / float(ny - 1), 1.0f);
        for (int i = 0; i < nx; ++i) {
            const float u = float(i) / float(nx - 1);
            for (float v : {v1, v0}) {
                const p2f p = point(u, v), t = texture(u, v);
                strip.push_back({p.x, p.y, t.x, t.y});
            }
        }
        strips.push_back(strip);
    }
    return strips;
}
p2f Param(float u, float v) {
    return p2f(u, v);
}
p2f NoTexture(float, float) {
    return p2f(0, 0);
}
// The parallelogram a + (b - a) u + (d - a) v, moved by `offset`.
auto Parallelogram(p2f a, p2f b, p2f d, p2f offset = p2f(0, 0)) {
    return [=](float u, float v) { return a + (b - a) * u + (d - a) * v + offset; };
}

void LightAlongZ() {
    const GLfloat direction[4] = {0, 0, 1, 0}, white[4] = {1, 1, 1, 1}, black[4] = {0, 0, 0, 1};
    glEnable(GL_LIGHTING);
    glEnable(GL_LIGHT0);
    glLightfv(GL_LIGHT0, GL_POSITION, direction);
    glLightfv(GL_LIGHT0, GL_DIFFUSE, white);
    glLightfv(GL_LIGHT0, GL_AMBIENT, black);
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, black);
    glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, white);
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, black);
}

void Centre() {
    glTranslatef(16, 16, 0);
}
// Room in depth for a sphere or a cylinder of radius 10 around the centre.
void DeepCentre() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, kSize, 0, kSize, -20, 20);
    glMatrixMode(GL_MODELVIEW);
    Centre();
}

using Outline = std::vector<std::array<GLdouble, 3>>;
int sBegins = 0;
void Tessellate(std::vector<Outline> contours, double winding, bool countBegins = false) {
    Tesselator tess;
    ASSERT_TRUE(tess.IsValid());
    tess.AddTessCallback(GLU_TESS_BEGIN, reinterpret_cast<Tesselator::Callback>(&glBegin));
    tess.AddTessCallback(GLU_TESS_VERTEX, reinterpret_cast<Tesselator::Callback>(&glVertex3dv));
    tess.AddTessCallback(GLU_TESS_END, reinterpret_cast<Tesselator::Callback>(&glEnd));
    tess.SetTessProperty(GLU_TESS_WINDING_RULE, winding);
    int count = 0;
    if (countBegins) // the polygon data reaches the *_DATA callbacks
        tess.AddTessCallback(GLU_TESS_BEGIN_DATA,
                             reinterpret_cast<Tesselator::Callback>(+[](GLenum mode, void* data) {
                                 ++*static_cast<int*>(data);
                                 ++sBegins;
                                 glBegin(mode);
                             }));
    sBegins = 0;
    tess.TessBeginPolygon(&count);
    for (auto& contour : contours) {
        tess.TessBeginContour();
        for (auto& p : contour)
            tess.TessVertex(p.data(), p.data());
        tess.TessEndContour();
    }
    tess.TessEndPolygon();
    if (countBegins) {
        EXPECT_GT(count, 0);
        EXPECT_EQ(count, sBegins);
    }
}
const Outline kOuter = {{4, 4, 0}, {28, 4, 0}, {28, 28, 0}, {4, 28, 0}};
const Outline kHole = {{12, 12, 0}, {20, 12, 0}, {20, 20, 0}, {12, 20, 0}};

// One row per helper and case reads better than one line per field.
// clang-format off
std::vector<Row> Rows() {
    const p3f a(4, 4, 0), b(20, 4, 0), c(20, 12, 0), d(4, 12, 0);
    const p2f pa(2, 3), pb(26, 7), pd(6, 27);
    const p3f qa(pa.x, pa.y, 0), qb(pb.x, pb.y, 0), qd(pd.x, pd.y, 0), qc = qb + qd - qa;
    const p2f ta(0.1f, 0.2f), tb(0.9f, 0.1f), tc(0.7f, 0.8f), td(0.2f, 0.6f);
    const auto cornerTexture = [=](float u, float v) {
        return ta * ((1 - u) * (1 - v)) + tb * (u * (1 - v)) + tc * (u * v) + td * ((1 - u) * v);
    };
    const p3f da(3, 5, 0), db(27, 9, 0), dd(7, 25, 0), dc = db + dd - da;
    const auto untextured = [](const FeedbackVertex&) { return V{0, 0}; };
    return {
        // The plane: corners and inset texture coordinates in the documented order.
        {"PlaneDefault", Ndc, [] { sPlane.Draw(); }, {},
         {{32, 32, .99f, .99f}, {0, 32, .01f, .99f}, {0, 0, .01f, .01f}, {32, 0, .99f, .01f}}, -1, 1,
         Rect(0, 0, 32, 32), 0, p3f(0, 0, 1)},
        {"PlaneInset", nullptr, [] { sPlane.Draw(2, 3, 30, 20, 0.25f); }, {},
         {{30, 20, .75f, .75f}, {2, 20, .25f, .75f}, {2, 3, .25f, .25f}, {30, 3, .75f, .25f}}, -1, 1,
         Rect(2, 3, 30, 20), 0, p3f(0, 0, 1)},
        {"PlaneSize", nullptr, [] { sPlane.Draw(7.0f, 5.0f); }, {},
         {{7, 5, 1, 1}, {0, 5, 0, 1}, {0, 0, 0, 0}, {7, 0, 1, 0}}, -1, 1, Rect(0, 0, 7, 5)},
        {"PlaneRegion", nullptr, [] { sPlane.Draw(Region(9, 11, 6, 13)); }, {},
         {{15, 24, 1, 1}, {9, 24, 0, 1}, {9, 11, 0, 0}, {15, 11, 1, 0}}, -1, 1, Rect(9, 11, 15, 24)},
        {"Triangle", Ndc, [] { sTriangle.Draw(); }, {},
         {{8, 32, .0001f, .9999f}, {16, 0, .4999f, .0001f}, {24, 32, .9999f, .9999f}}, 1, 1, nullptr, 0,
         p3f(0, 0, 1)},
        // Four bands, the edges halved with truncation toward zero ((-15) / 2 = -7).
        {"RegionBands", [] { glTranslatef(10, 10, 0); }, [] { DrawRegion(Region(0, 0, 10, 7)); },
         RegionStrip(0, 10, {0, 1, 3, 5, 7}), {}, -1, 0, Rect(10, 10, 20, 17)},
        {"RegionOddBands", [] { glTranslatef(10, 10, 0); }, [] { DrawRegion(Region(3, 4, 5, 9)); },
         RegionStrip(3, 8, {4, 6, 8, 10, 13})},
        {"RegionNegative", [] { glTranslatef(10, 10, 0); }, [] { DrawRegion(Region(-8, -9, 4, 5)); },
         RegionStrip(-8, -4, {-9, -7, -6, -5, -4})},
        {"TexturedRegion", nullptr, [] { DrawTexturedRegion(Region(4, 6, 12, 8)); },
         {{{4, 6, 0, 0}, {16, 6, 1, 0}, {4, 14, 0, 1}, {16, 14, 1, 1}}}, {}, -1, 0, Rect(4, 6, 16, 14), 0,
         p3f(0, 0, 1)},
        // Quads: strip a, b, d, c; normal normalise((d - b) x (c - a)), worked out by hand.
        {"Quad", nullptr, [=] { DrawQuad(a, b, c, d); },
         {{{4, 4, 0, 0}, {20, 4, 1, 0}, {4, 12, 0, 1}, {20, 12, 1, 1}}}, {}, -1, 0, Rect(4, 4, 20, 12), 0,
         p3f(0, 0, -1)},
        {"QuadReversed", nullptr, [=] { DrawQuad(a, d, c, b); },
         {{{4, 4, 0, 0}, {4, 12, 1, 0}, {20, 4, 0, 1}, {20, 12, 1, 1}}}, {}, -1, 0, nullptr, 0, p3f(0, 0, 1)},
        {"QuadStanding", nullptr, [] { DrawQuad(p3f(0, 0, 0), p3f(2, 0, 0), p3f(2, 0, 2), p3f(0, 0, 2)); },
         {},
         {}, -1, 0, nullptr, 0, p3f(0, 1, 0)},
        {"QuadDivided", nullptr, [=] { DrawQuad(qa, qb, qc, qd, 4, 3, false); },
         GridStrips(4, 3, Parallelogram(pa, pb, pd), Param), {}, -1, 1, nullptr, 0, p3f(0, 0, -1)},
        {"QuadDividedFlipped", nullptr, [=] { DrawQuad(qa, qb, qc, qd, 4, 3, true); },
         GridStrips(4, 3, Parallelogram(pa, pb, pd), Param), {}, -1, 1, nullptr, 0, p3f(0, 0, 1)},
        {"QuadCornerTextures", nullptr,
         [=] { DrawQuad(p3f(4, 2, 0), ta, p3f(28, 2, 0), tb, p3f(28, 30, 0), tc, p3f(4, 30, 0), td, 5, 3); },
         GridStrips(5, 3, Parallelogram(p2f(4, 2), p2f(28, 2), p2f(4, 30)), cornerTexture), {}, -1, 1,
         nullptr,
         0, p3f(0, 0, -1)},
        {"QuadTooFewPoints", nullptr, [=] { DrawQuad(qa, qb, qc, qd, 1, 5, false); }, {}, {}, 0},
        // DrawPlane: the grid laid over the parallelogram, under the caller's matrix.
        {"Plane20x20", [] { glTranslatef(0.5f, 0.25f, 0); }, [=] { DrawPlane(da, db, dc, dd, 20, 20); },
         GridStrips(20, 20, Parallelogram(p2f(3, 5), p2f(27, 9), p2f(7, 25), p2f(0.5f, 0.25f)), Param, true)},
        {"Plane3x6", [] { glTranslatef(0.5f, 0.25f, 0); }, [=] { DrawPlane(da, db, dc, dd, 3, 6); },
         GridStrips(3, 6, Parallelogram(p2f(3, 5), p2f(27, 9), p2f(7, 25), p2f(0.5f, 0.25f)), Param, true)},
        // Grids over -1...1, texture 0...1; the last row is flat and may or may not be reported.
        {"GridTextured", Ndc, [] { Grid(5, 4).DrawTexture(); },
         GridStrips(5, 4, Parallelogram(p2f(0, 0), p2f(32, 0), p2f(0, 32)), Param, true), {}, -1, 1,
         Rect(0, 0, 32, 32), 0, p3f(0, 0, 1)},
        {"GridPlain", Ndc, [] { Grid(5, 4).Draw(); },
         GridStrips(5, 4, Parallelogram(p2f(0, 0), p2f(32, 0), p2f(0, 32)), NoTexture, true), {}, -1, 1,
         nullptr, 0, p3f(0, 0, 1)},
        {"GridUnderTheCallersMatrix", [] { Ndc(), glTranslatef(0.5f, 0, 0); }, [] { Grid(9, 5).Draw(); }, {},
         {}, -1, 0, Rect(8, 0, 32, 32)},
        // Client arrays: what was recorded per vertex; without a colour, the current one.
        {"ObjectArrayRecorded", nullptr,
         [] {
             ObjectArray array(GL_QUADS, 4);
             array.Color(Color(1, 0, 0, 1));
             for (const p3f& p : {p3f(2, 2, 0), p3f(10, 2, 0), p3f(10, 10, 0), p3f(2, 10, 0)})
                 array.Vertex(p);
             array.Color(Color(0, 1, 0, 1));
             array.Vertex(p3f(20, 2, 0), p2f(0.25f, 0.5f));
             array.Vertex(p3f(28, 2, 0));
             array.Vertex(p3f(28, 10, 0));
             array.Vertex(p3f(20, 10, 0), p2f(0.75f, 1));
             array.Draw();
             EXPECT_FALSE(array.MustDraw());
             EXPECT_EQ(array.Count(), 8) << "vertices stay after drawing";
         },
         {},
         {{2, 2, 0, 0, 1, 0, 0}, {10, 2, 0, 0, 1, 0, 0}, {10, 10, 0, 0, 1, 0, 0}, {2, 10, 0, 0, 1, 0, 0},
          {20, 2, .25f, .5f, 0, 1, 0}, {28, 2, .25f, .5f, 0, 1, 0}, {28, 10, .25f, .5f, 0, 1, 0},
          {20, 10, .75f, 1, 0, 1, 0}},
         -1, 1, [](float x, float y) { return Rect(2, 2, 10, 10)(x, y) || Rect(20, 2, 28, 10)(x, y); }},
        {"ObjectArrayOwnNormal", LightAlongZ,
         [] {
             ObjectArray array(GL_TRIANGLES, 3);
             for (const p3f& p : {p3f(1, 1, 0), p3f(9, 1, 0), p3f(1, 9, 0)})
                 array.Vertex(p);
             array.Draw();
         },
         {}, {Grey(1, 1, 0, 0, 1), Grey(9, 1, 0, 0, 1), Grey(1, 9, 0, 0, 1)}, 1, 0, nullptr, 0, p3f(0, 0, 1)},
        {"ObjectArrayNormals", LightAlongZ,
         [] {
             ObjectArray array(GL_TRIANGLES, 3);
             array.Normal(p3f(0, 0, 1));
             array.Vertex(p3f(1, 1, 0));
             array.Normal(p3f(0.6f, 0, 0.8f));
             array.Vertex(p3f(9, 1, 0));
             array.Normal(p3f(1, 0, 0));
             array.Vertex(p3f(1, 9, 0));
             array.Draw();
         },
         {}, {Grey(1, 1, 0, 0, 1), Grey(9, 1, 0, 0, 0.8f), Grey(1, 9, 0, 0, 0)}, 1},
        {"ObjectArrayEmpty", nullptr, [] { ObjectArray(GL_TRIANGLES, 0).Draw(); }, {}, {}, 0},
        // The index range [1, 7): triangles (1, 3, 2) and (0, 1, 2); index 4 lies outside it.
        {"IndexVertices", LightAlongZ,
         [] {
             IndexVertices(GL_TRIANGLES,
                           {p3f(1, 1, 0), p3f(20, 1, 0), p3f(1, 20, 0), p3f(20, 20, 0), p3f(30, 30, 0)},
                           {p3f(0, 0, 1), p3f(0, 0.6f, 0.8f), p3f(0.8f, 0, 0.6f), p3f(1, 0, 0), p3f(0, 0, 1)},
                           {p3f(0, 0, 9), p3f(1, 0, 9), p3f(0, 1, 9), p3f(1, 1, 9), p3f(5, 5, 9)},
                           {4, 1, 3, 2, 0, 1, 2, 4}, 1, 6);
         },
         {{Grey(20, 1, 1, 0, .8f), Grey(20, 20, 1, 1, 0), Grey(1, 20, 0, 1, .6f)},
          {Grey(1, 1, 0, 0, 1), Grey(20, 1, 1, 0, .8f), Grey(1, 20, 0, 1, .6f)}}},
        {"ObjectBracket", nullptr,
         [] {
             Object triangle(GL_TRIANGLES);
             glVertex2f(1, 1);
             glVertex2f(9, 1);
             glVertex2f(1, 9);
         },
         {}, {{1, 1}, {9, 1}, {1, 9}}, 1, 1, nullptr, 0, p3f(0, 0, 1)},
        // GLU quadrics: made on first use, their settings reach GLU.
        {"DiskRing", Centre, [] { Quadric().DrawDisk(5, 12, 64, 2); }, {}, {}, -1, 0, Ring(5, 12), 12},
        {"Sphere", DeepCentre, [] { Quadric().DrawSphere(10, 48, 24); }, {}, {}, -1, 0, Ring(0, 10), 16},
        // Turned so that its axis runs up the window: the rectangle of its diameter by its height
        // (GLU puts facet corners on the x extremes, so the edges are exact).
        {"Cylinder", [] { DeepCentre(), glRotatef(-90, 1, 0, 0); },
         [] { Quadric().DrawCylinder(6, 6, 10, 32, 4); }, {}, {}, -1, 0, Rect(10, 16, 22, 26)},
        {"DiskUntextured", Centre, [] { Quadric().DrawDisk(0, 10, 16, 1); }, {}, {}, -1, 1, nullptr, 0,
         kUnchecked, untextured},
        {"DiskTextured", Centre,
         [] {
             Quadric quadric;
             quadric.Texture(true);
             quadric.DrawDisk(0, 10, 16, 1);
         },
         {}, {}, -1, 1, nullptr, 0, kUnchecked,
         // GLU maps the disk's radius 10 onto 0.5 of texture space around (0.5, 0.5).
         [](const FeedbackVertex& v) { return V{0, 0, 0.5f + (v.x - 16) / 20, 0.5f + (v.y - 16) / 20}; }},
        {"DiskInside", Centre,
         [] {
             Quadric quadric;
             quadric.Orientation(GLU_INSIDE);
             quadric.DrawDisk(0, 10, 16, 1);
         },
         {}, {}, -1, -1, nullptr, 0, kUnchecked, untextured},
        // Tessellation: a concave outline, and nested squares under two winding rules.
        {"TessellatedL", nullptr,
         [] { Tessellate({{{4, 4, 0}, {28, 4, 0}, {28, 16, 0}, {16, 16, 0}, {16, 28, 0}, {4, 28, 0}}},
                         GLU_TESS_WINDING_ODD); },
         {}, {}, -1, 0,
         [](float x, float y) { return Rect(4, 4, 28, 16)(x, y) || Rect(4, 16, 16, 28)(x, y); }},
        {"TessellatedOdd", nullptr, [] { Tessellate({kOuter, kHole}, GLU_TESS_WINDING_ODD); }, {}, {}, -1, 0,
         [](float x, float y) { return Rect(4, 4, 28, 28)(x, y) && !Rect(12, 12, 20, 20)(x, y); }},
        {"TessellatedPositive", nullptr, [] { Tessellate({kOuter, kHole}, GLU_TESS_WINDING_POSITIVE, true); },
         {}, {}, -1, 0, Rect(4, 4, 28, 28)},
    };
}
// clang-format on

class GeometryTable : public GeometryGlTest {
protected:
    std::array<float, 16> Matrix(GLenum which) {
        std::array<float, 16> m;
        glGetFloatv(which, m.data());
        return m;
    }

    void Check(const Row& row) {
        SCOPED_TRACE(row.name);
        Reset();
        // Sentinels: a texture-coordinate array left enabled, a colour and a normal set by hand.
        static const GLfloat dummy[4] = {0, 0, 0, 0};
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(2, GL_FLOAT, 0, dummy);
        glColor4fv(kColour);
        glTexCoord2f(0, 0);
        if (row.setup)
            row.setup();
        const auto modelView = Matrix(GL_MODELVIEW_MATRIX), projection = Matrix(GL_PROJECTION_MATRIX);

        const auto polygons = CapturePolygons(row.draw);
        Region3d box;
        {
            Feedback feedback(Feedback::kType3D);
            row.draw();
            box = feedback.GetRegion();
        }
        glNormal3f(0.6f, 0, 0.8f); // a normal no helper gives
        row.draw();

        // The caller's state as it was.
        EXPECT_EQ(Matrix(GL_MODELVIEW_MATRIX), modelView);
        EXPECT_EQ(Matrix(GL_PROJECTION_MATRIX), projection);
        GLint mode = 0;
        glGetIntegerv(GL_MATRIX_MODE, &mode);
        EXPECT_EQ(mode, GL_MODELVIEW);
        EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY) || glIsEnabled(GL_NORMAL_ARRAY) ||
                     glIsEnabled(GL_COLOR_ARRAY));
        EXPECT_TRUE(glIsEnabled(GL_TEXTURE_COORD_ARRAY));
        GLvoid* pointer = nullptr;
        glGetPointerv(GL_TEXTURE_COORD_ARRAY_POINTER, &pointer);
        EXPECT_EQ(pointer, dummy);
        std::array<float, 4> colour;
        glGetFloatv(GL_CURRENT_COLOR, colour.data());
        EXPECT_EQ(colour, (std::array<float, 4>{kColour[0], kColour[1], kColour[2], kColour[3]}));
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        if (row.normal != kUnchecked) {
            GLfloat n[3];
            glGetFloatv(GL_CURRENT_NORMAL, n);
            EXPECT_EQ(p3f(n[0], n[1], n[2]), row.normal);
        }
        if (row.inside) {
            EXPECT_LE(CoverageDifferences(row.inside), row.slack);
        }
        glDisable(GL_LIGHTING);
        glDisableClientState(GL_TEXTURE_COORD_ARRAY);

        // The library's measurement agrees with the capture.
        Region3d captured;
        for (const auto& p : polygons)
            for (const auto& v : p)
                captured = captured | p3f(v.x, v.y, v.z);
        EXPECT_EQ(box.IsValid(), captured.IsValid());
        if (box.IsValid()) {
            EXPECT_EQ(box.GetMinimum(), captured.GetMinimum());
            EXPECT_EQ(box.GetMaximum(), captured.GetMaximum());
        }
        if (row.polygons >= 0) {
            EXPECT_EQ(polygons.size(), size_t(row.polygons));
        }
        for (const auto& p : polygons) {
            if (row.winding != 0 && std::fabs(SignedArea(p)) > 1e-3f) {
                EXPECT_EQ(SignedArea(p) > 0, row.winding > 0) << "winding of a polygon at " << Text(p[0]);
            }
            for (const auto& v : p) {
                if (row.rule) {
                    V e = row.rule(v);
                    e.x = v.x, e.y = v.y;
                    EXPECT_TRUE(Matches(v, e)) << Text(v);
                }
            }
        }
        if (row.strips.empty() && row.points.empty())
            return;

        // The triangles of the strips as vertex sets (a driver may start a triangle anywhere); flat
        // ones may be left out. Without strips, the vertices alone.
        const auto has = [](const FeedbackPolygon& p, const V& e) {
            return std::any_of(p.begin(), p.end(), [&](const FeedbackVertex& v) { return Matches(v, e); });
        };
        for (const V& e : row.points)
            EXPECT_TRUE(
                std::any_of(polygons.begin(), polygons.end(), [&](const auto& p) { return has(p, e); }))
                << "missing vertex (" << e.x << ", " << e.y << ")";
        std::vector<std::array<V, 3>> triangles;
        for (const auto& strip : row.strips)
            for (size_t k = 0; k + 2 < strip.size(); ++k)
                triangles.push_back({strip[k], strip[k + 1], strip[k + 2]});
        const auto same = [&](const FeedbackPolygon& p, const std::array<V, 3>& t) {
            return p.size() == 3 && has(p, t[0]) && has(p, t[1]) && has(p, t[2]);
        };
        for (const auto& t : triangles) {
            if (std::fabs((t[1].x - t[0].x) * (t[2].y - t[0].y) - (t[2].x - t[0].x) * (t[1].y - t[0].y)) <
                1e-3f)
                continue;
            EXPECT_TRUE(
                std::any_of(polygons.begin(), polygons.end(), [&](const auto& p) { return same(p, t); }))
                << "missing triangle at (" << t[0].x << ", " << t[0].y << ")";
        }
        for (const auto& p : polygons) {
            const bool expected =
                row.strips.empty()
                    ? std::all_of(p.begin(), p.end(),
                                  [&](const FeedbackVertex& v) {
                                      return std::any_of(row.points.begin(), row.points.end(),
                                                         [&](const V& e) { return Matches(v, e); });
                                  })
                    : std::any_of(triangles.begin(), triangles.end(),
                                  [&](const auto& t) { return same(p, t); });
            EXPECT_TRUE(expected) << "unexpected polygon at " << Text(p[0]);
        }
    }
};

TEST_F(GeometryTable, EveryHelperDrawsWhatItDocuments) {
    for (const Row& row : Rows())
        Check(row);
}

// ---- Matrix functions against OpenGL's own -------------------------------------------------

std::array<float, 16> ModelViewAfter(const std::function<void()>& f) {
    glLoadIdentity();
    f();
    std::array<float, 16> m;
    glGetFloatv(GL_MODELVIEW_MATRIX, m.data());
    return m;
}

// An m33f as OpenGL's column-major matrix: element (row i, column j) at 4 j + i.
void MultRotation(const m33f& r) {
    float m[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[4 * j + i] = r[i][j];
    glMultMatrixf(m);
}

TEST_F(GeometryGlTest, MatrixFunctionsMatchOpenGL) {
    float values[16];
    for (int k = 0; k < 16; ++k)
        values[k] = 0.25f * float(k + 1);
    struct Case {
        std::string name;
        std::function<void()> ours, reference;
    };
    std::vector<Case> cases = {
        {"identity", [] { glTranslatef(3, 4, 5), LoadIdentity(); }, [] {}},
        {"translate", [] { Translate(p3f(1.5f, -2, 3)), Translate(0.5f, 1, -1); },
         [] { glTranslatef(2, -1, 2); }},
        {"scale", [] { Scale(p3f(2, 3, 4)), Scale(0.5f, 1, 2); }, [] { glScalef(1, 3, 8); }},
        {"axis", [] { Rotate(37.0f, p3f(1, 2, -0.5f)); },
         [] { MultRotation(m33f::axangle(p3f(1, 2, -0.5f), 37)); }},
        {"one angle, one turn about -y", [] { Rotate(0, 45, 0, XYZ); }, [] { glRotatef(45, 0, -1, 0); }},
        {"order out of range", [] { glTranslatef(1, 2, 3), Rotate(10, 20, 30, RotationOrder(6)); },
         [] { glTranslatef(1, 2, 3); }},
        {"storage order", [&] { MultMatrix(m44f(values, false)); }, [&] { glMultMatrixf(values); }},
    };
    // Turns about -Y and -Z, so against m33f::angle (Ry(-y), Rz(z)) the z angle changes sign.
    for (int order = 0; order < 6; ++order) {
        const auto o = RotationOrder(order);
        cases.push_back({"euler " + std::to_string(order), [o] { Rotate(20, -35, 50, o); },
                         [o] { MultRotation(m33f::angle(20, -35, -50, o)); }});
        cases.push_back({"euler p3f " + std::to_string(order), [o] { Rotate(p3f(20, -35, 50), o); },
                         [o] { MultRotation(m33f::angle(20, -35, -50, o)); }});
    }
    glMatrixMode(GL_MODELVIEW);
    for (const Case& c : cases) {
        const auto ours = ModelViewAfter(c.ours), reference = ModelViewAfter(c.reference);
        for (int k = 0; k < 16; ++k)
            EXPECT_NEAR(ours[k], reference[k], 1e-5) << c.name << " element " << k;
        GLint mode = 0;
        glGetIntegerv(GL_MATRIX_MODE, &mode);
        EXPECT_EQ(mode, GL_MODELVIEW) << c.name;
    }
    // One unit per pixel, model-view selected and reset.
    glTranslatef(7, 7, 0);
    glMatrixMode(GL_TEXTURE);
    RasterProjection(kSize / 2, kSize / 2);
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_MODELVIEW);
    glRecti(3, 9, 4, 10);
    EXPECT_EQ(CoverageDifferences(Rect(6, 18, 8, 20)), 0) << "a unit square at (3, 9) of half the size";
}

// ---- Point parameters ----------------------------------------------------------------------

TEST_F(GeometryGlTest, DistancePointScalingSetsTheParameters) {
    const auto get = [](GLenum name) {
        GLfloat value[3] = {-1, -1, -1};
        glGetFloatv(name, value);
        return name == GL_POINT_DISTANCE_ATTENUATION ? std::vector<float>(value, value + 3)
                                                     : std::vector<float>{value[0]};
    };
    const float largest = std::min(get(GL_POINT_SIZE_MAX)[0], 64.0f);
    EXPECT_GT(largest, 1.0f);
    EXPECT_TRUE(EnableDistPointScaling(2.0f));
    EXPECT_EQ(get(GL_POINT_DISTANCE_ATTENUATION), (std::vector<float>{1, 0.05f, 1e-13f}));
    EXPECT_EQ(get(GL_POINT_SIZE)[0], largest);
    EXPECT_EQ(get(GL_POINT_SIZE_MAX)[0], largest);
    EXPECT_EQ(get(GL_POINT_SIZE_MIN)[0], 1.0f);
    EXPECT_EQ(get(GL_POINT_FADE_THRESHOLD_SIZE)[0], 60.0f);
    glPointSize(3);
    EXPECT_TRUE(RescaleDistPoint(4.0f));
    EXPECT_EQ(get(GL_POINT_DISTANCE_ATTENUATION), (std::vector<float>{1, 0.025f, 1e-13f}));
    EXPECT_EQ(get(GL_POINT_SIZE)[0], 3.0f) << "rescaling changes the attenuation only";

    GLEntry::glPointParameterfv(GL_POINT_DISTANCE_ATTENUATION, std::array<float, 3>{1, 0, 0}.data());
    const auto saved = GLEntry::glPointParameterfv;
    GLEntry::glPointParameterfv = nullptr;
    EXPECT_THROW(EnableDistPointScaling(1.0f), Unsupported);
    EXPECT_THROW(RescaleDistPoint(1.0f), Unsupported);
    GLEntry::glPointParameterfv = saved;
    EXPECT_EQ(get(GL_POINT_DISTANCE_ATTENUATION), (std::vector<float>{1, 0, 0})) << "nothing was set";
}

// ---- Life cycles: remade after Finalize, measured once, restored ---------------------------

TEST_F(GeometryGlTest, LifeCycles) {
    Ndc();
    sGrid.DrawTexture();
    EXPECT_EQ(Covered(), kSize * kSize);
    Reset();

    Quadric quadric;
    quadric.Normals(GLU_SMOOTH);
    quadric.Finalize();
    Centre();
    quadric.DrawDisk(0, 8, 32, 1);
    EXPECT_LE(CoverageDifferences(Ring(0, 8)), 8) << "drawing after Finalize makes it again";
    Reset();

    // The first query ends a measurement; later drawing is real and changes nothing.
    Feedback feedback;
    EXPECT_TRUE(Feedback::IsFeedbackMode());
    sPlane.Draw(-10, 20, 20, 90, 0); // partly outside: the box of the clipped polygon
    EXPECT_EQ(feedback.GetMinimum(), p3f(0, 20, 0));
    EXPECT_FALSE(Feedback::IsFeedbackMode());
    EXPECT_EQ(Covered(), 0) << "feedback mode draws nothing";
    sPlane.Draw(0, 0, 4, 4, 0);
    EXPECT_EQ(feedback.GetMaximum(), p3f(20, 32, 0));
    EXPECT_EQ(Region(feedback.GetRegion()), Region(0, 20, 20, 12));
    EXPECT_EQ(Covered(), 16);
    {
        Feedback nothing;
        EXPECT_FALSE(nothing.GetRegion().IsValid());
    }
    {
        Feedback unread;
        sPlane.Draw(0, 0, 4, 4, 0);
    }
    EXPECT_FALSE(Feedback::IsFeedbackMode()) << "the destructor ends an unread measurement";
    auto* finished = new Feedback;
    finished->GetRegion();
    Feedback open(Feedback::kType3D);
    delete finished;
    EXPECT_TRUE(Feedback::IsFeedbackMode()) << "a finished measurement does not end a later one";
    glBegin(GL_POINTS);
    glVertex3f(3, 5, -0.5f); // window depth 0.75
    glEnd();
    EXPECT_EQ(open.GetMaximum(), p3f(3, 5, 0.75f));

    // Client arrays: set as asked, restored; the current colour only when a colour array was
    // asked for, and then through the library's mirror too.
    glEnableClientState(GL_NORMAL_ARRAY);
    for (const bool colours : {false, true})
        for (const bool texCoords : {false, true}) {
            glColor4f(0.25f, 0.5f, 0.75f, 1);
            {
                PushArrays push(texCoords, !texCoords, colours);
                EXPECT_TRUE(glIsEnabled(GL_VERTEX_ARRAY));
                EXPECT_EQ(glIsEnabled(GL_TEXTURE_COORD_ARRAY) == GL_TRUE, texCoords);
                EXPECT_EQ(glIsEnabled(GL_NORMAL_ARRAY) == GL_TRUE, !texCoords);
                EXPECT_EQ(glIsEnabled(GL_COLOR_ARRAY) == GL_TRUE, colours);
                glColor4f(0, 1, 0, 0); // what drawing from a colour array may leave behind
            }
            EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY) || glIsEnabled(GL_TEXTURE_COORD_ARRAY) ||
                         glIsEnabled(GL_COLOR_ARRAY));
            EXPECT_TRUE(glIsEnabled(GL_NORMAL_ARRAY));
            GLfloat c[4];
            glGetFloatv(GL_CURRENT_COLOR, c);
            EXPECT_EQ(c[1], colours ? 0.5f : 1.0f);
            if (colours) {
                EXPECT_EQ(Color::sCurrentColor, Color(0.25f, 0.5f, 0.75f, 1)) << "the mirror follows";
            }
        }
    glDisableClientState(GL_NORMAL_ARRAY);
}

} // namespace
