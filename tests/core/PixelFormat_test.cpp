// Translation of image descriptions into OpenGL pixel-transfer terms, texture size estimates, the
// typed pixel views, the rule that picks a texture's internal format for pixels of a given format
// and type, and the debug image writers.

#include "core/BufferDebug.h"
#include "core/PixelFormat.h"
#include "core/PixelTypes.h"
#include "core/TextureFormat.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>
#include <unistd.h>

using namespace OGL_ZEP6_AE;
using zep6test::ImageFormat;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

struct DescriptionCase {
    long colorSpace;
    int bitDepth;
    int whiteLevel;
    unsigned int format;
    unsigned int type;
};

std::string Describe(long colorSpace, int bitDepth, int whiteLevel) {
    return "colour space " + std::to_string(colorSpace) + ", bit depth " + std::to_string(bitDepth) +
           ", white " + std::to_string(whiteLevel);
}

// (Descriptions of images: ImageScaleIsWhiteLevelOverTypeRange, which checks format and type too.)
TEST(GetColorSpaceFormat, ByDescriptionWithBigEndianFourCC) {
    // clang-format off
    const DescriptionCase cases[] = {
        // Four-character codes whose type comes from the component size: 48 / 32 rounds down to
        // one byte, three-byte components have no type.
        {FourCC("RGBA"), 64, 16385, GL_RGBA, GL_UNSIGNED_SHORT}, {FourCC("RGBA"), 48, 255, GL_RGBA, GL_UNSIGNED_BYTE},
        {FourCC("RGBA"), 24, 255, GL_RGBA, 0}, {FourCC("RGBA"), 96, 255, GL_RGBA, 0},
        {FourCC("BGRA"), 32, 255, GL_BGRA, GL_UNSIGNED_BYTE}, {FourCC("ABGR"), 64, 65535, GL_BGRA, GL_UNSIGNED_SHORT},
        {FourCC("24BG"), 24, 255, GL_BGR, GL_UNSIGNED_BYTE},
        // Packed 16-bit codes are final whatever the bit depth says.
        {FourCC("L565"), 16, 255, GL_RGB, GL_UNSIGNED_SHORT_5_6_5}, {FourCC("L555"), 16, 255, GL_RGB, GL_UNSIGNED_SHORT_1_5_5_5_REV},
        {FourCC("5551"), 32, 255, GL_RGB, GL_UNSIGNED_SHORT_5_5_5_1},
        // YUV layouts travel as RGBA of their size.
        {FourCC("2vuy"), 32, 255, GL_RGBA, GL_UNSIGNED_BYTE}, {FourCC("Y411"), 32, 255, GL_RGBA, GL_UNSIGNED_BYTE},
        {FourCC("2vuy"), 16, 255, GL_RGBA, 0},
        // Classic codes.
        {1, 8, 255, GL_ALPHA, GL_UNSIGNED_BYTE}, {1, 16, 1, GL_ALPHA, GL_HALF_FLOAT}, {1, 32, 1, GL_ALPHA, GL_FLOAT},
        {2, 8, 255, GL_COLOR_INDEX, 0}, {40, 8, 255, GL_COLOR_INDEX, 0}, {16, 16, 255, GL_RGB, GL_UNSIGNED_SHORT_5_5_5_1},
        {24, 24, 255, GL_RGB, GL_UNSIGNED_BYTE}, {32, 128, 1, GL_RGBA, GL_FLOAT}, {32, 16, 255, GL_RGBA, GL_FLOAT},
        // OpenGL internal formats: the table decides when it names a type...
        {GL_RGBA16F, 64, 1, GL_RGBA, GL_HALF_FLOAT}, {GL_RGBA8, 64, 65535, GL_RGBA, GL_UNSIGNED_BYTE},
        {GL_DEPTH_COMPONENT, 32, 1, GL_DEPTH_COMPONENT, GL_FLOAT},
        {GL_DEPTH_COMPONENT24, 32, 1, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT},
        // ...else the component size does.
        {GL_ALPHA, 8, 255, GL_ALPHA, GL_UNSIGNED_BYTE}, {GL_LUMINANCE, 16, 65535, GL_LUMINANCE, GL_UNSIGNED_SHORT},
        {12345, 32, 255, GL_RGBA, GL_UNSIGNED_BYTE}, {12345, 0, 255, GL_RGBA, 0},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(Describe(c.colorSpace, c.bitDepth, c.whiteLevel));
        unsigned int format = 1, type = 1;
        GetColorSpaceFormat(static_cast<int>(c.colorSpace), c.bitDepth, c.whiteLevel, format, type);
        EXPECT_EQ(std::make_pair(format, type), std::make_pair(c.format, c.type));
    }

    // FourCC packs big-endian and works as a constant.
    EXPECT_EQ(FourCC("BGRA"), 0x42475241u);
    EXPECT_EQ(FourCC("2vuy"), 0x32767579u);
    static_assert(FourCC("RGBA") == 0x52474241u);
}

TEST(GetColorSpaceFormat, ImageScaleIsWhiteLevelOverTypeRange) {
    const struct {
        ImageFormat description;
        unsigned int format, type;
        float scale;
        long width = 4;
        bool null = false;
    } cases[] = {
        {Formats::RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 1.0f},
        {{FourCC("RGBA"), 32, 128}, GL_RGBA, GL_UNSIGNED_BYTE, 128.0f / 255.0f},
        {{FourCC("RGBA"), 32, 300}, GL_RGBA, GL_UNSIGNED_BYTE, 1.0f},
        {{32, 32, 200}, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8, 200.0f / 255.0f},
        {Formats::RGBA16, GL_RGBA, GL_UNSIGNED_SHORT, 1.0f},
        {Formats::RGBA16_8000, GL_RGBA, GL_UNSIGNED_SHORT, 32768.0f / 65535.0f},
        {Formats::RGBA16_4000, GL_RGBA, GL_SHORT, 16384.0f / 32767.0f},
        {{FourCC("RGBA"), 64, 4096}, GL_RGBA, GL_SHORT, 4096.0f / 32767.0f},
        {Formats::RGBA32F, GL_RGBA, GL_FLOAT, 1.0f}, {{FourCC("RGBA"), 64, 1}, GL_RGBA, GL_HALF_FLOAT, 1.0f},
        {{FourCC("RGBA"), 128, 1000}, GL_RGBA, GL_UNSIGNED_INT, 1000.0f / 4294967296.0f},
        {{FourCC("RGBA"), 128, 0xFFFFFFFFL}, GL_RGBA, GL_UNSIGNED_INT, 1.0f},
        {{FourCC("B565"), 16, 31}, GL_RGB, GL_UNSIGNED_SHORT_5_6_5_REV, 1.0f},
        {{32, 64, 32768}, GL_RGBA, GL_UNSIGNED_SHORT, 32768.0f / 65535.0f},
        // An invalid image, and none, give RGBA without a type.
        {Formats::RGBA32F, GL_RGBA, 0, 1.0f, 0},
        {Formats::RGBA32F, GL_RGBA, 0, 1.0f, 4, true},
    };
    for (const auto& c : cases) {
        const ImageFormat& d = c.description;
        SCOPED_TRACE(Describe(d.colorSpace, static_cast<int>(d.bitDepth), static_cast<int>(d.whiteLevel)) +
                     (c.null ? ", no image" : c.width ? "" : ", no width"));
        const TestImage image(d, c.width, 2);
        const XIImage* tested = c.null ? nullptr : &image;
        unsigned int format = 1, type = 1, plainFormat = 1, plainType = 1;
        float scale = -1.0f;
        GetColorSpaceFormat(tested, format, type, scale);
        GetFormatType(tested, plainFormat, plainType);
        EXPECT_EQ(std::make_tuple(format, type, plainFormat, plainType), std::make_tuple(c.format, c.type, c.format, c.type));
        EXPECT_NEAR(scale, c.scale, c.scale * 1e-5f);
    }
}

TEST(NeedToConvert, DirectOnlyWhenLayoutTypeAndScaleFit) {
    TestImage invalid(Formats::RGBA32F, 4, 2);
    invalid.SetWidth(0);
    const struct {
        const char* what;
        ImageFormat description;
        unsigned int format, type;
        bool convert;
    } cases[] = {
        {"alpha-first 8-bit", Formats::ARGB8, GL_BGRA, GL_FLOAT, false},
        {"alpha-first 16-bit", Formats::ARGB16, GL_RGBA, GL_UNSIGNED_SHORT, true},
        {"alpha-first float", Formats::ARGB32F, GL_RGBA, GL_FLOAT, true},
        {"16-bit full range", Formats::RGBA16, GL_RGBA, GL_UNSIGNED_SHORT, false},
        {"16-bit other order", Formats::RGBA16, GL_BGRA, GL_UNSIGNED_SHORT, true},
        {"0x8000 scale", Formats::RGBA16_8000, GL_RGBA, GL_UNSIGNED_SHORT, true},
        {"half float", {GL_RGBA16F, 64, 1}, GL_RGBA, GL_HALF_FLOAT, false},
        {"float", Formats::RGBA32F, GL_RGBA, GL_FLOAT, false},
        {"float BGRA", {FourCC("BGRA"), 128, 1}, GL_BGRA, GL_FLOAT, false},
        {"alpha fits any format", {1, 32, 1}, GL_RGBA, GL_FLOAT, false},
        {"luma fits any format", {GL_LUMINANCE32F_ARB, 32, 1}, GL_BGRA, GL_FLOAT, false},
        {"depth as depth", {GL_DEPTH_COMPONENT, 32, 1}, GL_DEPTH_COMPONENT, GL_FLOAT, false},
        {"depth as colour", {GL_DEPTH_COMPONENT, 32, 1}, GL_RGBA, GL_FLOAT, true},
        {"8-bit asked as float", Formats::RGBA8, GL_RGBA, GL_FLOAT, true},
        // Pairs outside the defined set are never answered with true.
        {"byte type not asked about", Formats::ARGB32F, GL_RGBA, GL_UNSIGNED_BYTE, false},
        {"short type not asked about", Formats::RGBA16_4000, GL_RGBA, GL_SHORT, false},
        {"RGB format not asked about", Formats::ARGB32F, GL_RGB, GL_FLOAT, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const TestImage image(c.description, 4, 2);
        EXPECT_EQ(NeedToConvert(&image, c.format, c.type), c.convert);
    }
    EXPECT_FALSE(NeedToConvert(nullptr, GL_RGBA, GL_FLOAT));
    EXPECT_TRUE(NeedToConvert(&invalid, GL_RGBA, GL_FLOAT));
}

TEST(IsMatchingFormat, ComparesEverythingButTheBaseAddressOfValidImages) {
    const TestImage reference(Formats::RGBA16_8000, 8, 5, 16);
    const TestImage copy = reference;
    ASSERT_NE(copy.GetBaseAddress(), reference.GetBaseAddress());
    EXPECT_TRUE(IsMatchingFormat(&reference, &copy));

    // Row bytes, width, height, colour space, bit depth, white level, orientation, pixels.
    void (*const differences[])(TestImage&) = {
        [](TestImage& i) { i.SetRowBytes(i.GetRowBytes() + 4); }, [](TestImage& i) { i.SetWidth(i.GetWidth() - 1); },
        [](TestImage& i) { i.SetHeight(i.GetHeight() - 1); },     [](TestImage& i) { i.SetColorSpace(FourCC("BGRA")); },
        [](TestImage& i) { i.SetBitDepth(32); },                  [](TestImage& i) { i.SetWhiteLevel(65535); },
        [](TestImage& i) { i.SetBottomUp(false); },               [](TestImage& i) { i.SetNullBase(true); }};
    for (std::size_t i = 0; i < std::size(differences); ++i) {
        TestImage other = reference;
        differences[i](other);
        EXPECT_FALSE(IsMatchingFormat(&reference, &other) || IsMatchingFormat(&other, &reference)) << "difference " << i;
    }

    // Read-only is not part of the layout; invalid images match nothing, not even themselves.
    TestImage readOnly = reference, noPixels = reference;
    readOnly.SetReadOnly(true);
    EXPECT_TRUE(IsMatchingFormat(&reference, &readOnly));
    noPixels.SetNullBase(true);
    EXPECT_FALSE(IsMatchingFormat(&noPixels, &noPixels));
    EXPECT_FALSE(IsMatchingFormat(nullptr, &reference));
    EXPECT_FALSE(IsMatchingFormat(&reference, nullptr));
}

TEST(CalculateTextureSize, RowAndBlockRoundingAndNearestPowerOfTwoSidesOnTheCard) {
    const struct {
        int width, height;
        unsigned int internalFormat;
        long bytes;
    } cases[] = {
        {1, 1, GL_ALPHA8, 64},       // one byte still takes a block
        {100, 100, GL_RGBA8, 40000}, // exactly 625 blocks
        {101, 7, GL_RGB16F, 4288},   // rows of 606 bytes, 4242 bytes rounded up to 67 blocks
        {65, 1, GL_RGBA8, 320},      // 260 bytes rounded up to 5 blocks
        {0, 100, GL_RGBA32F, 0},
        // Larger than 32 bits can count: 4294443024 bytes rounded up to a whole block.
        {16383, 16383, GL_RGBA32F, 4294443072L},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height));
        EXPECT_EQ(CalculateTextureSize(c.width, c.height, c.internalFormat), c.bytes);
    }
    const struct {
        long width, height;
        int divisor;
        bool square;
        long long bytes;
    } onCard[] = {
        {100, 20, 1, false, 128LL * 16 * 16}, // 128 - 100 < 100 - 64; 32 - 20 >= 20 - 16
        {100, 20, 1, true, 128LL * 128 * 16},
        {100, 20, 0, false, 128LL * 16 * 16}, // no division below 2
        {48, 48, 1, false, 32LL * 32 * 16},   // a tie takes the lower power
        {49, 47, 1, false, 64LL * 32 * 16},
        {33, 1, 1, false, 32LL * 16 * 16}, // never below 16
        {1, 1, 1, false, 16LL * 16 * 16},
        {2048, 1080, 1, false, 2048LL * 1024 * 16},
        {16383, 1100, 1, false, 16384LL * 1024 * 16},
    };
    for (const auto& c : onCard) {
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height) + " / " +
                     std::to_string(c.divisor) + (c.square ? " square" : ""));
        const TestImage image(Formats::RGBA8, c.width, c.height, 0, zep6test::Pixels::None);
        EXPECT_EQ(CalculateTextureSizeOnCard(&image, c.divisor, c.square), c.bytes);
    }
    EXPECT_EQ(CalculateTextureSizeOnCard(nullptr, 1, false), 0);
}

// A pixel is its channels and nothing else, in the documented order.
static_assert(sizeof(ARGB8) == 4 && sizeof(BGRA16_8000) == 8 && sizeof(RGBA32F) == 16);
static_assert(offsetof(ARGB16, alpha) == 0 && offsetof(BGRA8, alpha) == 3 && offsetof(RGBA32F, alpha) == 12);

using AllPixelTypes =
    std::tuple<ARGB8, BGRA8, RGBA8, ARGB16, BGRA16, RGBA16, ARGB16_8000, BGRA16_8000, RGBA16_8000,
               ARGB16_4000, BGRA16_4000, RGBA16_4000, ARGB32F, BGRA32F, RGBA32F, Alpha8, Alpha16, Alpha32F,
               Luma8, Luma16, Luma32F, Depth8, Depth16, Depth32F>;
constexpr std::size_t kPixelTypeCount = std::tuple_size<AllPixelTypes>::value;
static_assert(kPixelTypeCount == 24);

template <std::size_t... I>
std::vector<std::size_t> MatchingTypes(PixelLayout layout, long bitDepth, long whiteLevel,
                                       std::index_sequence<I...>) {
    std::vector<std::size_t> matches;
    ((IsPixelTypeFor<std::tuple_element_t<I, AllPixelTypes>>(layout, bitDepth, whiteLevel)
          ? matches.push_back(I)
          : void()),
     ...);
    return matches;
}

template <std::size_t... I> std::vector<bool> FloatTypes(std::index_sequence<I...>) {
    return {PixelTraits<std::tuple_element_t<I, AllPixelTypes>>::kIsFloat...};
}

// Each row's description selects exactly the listed types (indices into AllPixelTypes); the first
// 24 rows are the canonical descriptions of the types in order.
TEST(PixelTypes, EachDescriptionSelectsItsOneType) {
    using L = PixelLayout;
    using V = std::vector<std::size_t>;
    const struct {
        PixelLayout layout;
        long bitDepth;
        long whiteLevel;
        V types;
    } cases[] = {
        {L::ARGB, 32, 255, {0}},     {L::BGRA, 32, 255, {1}},     {L::RGBA, 32, 255, {2}},
        {L::ARGB, 64, 65535, {3}},   {L::BGRA, 64, 65535, {4}},   {L::RGBA, 64, 65535, {5}},
        {L::ARGB, 64, 32768, {6}},   {L::BGRA, 64, 32768, {7}},   {L::RGBA, 64, 32768, {8}},
        {L::ARGB, 64, 16384, {9}},   {L::BGRA, 64, 16384, {10}},  {L::RGBA, 64, 16384, {11}},
        {L::ARGB, 128, 1, {12}},     {L::BGRA, 128, 1, {13}},     {L::RGBA, 128, 1, {14}},
        {L::Alpha, 8, 255, {15}},    {L::Alpha, 16, 65535, {16}}, {L::Alpha, 32, 1, {17}},
        {L::Luma, 8, 255, {18}},     {L::Luma, 16, 65535, {19}},  {L::Luma, 32, 1, {20}},
        {L::Depth, 8, 255, {21}},    {L::Depth, 16, 65535, {22}}, {L::Depth, 32, 1, {23}},
        // Any other 16-bit white level takes the full scale; one-channel 16-bit pixels have only that.
        {L::RGBA, 64, 32767, {5}},   {L::BGRA, 64, 1000, {4}},    {L::Alpha, 16, 32768, {16}},
        {L::Luma, 16, 16384, {19}},
        // Descriptions no instance holds.
        {L::RGBA, 48, 255, {}},      {L::Alpha, 64, 1, {}},       {L::Unknown, 32, 255, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(int(c.layout)) + ", " + std::to_string(c.bitDepth) + ", " +
                     std::to_string(c.whiteLevel));
        EXPECT_EQ(MatchingTypes(c.layout, c.bitDepth, c.whiteLevel, std::make_index_sequence<kPixelTypeCount>()),
                  c.types);
    }
    // Float channels are exactly the types whose white is 1.
    const std::vector<bool> isFloat = FloatTypes(std::make_index_sequence<kPixelTypeCount>());
    for (std::size_t i = 0; i < kPixelTypeCount; ++i)
        EXPECT_EQ(isFloat[i], cases[i].whiteLevel == 1) << "pixel type " << i;
}

// Expected with float textures and half-float pixels, with float textures only, with half-float
// pixels only, and with neither.
TEST(InternalFormatFor, FollowsTypeAndWhatTheCardOffers) {
    const struct {
        unsigned int format, type;
        unsigned int full, floatOnly, halfOnly, none;
    } cases[] = {
        {GL_RGBA, GL_UNSIGNED_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_ALPHA, GL_UNSIGNED_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_RGBA, GL_SHORT, GL_RGBA16, GL_RGBA16, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_UNSIGNED_SHORT, GL_RGBA16, GL_RGBA16, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_FLOAT, GL_RGBA32F, GL_RGBA32F, GL_RGBA16, GL_RGBA16},
        {GL_LUMINANCE, GL_UNSIGNED_INT, GL_RGBA32F, GL_RGBA32F, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_HALF_FLOAT, GL_RGBA16F, GL_RGBA32F, GL_RGBA16F, GL_RGBA16},
        // Types with no four-channel counterpart fall back to 8-bit RGB.
        {GL_RGBA, GL_INT, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGB, GL_UNSIGNED_SHORT_5_5_5_1, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGBA, 0, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        // Depth pixels are depth whatever their type.
        {GL_DEPTH_COMPONENT, GL_FLOAT, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24},
        {GL_DEPTH_COMPONENT, GL_INT, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(std::make_tuple(InternalFormatFor(c.format, c.type, true, true),
                                  InternalFormatFor(c.format, c.type, true, false),
                                  InternalFormatFor(c.format, c.type, false, true),
                                  InternalFormatFor(c.format, c.type, false, false)),
                  std::make_tuple(c.full, c.floatOnly, c.halfOnly, c.none))
            << "format 0x" << std::hex << c.format << " type 0x" << c.type;
    }
}

TEST(DebugWriters, WriteNothingAndReportFailure) {
    const std::string name = "/tmp/zep6_debug_writer_" + std::to_string(getpid());
    const char* path = name.c_str();

    zep6test::TestImage image(zep6test::Formats::BGRA8, 4, 4);
    image.Fill(0x7F);
    EXPECT_FALSE(WriteImageToFile(path, &image, Channel::All));
    EXPECT_FALSE(WriteBufferToFile(path, 4, 4, Channel::Alpha));
    EXPECT_FALSE(WriteBufferToFile(path, Channel::Red));
    EXPECT_FALSE(WriteImageToFile(nullptr, nullptr, Channel::Luma));
    EXPECT_EQ(access(path, F_OK), -1) << "an inert writer created " << path;
}

} // namespace
