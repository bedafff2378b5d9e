#pragma once

// Shared set-up of the geometry GL tests: the root context on the test's thread, a small RGBA8
// framebuffer object drawn into at one unit per pixel, and an independent capture of what
// OpenGL's feedback mode reports for a drawing (window positions, colours and texture
// coordinates), made with plain gl calls rather than the library's Feedback.
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "gl/render/Vector.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
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

class GeometryGlTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(RootContext::Select());
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &framebuffer_);
        ZEP6_GLCALL(glGenRenderbuffersEXT)(1, &renderbuffer_);
        ZEP6_GLCALL(glBindRenderbufferEXT)(GL_RENDERBUFFER_EXT, renderbuffer_);
        ZEP6_GLCALL(glRenderbufferStorageEXT)(GL_RENDERBUFFER_EXT, GL_RGBA8, kSize, kSize);
        ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, framebuffer_);
        ZEP6_GLCALL(glFramebufferRenderbufferEXT)
        (GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_RENDERBUFFER_EXT, renderbuffer_);
        ASSERT_EQ(ZEP6_GLCALL(glCheckFramebufferStatusEXT)(GL_FRAMEBUFFER_EXT),
                  GLenum(GL_FRAMEBUFFER_COMPLETE_EXT));
        Reset();
    }

    // A pixel projection over the framebuffer, identity model-view, nothing enabled, white.
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
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    void TearDown() override {
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        if (framebuffer_ != 0) {
            ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, 0);
            ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &framebuffer_);
        }
        if (renderbuffer_ != 0)
            ZEP6_GLCALL(glDeleteRenderbuffersEXT)(1, &renderbuffer_);
    }

    // RGBA8 pixels, rows from the bottom.
    std::vector<std::uint8_t> Pixels() const {
        std::vector<std::uint8_t> pixels(kSize * kSize * 4);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, kSize, kSize, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    }

    // How many pixels were drawn (non-zero alpha; the clear colour has none).
    int Covered() const {
        const std::vector<std::uint8_t> pixels = Pixels();
        int n = 0;
        for (int i = 0; i < kSize * kSize; ++i)
            n += pixels[4 * i + 3] != 0 ? 1 : 0;
        return n;
    }

    // Pixels whose coverage differs from inside(pixel centre).
    int CoverageDifferences(const std::function<bool(float, float)>& inside) const {
        const std::vector<std::uint8_t> pixels = Pixels();
        int n = 0;
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x)
                n += (pixels[4 * (y * kSize + x) + 3] != 0) != inside(x + 0.5f, y + 0.5f) ? 1 : 0;
        return n;
    }

    PushOpenGLContext saved_;
    GLuint framebuffer_ = 0;
    GLuint renderbuffer_ = 0;
};

} // namespace geometry_test
