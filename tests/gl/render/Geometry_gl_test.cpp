// The fixed-function drawing helpers judged by the vertices OpenGL reports in feedback mode or
// by the pixels they cover (each must leave the caller's matrices, client arrays and colour);
// the matrix helpers against OpenGL's own; lights, materials and the highlight style: what they
// apply, and scopes restore.
#include "gl/render/Feedback.h"
#include "gl/render/Geometry.h"
#include "gl/render/Grid.h"
#include "gl/render/Light.h"
#include "gl/render/LightHighlight.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/MatrixStack.h"
#include "gl/render/ObjectArray.h"
#include "gl/render/Plane.h"
#include "gl/render/Quadric.h"
#include "geometry/Region.h"
#include "gl/render/Tesselator.h"
#include "geometry/Vector.h"

#include "gl/render/EffectProgramTestSupport.h"
#include "support/StateSentinel.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::Integer;

namespace {

constexpr int kSize = 32;

bool Enabled(GLenum cap) {
    return glIsEnabled(cap) == GL_TRUE;
}
template <int N> std::array<float, N> Floats(GLenum name) {
    std::array<float, N> v{};
    glGetFloatv(name, v.data());
    return v;
}

// ---- An independent feedback capture, on a float target at one unit per pixel -------------

struct FeedbackVertex {
    float x, y, z, r, g, b, a, s, t;
};
using FeedbackPolygon = std::vector<FeedbackVertex>;

// The polygons (triangles or quads, as the driver reports them) that `draw` produces, in order.
// Fails the test on any other kind of record.
std::vector<FeedbackPolygon> CapturePolygons(const std::function<void()>& draw) {
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
        polygons.emplace_back();
        for (int v = static_cast<int>(buffer[i++]); v > 0; --v, i += 3 + 4 + 4) {
            const GLfloat* f = &buffer[i];
            polygons.back().push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8]});
        }
    }
    return polygons;
}

float SignedArea(const FeedbackPolygon& p) {
    float area = 0;
    for (size_t i = 0; i < p.size(); ++i)
        area += p[i].x * p[(i + 1) % p.size()].y - p[(i + 1) % p.size()].x * p[i].y;
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
        for (GLenum cap : {GL_DEPTH_TEST, GL_BLEND, GL_CULL_FACE, GL_LIGHTING})
            glDisable(cap);
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
    return std::fabs(got.x - e.x) < 1e-3f && std::fabs(got.y - e.y) < 1e-3f && std::fabs(got.z - 0.5f) < 1e-4f &&
           std::fabs(got.s - e.s) < 1e-5f && std::fabs(got.t - e.t) < 1e-5f && std::fabs(got.r - e.r) < 2e-3f &&
           std::fabs(got.g - e.g) < 2e-3f && std::fabs(got.b - e.b) < 2e-3f;
}

std::ostream& operator<<(std::ostream& out, const FeedbackVertex& v) {
    return out << "(" << v.x << ", " << v.y << ") st (" << v.s << ", " << v.t << ") rgb " << p3f(v.r, v.g, v.b);
}

using Inside = std::function<bool(float, float)>;
Inside Rect(float x0, float y0, float x1, float y1) {
    return [=](float x, float y) { return x >= x0 && x < x1 && y >= y0 && y < y1; };
}
Inside Ring(float r0, float r1) {
    return [=](float x, float y) { return std::hypot(x - 16, y - 16) >= r0 && std::hypot(x - 16, y - 16) < r1; };
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
    for (int y : ys)
        strip.insert(strip.end(), {{float(x0 + 10), float(y + 10)}, {float(x1 + 10), float(y + 10)}});
    return {strip};
}

// Rows of strips over a grid of nx x ny parameters, each column giving the upper point first:
// point(u, v) and texture(u, v) for u = i / (nx - 1), v = j / (ny - 1). `lastRow` adds the grid's
// flat top row.
template <class P, class T>
std::vector<std::vector<V>> GridStrips(int nx, int ny, P point, T texture, bool lastRow = false) {
    std::vector<std::vector<V>> strips;
    for (int j = 0; j + 1 < ny || (lastRow && j < ny); ++j) {
        strips.emplace_back();
        const float v0 = float(j) / float(ny - 1), v1 = std::min(float(j + 1) / float(ny - 1), 1.0f);
        for (int i = 0; i < nx; ++i)
            for (float v : {v1, v0}) {
                const float u = float(i) / float(nx - 1);
                const p2f p = point(u, v), t = texture(u, v);
                strips.back().push_back({p.x, p.y, t.x, t.y});
            }
    }
    return strips;
}
const auto Param = [](float u, float v) { return p2f(u, v); };
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
        tess.AddTessCallback(GLU_TESS_BEGIN_DATA, reinterpret_cast<Tesselator::Callback>(+[](GLenum mode, void* data) {
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
    return {
        // The plane: corners and inset texture coordinates in the documented order.
        {"PlaneDefault", Ndc, [] { sPlane.Draw(); }, {},
         {{32, 32, .99f, .99f}, {0, 32, .01f, .99f}, {0, 0, .01f, .01f}, {32, 0, .99f, .01f}}, -1, 1,
         Rect(0, 0, 32, 32), 0, p3f(0, 0, 1)},
        {"PlaneInset", nullptr, [] { sPlane.Draw(2, 3, 30, 20, 0.25f); }, {},
         {{30, 20, .75f, .75f}, {2, 20, .25f, .75f}, {2, 3, .25f, .25f}, {30, 3, .75f, .25f}}, -1, 1,
         Rect(2, 3, 30, 20), 0, p3f(0, 0, 1)},
        {"Triangle", Ndc, [] { sTriangle.Draw(); }, {},
         {{8, 32, .0001f, .9999f}, {16, 0, .4999f, .0001f}, {24, 32, .9999f, .9999f}}, 1, 1, nullptr, 0,
         p3f(0, 0, 1)},
        // Four bands, the edges halved with truncation toward zero ((-15) / 2 = -7).
        {"RegionBands", [] { glTranslatef(10, 10, 0); }, [] { DrawRegion(Region(0, 0, 10, 7)); },
         RegionStrip(0, 10, {0, 1, 3, 5, 7}), {}, -1, 0, Rect(10, 10, 20, 17)},
        {"RegionNegative", [] { glTranslatef(10, 10, 0); }, [] { DrawRegion(Region(-8, -9, 4, 5)); },
         RegionStrip(-8, -4, {-9, -7, -6, -5, -4})},
        {"TexturedRegion", nullptr, [] { DrawTexturedRegion(Region(4, 6, 12, 8)); },
         {{{4, 6, 0, 0}, {16, 6, 1, 0}, {4, 14, 0, 1}, {16, 14, 1, 1}}}, {}, -1, 0, Rect(4, 6, 16, 14), 0,
         p3f(0, 0, 1)},
        // Quads: strip a, b, d, c; normal normalise((d - b) x (c - a)), worked out by hand.
        {"Quad", nullptr, [=] { DrawQuad(a, b, c, d); },
         {{{4, 4, 0, 0}, {20, 4, 1, 0}, {4, 12, 0, 1}, {20, 12, 1, 1}}}, {}, -1, 0, Rect(4, 4, 20, 12), 0,
         p3f(0, 0, -1)},
        {"QuadDivided", nullptr, [=] { DrawQuad(qa, qb, qc, qd, 4, 3, false); },
         GridStrips(4, 3, Parallelogram(pa, pb, pd), Param), {}, -1, 1, nullptr, 0, p3f(0, 0, -1)},
        {"QuadCornerTextures", nullptr,
         [=] { DrawQuad(p3f(4, 2, 0), ta, p3f(28, 2, 0), tb, p3f(28, 30, 0), tc, p3f(4, 30, 0), td, 5, 3); },
         GridStrips(5, 3, Parallelogram(p2f(4, 2), p2f(28, 2), p2f(4, 30)), cornerTexture), {}, -1, 1,
         nullptr, 0, p3f(0, 0, -1)},
        {"QuadTooFewPoints", nullptr, [=] { DrawQuad(qa, qb, qc, qd, 1, 5, false); }, {}, {}, 0},
        // DrawPlane: the grid laid over the parallelogram, under the caller's matrix.
        {"Plane20x20", [] { glTranslatef(0.5f, 0.25f, 0); }, [=] { DrawPlane(da, db, dc, dd, 20, 20); },
         GridStrips(20, 20, Parallelogram(p2f(3, 5), p2f(27, 9), p2f(7, 25), p2f(0.5f, 0.25f)), Param, true)},
        // Grids over -1...1, texture 0...1; the last row is flat and may or may not be reported.
        {"GridTextured", Ndc, [] { Grid(5, 4).DrawTexture(); },
         GridStrips(5, 4, Parallelogram(p2f(0, 0), p2f(32, 0), p2f(0, 32)), Param, true), {}, -1, 1,
         Rect(0, 0, 32, 32), 0, p3f(0, 0, 1)},
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
        // GLU quadrics: made on first use, their settings reach GLU.
        {"DiskRing", Centre, [] { Quadric().DrawDisk(5, 12, 64, 2); }, {}, {}, -1, 0, Ring(5, 12), 12},
        {"Sphere", DeepCentre, [] { Quadric().DrawSphere(10, 48, 24); }, {}, {}, -1, 0, Ring(0, 10), 16},
        // Turned so that its axis runs up the window: the rectangle of its diameter by its height
        // (GLU puts facet corners on the x extremes, so the edges are exact).
        {"Cylinder", [] { DeepCentre(), glRotatef(-90, 1, 0, 0); },
         [] { Quadric().DrawCylinder(6, 6, 10, 32, 4); }, {}, {}, -1, 0, Rect(10, 16, 22, 26)},
        {"DiskTextured", Centre,
         [] {
             Quadric quadric;
             quadric.Texture(true);
             quadric.DrawDisk(0, 10, 16, 1);
         },
         {}, {}, -1, 1, nullptr, 0, kUnchecked,
         // GLU maps the disk's radius 10 onto 0.5 of texture space around (0.5, 0.5).
         [](const FeedbackVertex& v) { return V{0, 0, 0.5f + (v.x - 16) / 20, 0.5f + (v.y - 16) / 20}; }},
        // Tessellation: nested squares under two winding rules.
        {"TessellatedOdd", nullptr, [] { Tessellate({kOuter, kHole}, GLU_TESS_WINDING_ODD); }, {}, {}, -1, 0,
         [](float x, float y) { return Rect(4, 4, 28, 28)(x, y) && !Rect(12, 12, 20, 20)(x, y); }},
        {"TessellatedPositive", nullptr, [] { Tessellate({kOuter, kHole}, GLU_TESS_WINDING_POSITIVE, true); },
         {}, {}, -1, 0, Rect(4, 4, 28, 28)},
    };
}
// clang-format on

class GeometryTable : public GeometryGlTest {
protected:
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
        // The caller's state that every helper must leave as it was.
        const auto callers = [] {
            GLvoid* pointer = nullptr;
            glGetPointerv(GL_TEXTURE_COORD_ARRAY_POINTER, &pointer);
            return std::make_tuple(Floats<16>(GL_MODELVIEW_MATRIX), Floats<16>(GL_PROJECTION_MATRIX),
                                   Integer(GL_MATRIX_MODE), Enabled(GL_VERTEX_ARRAY), Enabled(GL_NORMAL_ARRAY),
                                   Enabled(GL_COLOR_ARRAY), Enabled(GL_TEXTURE_COORD_ARRAY), pointer,
                                   Floats<4>(GL_CURRENT_COLOR));
        };
        const auto before = callers();
        EXPECT_EQ(std::get<2>(before), GL_MODELVIEW);

        const auto polygons = CapturePolygons(row.draw);
        Region3d box;
        {
            Feedback feedback(Feedback::kType3D);
            row.draw();
            box = feedback.GetRegion();
        }
        glNormal3f(0.6f, 0, 0.8f); // a normal no helper gives
        row.draw();
        EXPECT_EQ(callers(), before) << "the caller's matrices, client arrays or colour";
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        if (row.normal != kUnchecked) {
            const auto n = Floats<3>(GL_CURRENT_NORMAL);
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
                EXPECT_EQ(SignedArea(p) > 0, row.winding > 0) << "winding of a polygon at " << p[0];
            }
            for (const auto& v : p) {
                if (row.rule) {
                    V e = row.rule(v);
                    e.x = v.x, e.y = v.y;
                    EXPECT_TRUE(Matches(v, e)) << v;
                }
            }
        }

        // The triangles of the strips as vertex sets (a driver may start a triangle anywhere); flat
        // ones may be left out. Without strips, the vertices alone.
        const auto has = [](const FeedbackPolygon& p, const V& e) {
            return std::any_of(p.begin(), p.end(), [&](const FeedbackVertex& v) { return Matches(v, e); });
        };
        const auto anyPolygon = [&](const std::function<bool(const FeedbackPolygon&)>& f) {
            return std::any_of(polygons.begin(), polygons.end(), f);
        };
        for (const V& e : row.points)
            EXPECT_TRUE(anyPolygon([&](const FeedbackPolygon& p) { return has(p, e); }))
                << "missing vertex (" << e.x << ", " << e.y << ")";
        std::vector<std::array<V, 3>> triangles;
        for (const auto& strip : row.strips)
            for (size_t k = 0; k + 2 < strip.size(); ++k)
                triangles.push_back({strip[k], strip[k + 1], strip[k + 2]});
        const auto same = [&](const FeedbackPolygon& p, const std::array<V, 3>& t) {
            return p.size() == 3 && has(p, t[0]) && has(p, t[1]) && has(p, t[2]);
        };
        for (const auto& t : triangles) {
            if (std::fabs((t[1].x - t[0].x) * (t[2].y - t[0].y) - (t[2].x - t[0].x) * (t[1].y - t[0].y)) >= 1e-3f) {
                EXPECT_TRUE(anyPolygon([&](const FeedbackPolygon& p) { return same(p, t); }))
                    << "missing triangle at (" << t[0].x << ", " << t[0].y << ")";
            }
        }
        const auto expected = [&](const FeedbackPolygon& p) {
            if (!row.strips.empty())
                return std::any_of(triangles.begin(), triangles.end(), [&](const auto& t) { return same(p, t); });
            return std::all_of(p.begin(), p.end(), [&](const FeedbackVertex& v) {
                return std::any_of(row.points.begin(), row.points.end(), [&](const V& e) { return Matches(v, e); });
            });
        };
        for (const auto& p : polygons) {
            if (!row.strips.empty() || !row.points.empty()) {
                EXPECT_TRUE(expected(p)) << "unexpected polygon at " << p[0];
            }
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
    return Floats<16>(GL_MODELVIEW_MATRIX);
}

// An m33f as OpenGL's column-major matrix: element (row i, column j) at 4 j + i.
void MultRotation(const m33f& r) {
    float m[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[4 * j + i] = r[i][j];
    glMultMatrixf(m);
}

TEST_F(GeometryGlTest, MatrixFunctionsMatchOpenGLAndLifeCycles) {
    float values[16];
    for (int k = 0; k < 16; ++k)
        values[k] = 0.25f * float(k + 1);
    struct Case {
        std::string name;
        std::function<void()> ours, reference;
    };
    std::vector<Case> cases = {
        {"axis", [] { Rotate(37.0f, p3f(1, 2, -0.5f)); }, [] { MultRotation(m33f::axangle(p3f(1, 2, -0.5f), 37)); }},
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
    for (const Case& c : cases) {
        const auto ours = ModelViewAfter(c.ours), reference = ModelViewAfter(c.reference);
        for (int k = 0; k < 16; ++k)
            EXPECT_NEAR(ours[k], reference[k], 1e-5) << c.name << " element " << k;
        EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW) << c.name;
    }
    // One unit per pixel, model-view selected and reset.
    glTranslatef(7, 7, 0);
    glMatrixMode(GL_TEXTURE);
    RasterProjection(kSize / 2, kSize / 2);
    EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
    glRecti(3, 9, 4, 10);
    EXPECT_EQ(CoverageDifferences(Rect(6, 18, 8, 20)), 0) << "a unit square at (3, 9) of half the size";

    // Life cycles: remade after Finalize, measured once, restored.
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
                EXPECT_TRUE(Enabled(GL_VERTEX_ARRAY));
                EXPECT_EQ(Enabled(GL_TEXTURE_COORD_ARRAY), texCoords);
                EXPECT_EQ(Enabled(GL_NORMAL_ARRAY), !texCoords);
                EXPECT_EQ(Enabled(GL_COLOR_ARRAY), colours);
                glColor4f(0, 1, 0, 0); // what drawing from a colour array may leave behind
            }
            EXPECT_FALSE(Enabled(GL_VERTEX_ARRAY) || Enabled(GL_TEXTURE_COORD_ARRAY) || Enabled(GL_COLOR_ARRAY));
            EXPECT_TRUE(Enabled(GL_NORMAL_ARRAY));
            EXPECT_EQ(Floats<4>(GL_CURRENT_COLOR)[1], colours ? 0.5f : 1.0f);
            if (colours) {
                EXPECT_EQ(Color::sCurrentColor, Color(0.25f, 0.5f, 0.75f, 1)) << "the mirror follows";
            }
        }
    glDisableClientState(GL_NORMAL_ARRAY);
}

// ---- Lights, materials, the light model, the highlight style -------------------------------

// Positions and directions are read back in eye coordinates, under the identity.
using LightGL = GeometryGlTest;

// Colours as vectors, which print their values when a comparison fails.
p4f Rgba(const Color& c) {
    return p4f(c.red, c.green, c.blue, c.alpha);
}
p4f LightGet(int light, GLenum pname) {
    p4f value(0, 0, 0, 0);
    glGetLightfv(GL_LIGHT0 + light, pname, value);
    return value;
}
Color MaterialGet(GLenum face, GLenum pname) {
    Color value;
    glGetMaterialfv(face, pname, value);
    return value;
}
// OpenGL's current colour, not the library's mirror of it.
Color GlColor() {
    return Color(Floats<4>(GL_CURRENT_COLOR).data());
}
TEST_F(LightGL, LightsMaterialsAndTheHighlightApplyAndRestore) {
    glEnable(GL_LIGHT2);
    glEnable(GL_LIGHTING);
    ParamLight light(2);
    light.Apply();
    EXPECT_FALSE(Enabled(GL_LIGHT2) || Enabled(GL_LIGHTING));
    light.SetDefaults(1, 0);
    light.Apply();
    EXPECT_TRUE(Enabled(GL_LIGHT2) && Enabled(GL_LIGHTING));
    EXPECT_EQ(LightGet(2, GL_POSITION), p4f(0, 0, -2, 1));

    // Without the spot flag the cutoff and exponent are sent as "no spot", and kept so.
    light.spot = light.useAmbient = false;
    light.ambient = Color::White;
    light.spotCutoff = 20.0f;
    light.spotExponent = 5.0f;
    light.constantAttenuation = 3.0f;
    light.linearAttenuation = 2.0f;
    light.ApplyCustom();
    EXPECT_EQ(std::make_tuple(light.spotCutoff, light.spotExponent, light.constantAttenuation,
                              light.linearAttenuation, Rgba(light.ambient)),
              std::make_tuple(180.0f, 0.0f, 1.0f, 0.0f, Rgba(Color::Transparent)));
    EXPECT_EQ(std::make_tuple(LightGet(2, GL_SPOT_CUTOFF).x, LightGet(2, GL_SPOT_EXPONENT).x, LightGet(2, GL_AMBIENT)),
              std::make_tuple(180.0f, 0.0f, Rgba(Color::Transparent)));
    light.spot = true;
    light.spotCutoff = 20.0f;
    light.ApplyCustom();
    EXPECT_EQ(LightGet(2, GL_SPOT_CUTOFF).x, 20.0f) << "with the flag the spot goes through as it is";

    const GLint maxLights = Integer(GL_MAX_LIGHTS);
    for (int i = 0; i < maxLights; ++i)
        i % 3 == 1 ? glEnable(GL_LIGHT0 + i) : glDisable(GL_LIGHT0 + i);
    ParamLights lights;
    lights.Retrieve();
    EXPECT_EQ(lights.count, maxLights < 8 ? maxLights : 8);
    for (int i = 0; i < lights.count; ++i)
        EXPECT_EQ(lights.switches[i] != 0, i % 3 == 1) << i;
    EXPECT_NE(lights.lighting, 0);
    ParamLights::DisableLights();
    for (int i = 0; i < maxLights; ++i)
        EXPECT_FALSE(Enabled(GL_LIGHT0 + i)) << i;
    EXPECT_FALSE(Enabled(GL_LIGHTING));
    lights.Apply();
    for (int i = 0; i < lights.count; ++i)
        EXPECT_EQ(Enabled(GL_LIGHT0 + i), i % 3 == 1) << i;
    EXPECT_TRUE(Enabled(GL_LIGHTING));

    // Materials and their pushes restore.
    Material m(Color(0.1f, 0.2f, 0.3f, 1.0f), Color(0.4f, 0.5f, 0.6f, 1.0f), Color(0.7f, 0.7f, 0.7f, 1.0f),
               Color(0.05f, 0.0f, 0.0f, 1.0f), 32.0f);
    m.back.diffuse = Color(0.9f, 0.1f, 0.1f, 1.0f);
    m.Apply();
    EXPECT_EQ(MaterialGet(GL_FRONT, GL_DIFFUSE), m.front.diffuse);
    EXPECT_EQ(MaterialGet(GL_BACK, GL_DIFFUSE), m.back.diffuse);
    EXPECT_EQ(MaterialGet(GL_FRONT, GL_SHININESS).red, 32.0f);
    // Changed in the context directly: Retrieve still gives the applied material.
    const float red[4] = {1, 0, 0, 1};
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, red);
    Material read;
    read.Retrieve();
    EXPECT_EQ(read, m);

    // Each push of a colour material sets what it should and brings back colour and material,
    // also after something else was applied inside.
    const ColorMaterial original(Color(0.25f, 0.25f, 0.5f, 1.0f), Color::Gray);
    original.Apply();
    EXPECT_EQ(Color::sCurrentColor, original.color);
    ColorMaterial now;
    for (const bool custom : {false, true}) {
        {
            const ColorMaterial pushed = custom ? ColorMaterial(Color::Red, Color::Blue)
                                                : ColorMaterial(Color::DarkGray, Color::Transparent);
            const auto push = custom ? std::make_unique<PushColorMaterial>(Color::Red, Color::Blue)
                                     : std::make_unique<PushColorMaterial>();
            now.Retrieve();
            EXPECT_EQ(now, pushed);
            EXPECT_EQ(GlColor(), pushed.color);
            ColorMaterial(Color::Green, Color::Green).Apply();
        }
        now.Retrieve();
        EXPECT_EQ(now, original);
        EXPECT_EQ(GlColor(), original.color);
        EXPECT_EQ(MaterialGet(GL_BACK, GL_DIFFUSE), Color::Gray);
    }

    // The highlight style: its stipple and colour, and the caller's brought back.
    for (bool stippleBefore : {false, true}) {
        SCOPED_TRACE(stippleBefore ? "stipple on before" : "stipple off before");
        stippleBefore ? glEnable(GL_LINE_STIPPLE) : glDisable(GL_LINE_STIPPLE);
        glLineStipple(1, 0xFFFF);
        const Color before(0.25f, 0.5f, 0.75f, 1.0f);
        before.Apply();
        {
            Highlight highlight;
            EXPECT_EQ(std::make_tuple(Enabled(GL_LINE_STIPPLE), Integer(GL_LINE_STIPPLE_REPEAT),
                                      Integer(GL_LINE_STIPPLE_PATTERN)),
                      std::make_tuple(true, 5, 0x5555));
            EXPECT_EQ(Color::sCurrentColor, Color::Bright);
            EXPECT_EQ(GlColor(), Color::Bright);
            // Switched by hand inside: the destructor still brings back the saved switch.
            if (stippleBefore)
                glDisable(GL_LINE_STIPPLE);
        }
        EXPECT_EQ(Enabled(GL_LINE_STIPPLE), stippleBefore);
        EXPECT_EQ(Integer(GL_LINE_STIPPLE_PATTERN), 0x5555) << "the pattern stays";
        EXPECT_EQ(Color::sCurrentColor, before);
        EXPECT_EQ(GlColor(), before);
    }
    glDisable(GL_LINE_STIPPLE);
}

} // namespace
