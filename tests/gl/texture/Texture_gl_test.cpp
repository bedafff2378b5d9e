// Image textures on a real context: which upload path is taken, the row order of regions,
// fit mode, masks, lazy loading and bad input.

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
#include <string>
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

GLint Integer(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
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

// Exposes the protected upload to drive fit mode with a destination of another size.
class LoadableTexture : public RenderedTexture {
public:
    using RenderedTexture::CreateTexture;
    using RenderedTexture::LoadTexture;
};

TEST(SubImageTexture, RegionOfTopDownImageCountsRowsFromTheBottom) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 100, 100);
        image.SetBottomUp(false);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        texture.SetRegion(Region(10, 20, 30, 40));
        texture.Apply();
        EXPECT_EQ(texture.GetWidth(), 30);
        EXPECT_EQ(texture.GetHeight(), 40);
        const std::vector<unsigned char> pixels = ReadContent(texture, 30, 40);
        // Texture row j is picture row 20 + j from the bottom, memory row 99 - (20 + j).
        for (int j = 0; j < 40; ++j)
            for (int i = 0; i < 30; i += 7) {
                const unsigned char* p = At(pixels, 30, i, j);
                ASSERT_EQ(p[1], 79 - j) << "row " << j;
                ASSERT_EQ(p[0], 10 + i) << "column " << i;
            }
    }));
}

TEST(SubImageTexture, RegionOfBottomUpImageIsTakenAsItIs) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 100, 100);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        texture.SetRegion(Region(10, 20, 30, 40));
        texture.Apply();
        const std::vector<unsigned char> pixels = ReadContent(texture, 30, 40);
        EXPECT_EQ(At(pixels, 30, 0, 0)[1], 20);
        EXPECT_EQ(At(pixels, 30, 0, 39)[1], 59);
        EXPECT_EQ(At(pixels, 30, 29, 0)[0], 39);
    }));
}

// A region reaching past the image takes what lies inside and is transparent black elsewhere,
// in either row order and on both upload paths. (The driver reads the image's memory itself,
// out of the sanitizer's sight: what it would read past the image shows up as non-zero texels.)
class RegionPastTheImage : public ::testing::TestWithParam<bool> {};

TEST_P(RegionPastTheImage, IsTransparentWhereTheImageDoesNotReach) {
    const bool bottomUp = GetParam();
    ASSERT_TRUE(OnWorker([bottomUp] {
        TestImage image(Formats::BGRA8, 100, 100);
        image.SetBottomUp(bottomUp);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        // Past the left and lower edges, then past the right and upper edges.
        const Region regions[] = {Region(-5, -3, 20, 10), Region(90, 95, 20, 10)};
        for (const Region& region : regions) {
            texture.SetRegion(region);
            texture.Apply();
            const std::vector<unsigned char> pixels = ReadContent(texture, 20, 10);
            for (int j = 0; j < 10; ++j)
                for (int i = 0; i < 20; ++i) {
                    const int x = region.x + i, y = region.y + j; // picture position, y up
                    const unsigned char* p = At(pixels, 20, i, j);
                    if (x < 0 || y < 0 || x >= 100 || y >= 100) {
                        ASSERT_EQ(p[3], 0) << region << " texel " << i << ", " << j;
                        ASSERT_EQ(p[0] + p[1] + p[2], 0) << region << " texel " << i << ", " << j;
                    } else {
                        ASSERT_EQ(p[0], x) << region << " texel " << i << ", " << j;
                        ASSERT_EQ(p[1], bottomUp ? y : 99 - y) << region << " texel " << i << ", " << j;
                        ASSERT_EQ(p[3], 255);
                    }
                }
        }
        // A region that misses the image entirely gives a wholly transparent texture.
        texture.SetRegion(Region(200, 0, 8, 8));
        texture.Apply();
        const std::vector<unsigned char> pixels = ReadContent(texture, 8, 8);
        EXPECT_EQ(pixels, std::vector<unsigned char>(pixels.size(), 0));
    }));
}

INSTANTIATE_TEST_SUITE_P(Orders, RegionPastTheImage, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "BottomUp" : "TopDown";
                         });

// (bottom-up, expected direct uploads, expected render uploads)
struct PathCase {
    bool bottomUp;
    int direct;
    int render;
};

class UploadPath : public ::testing::TestWithParam<PathCase> {};

TEST_P(UploadPath, DirectOnlyForBottomUpExactSizeWithoutShader) {
    const PathCase c = GetParam();
    ASSERT_TRUE(OnWorker([&] {
        TestImage image(Formats::BGRA8, 16, 8);
        image.SetBottomUp(c.bottomUp);
        FillRowCoded(image);
        Texture::ResetUploadCounts();
        SubImageTexture texture(&image);
        texture.Apply();
        EXPECT_EQ(Texture::DirectUploadCount(), c.direct);
        EXPECT_EQ(Texture::RenderUploadCount(), c.render);
        // Either way the picture's bottom row is texture row 0.
        const std::vector<unsigned char> pixels = ReadContent(texture, 16, 8);
        const int bottomMemoryRow = c.bottomUp ? 0 : 7;
        const int topMemoryRow = c.bottomUp ? 7 : 0;
        EXPECT_EQ(At(pixels, 16, 3, 0)[1], bottomMemoryRow);
        EXPECT_EQ(At(pixels, 16, 3, 7)[1], topMemoryRow);
        EXPECT_EQ(At(pixels, 16, 3, 0)[0], 3);
        EXPECT_TRUE(Near(At(pixels, 16, 3, 0)[2], 7));
    }));
}

INSTANTIATE_TEST_SUITE_P(Orientation, UploadPath,
                         ::testing::Values(PathCase{true, 1, 0}, PathCase{false, 0, 1}),
                         [](const ::testing::TestParamInfo<PathCase>& info) {
                             return std::string(info.param.bottomUp ? "BottomUp" : "TopDown");
                         });

// 16-bit pixels whose white is 0x8000 take the render path and are scaled so that white becomes 1.
TEST(SubImageTexture, ReducedWhiteLevelIsScaledUpOnUpload) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::RGBA16_8000, 8, 4);
        for (long y = 0; y < 4; ++y)
            for (long x = 0; x < 8; ++x) {
                unsigned short* p = reinterpret_cast<unsigned short*>(image.Row(y)) + x * 4;
                p[0] = 32768, p[1] = 16384, p[2] = 0, p[3] = 32768;
            }
        Texture::ResetUploadCounts();
        SubImageTexture texture(&image);
        texture.Apply();
        EXPECT_EQ(Texture::DirectUploadCount(), 0);
        EXPECT_EQ(Texture::RenderUploadCount(), 1);
        const std::vector<unsigned char> pixels = ReadContent(texture, 8, 4);
        const unsigned char* p = At(pixels, 8, 3, 2); // BGRA bytes
        EXPECT_TRUE(Near(p[2], 255)) << int(p[2]);
        EXPECT_TRUE(Near(p[1], 128)) << int(p[1]);
        EXPECT_TRUE(Near(p[0], 0)) << int(p[0]);
        EXPECT_TRUE(Near(p[3], 255)) << int(p[3]);
    }));
}

TEST(SubImageTexture, LoadingTwiceWithoutChangeUploadsOnce) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 8);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        Texture::ResetUploadCounts();
        texture.Apply();
        texture.Apply();
        texture.Load();
        EXPECT_EQ(Texture::DirectUploadCount() + Texture::RenderUploadCount(), 1);
        // The same region again is no change; another region, or the image again, is.
        texture.SetRegion(Region(0, 0, 16, 8));
        texture.Apply();
        EXPECT_EQ(Texture::DirectUploadCount() + Texture::RenderUploadCount(), 1);
        texture.SetRegion(Region(0, 0, 8, 8));
        texture.Apply();
        EXPECT_EQ(Texture::DirectUploadCount() + Texture::RenderUploadCount(), 2);
        texture.SetImage(&image);
        texture.Apply();
        EXPECT_EQ(Texture::DirectUploadCount() + Texture::RenderUploadCount(), 3);
    }));
}

TEST(Texture, FitModeKeepsAspectRatioAndClearsTheRest) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 200, 100);
        image.Fill(255);
        LoadableTexture texture;
        texture.Resize(100, 100, GL_RGBA, 0);
        texture.SetFit();
        ASSERT_TRUE(texture.CreateTexture());
        texture.LoadTexture(&image, Region(0, 0, 200, 100), Region(0, 0, 100, 100));
        const std::vector<unsigned char> pixels = ReadContent(texture, 100, 100);
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
// with whatever lies beyond it in a larger cached texture (here left opaque red by an earlier use).
TEST(Texture, EnlargedUploadBlendsOnlyWithinTheImage) {
    ASSERT_TRUE(OnWorker([] {
        {
            TestImage red(Formats::BGRA8, 64, 64);
            for (long y = 0; y < 64; ++y)
                for (long x = 0; x < 64; ++x) {
                    unsigned char* p = red.Row(y) + x * 4;
                    p[0] = 0, p[1] = 0, p[2] = 255, p[3] = 255;
                }
            LoadableTexture warm;
            warm.Resize(100, 100, GL_RGBA, 0);
            ASSERT_TRUE(warm.CreateTexture());
            warm.LoadTexture(&red, Region(0, 0, 64, 64), Region(0, 0, 100, 100));
        }
        TestImage image(Formats::BGRA8, 10, 10);
        image.Fill(255);
        LoadableTexture texture;
        texture.Resize(100, 100, GL_RGBA, 0);
        ASSERT_TRUE(texture.CreateTexture());
        texture.LoadTexture(&image, Region(0, 0, 10, 10), Region(0, 0, 100, 100));
        const std::vector<unsigned char> pixels = ReadContent(texture, 100, 100);
        for (int y = 0; y < 100; y += 11)
            for (int x : {0, 50, 95, 99})
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(At(pixels, 100, x, y)[c], 255) << x << ", " << y << " channel " << c;
        for (int c = 0; c < 4; ++c)
            ASSERT_EQ(At(pixels, 100, 99, 99)[c], 255) << "corner, channel " << c;
    }));
}

TEST(SubImageTexture, MaskMultipliesOnlyAlpha) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 16);
        TestImage mask(Formats::BGRA8, 16, 16);
        for (long y = 0; y < 16; ++y)
            for (long x = 0; x < 16; ++x) {
                unsigned char* p = image.Row(y) + x * 4;
                p[0] = 50, p[1] = 100, p[2] = 200, p[3] = 200;
                unsigned char* m = mask.Row(y) + x * 4;
                m[0] = 0, m[1] = 0, m[2] = 0, m[3] = x < 8 ? 128 : 255;
            }
        SubImageTexture texture(&image);
        texture.SetMask(&mask);
        texture.Apply();
        const std::vector<unsigned char> pixels = ReadContent(texture, 16, 16);
        const unsigned char* half = At(pixels, 16, 2, 5);
        const unsigned char* full = At(pixels, 16, 12, 5);
        EXPECT_TRUE(Near(half[0], 50) && Near(half[1], 100) && Near(half[2], 200));
        EXPECT_TRUE(Near(half[3], 200 * 128 / 255)) << int(half[3]);
        EXPECT_TRUE(Near(full[0], 50) && Near(full[1], 100) && Near(full[2], 200));
        EXPECT_TRUE(Near(full[3], 200)) << int(full[3]);
    }));
}

TEST(SubImageTexture, MaskSmallerThanTheImageHidesWhatItDoesNotCover) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 16);
        image.Fill(255);
        TestImage mask(Formats::BGRA8, 8, 4);
        mask.Fill(255);
        SubImageTexture texture(&image);
        texture.SetMask(&mask);
        texture.Apply();
        const std::vector<unsigned char> pixels = ReadContent(texture, 16, 16);
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                ASSERT_EQ(At(pixels, 16, x, y)[3], x < 8 && y < 4 ? 255 : 0) << x << ", " << y;
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
        for (size_t i = 0; i < pixels.size(); i += 13)
            ASSERT_EQ(pixels[i], 0) << i;
    }));
}

// A TextureUnit carrying a texture binds and loads it, so drawing with the unit shows the image.
TEST(SubImageTexture, TextureUnitCarryingTheTextureBindsIt) {
    ASSERT_TRUE(OnWorker([] {
        TestImage image(Formats::BGRA8, 16, 8);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        RenderedTexture target(16, 8);
        target.Clear();
        {
            PushState state;
            ASSERT_TRUE(target.Select());
            TextureUnit(0, texture).Apply();
            EXPECT_NE(Integer(GL_TEXTURE_BINDING_RECTANGLE), 0);
            sPlane.Draw(0.0f, 0.0f, 16.0f, 8.0f, 0.0f);
        }
        const std::vector<unsigned char> pixels = ReadContent(target, 16, 8);
        EXPECT_EQ(At(pixels, 16, 5, 6)[0], 5);
        EXPECT_EQ(At(pixels, 16, 5, 6)[1], 6);
    }));
}

TEST(AlphaTexture, LoadWithoutImageThrowsOpenGLErrorWithCodeZero) {
    ASSERT_TRUE(OnWorker([] {
        AlphaTexture texture;
        try {
            texture.Load();
            ADD_FAILURE() << "no exception";
        } catch (const OpenGLError& e) {
            EXPECT_STREQ(e.what(), OpenGLError(0).what());
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
        EXPECT_TRUE(Near(At(pixels, 8, 5, 2)[3], 65));
        EXPECT_TRUE(Near(At(pixels, 8, 0, 3)[3], 90));
    }));
}

} // namespace
