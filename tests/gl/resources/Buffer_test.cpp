// Typed pixel buffers: wrapping and describing constructors, and the whole-image tests over them.

#include "gl/resources/Buffer.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::ImageFormat;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

constexpr ImageFormat kBGRA32F{OGL_ZEP6_AE::FourCC("BGRA"), 128, 1};
constexpr ImageFormat kAlpha32F{GL_ALPHA32F_ARB, 32, 1};

TEST(Buffer, WrapsAnImageAsItIs) {
    TestImage image(Formats::BGRA8, 5, 3, 12);
    image.Set<BGRA8>(4, 2, BGRA8{1, 2, 3, 4});
    {
        Buffer<BGRA8> buffer(&image);
        EXPECT_EQ(std::vector<long>({buffer.GetWidth(), buffer.GetHeight(), buffer.GetRowBytes(),
                                     buffer.GetColorSpace(), buffer.GetBitDepth(), buffer.GetWhiteLevel()}),
                  std::vector<long>({5, 3, 32, Formats::BGRA8.colorSpace, 32, 255}));
        EXPECT_EQ(buffer.GetBaseAddress(), image.GetBaseAddress());
        // Rows are row bytes apart, pixels PixelType-sized.
        EXPECT_EQ(buffer.Row(2)[4].red, 3);
        EXPECT_EQ(buffer.Row(2)[4].alpha, 4);
    }
    EXPECT_EQ(image.Get<BGRA8>(4, 2).alpha, 4) << "the memory stays the image's";

    // Nothing, or an image without pixels, gives an empty buffer (with the image's description).
    Buffer<RGBA32F> none(static_cast<const XIImage*>(nullptr));
    EXPECT_EQ(none.Row(0), nullptr);
    TestImage description(Formats::RGBA32F, 40, 20, 0, zep6test::Pixels::None);
    Buffer<RGBA32F> empty(&description);
    EXPECT_EQ(std::vector<long>({none.GetWidth(), empty.GetHeight(), empty.GetColorSpace(), empty.GetBitDepth()}),
              std::vector<long>({0, 0, Formats::RGBA32F.colorSpace, 128}));
    EXPECT_EQ(empty.GetBaseAddress(), nullptr);
}

TEST(Buffer, DescribingConstructorRoundsTheWhiteLevelAndAllocatesNothing) {
    Buffer<BGRA8> buffer(OGL_ZEP6_AE::FourCC("BGRA"), 32, 254.6f);
    EXPECT_EQ(buffer.GetWhiteLevel(), 255);
    EXPECT_EQ(buffer.GetBitDepth(), 32);
    EXPECT_EQ(buffer.GetBaseAddress(), nullptr);
    EXPECT_EQ(Buffer<Luma32F>(GL_LUMINANCE, 32, 0.6f).GetWhiteLevel(), 1);
    // Sized later, the description decides the rows.
    ASSERT_TRUE(buffer.Resize(7, 3, buffer.GetColorSpace(), 32, 255.0f));
    EXPECT_EQ(buffer.GetRowBytes(), 32);
    buffer.Row(2)[6] = BGRA8{9, 8, 7, 6};
    EXPECT_EQ(buffer.Row(2)[6].alpha, 6);
}

// An all-opaque image of the given type with `padding` bytes of zero after each row; rows of
// zero (fully transparent) padding must not count as pixels.
template <class Pixel>
TestImage OpaqueImage(const ImageFormat& format, long width, long height, long padding) {
    TestImage image(format, width, height, padding);
    Pixel white{};
    white.alpha = static_cast<decltype(white.alpha)>(PixelTraits<Pixel>::kMax);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            image.Set<Pixel>(x, y, white);
    return image;
}

// Colour channels below white (all zero here) do not count; only the alpha channel does.
template <class Pixel>
void CheckHasAlpha(const char* name, const ImageFormat& format, decltype(Pixel{}.alpha) justBelowWhite) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(HasAlpha(static_cast<const Buffer<Pixel>*>(nullptr)));
    Buffer<Pixel> empty(static_cast<unsigned int>(format.colorSpace), static_cast<int>(format.bitDepth),
                        static_cast<float>(format.whiteLevel));
    EXPECT_FALSE(HasAlpha(&empty));

    TestImage image = OpaqueImage<Pixel>(format, 6, 4, 16);
    {
        Buffer<Pixel> opaque(&image);
        EXPECT_FALSE(HasAlpha(&opaque)) << "all opaque, padding of zeros ignored";
    }
    // The last pixel of the last row.
    Pixel last = image.Get<Pixel>(5, 3);
    last.alpha = justBelowWhite;
    image.Set<Pixel>(5, 3, last);
    Buffer<Pixel> translucent(&image);
    EXPECT_TRUE(HasAlpha(&translucent));
}

TEST(HasAlpha, FindsTheFirstAlphaBelowWhite) {
    CheckHasAlpha<RGBA32F>("RGBA float", Formats::RGBA32F, 0.999f);
    CheckHasAlpha<BGRA8>("BGRA 8-bit", Formats::BGRA8, 254);
    CheckHasAlpha<ARGB8>("ARGB 8-bit (alpha first)", Formats::ARGB8, 254);
    CheckHasAlpha<Alpha32F>("alpha float", kAlpha32F, 0.5f);
}

TEST(MaxLuma, LargestWeightedSumStartingAtZero) {
    EXPECT_EQ(MaxLuma(nullptr), 0.0f);

    TestImage image(Formats::RGBA32F, 3, 2, 16);
    image.Set<RGBA32F>(0, 0, RGBA32F{1, 0, 0, 1});
    image.Set<RGBA32F>(1, 0, RGBA32F{0, 1, 0, 1});
    image.Set<RGBA32F>(2, 0, RGBA32F{0, 0, 1, 1});
    image.Set<RGBA32F>(0, 1, RGBA32F{0.5f, 0.5f, 0.5f, 0});
    Buffer<RGBA32F> buffer(&image);
    EXPECT_NEAR(MaxLuma(&buffer), 0.59f, 1e-6f);

    image.Set<RGBA32F>(2, 1, RGBA32F{2, 2, 2, 1});
    EXPECT_NEAR(MaxLuma(&buffer), 2.0f, 1e-6f) << "no clamping";

    TestImage negative(Formats::RGBA32F, 2, 2);
    for (long y = 0; y < 2; ++y)
        for (long x = 0; x < 2; ++x)
            negative.Set<RGBA32F>(x, y, RGBA32F{-1, -0.5f, -2, 1});
    Buffer<RGBA32F> negativeBuffer(&negative);
    EXPECT_EQ(MaxLuma(&negativeBuffer), 0.0f);
}

TEST(ConvertLumaToAlpha, MakesAWhiteMatteOfTheLuma) {
    EXPECT_FALSE(ConvertLumaToAlpha(static_cast<Buffer<BGRA32F>*>(nullptr)));
    Buffer<BGRA32F> empty(OGL_ZEP6_AE::FourCC("BGRA"), 128, 1.0f);
    EXPECT_FALSE(ConvertLumaToAlpha(&empty));

    TestImage image(kBGRA32F, 3, 2, 16);
    image.Fill(0x5A);
    image.Set<BGRA32F>(0, 0, BGRA32F{1.0f, 0.25f, 0.5f, 0.3f}); // blue, green, red, alpha
    image.Set<BGRA32F>(1, 0, BGRA32F{4, 4, 4, 0});
    image.Set<BGRA32F>(2, 0, BGRA32F{-1, -1, -1, 1});
    for (long x = 0; x < 3; ++x)
        image.Set<BGRA32F>(x, 1, BGRA32F{0, 0, 0, 0});
    Buffer<BGRA32F> buffer(&image);
    ASSERT_TRUE(ConvertLumaToAlpha(&buffer));

    const BGRA32F first = image.Get<BGRA32F>(0, 0);
    EXPECT_EQ(first.red, 1.0f);
    EXPECT_EQ(first.green, 1.0f);
    EXPECT_EQ(first.blue, 1.0f);
    EXPECT_NEAR(first.alpha, 0.3f * 0.5f + 0.59f * 0.25f + 0.11f * 1.0f, 1e-6f);
    EXPECT_EQ(image.Get<BGRA32F>(1, 0).alpha, 1.0f) << "clamped to white";
    EXPECT_EQ(image.Get<BGRA32F>(2, 0).alpha, 0.0f) << "clamped to black";
    EXPECT_EQ(image.Get<BGRA32F>(1, 1).alpha, 0.0f);
    // Row padding is not touched.
    for (long row = 0; row < 2; ++row)
        for (long b = 3 * 16; b < image.GetRowBytes(); ++b)
            ASSERT_EQ(image.Row(row)[b], 0x5A) << "row " << row << " byte " << b;
}

} // namespace
