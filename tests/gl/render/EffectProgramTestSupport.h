#pragma once

// What the program tests share: the root context selected on the test thread, float textures
// with given pixels, and a float render target made with plain OpenGL, read back as floats, so
// that what a program computes can be compared with a CPU reference to float precision.

#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace zep6test {

using Rgba = std::array<float, 4>;

// A GL_RGBA32F rectangle texture holding `pixels` (rows from the bottom), wrap clamped to edge.
class FloatTexture {
public:
    FloatTexture(int width, int height, const std::vector<Rgba>& pixels, GLenum filter = GL_NEAREST)
        : width_(width), height_(height) {
        glGenTextures(1, &name_);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, name_);
        glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA32F_ARB, width, height, 0, GL_RGBA, GL_FLOAT,
                     pixels.empty() ? nullptr : pixels.data());
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MIN_FILTER, static_cast<GLint>(filter));
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MAG_FILTER, static_cast<GLint>(filter));
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 0);
    }
    ~FloatTexture() { glDeleteTextures(1, &name_); }
    FloatTexture(const FloatTexture&) = delete;
    FloatTexture& operator=(const FloatTexture&) = delete;

    GLuint Name() const { return name_; }

    // Binds the texture on a unit and sets that unit's texture matrix to scale (width, height),
    // so that texture coordinates 0..1 address the whole texture in texels.
    void BindOn(int unit) const {
        OGL_ZEP6_AE::GLEntry::glActiveTexture(GL_TEXTURE0 + unit);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, name_);
        glMatrixMode(GL_TEXTURE);
        glLoadIdentity();
        glScalef(static_cast<float>(width_), static_cast<float>(height_), 1.0f);
        glMatrixMode(GL_MODELVIEW);
        OGL_ZEP6_AE::GLEntry::glActiveTexture(GL_TEXTURE0);
    }

private:
    GLuint name_ = 0;
    int width_;
    int height_;
};

// A GL_RGBA32F rectangle texture attached to a framebuffer object, bound as the drawing
// destination with a viewport and a pixel projection over its whole size; everything is given
// back when it goes.
class FloatTarget {
public:
    FloatTarget(int width, int height) : width_(width), height_(height), texture_(width, height, {}) {
        using namespace OGL_ZEP6_AE;
        GLEntry::glGenFramebuffersEXT(1, &framebuffer_);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer_);
        GLEntry::glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT,
                                           GL_TEXTURE_RECTANGLE_ARB, texture_.Name(), 0);
        complete_ = GLEntry::glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_COMPLETE_EXT;
        glViewport(0, 0, width, height);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, width, 0, height, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glDisable(GL_BLEND);
        glDisable(GL_DEPTH_TEST);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    ~FloatTarget() {
        OGL_ZEP6_AE::GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        OGL_ZEP6_AE::GLEntry::glDeleteFramebuffersEXT(1, &framebuffer_);
    }
    FloatTarget(const FloatTarget&) = delete;
    FloatTarget& operator=(const FloatTarget&) = delete;

    bool IsComplete() const { return complete_; }
    void Clear(const Rgba& c) {
        glClearColor(c[0], c[1], c[2], c[3]);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    // Every pixel, rows from the bottom.
    std::vector<Rgba> Read() const {
        std::vector<Rgba> pixels(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_));
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glReadPixels(0, 0, width_, height_, GL_RGBA, GL_FLOAT, pixels.data());
        return pixels;
    }
    Rgba At(int x, int y) const {
        Rgba pixel{};
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_FLOAT, pixel.data());
        return pixel;
    }

private:
    int width_;
    int height_;
    FloatTexture texture_;
    GLuint framebuffer_ = 0;
    bool complete_ = false;
};

// The root context selected on the test thread for the whole case, released afterwards; no
// program left current.
class GlProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(OGL_ZEP6_AE::RootContext::Select());
        while (glGetError() != GL_NO_ERROR) {
        }
    }
    void TearDown() override {
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        if (OGL_ZEP6_AE::GLEntry::glUseProgram)
            OGL_ZEP6_AE::GLEntry::glUseProgram(0);
    }

    OGL_ZEP6_AE::PushOpenGLContext saved_;
};

// Replaces one entry point by null for the life of the object, so that the missing-entry-point
// paths can run on a driver that has everything.
template <class F> class MissingEntry {
public:
    explicit MissingEntry(F& entry) : entry_(entry), saved_(entry) { entry_ = nullptr; }
    ~MissingEntry() { entry_ = saved_; }
    MissingEntry(const MissingEntry&) = delete;
    MissingEntry& operator=(const MissingEntry&) = delete;

private:
    F& entry_;
    F saved_;
};

} // namespace zep6test
