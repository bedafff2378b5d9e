// Image textures on a real context: which upload path is taken, the row order of regions,
// fit mode, masks, lazy loading and bad input.

#include "core/TestCountersPrivate.h"
#include "core/Errors.h"
#include "core/PixelTypes.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/Plane.h"
#include "gl/render/Region.h"
#include "gl/state/State.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/AlphaTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/resources/ResourceTestSupport.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::OnWorker;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

// The bytes of a texture's content, read from its framebuffer as BGRA bytes (row 0 = bottom).
std::vector<unsigned char> ReadContent(Texture& texture, int width, int height) {
    std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * 4, 0xEE);
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &previous);
    EXPECT_TRUE(texture.Select());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, previous);
    return pixels;
}

const unsigned char* At(const std::vector<unsigned char>& pixels, int width, int x, int y) {
    return &pixels[(static_cast<size_t>(y) * width + x) * 4];
}

bool Near(int a, int b, int tolerance = 2) {
    return std::abs(a - b) <= tolerance;
}

// A BGRA image whose memory row r holds (blue = x, green = r, red = 7, alpha = 255) per pixel.
void FillRowCoded(TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(x);
            p[1] = static_cast<unsigned char>(y);
            p[2] = 7;
            p[3] = 255;
        }
}

// Exposes the protected upload to drive it with a destination of another size.
class LoadableTexture : public RenderedTexture {
public:
    using RenderedTexture::CreateTexture;
    using RenderedTexture::LoadTexture;
};

// Uploads the whole of an image over a 100 x 100 texture, stretched or fitted, and reads it back.
std::vector<unsigned char> LoadedOver100(const TestImage& image, bool fit) {
    LoadableTexture texture;
    texture.Resize(100, 100, GL_RGBA, 0);
    if (fit)
        texture.SetFit();
    EXPECT_TRUE(texture.CreateTexture());
    const Region all(0, 0, static_cast<unsigned int>(image.GetWidth()),
                     static_cast<unsigned int>(image.GetHeight()));
    texture.LoadTexture(&image, all, Region(0, 0, 100, 100));
    return ReadContent(texture, 100, 100);
}

// A region counts its rows from the bottom of the picture in either row order. It goes straight
// to the card only from a bottom-up image and wholly inside it; otherwise through the render path,
// which leaves the texture transparent black where the region reaches past the image. (The driver
// reads the image's memory itself, out of the sanitizer's sight: what it would read past the image
// shows up as non-zero texels.)
class SubImageRegion : public ::testing::TestWithParam<bool> {};

TEST_P(SubImageRegion, PathRowOrderAndTransparencyPastTheImage) {
    const bool bottomUp = GetParam();
    ASSERT_TRUE(OnWorker([bottomUp] {
        TestImage image(Formats::BGRA8, 100, 100);
        image.SetBottomUp(bottomUp);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        // The whole image, a part of it, past the left and lower edges, past the right and upper
        // edges, wholly beside it. The texture keeps the buffer of its first load: largest first.
        const Region regions[] = {Region(0, 0, 100, 100), Region(10, 20, 30, 40), Region(-5, -3, 20, 10),
                                  Region(90, 95, 20, 10), Region(200, 0, 8, 8)};
        for (const Region& region : regions) {
            SCOPED_TRACE(::testing::Message() << region);
            ResetTestCounts();
            texture.SetRegion(region);
            texture.Apply();
            const bool inside =
                region.x >= 0 && region.y >= 0 && region.XEnd() <= 100 && region.YEnd() <= 100;
            EXPECT_EQ(TestCount(TestCounter::DirectUploads), bottomUp && inside ? 1 : 0);
            EXPECT_EQ(TestCount(TestCounter::RenderUploads), bottomUp && inside ? 0 : 1);
            const int width = static_cast<int>(region.width), height = static_cast<int>(region.height);
            EXPECT_EQ(texture.GetWidth(), width);
            EXPECT_EQ(texture.GetHeight(), height);
            const std::vector<unsigned char> pixels = ReadContent(texture, width, height);
            for (int j = 0; j < height; ++j)
                for (int i = 0; i < width; ++i) {
                    const int x = region.x + i, y = region.y + j; // picture position, y up
                    const bool in = x >= 0 && y >= 0 && x < 100 && y < 100;
                    const int want[4] = {in ? x : 0, in ? (bottomUp ? y : 99 - y) : 0, in ? 7 : 0,
                                         in ? 255 : 0};
                    for (int c = 0; c < 4; ++c)
                        ASSERT_EQ(At(pixels, width, i, j)[c], want[c])
                            << "texel " << i << ", " << j << " channel " << c;
                }
        }
    }));
}

INSTANTIATE_TEST_SUITE_P(Orders, SubImageRegion, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "BottomUp" : "TopDown";
                         });

TEST(SubImageTexture, LoadingTwiceWithoutChangeUploadsOnce) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 8);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        const auto uploads = [] { return TestCount(TestCounter::DirectUploads) + TestCount(TestCounter::RenderUploads); };
        ResetTestCounts();
        texture.Apply();
        texture.Apply();
        texture.Load();
        EXPECT_EQ(uploads(), 1);
        // The same region again is no change; another region, or the image again, is.
        texture.SetRegion(Region(0, 0, 16, 8));
        texture.Apply();
        EXPECT_EQ(uploads(), 1);
        texture.SetRegion(Region(0, 0, 8, 8));
        texture.Apply();
        EXPECT_EQ(uploads(), 2);
        texture.SetImage(&image);
        texture.Apply();
        EXPECT_EQ(uploads(), 3);
    }));
}

TEST(Texture, FitModeKeepsAspectRatioAndClearsTheRest) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 200, 100);
        image.Fill(255);
        const std::vector<unsigned char> pixels = LoadedOver100(image, true);
        for (int y = 0; y < 100; ++y) {
            const bool inside = y >= 25 && y < 75;
            for (int x = 0; x < 100; x += 9)
                ASSERT_EQ(At(pixels, 100, x, y)[3], inside ? 255 : 0) << x << ", " << y;
        }
        EXPECT_EQ(At(pixels, 100, 99, 25)[0], 255);
        EXPECT_EQ(At(pixels, 100, 99, 24)[0], 0);
    }));
}

// Enlarging samples linearly; the last row and column must blend only with the image itself, not
// with whatever lies beyond it in a larger cached texture (here left opaque red by an earlier use
// of the same size): an upload into a larger texture, and a write stretched over a target, of
// either row order.
TEST(Texture, EnlargedContentBlendsOnlyWithinTheImage) {
    ASSERT_TRUE(OnWorker([] {
        TestImage red(Formats::BGRA8, 64, 64), white(Formats::BGRA8, 10, 10);
        for (long i = 0; i < 64 * 64; ++i)
            red.Bytes()[i * 4 + 2] = red.Bytes()[i * 4 + 3] = 255;
        white.Fill(255);
        for (int row = 0; row < 3; ++row) {
            SCOPED_TRACE(row == 0 ? "upload" : row == 1 ? "write bottom-up" : "write top-down");
            std::vector<unsigned char> pixels;
            if (row == 0) {
                LoadedOver100(red, false);
                pixels = LoadedOver100(white, false);
            } else {
                white.SetBottomUp(row == 1);
                RenderedTexture target(100, 100);
                {
                    PushState state;
                    ASSERT_TRUE(target.Select());
                    target.Write(&red); // leaves red in the cached textures of image size
                    target.Write(&white);
                }
                pixels = ReadContent(target, 100, 100);
            }
            for (int y : {0, 50, 95, 99})
                for (int x : {0, 50, 95, 99})
                    for (int c = 0; c < 4; ++c)
                        ASSERT_EQ(At(pixels, 100, x, y)[c], 255) << x << ", " << y << " channel " << c;
        }
    }));
}

// A mask multiplies only alpha, and hides the image where a mask smaller than the image does not
// reach. The mask's colour channels are black: none of it may reach the image's colour.
TEST(SubImageTexture, MaskMultipliesOnlyAlphaAndHidesWhatItDoesNotCover) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 16);
        for (long i = 0; i < 16 * 16; ++i) {
            unsigned char* p = image.Bytes() + i * 4;
            p[0] = 50, p[1] = 100, p[2] = 200, p[3] = 200;
        }
        for (const auto& [maskWidth, maskHeight] : {std::pair<int, int>{16, 16}, {8, 4}}) {
            SCOPED_TRACE(::testing::Message() << "mask " << maskWidth << " x " << maskHeight);
            TestImage mask(Formats::BGRA8, maskWidth, maskHeight);
            for (long y = 0; y < maskHeight; ++y)
                for (long x = 0; x < maskWidth; ++x)
                    mask.Row(y)[x * 4 + 3] = x < 4 ? 128 : 255;
            SubImageTexture texture(&image);
            texture.SetMask(&mask);
            texture.Apply();
            const std::vector<unsigned char> pixels = ReadContent(texture, 16, 16);
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x) {
                    const unsigned char* p = At(pixels, 16, x, y);
                    const int maskAlpha = x < maskWidth && y < maskHeight ? (x < 4 ? 128 : 255) : 0;
                    ASSERT_TRUE(Near(p[0], 50) && Near(p[1], 100) && Near(p[2], 200)) << x << ", " << y;
                    ASSERT_TRUE(Near(p[3], 200 * maskAlpha / 255, maskAlpha == 128 ? 2 : 0))
                        << x << ", " << y << ": alpha " << int(p[3]);
                }
        }
    }));
}

TEST(SubImageTexture, InvalidImageClearsToTransparentBlack) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 8);
        image.Fill(255);
        SubImageTexture texture(&image);
        texture.Apply();
        ASSERT_EQ(ReadContent(texture, 16, 8)[0], 255);
        TestImage invalid(Formats::BGRA8, 16, 8);
        invalid.SetWidth(-3);
        texture.SetImage(&invalid);
        texture.Load();
        const std::vector<unsigned char> pixels = ReadContent(texture, 16, 8);
        EXPECT_EQ(pixels, std::vector<unsigned char>(pixels.size(), 0));
    }));
}

// A copy shares the storage and never gives it back: after a copy is gone the storage is still the
// original's alone, a new texture gets storage of its own, and the original keeps its content.
TEST(Texture, ACopyLeavesTheStorageWithTheOriginal) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 8);
        FillRowCoded(image);
        SubImageTexture original(&image);
        original.Apply();
        const TextureBuffer* storage = original.ColorBuffer();
        ASSERT_NE(storage, nullptr);
        { Texture copy(original); }
        {
            Texture assigned;
            assigned = original;
        }
        SubImageTexture other(&image);
        other.Apply();
        EXPECT_NE(other.ColorBuffer(), storage) << "the copy gave the original's storage back";
        EXPECT_EQ(original.ColorBuffer(), storage);
        EXPECT_EQ(At(ReadContent(original, 16, 8), 16, 5, 6)[0], 5);
    }));
}

// Pointed at a larger image than its storage holds, a texture takes storage that does.
TEST(SubImageTexture, StorageFollowsALargerImage) {
    ASSERT_TRUE(OnWorker([] {
        TestImage small(Formats::BGRA8, 100, 100), large(Formats::BGRA8, 3000, 1500);
        FillRowCoded(small);
        FillRowCoded(large);
        SubImageTexture texture(&small);
        texture.Apply();
        texture.SetImage(&large);
        texture.Apply();
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        ASSERT_NE(texture.ColorBuffer(), nullptr);
        EXPECT_GE(texture.ColorBuffer()->Width(), 3000);
        const std::vector<unsigned char> pixels = ReadContent(texture, 3000, 1500);
        EXPECT_EQ(At(pixels, 3000, 2999, 1499)[0], 2999 % 256);
        EXPECT_EQ(At(pixels, 3000, 2999, 1499)[1], 1499 % 256);
    }));
}

TEST(AlphaTexture, LoadWithoutImageThrowsOpenGLErrorWithCodeZero) {
    ASSERT_TRUE(OnWorker([] {
        AlphaTexture texture;
        try {
            texture.Load();
            ADD_FAILURE() << "no exception";
        } catch (const OpenGLError& e) {
            // what() composes into a buffer all errors share, so comparing it with another error's
            // what() compares the buffer with itself. Code 0 is the one with an empty text.
            EXPECT_STREQ(e.what(), "");
        }
    }));
}

TEST(AlphaTexture, UploadsAlphaBytesUnconverted) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::Alpha8, 8, 4);
        for (long y = 0; y < 4; ++y)
            for (long x = 0; x < 8; ++x)
                image.Row(y)[x] = static_cast<unsigned char>(30 * y + x);
        AlphaTexture texture(&image);
        texture.Apply();
        EXPECT_EQ(texture.GetFormat(), static_cast<unsigned int>(GL_ALPHA));
        const std::vector<unsigned char> pixels = ReadContent(texture, 8, 4);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 8; ++x)
                EXPECT_TRUE(Near(At(pixels, 8, x, y)[3], 30 * y + x)) << x << ", " << y;
    }));
}

} // namespace
