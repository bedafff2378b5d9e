#pragma once

// Shared set-up of the geometry GL tests: the program tests' float target drawn into at one unit
// per pixel, and an independent capture of what OpenGL's feedback mode reports for a drawing
// (window positions, colours and texture coordinates), made with plain gl calls rather than the
// library's Feedback.
#include "gl/render/EffectProgramTestSupport.h"
#include "gl/render/Vector.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace geometry_test {

using namespace OGL_ZEP6_AE;

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

} // namespace geometry_test
