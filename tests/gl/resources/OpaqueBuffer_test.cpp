// Memory buffers: the description derived from the colour space, row alignment, block rounding,
// wrapping outside memory and the memory cache behind it; the typed buffers over them and their
// whole-image tests. No OpenGL: only 8- and 16-bit images are sized from an image here (float
// ones would ask the card).

#include "gl/resources/Buffer.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/resources/OpaqueBuffer.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::ImageFormat;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

constexpr ImageFormat kBGRA32F{OGL_ZEP6_AE::FourCC("BGRA"), 128, 1};
constexpr ImageFormat kAlpha32F{GL_ALPHA32F_ARB, 32, 1};

// Opens the protected sizing helpers to the tests.
class OpenBuffer : public OpaqueBuffer {
public:
    using OpaqueBuffer::figureRowBytes;
    using OpaqueBuffer::Resize;
    using OpaqueBuffer::roundImageBytes;
};

// Bytes of memory blocks handed out now.
long BlocksInUse() {
    return MemoryBuffer::Counters().inUse;
}

class OpaqueBufferTest : public ::testing::Test {
protected:
    void SetUp() override { OpaqueBuffer::FinalizePool(); }
    void TearDown() override { OpaqueBuffer::FinalizePool(); }
};

struct ResizeCase {
    unsigned int colorSpace;
    int width;
    int height;
    int bitDepth;
    int whiteLevel;
    int rowBytes;
    long block;
    float givenWhite = 0; // not 0: bit depth and this white level are given, not derived
};

TEST_F(OpaqueBufferTest, ResizeDerivesDepthRowsAndBlockFromTheColourSpaceAndRounds) {
    const ResizeCase cases[] = {
        // Four floats: 1600 bytes a row, 16,000 bytes in a block of 1 MiB.
        {GL_RGBA32F, 100, 10, 128, 1, 1600, 0x100000},
        // 8,294,400 bytes: above 4 MiB blocks grow in steps of 4 MiB.
        {GL_RGBA8, 1920, 1080, 32, 255, 7680, 8388608},
        // 72 bits a row are padded to 128.
        {GL_RGB8, 3, 1, 24, 255, 16, 0x100000},
        {GL_RGBA16, 10, 10, 64, 65535, 80, 0x100000},
        {GL_RGBA16F, 1, 1, 64, 1, 16, 0x100000},
        {GL_ALPHA8, 17, 2, 8, 255, 32, 0x100000},
        {GL_ALPHA16F_ARB, 8, 1, 16, 1, 16, 0x100000},
        {GL_LUMINANCE32F_ARB, 1000, 1000, 32, 1, 4000, 0x400000},
        {GL_DEPTH_COMPONENT16, 8, 8, 16, 65535, 16, 0x100000},
        // Exactly 4 MiB and one row past it.
        {GL_RGBA8, 1024, 1024, 32, 255, 4096, 0x400000},
        {GL_RGBA8, 1024, 1025, 32, 255, 4096, 0x800000},
        // Depth and white level given: the white level is truncated.
        {OGL_ZEP6_AE::FourCC("RGBA"), 10, 10, 128, 1, 160, 0x100000, 1.9f},
        {32, 3, 1, 32, 255, 16, 0x100000, 255.99f},
    };
    for (const ResizeCase& c : cases) {
        SCOPED_TRACE("colour space " + std::to_string(c.colorSpace) + ", " + std::to_string(c.width) + " x " +
                     std::to_string(c.height));
        // An idle block from the case before would serve this one.
        OpaqueBuffer::FinalizePool();
        const long before = BlocksInUse();
        OpaqueBuffer buffer;
        ASSERT_TRUE(c.givenWhite ? buffer.Resize(c.width, c.height, c.colorSpace, c.bitDepth, c.givenWhite)
                                 : buffer.Resize(c.width, c.height, c.colorSpace));
        EXPECT_EQ(std::vector<long>({buffer.GetColorSpace(), buffer.GetBitDepth(), buffer.GetWhiteLevel(),
                                     buffer.GetWidth(), buffer.GetHeight(), buffer.GetRowBytes(), buffer.Size(),
                                     BlocksInUse() - before}),
                  std::vector<long>({long(c.colorSpace), c.bitDepth, c.whiteLevel, c.width, c.height, c.rowBytes,
                                     long(c.rowBytes) * c.height, c.block}));
        ASSERT_NE(buffer.GetBaseAddress(), nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.GetBaseAddress()) % 16, 0u);
        // The whole image must be writable (the sanitizer build checks the bounds).
        std::memset(buffer.GetBaseAddress(), 0xA5, static_cast<std::size_t>(buffer.Size()));
    }

    // The sizing helpers where the Resize table above does not reach them: other alignments, no
    // width or depth, and the block boundaries below 4 MiB.
    const int rows[][4] = {{3, 24, 8, 9}, {5, 8, 32, 8}, {1, 8, 128, 16}, {0, 32, 128, 0}, {7, 0, 128, 0}};
    for (const auto& r : rows)
        EXPECT_EQ(OpenBuffer::figureRowBytes(r[0], r[1], r[2]), r[3])
            << r[0] << " x " << r[1] << " bits, aligned to " << r[2];
    const int blocks[][2] = {
        {0, 0}, {-3, 0}, {1, 0x100000}, {0x100000, 0x100000}, {0x100001, 0x200000}, {0x3FFFFF, 0x400000}};
    for (const auto& b : blocks)
        EXPECT_EQ(OpenBuffer::roundImageBytes(b[0]), b[1]) << b[0];
}

TEST_F(OpaqueBufferTest, NothingToAllocateGivesFalseAndGivesTheOldBlockBack) {
    const long before = BlocksInUse();
    OpaqueBuffer buffer;
    // No width or height; a colour space that is no internal format (no depth); a depth format of
    // 32-bit integers, not among the types a buffer holds.
    // Last column: whether the bit depth becomes 0.
    const int refused[][4] = {{0, 10, GL_RGBA8, 0}, {10, 0, GL_RGBA8, 0}, {-5, 10, GL_RGBA8, 0},
                              {10, 10, static_cast<int>(OGL_ZEP6_AE::FourCC("RGBA")), 1},
                              {10, 10, GL_DEPTH_COMPONENT24, 1}};
    for (const auto& r : refused) {
        ASSERT_TRUE(buffer.Resize(4, 4, GL_RGBA8));
        EXPECT_FALSE(buffer.Resize(r[0], r[1], static_cast<unsigned int>(r[2]))) << r[0] << " x " << r[1];
        if (r[3]) {
            EXPECT_EQ(buffer.GetBitDepth(), 0) << "colour space " << r[2];
        }
        EXPECT_EQ(std::make_tuple(buffer.GetBaseAddress(), long(buffer.Size()), BlocksInUse()),
                  std::make_tuple(static_cast<void*>(nullptr), 0L, before)) << "the old block must go back";
    }
    EXPECT_EQ(buffer.GetWhiteLevel(), 255) << "a refused description keeps the white level";
    // No image to be like.
    ASSERT_TRUE(buffer.Resize(4, 4, GL_RGBA8));
    EXPECT_FALSE(buffer.Resize(nullptr));
    EXPECT_EQ(BlocksInUse(), before);
}

TEST_F(OpaqueBufferTest, WrapsOutsideMemoryWithoutOwningIt) {
    std::vector<unsigned char> pixels(4096, 0x11);
    const long before = BlocksInUse();
    {
        OpenBuffer buffer;
        // As an image: bottom-up, writable, no native handle.
        EXPECT_TRUE(buffer.IsBottomUp() && !buffer.IsReadOnly() && buffer.GetNative() == nullptr);
        // Row bytes given are kept (Buffer.WrapsAnImageAsItIs); 0 asks for the description's: 16
        // bits a pixel by default, so three pixels need 48 bits, padded to 128.
        EXPECT_FALSE(buffer.Resize(3, 2, pixels.data(), 0));
        EXPECT_EQ(std::make_tuple(buffer.GetRowBytes(), buffer.GetBaseAddress(), BlocksInUse()),
                  std::make_tuple(16L, static_cast<void*>(pixels.data()), before)) << "wrapping takes no block";

        buffer.Finalize();
        EXPECT_EQ(buffer.GetBaseAddress(), nullptr);

        // Without data the protected form allocates for the current description.
        EXPECT_TRUE(buffer.Resize(3, 2, nullptr, 0));
        EXPECT_NE(buffer.GetBaseAddress(), nullptr);
        EXPECT_EQ(BlocksInUse() - before, 0x100000);

        // Wrapping again gives the block back.
        EXPECT_FALSE(buffer.Resize(3, 2, pixels.data(), 0));
        EXPECT_EQ(BlocksInUse(), before);
    }
    // The wrapped memory is still the caller's (a free of it would trip the sanitizer build).
    EXPECT_EQ(pixels[0], 0x11);
}

TEST(Buffer, WrapsAnImageAsItIsOrAllocatesNothingForADescription) {
    TestImage image(Formats::BGRA8, 5, 3, 12);
    image.Set<BGRA8>(4, 2, BGRA8{1, 2, 3, 4});
    {
        Buffer<BGRA8> buffer(&image);
        EXPECT_EQ(std::vector<long>({buffer.GetWidth(), buffer.GetHeight(), buffer.GetRowBytes(),
                                     buffer.GetColorSpace(), buffer.GetBitDepth(), buffer.GetWhiteLevel()}),
                  std::vector<long>({5, 3, 32, Formats::BGRA8.colorSpace, 32, 255}));
        EXPECT_EQ(buffer.GetBaseAddress(), image.GetBaseAddress());
        // Rows are row bytes apart, pixels PixelType-sized.
        EXPECT_TRUE(buffer.Row(2)[4].red == 3 && buffer.Row(2)[4].alpha == 4);
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

    // Made from a description, a buffer rounds the white level and allocates nothing.
    Buffer<BGRA8> buffer(OGL_ZEP6_AE::FourCC("BGRA"), 32, 254.6f);
    EXPECT_EQ(std::make_tuple(buffer.GetWhiteLevel(), buffer.GetBitDepth(), buffer.GetBaseAddress()),
              std::make_tuple(255L, 32L, static_cast<void*>(nullptr)));
    EXPECT_EQ(Buffer<Luma32F>(GL_LUMINANCE, 32, 0.6f).GetWhiteLevel(), 1);
    // Sized later, the description decides the rows.
    ASSERT_TRUE(buffer.Resize(7, 3, buffer.GetColorSpace(), 32, 255.0f));
    EXPECT_EQ(buffer.GetRowBytes(), 32);
    buffer.Row(2)[6] = BGRA8{9, 8, 7, 6};
    EXPECT_EQ(buffer.Row(2)[6].alpha, 6);
}

// Colour channels below white (all zero here) do not count; only the alpha channel does, and
// rows of zero (fully transparent) padding do not count as pixels.
template <class Pixel>
void CheckHasAlpha(const char* name, const ImageFormat& format, decltype(Pixel{}.alpha) justBelowWhite) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(HasAlpha(static_cast<const Buffer<Pixel>*>(nullptr)));
    Buffer<Pixel> empty(static_cast<unsigned int>(format.colorSpace), static_cast<int>(format.bitDepth),
                        static_cast<float>(format.whiteLevel));
    EXPECT_FALSE(HasAlpha(&empty));

    TestImage image(format, 6, 4, 16);
    Pixel opaqueBlack{};
    opaqueBlack.alpha = static_cast<decltype(opaqueBlack.alpha)>(PixelTraits<Pixel>::kMax);
    for (long y = 0; y < 4; ++y)
        for (long x = 0; x < 6; ++x)
            image.Set<Pixel>(x, y, opaqueBlack);
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

// HasAlpha finds the first alpha below white; MaxLuma is the largest weighted sum, starting at zero.
TEST(WholeImage, AlphaMaxLumaAndTheMatteOfTheLuma) {
    CheckHasAlpha<RGBA32F>("RGBA float", Formats::RGBA32F, 0.999f);
    CheckHasAlpha<BGRA8>("BGRA 8-bit", Formats::BGRA8, 254);
    CheckHasAlpha<ARGB8>("ARGB 8-bit (alpha first)", Formats::ARGB8, 254);
    CheckHasAlpha<Alpha32F>("alpha float", kAlpha32F, 0.5f);

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

    TestImage negative(Formats::RGBA32F, 1, 1);
    negative.Set<RGBA32F>(0, 0, RGBA32F{-1, -0.5f, -2, 1});
    Buffer<RGBA32F> negativeBuffer(&negative);
    EXPECT_EQ(MaxLuma(&negativeBuffer), 0.0f);

    // ConvertLumaToAlpha makes a white matte of the luma.
    EXPECT_FALSE(ConvertLumaToAlpha(static_cast<Buffer<BGRA32F>*>(nullptr)));
    Buffer<BGRA32F> empty(OGL_ZEP6_AE::FourCC("BGRA"), 128, 1.0f);
    EXPECT_FALSE(ConvertLumaToAlpha(&empty));

    TestImage matte(kBGRA32F, 3, 2, 16);
    matte.Fill(0x5A);
    matte.Set<BGRA32F>(0, 0, BGRA32F{1.0f, 0.25f, 0.5f, 0.3f}); // blue, green, red, alpha
    matte.Set<BGRA32F>(1, 0, BGRA32F{4, 4, 4, 0});
    matte.Set<BGRA32F>(2, 0, BGRA32F{-1, -1, -1, 1});
    for (long x = 0; x < 3; ++x)
        matte.Set<BGRA32F>(x, 1, BGRA32F{0, 0, 0, 0});
    Buffer<BGRA32F> matteBuffer(&matte);
    ASSERT_TRUE(ConvertLumaToAlpha(&matteBuffer));

    const BGRA32F first = matte.Get<BGRA32F>(0, 0);
    EXPECT_TRUE(first.red == 1.0f && first.green == 1.0f && first.blue == 1.0f);
    EXPECT_NEAR(first.alpha, 0.3f * 0.5f + 0.59f * 0.25f + 0.11f * 1.0f, 1e-6f);
    EXPECT_EQ(matte.Get<BGRA32F>(1, 0).alpha, 1.0f) << "clamped to white";
    EXPECT_EQ(matte.Get<BGRA32F>(2, 0).alpha, 0.0f) << "clamped to black";
    EXPECT_EQ(matte.Get<BGRA32F>(1, 1).alpha, 0.0f);
    // Row padding is not touched.
    for (long row = 0; row < 2; ++row)
        for (long b = 3 * 16; b < matte.GetRowBytes(); ++b)
            ASSERT_EQ(matte.Row(row)[b], 0x5A) << "row " << row << " byte " << b;
}

} // namespace
