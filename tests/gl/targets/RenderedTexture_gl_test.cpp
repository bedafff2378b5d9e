// Rendered textures on a real context: WriteFit and the read paths, the depth attachment and its
// fallback, depth-composited blits, clearing, hand-over and bad input.

#include "core/TestCountersPrivate.h"
#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/render/Region.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/resources/ResourceTestSupport.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::ExpectWithout;
using zep6test::OnWorker;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

GLint Integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

bool Near(int a, int b, int tolerance = 2) {
    return std::abs(a - b) <= tolerance;
}

// A BGRA image whose pixel (x, y in memory rows) is (blue = 4x, green = 8y, red = 90, alpha = 255).
void FillPattern(TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(4 * x), p[1] = static_cast<unsigned char>(8 * y), p[2] = 90,
            p[3] = 255;
        }
}

// Whether every byte of `result` is within two steps of the byte at the same picture position in
// a bottom-up `source` (over the result's size); names the first that is not.
::testing::AssertionResult NearBytes(const TestImage& result, const TestImage& source) {
    for (long y = 0; y < result.GetHeight(); ++y)
        for (long i = 0; i < result.GetWidth() * 4; ++i) {
            const unsigned char want = source.Row(zep6test::PictureRow(result, y))[i];
            if (!Near(result.Row(y)[i], want))
                return ::testing::AssertionFailure() << "pixel " << i / 4 << ", " << y << " channel " << i % 4
                                                     << ": " << int(result.Row(y)[i]) << " not " << int(want);
        }
    return ::testing::AssertionSuccess();
}

// Selects the target, runs the drawing and puts the state back; false when it cannot be selected.
bool Drawn(RenderedTexture& target, const std::function<void()>& draw) {
    PushState state;
    if (!target.Select())
        return false;
    draw();
    return true;
}

// Draws a flat opaque quad at depth z (model-view space) into the selected target.
void DrawQuad(float x0, float y0, float x1, float y1, float z, float r, float g, float b) {
    glColor4f(r, g, b, 1.0f);
    glBegin(GL_QUADS);
    glVertex3f(x0, y0, z);
    glVertex3f(x1, y0, z);
    glVertex3f(x1, y1, z);
    glVertex3f(x0, y1, z);
    glEnd();
}

// WriteFit puts the lower-left of a larger image unscaled; a bottom-up read is direct, a top-down
// one takes the render path. (Write and the read layouts: Texture_gl_test and the round trips.)
TEST(RenderedTexture, WriteFitKeepsTheLowerLeftAndTheReadPathFollowsTheRowOrder) {
    ASSERT_TRUE(OnWorker([] {
        TestImage source(Formats::BGRA8, 40, 40);
        FillPattern(source);
        RenderedTexture target(32, 16);
        ASSERT_TRUE(Drawn(target, [&] { target.WriteFit(&source); }));
        for (bool bottomUp : {true, false}) {
            TestImage result(Formats::BGRA8, 32, 16);
            result.SetBottomUp(bottomUp);
            ResetTestCounts();
            target.Read(&result);
            EXPECT_EQ(TestCount(TestCounter::DirectReads), bottomUp ? 1 : 0);
            EXPECT_EQ(TestCount(TestCounter::RenderReads), bottomUp ? 0 : 1);
            EXPECT_TRUE(NearBytes(result, source));
        }
    }));
}

// Clear leaves transparent black over opaque white (which new storage would not show).
TEST(RenderedTexture, ClearLeavesTransparentBlack) {
    ASSERT_TRUE(OnWorker([] {
        RenderedTexture target(16, 16);
        target.Clear(); // makes the framebuffer object
        EXPECT_NE(target.FrameBufferName(), 0u);
        ASSERT_TRUE(Drawn(target, [] {
            glClearColor(1, 1, 1, 1);
            glClear(GL_COLOR_BUFFER_BIT);
        }));
        target.Clear();
        TestImage result(Formats::BGRA8, 16, 16);
        result.Fill(0x55);
        target.Read(&result);
        EXPECT_EQ(std::vector<unsigned char>(result.Bytes(), result.Bytes() + result.ByteCount()),
                  std::vector<unsigned char>(result.ByteCount(), 0));
    }));
}

TEST(RenderedTexture, InvalidImagesChangeNothing) {
    ASSERT_TRUE(OnWorker([] {
        TestImage source(Formats::BGRA8, 16, 16);
        FillPattern(source);
        RenderedTexture target(16, 16);
        ASSERT_TRUE(Drawn(target, [&] { target.Write(&source); }));
        TestImage invalid(Formats::BGRA8, 16, 16);
        invalid.Fill(0xFF);
        invalid.SetHeight(0);
        target.Resize(&invalid);
        EXPECT_EQ(target.Width(), 16);
        EXPECT_EQ(target.Height(), 16);
        EXPECT_NE(target.ColorBuffer(), nullptr);
        ASSERT_TRUE(Drawn(target, [&] {
            target.Write(&invalid);
            target.WriteFit(&invalid);
            target.Write(nullptr);
        }));
        ResetTestCounts();
        target.Read(&invalid);
        target.Read(nullptr);
        EXPECT_EQ(TestCount(TestCounter::DirectReads) + TestCount(TestCounter::RenderReads), 0);
        TestImage result(Formats::BGRA8, 16, 16);
        target.Read(&result);
        EXPECT_EQ(std::memcmp(result.Bytes(), source.Bytes(), source.ByteCount()), 0);
    }));
}

// Nothing on the card before first use; Resize keeps storage of the same size and format (not
// type); a copy is a default target that takes the framebuffer object and depth attachment.
TEST(RenderedTexture, DescriptionResizeAndHandOver) {
    ASSERT_TRUE(OnWorker([] {
        const auto expectDefault = [](const RenderedTexture& target) {
            EXPECT_EQ(target.Width(), 2048);
            EXPECT_EQ(target.Height(), 1080);
            EXPECT_EQ(target.GetFormat(), static_cast<unsigned int>(GL_RGBA));
            EXPECT_EQ(target.GetType(), Texture::GetBestType());
            EXPECT_EQ(target.ColorBuffer(), nullptr);
        };
        RenderedTexture fresh;
        expectDefault(fresh);
        EXPECT_EQ(fresh.FrameBufferName(), 0u);

        RenderedTexture first(16, 16);
        first.Clear();
        TextureBuffer* colour = first.ColorBuffer();
        ASSERT_NE(colour, nullptr);
        first.Resize(16, 16, GL_RGBA, GL_UNSIGNED_SHORT);
        EXPECT_EQ(first.ColorBuffer(), colour);
        const unsigned int fbo = first.FrameBufferName();
        TextureBuffer* depth = first.DepthBuffer();
        RenderBuffer* depthRender = first.DepthRenderBuffer();
        ASSERT_NE(fbo, 0u);
        ASSERT_TRUE(depth != nullptr || depthRender != nullptr); // a depth attachment to move
        RenderedTexture second(first);
        expectDefault(second);
        EXPECT_EQ(second.FrameBufferName(), fbo);
        EXPECT_EQ(second.DepthBuffer(), depth);
        EXPECT_EQ(second.DepthRenderBuffer(), depthRender);
        EXPECT_EQ(first.FrameBufferName(), 0u);
        EXPECT_EQ(first.DepthBuffer(), nullptr);
        EXPECT_EQ(first.DepthRenderBuffer(), nullptr);
        EXPECT_EQ(first.ColorBuffer(), colour);

        second.Clear();
        second.Resize(20, 16, GL_RGBA, 0);
        EXPECT_EQ(second.ColorBuffer(), nullptr);
        EXPECT_EQ(second.FrameBufferName(), 0u);
        TestImage image(Formats::RGBA16, 33, 17);
        second.Resize(&image);
        EXPECT_EQ(second.Width(), 33);
        EXPECT_EQ(second.Height(), 17);
        EXPECT_EQ(second.GetType(), Texture::GetBestType());
    }));
}

TEST(RenderedTexture, BlitWithDepthLeavesFarPixelsUntouched) {
    ASSERT_TRUE(OnWorker([] {
        RenderedTexture source(32, 16);
        RenderedTexture destination(32, 16);
        source.Clear();
        ASSERT_TRUE(Drawn(source, [] {
            glEnable(GL_DEPTH_TEST);
            glDepthFunc(GL_ALWAYS);
            glDepthMask(GL_TRUE);
            DrawQuad(0, 0, 16, 16, 0.0f, 1.0f, 0.0f, 0.0f); // left half red, depth 0.5
        }));
        destination.Clear();
        ASSERT_TRUE(Drawn(destination, [&] {
            DrawQuad(0, 0, 32, 16, 0.0f, 0.0f, 0.0f, 1.0f); // blue everywhere
            glDisable(GL_DEPTH_TEST);
            source.BlitWithDepth(Region(0, 0, 32, 16), 1.0f);
        }));
        TestImage result(Formats::BGRA8, 32, 16);
        destination.Read(&result);
        const unsigned char* left = result.Row(8) + 4 * 4;
        const unsigned char* right = result.Row(8) + 24 * 4;
        EXPECT_TRUE(Near(left[2], 255) && Near(left[0], 0)) << int(left[0]) << " " << int(left[2]);
        EXPECT_TRUE(Near(right[0], 255) && Near(right[2], 0)) << int(right[0]) << " " << int(right[2]);
    }));
}

bool DepthRenderBufferIsReadBack() {
    if (IsDepthTextureSupported())
        return false;
    RenderedTexture target(16, 16);
    target.Clear();
    const bool drawn = Drawn(target, [] {
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_ALWAYS);
        DrawQuad(0, 0, 8, 16, 0.0f, 1, 1, 1); // depth 0.5 in the left half
    });
    if (!drawn || target.DepthBuffer() != nullptr || target.DepthRenderBuffer() == nullptr)
        return false;
    PushState state;
    target.ApplyDepth();
    const GLint name = Integer(GL_TEXTURE_BINDING_RECTANGLE);
    if (name == 0)
        return false;
    GLint width = 0, height = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_HEIGHT, &height);
    std::vector<float> values(static_cast<size_t>(width) * height * 4);
    glGetTexImage(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, GL_FLOAT, values.data());
    const float left = values[(static_cast<size_t>(4) * width + 2) * 4];
    const float right = values[(static_cast<size_t>(4) * width + 12) * 4];
    return std::abs(left - 0.5f) < 0.01f && std::abs(right - 1.0f) < 0.01f;
}

TEST(RenderedTextureDeathTest, WithoutDepthTexturesDepthRenderBufferIsReadBack) {
    ExpectWithout("GL_ARB_depth_texture", &DepthRenderBufferIsReadBack);
}

bool EightBitRoundTrip() {
    if (Texture::GetBestType() != GL_UNSIGNED_BYTE)
        return false;
    TestImage source(Formats::RGBA16, 16, 8);
    for (long y = 0; y < 8; ++y)
        for (long x = 0; x < 16; ++x) {
            unsigned short* p = reinterpret_cast<unsigned short*>(source.Row(y)) + x * 4;
            p[0] = static_cast<unsigned short>(4000 * x), p[1] = static_cast<unsigned short>(8000 * y),
            p[2] = 12345, p[3] = 65535;
        }
    RenderedTexture target(16, 8);
    if (!Drawn(target, [&] { target.Write(&source); }) || target.ColorBuffer() == nullptr ||
        target.ColorBuffer()->Key().InternalFormat() != GL_RGBA8)
        return false;
    TestImage result(Formats::RGBA16, 16, 8);
    target.Read(&result);
    for (long y = 0; y < 8; ++y)
        for (long x = 0; x < 16; ++x)
            for (int c = 0; c < 4; ++c) {
                const int a = reinterpret_cast<const unsigned short*>(source.Row(y))[x * 4 + c];
                const int b = reinterpret_cast<const unsigned short*>(result.Row(y))[x * 4 + c];
                if (std::abs(a - b) > 65535 / 255 + 1)
                    return false;
            }
    return true;
}

TEST(RenderedTextureDeathTest, WithoutFloatTexturesContentIsKeptInEightBits) {
    ExpectWithout("GL_ARB_half_float_pixel GL_ARB_texture_float", &EightBitRoundTrip);
}

TEST(RenderedTextureDeathTest, WithoutFramebufferObjectsSelectionThrows) {
    ExpectWithout("GL_EXT_framebuffer_object", [] {
        RenderedTexture target(16, 16);
        try {
            target.Select();
        } catch (const OffscreenUnsupported& e) {
            // A fixed text: it must say something.
            return e.what()[0] != '\0';
        }
        return false;
    });
}

} // namespace
