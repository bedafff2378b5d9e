// Texture buffers on a real context: drawing into them, pixel transfers in both directions and
// both interpretations, incomplete framebuffers, bad input, and the internal-format queries.

#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "geometry/Region.h"
#include "gl/resources/FrameBuffer.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/TextureBuffer.h"
#include "support/TestImage.h"
#include "support/StateSentinel.h"
#include "ResourceTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <tuple>

using namespace OGL_ZEP6_AE;
using zep6test::Integer;
using zep6test::ExpectWithout;
using zep6test::OnWorker;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

TextureKey Exact(int width, int height, unsigned int internalFormat = GL_RGBA8) {
    return TextureKey(kRect, width, height, internalFormat, 1);
}

// A four-value query: GL_VIEWPORT, GL_SCISSOR_BOX.
using Box4 = std::array<GLint, 4>;
Box4 Box(GLenum name) {
    Box4 box{};
    glGetIntegerv(name, box.data());
    return box;
}

constexpr RGBA8 kTransparent{0, 0, 0, 0};
constexpr RGBA8 kRed{255, 0, 0, 255};
constexpr RGBA8 kUntouched{0xCD, 0xCD, 0xCD, 0xCD}; // what the test filled the image with

// The first pixel of an RGBA8 image, as "x, y" in memory columns and rows, that is not `inside` in
// the area [x0, x1) x [y0, y1) and `outside` elsewhere; empty if none. Only 0 and 255 are drawn.
std::string FirstMiss(const TestImage& image, RGBA8 outside, long x0 = 0, long y0 = 0, long x1 = 0,
                      long y1 = 0, RGBA8 inside = {}) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            const RGBA8 e = x >= x0 && x < x1 && y >= y0 && y < y1 ? inside : outside;
            const RGBA8 p = image.Get<RGBA8>(x, y);
            if (std::memcmp(&p, &e, sizeof p) != 0)
                return std::to_string(x) + ", " + std::to_string(y);
        }
    return "";
}

// Whole-image transfers after drawing are the round-trip matrix's (RoundTrip_gl_test); here the
// selection, a new texture's content and a part read to its place.
ZEP6_WORKER_TEST(TextureBuffer, NewTextureIsTransparentAPartIsReadToItsPlaceAndALostTextureIsMadeAgain) {
    TextureBuffer* target = TextureBuffer::Make(Exact(64, 32));
    ASSERT_NE(target, nullptr);
    ASSERT_TRUE(target->Select());
    EXPECT_EQ(Integer(GL_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(target->FrameBufferName()));
    EXPECT_EQ(Box(GL_VIEWPORT), (Box4{0, 0, 64, 32}));
    TestImage image(Formats::RGBA8, 64, 32, 8);
    image.Fill(0xCD);
    target->ReadImageNative(&image, Region(64, 32), Region(64, 32));
    EXPECT_EQ(FirstMiss(image, kTransparent), "");

    // A 4 x 4 block from (10, 5) of a red square into the area at (2, 3) of an image.
    glColor4f(1, 0, 0, 1);
    glRectf(10, 5, 20, 15);
    TestImage part(Formats::RGBA8, 8, 8, 4);
    part.Fill(0xCD);
    target->ReadImageNative(&part, Region(2, 3, 4, 4), Region(10, 5, 1, 1));
    EXPECT_EQ(FirstMiss(part, kUntouched, 2, 3, 6, 7, kRed), "");
    // The pack state is back to what it was.
    EXPECT_EQ(std::make_tuple(Integer(GL_PACK_SKIP_PIXELS), Integer(GL_PACK_SKIP_ROWS), Integer(GL_PACK_ROW_LENGTH),
                              glGetError()),
              std::make_tuple(0, 0, 0, GLenum(GL_NO_ERROR)));
    TextureBuffer::Recycle(target);

    // A texture lost to an incomplete framebuffer (a depth texture cannot be colour attachment 0) is
    // deleted, but the key stays: the next Bind() makes it again. (Losing it to Finalize() is the
    // shutdown tests' case.)
    TextureBuffer* depth = TextureBuffer::Make(Exact(16, 16, GL_DEPTH_COMPONENT24));
    ASSERT_NE(depth, nullptr);
    const unsigned int first = depth->TextureName();
    ASSERT_TRUE(glIsTexture(first));
    EXPECT_FALSE(depth->Select());
    EXPECT_EQ(std::make_pair(depth->TextureName(), depth->FrameBufferName()), std::make_pair(0u, 0u));
    EXPECT_FALSE(glIsTexture(first)) << "the texture is deleted";
    // Sentinels: the failed Select() already left rectangle texturing on and 2-D off.
    glDisable(GL_TEXTURE_RECTANGLE);
    glEnable(GL_TEXTURE_2D);
    depth->Bind();
    ASSERT_NE(depth->TextureName(), 0u);
    EXPECT_TRUE(glIsTexture(depth->TextureName()) && glIsEnabled(GL_TEXTURE_RECTANGLE) && !glIsEnabled(GL_TEXTURE_2D));
    EXPECT_EQ(Integer(GL_TEXTURE_BINDING_RECTANGLE), static_cast<GLint>(depth->TextureName()));
    TextureBuffer::Recycle(depth);
}

ZEP6_WORKER_TEST(TextureBuffer, ResetAndOrthogonalCoverTheWholeTexture) {
    TextureBuffer* buffer = TextureBuffer::Make(Exact(40, 30));
    ASSERT_NE(buffer, nullptr);
    glViewport(1, 2, 3, 4);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glTranslatef(5, 5, 5);
    buffer->Reset();
    EXPECT_EQ(std::make_tuple(Box(GL_VIEWPORT), Box(GL_SCISSOR_BOX), Integer(GL_MATRIX_MODE)),
              std::make_tuple(Box4{0, 0, 40, 30}, Box4{0, 0, 40, 30}, GL_MODELVIEW));
    // Pixel coordinates are checked by every drawing test; here the depth range of
    // glOrtho(0, 40, 0, 30, -10000, 10000), kept in single precision by drivers.
    GLdouble projection[16];
    glGetDoublev(GL_PROJECTION_MATRIX, projection);
    EXPECT_NEAR(projection[10], -2.0 / 20000.0, 1e-10);
    TextureBuffer::Recycle(buffer);

    // The cache gives null for zero sizes and counts nothing.
    const CacheCounters before = TextureBuffer::Counters();
    for (const TextureKey& key : {Exact(0, 10), Exact(10, 0), Exact(-4, 10)})
        EXPECT_EQ(TextureBuffer::Make(key), nullptr) << key.Width() << " x " << key.Height();
    EXPECT_EQ(std::make_pair(TextureBuffer::Counters().allocated, TextureBuffer::Counters().inUse),
              std::make_pair(before.allocated, before.inUse));
    // Made directly, a 0 x 0 texture cannot be a destination and sets up no projection.
    TextureBuffer empty(Exact(0, 0));
    glViewport(1, 2, 3, 4);
    EXPECT_FALSE(empty.Select());
    empty.Orthogonal(-1, 1);
    EXPECT_EQ(Box(GL_VIEWPORT), (Box4{1, 2, 3, 4}));
    EXPECT_FALSE(empty.Deselect());
}

ZEP6_WORKER_TEST(TextureBuffer, BadInputToPixelTransfers) {
    TextureBuffer* buffer = TextureBuffer::Make(Exact(8, 8));
    ASSERT_NE(buffer, nullptr);
    ASSERT_TRUE(buffer->Select());
    using Transfer = void (TextureBuffer::*)(const XIImage*, const Region&, const Region&) const;
    const Transfer transfers[] = {&TextureBuffer::LoadImageNative, &TextureBuffer::ReadImageNative,
                                  &TextureBuffer::LoadImageAsRgba, &TextureBuffer::ReadImageAsRgba};
    for (Transfer transfer : transfers)
        try {
            (buffer->*transfer)(nullptr, Region(8, 8), Region(8, 8));
            ADD_FAILURE() << "a null image must throw";
        } catch (const OpenGLError& e) {
            EXPECT_STREQ(e.what(), "") << "code 0, no location";
        }

    // An image without pixels, or an empty area, changes nothing.
    TestImage white(Formats::RGBA8, 8, 8);
    white.Fill(0xFF);
    white.SetNullBase(true);
    TestImage empty(Formats::RGBA8, 8, 8);
    empty.Fill(0xFF);
    for (Transfer transfer : transfers) {
        (buffer->*transfer)(&white, Region(8, 8), Region(8, 8));
        (buffer->*transfer)(&empty, Region(), Region(8, 8));
        (buffer->*transfer)(&empty, Region(0, 0, 0, 8), Region(8, 8));
        (buffer->*transfer)(&empty, Region(0, 0, 8, 0), Region(8, 8));
    }
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_EQ(FirstMiss(empty, RGBA8{255, 255, 255, 255}), "") << "nothing was read into the image";
    TestImage check(Formats::RGBA8, 8, 8);
    check.Fill(0x40);
    buffer->ReadImageNative(&check, Region(8, 8), Region(8, 8));
    EXPECT_EQ(FirstMiss(check, kTransparent), "") << "nothing was loaded into the texture";
    TextureBuffer::Recycle(buffer);
}

ZEP6_WORKER_TEST(InternalFormat, OfTheCurrentDestinationAndFollowingWhatTheCardOffers) {
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, 0);
    EXPECT_EQ(GetCurrentInternalFormat(), 0u) << "the default framebuffer has no attachment 0";

    TextureBuffer* bytes = TextureBuffer::Make(Exact(8, 8, GL_RGBA8));
    TextureBuffer* floats = TextureBuffer::Make(Exact(8, 8, GL_RGBA32F));
    ASSERT_TRUE(bytes && floats);
    for (TextureBuffer* b : {bytes, floats}) {
        ASSERT_TRUE(b->Select());
        EXPECT_EQ(GetCurrentInternalFormat(), b->Key().InternalFormat());
    }

    // A renderbuffer as colour attachment 0 of a framebuffer of our own.
    FrameBuffer saved;
    saved.Retrieve();
    EXPECT_EQ(saved.name, static_cast<int>(floats->FrameBufferName()));
    GLuint frameBuffer = 0;
    ZEP6_GLCALL(glGenFramebuffersEXT)(1, &frameBuffer);
    FrameBuffer(static_cast<int>(frameBuffer)).Apply();
    RenderBuffer* colour = RenderBuffer::Make(RenderKey(8, 8, GL_RGBA, GL_UNSIGNED_BYTE));
    colour->Attach(GL_COLOR_ATTACHMENT0_EXT);
    EXPECT_EQ(GetCurrentInternalFormat(), GLenum(GL_RGBA8));
    saved.Apply();
    FrameBuffer now;
    now.Retrieve();
    EXPECT_EQ(now, saved);
    ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &frameBuffer);
    RenderBuffer::Recycle(colour);
    for (TextureBuffer* b : {bytes, floats})
        TextureBuffer::Recycle(b);

    // For pixels of a format and type, or an image: what the card offers.
    const unsigned int floatFormat = IsFloatSupported() ? GL_RGBA32F : GL_RGBA16;
    EXPECT_EQ(std::make_tuple(GetInternalFormat(GL_RGBA, GL_FLOAT), GetInternalFormat(GL_RGBA, GL_HALF_FLOAT),
                              GetInternalFormat(GL_BGRA, GL_UNSIGNED_BYTE), GetInternalFormat(GL_DEPTH_COMPONENT, GL_FLOAT)),
              std::make_tuple(floatFormat, IsHalfFloatSupported() ? GLenum(GL_RGBA16F) : floatFormat, GLenum(GL_RGBA8),
                              GLenum(GL_DEPTH_COMPONENT24)));
    // No image and an invalid image (no pixels) give 8 bits.
    const TestImage noPixels(Formats::RGBA32F, 8, 8, 0, zep6test::Pixels::None), floatImage(Formats::RGBA32F, 8, 8);
    const TestImage shorts(Formats::RGBA16, 8, 8);
    EXPECT_EQ(std::make_tuple(GetInternalFormat(static_cast<const XIImage*>(nullptr)), GetInternalFormat(&noPixels),
                              GetInternalFormat(&floatImage), GetInternalFormat(&shorts)),
              std::make_tuple(GLenum(GL_RGBA8), GLenum(GL_RGBA8), floatFormat, GLenum(GL_RGBA16)));

    EXPECT_EQ(CalculateTextureSize(2048, 1080, GL_RGBA, GL_FLOAT),
              CalculateTextureSize(2048, 1080, floatFormat));
    EXPECT_EQ(CalculateTextureSize(10, 10, GL_BGRA, GL_UNSIGNED_BYTE),
              CalculateTextureSize(10, 10, GL_RGBA8));
}

// Without float textures float pixels get 16-bit textures; without framebuffer objects a texture
// is still made (not cleared) but cannot be selected.
TEST(TextureBufferDeathTest, WithoutFloatTexturesOrFramebufferObjects) {
    ExpectWithout("GL_ARB_texture_float GL_ARB_half_float_pixel GL_EXT_framebuffer_object", [] {
        if (IsFloatSupported() || GetInternalFormat(GL_RGBA, GL_FLOAT) != GL_RGBA16 ||
            GetInternalFormat(GL_RGBA, GL_HALF_FLOAT) != GL_RGBA16 ||
            GetInternalFormat(GL_RGBA, GL_UNSIGNED_BYTE) != GL_RGBA8)
            return false;
        TextureBuffer* buffer = TextureBuffer::Make(Exact(8, 8));
        if (!buffer || buffer->TextureName() == 0)
            return false;
        try {
            buffer->Select();
        } catch (const OffscreenUnsupported&) {
            return true;
        }
        return false;
    });
}

} // namespace
