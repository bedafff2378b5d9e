// Image files of the command-line tool. Every writable description of a picture must produce the
// very same file as the plain RGBA image of it; the files themselves are checked with libpng and
// OpenEXR directly, not only by reading them back; files made directly with those libraries, in
// their many variants, read as RGBA; bad files and failing writes end in one line naming the file
// and leave nothing behind.
#include "ImageIO.h"

#include "core/PixelFormat.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <gtest/gtest.h>
#include <half.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using OGL_ZEP6_AE::FourCC;
using zep6gl::HostImage;

namespace {

class ImageIOTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("zep6gl-io-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    fs::path dir_;
};

std::string Contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Store(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// ---- the picture, in the three precisions the files hold ------------------------------------

// 8-bit channel c of pixel (x, y) counted from the top.
unsigned Picture8(long x, long y, int c) {
    return unsigned(x * 37 + y * 11 + c * 71 + x * y) % 256;
}

// 16-bit channel as a multiple of 1/16384, so that it is exact at white 16384, 32768 and (once
// rounded) 65535. The first pixel holds black, white, the smallest step and one half.
unsigned Picture14(long x, long y, int c) {
    static const unsigned corner[4] = {0, 16384, 1, 8192};
    return x == 0 && y == 0 ? corner[c] : unsigned(x * 1237 + y * 419 + c * 3001) % 16385;
}
unsigned Picture16(long x, long y, int c) {
    return unsigned(std::floor(Picture14(x, y, c) * 65535.0 / 16384.0 + 0.5));
}

// Float channel: multiples of 1/512 in -0.5..2, exact in half floats; over-white and negative
// values must survive.
float PictureF(long x, long y, int c) {
    return float((x * 97 + y * 31 + c * 53) % 1280 - 256) / 512.0f;
}

// ---- descriptions ---------------------------------------------------------------------------

struct Code {
    const char* name;
    long colorSpace;
    int order[4]; // memory position of R, G, B, A
};

const Code kCodes[] = {
    {"ARGB-32", 32, {1, 2, 3, 0}},
    {"BGRA", FourCC("BGRA"), {2, 1, 0, 3}},
    {"RGBA", FourCC("RGBA"), {0, 1, 2, 3}},
    {"GL_BGRA", GL_BGRA, {2, 1, 0, 3}},
    {"GL_RGBA8", GL_RGBA8, {0, 1, 2, 3}},
    {"GL_RGBA16", GL_RGBA16, {0, 1, 2, 3}},
    {"GL_RGBA16F", GL_RGBA16F, {0, 1, 2, 3}},
    {"GL_RGBA32F", GL_RGBA32F, {0, 1, 2, 3}},
};

enum class Kind { Byte, Short, Half, Float };

struct Depth {
    const char* name;
    long bitDepth;
    long whiteLevel;
    Kind kind;
};

const Depth kDepths[] = {
    {"8", 32, 255, Kind::Byte},           {"16@65535", 64, 65535, Kind::Short},
    {"16@32768", 64, 32768, Kind::Short}, {"16@16384", 64, 16384, Kind::Short},
    {"half", 64, 1, Kind::Half},          {"float", 128, 1, Kind::Float},
};

// An image of the description holding the picture. Padding bytes and everything else the picture
// does not cover hold a pattern that must not reach the file.
HostImage MakeImage(const Code& code, const Depth& depth, long width, long height, long padding,
                    bool bottomUp) {
    HostImage image(code.colorSpace, depth.bitDepth, depth.whiteLevel, width, height, padding, bottomUp);
    std::memset(image.Row(0), 0xA5, size_t(image.GetRowBytes()) * height);
    const long size = depth.bitDepth / 32;
    for (long y = 0; y < height; ++y) {
        unsigned char* row = image.Row(bottomUp ? height - 1 - y : y);
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                unsigned char* at = row + (x * 4 + code.order[c]) * size;
                switch (depth.kind) {
                case Kind::Byte:
                    *at = static_cast<unsigned char>(Picture8(x, y, c));
                    break;
                case Kind::Short: {
                    const auto s = static_cast<unsigned short>(
                        depth.whiteLevel == 65535 ? Picture16(x, y, c)
                                                  : Picture14(x, y, c) * (depth.whiteLevel / 16384));
                    std::memcpy(at, &s, 2);
                    break;
                }
                case Kind::Half: {
                    const half h(PictureF(x, y, c));
                    std::memcpy(at, &h, 2);
                    break;
                }
                case Kind::Float: {
                    const float f = PictureF(x, y, c);
                    std::memcpy(at, &f, 4);
                    break;
                }
                }
            }
    }
    return image;
}

const Code& kRgba = kCodes[2];
const Depth& kDepth8 = kDepths[0];
const Depth& kDepth16 = kDepths[1];
const Depth& kDepthFloat = kDepths[5];

// The RGBA image every description of its class must turn into the same file.
const Depth& ReferenceDepth(Kind kind) {
    return kind == Kind::Byte ? kDepth8 : kind == Kind::Short ? kDepth16 : kDepthFloat;
}

// ---- independent decoders -------------------------------------------------------------------

struct RawPng {
    png_uint_32 width = 0, height = 0;
    int bits = 0, colorType = 0, interlace = 0;
    std::vector<std::vector<unsigned char>> rows; // as stored: 16-bit samples big-endian
};

RawPng DecodePng(const std::string& path) {
    RawPng raw;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return raw;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_get_IHDR(png, info, &raw.width, &raw.height, &raw.bits, &raw.colorType, &raw.interlace, nullptr,
                 nullptr);
    png_bytepp rows = png_get_rows(png, info);
    for (png_uint_32 y = 0; y < raw.height; ++y)
        raw.rows.emplace_back(rows[y], rows[y] + png_get_rowbytes(png, info));
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return raw;
}

struct RawExr {
    int minX = 0, minY = 0, width = 0, height = 0;
    std::map<std::string, Imf::PixelType> types;
    std::map<std::string, std::vector<float>> values; // top row first
};

RawExr DecodeExr(const std::string& path) {
    RawExr raw;
    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    raw.minX = window.min.x;
    raw.minY = window.min.y;
    raw.width = window.max.x - window.min.x + 1;
    raw.height = window.max.y - window.min.y + 1;
    Imf::FrameBuffer frame;
    for (auto c = file.header().channels().begin(); c != file.header().channels().end(); ++c) {
        raw.types[c.name()] = c.channel().type;
        auto& values = raw.values[c.name()];
        values.resize(size_t(raw.width) * raw.height);
        frame.insert(c.name(), Imf::Slice::Make(Imf::FLOAT, values.data(), window, sizeof(float),
                                                sizeof(float) * raw.width));
    }
    file.setFrameBuffer(frame);
    file.readPixels(window.min.y, window.max.y);
    return raw;
}

// Channel c of pixel (x, y) of an image read from a file: the integer value or the float.
double Sample(const HostImage& image, long x, long y, int c) {
    const unsigned char* at = image.Row(y) + (x * 4 + c) * (image.GetBitDepth() / 32);
    switch (image.GetBitDepth()) {
    case 32:
        return *at;
    case 64: {
        unsigned short s;
        std::memcpy(&s, at, 2);
        return s;
    }
    default: {
        float f;
        std::memcpy(&f, at, 4);
        return f;
    }
    }
}

} // namespace

// The three reference images, checked in the files with libpng and OpenEXR themselves, and read
// back into the host images the reader promises.
TEST_F(ImageIOTest, ReferenceFilesHoldThePicture) {
    const long width = 11, height = 6;
    struct Case {
        const Depth& depth;
        const char* file;
        bool floatChannels;
    };
    const Case cases[] = {{kDepth8, "ref8.png", false},
                          {kDepth16, "ref16.png", false},
                          {kDepthFloat, "refhalf.exr", false},
                          {kDepthFloat, "reffloat.exr", true}};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.file);
        const std::string path = Path(k.file);
        zep6gl::WriteImage(path, MakeImage(kRgba, k.depth, width, height, 0, false), k.floatChannels);
        const bool isFloat = k.depth.kind == Kind::Float;
        auto expected = [&](long x, long y, int c) -> double {
            return isFloat                      ? PictureF(x, y, c)
                   : k.depth.kind == Kind::Byte ? Picture8(x, y, c)
                                                : Picture16(x, y, c);
        };

        if (!isFloat) {
            const RawPng raw = DecodePng(path);
            ASSERT_EQ(raw.width, png_uint_32(width));
            ASSERT_EQ(raw.height, png_uint_32(height));
            EXPECT_EQ(raw.colorType, PNG_COLOR_TYPE_RGB_ALPHA);
            ASSERT_EQ(raw.bits, k.depth.kind == Kind::Byte ? 8 : 16);
            for (long y = 0; y < height; ++y)
                for (long x = 0; x < width; ++x)
                    for (int c = 0; c < 4; ++c) {
                        const unsigned char* at = raw.rows[y].data() + (x * 4 + c) * (raw.bits / 8);
                        const unsigned stored = raw.bits == 8 ? at[0] : unsigned(at[0]) << 8 | at[1];
                        ASSERT_EQ(stored, expected(x, y, c)) << "at " << x << "," << y << " channel " << c;
                    }
        } else {
            const RawExr raw = DecodeExr(path);
            EXPECT_EQ(raw.minX, 0);
            EXPECT_EQ(raw.minY, 0);
            ASSERT_EQ(raw.width, width);
            ASSERT_EQ(raw.height, height);
            const char* names[4] = {"R", "G", "B", "A"};
            ASSERT_EQ(raw.types.size(), 4u);
            for (int c = 0; c < 4; ++c) {
                ASSERT_EQ(raw.types.count(names[c]), 1u) << names[c];
                EXPECT_EQ(raw.types.at(names[c]), k.floatChannels ? Imf::FLOAT : Imf::HALF);
                for (long y = 0; y < height; ++y)
                    for (long x = 0; x < width; ++x)
                        ASSERT_EQ(raw.values.at(names[c])[y * width + x], expected(x, y, c))
                            << "at " << x << "," << y << " channel " << c;
            }
        }

        const HostImage back = zep6gl::ReadImage(path);
        EXPECT_EQ(back.GetColorSpace(), long(FourCC("RGBA")));
        EXPECT_EQ(back.GetBitDepth(), k.depth.bitDepth);
        EXPECT_EQ(back.GetWhiteLevel(), k.depth.whiteLevel);
        EXPECT_FALSE(back.IsBottomUp());
        ASSERT_EQ(back.GetWidth(), width);
        ASSERT_EQ(back.GetHeight(), height);
        EXPECT_EQ(back.GetRowBytes(), width * k.depth.bitDepth / 8);
        for (long y = 0; y < height; ++y)
            for (long x = 0; x < width; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(Sample(back, x, y, c), expected(x, y, c))
                        << "at " << x << "," << y << " channel " << c;
    }
}

// Channel order, white level, row padding and orientation are the image's business: the file of
// every description is byte for byte the file of the plain RGBA image of the same picture.
TEST_F(ImageIOTest, EveryDescriptionWritesTheReferenceFile) {
    const long width = 13, height = 7;
    std::map<std::pair<Kind, bool>, std::string> references; // (class, float channels) -> file
    for (Kind kind : {Kind::Byte, Kind::Short, Kind::Float})
        for (bool floatChannels : {false, true}) {
            if (kind != Kind::Float && floatChannels)
                continue;
            const std::string file = Path(std::string("ref-") + (floatChannels ? "float" : "") +
                                          (kind == Kind::Float  ? ".exr"
                                           : kind == Kind::Byte ? "8.png"
                                                                : "16.png"));
            zep6gl::WriteImage(file, MakeImage(kRgba, ReferenceDepth(kind), width, height, 0, false),
                               floatChannels);
            references[std::make_pair(kind, floatChannels)] = Contents(file);
        }

    for (const Code& code : kCodes)
        for (const Depth& depth : kDepths) {
            // The classic code 32 at 64 bits always means unsigned shorts; it has no half form.
            if (code.colorSpace == 32 && depth.kind == Kind::Half)
                continue;
            const bool isFloat = depth.kind == Kind::Half || depth.kind == Kind::Float;
            for (long padding : {0L, 3L, 16L})
                for (bool bottomUp : {false, true})
                    for (bool floatChannels : {false, true}) {
                        if (floatChannels && !isFloat)
                            continue;
                        const std::string name = std::string(code.name) + "-" + depth.name + "-pad" +
                                                 std::to_string(padding) + (bottomUp ? "-up" : "-down") +
                                                 (floatChannels ? "-float" : "") +
                                                 (isFloat ? ".exr" : ".png");
                        SCOPED_TRACE(name);
                        zep6gl::WriteImage(Path(name),
                                           MakeImage(code, depth, width, height, padding, bottomUp),
                                           floatChannels);
                        const Kind reference = isFloat ? Kind::Float : depth.kind;
                        EXPECT_TRUE(Contents(Path(name)) ==
                                    references.at(std::make_pair(reference, floatChannels)))
                            << "file differs from the RGBA reference";
                    }
        }
}

// 16-bit data at white levels below 65535 reach the file as value * 65535 / white, rounded to
// nearest and clamped. Data the library hands OpenGL as signed shorts (four-character codes at
// white 16384 and below) is clamped at black; the classic code 32 and GL_RGBA16 are always
// unsigned.
TEST_F(ImageIOTest, SixteenBitValuesScaleRoundAndClamp) {
    struct Case {
        long colorSpace;
        long whiteLevel;
        unsigned short raw;
        unsigned short expected;
    };
    const Case cases[] = {
        {FourCC("RGBA"), 32768, 0, 0},
        {FourCC("RGBA"), 32768, 1, 2},         // 1.99997
        {FourCC("RGBA"), 32768, 16384, 32768}, // 32767.5 rounds up
        {FourCC("RGBA"), 32768, 32767, 65533}, // 65533.0
        {FourCC("RGBA"), 32768, 32768, 65535},
        {FourCC("RGBA"), 32768, 40000, 65535}, // over white
        {FourCC("RGBA"), 32768, 0xFFFF, 65535},
        {FourCC("BGRA"), 16384, 1, 4}, // 3.99994
        {FourCC("BGRA"), 16384, 8192, 32768},
        {FourCC("BGRA"), 16384, 16383, 65531}, // 65531.0
        {FourCC("BGRA"), 16384, 16384, 65535},
        {FourCC("BGRA"), 16384, 20000, 65535},
        {FourCC("BGRA"), 16384, 0xFFFF, 0}, // -1 as a signed short
        {FourCC("BGRA"), 16384, 0x8000, 0}, // -32768
        {GL_RGBA16, 16384, 0xFFFF, 65535},  // GL_RGBA16 always means unsigned shorts
        {32, 16384, 0xFFFF, 65535},
        {32, 16384, 8192, 32768},
        {FourCC("RGBA"), 4096, 2048, 32768},
        {FourCC("RGBA"), 65535, 12345, 12345},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE("colour space " + std::to_string(k.colorSpace) + " white " +
                     std::to_string(k.whiteLevel) + " value " + std::to_string(k.raw));
        HostImage image(k.colorSpace, 64, k.whiteLevel, 1, 1, 0, false);
        const unsigned short channels[4] = {k.raw, k.raw, k.raw, k.raw};
        std::memcpy(image.Row(0), channels, 8);
        zep6gl::WriteImage(Path("v.png"), image);
        const HostImage back = zep6gl::ReadImage(Path("v.png"));
        ASSERT_EQ(back.GetBitDepth(), 64);
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(Sample(back, 0, 0, c), k.expected) << "channel " << c;
    }
}

TEST_F(ImageIOTest, FloatChannelsKeepFullPrecision) {
    HostImage image(FourCC("RGBA"), 128, 1, 3, 2, 0, false);
    const float values[4] = {0.1234567f, 2.5f, -0.75f, 1e-5f};
    for (long y = 0; y < 2; ++y)
        for (long x = 0; x < 3; ++x)
            std::memcpy(image.Row(y) + x * 16, values, 16);
    zep6gl::WriteImage(Path("f.exr"), image, /*floatChannels*/ true);
    const HostImage back = zep6gl::ReadImage(Path("f.exr"));
    EXPECT_EQ(std::memcmp(back.Row(1) + 2 * 16, values, 16), 0);
    // Half channels round 0.1234567 to 0.12347 (the nearest half); they are not floats.
    zep6gl::WriteImage(Path("h.exr"), image);
    EXPECT_NEAR(Sample(zep6gl::ReadImage(Path("h.exr")), 0, 0, 0), 0.1234567, 1e-4);
    EXPECT_NE(Sample(zep6gl::ReadImage(Path("h.exr")), 0, 0, 0), values[0]);
}

namespace {

// A PNG of any colour type written with libpng itself. Samples are given per pixel, row by row.
struct PngVariant {
    const char* name;
    int colorType;
    int bits;
    bool interlaced;
    bool paletteAlpha;    // palette images: a tRNS chunk giving the first entries alpha
    bool transparentGrey; // grey images: a tRNS chunk naming the grey value of pixel (1, 1)
};

int ChannelsOf(int colorType) {
    switch (colorType) {
    case PNG_COLOR_TYPE_GRAY:
    case PNG_COLOR_TYPE_PALETTE:
        return 1;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return 2;
    case PNG_COLOR_TYPE_RGB:
        return 3;
    default:
        return 4;
    }
}

unsigned VariantSample(const PngVariant& v, long x, long y, int s) {
    const unsigned h = unsigned(x * 2654435761u) ^ unsigned(y * 40503u + s * 977u) ^ unsigned(x * y * 131u);
    return (h ^ (h >> 13)) % (1u << v.bits);
}

png_color PaletteEntry(unsigned i) {
    return png_color{png_byte(i * 3), png_byte(255 - i), png_byte(i * 7)};
}

void WritePngVariant(const std::string& path, const PngVariant& v, long width, long height) {
    const int channels = ChannelsOf(v.colorType);
    const size_t rowBytes = (size_t(width) * channels * v.bits + 7) / 8;
    std::vector<std::vector<png_byte>> rows(height, std::vector<png_byte>(rowBytes, 0));
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int s = 0; s < channels; ++s) {
                const unsigned value = VariantSample(v, x, y, s);
                const size_t bit = size_t(x * channels + s) * v.bits;
                if (v.bits == 16) {
                    rows[y][bit / 8] = png_byte(value >> 8);
                    rows[y][bit / 8 + 1] = png_byte(value);
                } else {
                    rows[y][bit / 8] |= png_byte(value << (8 - v.bits - bit % 8));
                }
            }
    std::vector<png_bytep> pointers;
    for (auto& row : rows)
        pointers.push_back(row.data());

    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), v.bits, v.colorType,
                 v.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette;
    std::vector<png_byte> alphas;
    if (v.colorType == PNG_COLOR_TYPE_PALETTE) {
        for (unsigned i = 0; i < (1u << v.bits); ++i)
            palette.push_back(PaletteEntry(i));
        png_set_PLTE(png, info, palette.data(), int(palette.size()));
        if (v.paletteAlpha) {
            for (unsigned i = 0; i < 10; ++i)
                alphas.push_back(png_byte(i * 25));
            png_set_tRNS(png, info, alphas.data(), int(alphas.size()), nullptr);
        }
    }
    if (v.transparentGrey) {
        png_color_16 grey{};
        grey.gray = png_uint_16(VariantSample(v, 1, 1, 0));
        png_set_tRNS(png, info, nullptr, 0, &grey);
    }
    png_write_info(png, info);
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// What the reader must make of pixel (x, y) of the variant: RGBA at 8 bits (255) or 16 (65535).
std::array<unsigned, 4> VariantExpected(const PngVariant& v, long x, long y) {
    const unsigned top = v.bits == 16 ? 65535 : 255;
    auto sample = [&](int s) { return VariantSample(v, x, y, s); };
    // Grey of fewer than 8 bits is widened to 8 with white staying white.
    auto widen = [&](unsigned g) { return v.bits < 8 ? g * 255 / ((1u << v.bits) - 1) : g; };
    switch (v.colorType) {
    case PNG_COLOR_TYPE_GRAY: {
        const unsigned g = widen(sample(0));
        const bool clear = v.transparentGrey && sample(0) == VariantSample(v, 1, 1, 0);
        return {g, g, g, clear ? 0 : top};
    }
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return {sample(0), sample(0), sample(0), sample(1)};
    case PNG_COLOR_TYPE_RGB:
        return {sample(0), sample(1), sample(2), top};
    case PNG_COLOR_TYPE_PALETTE: {
        const unsigned i = sample(0);
        const png_color entry = PaletteEntry(i);
        return {entry.red, entry.green, entry.blue, v.paletteAlpha && i < 10 ? i * 25 : 255};
    }
    default:
        return {sample(0), sample(1), sample(2), sample(3)};
    }
}

} // namespace

TEST_F(ImageIOTest, PngVariantsReadAsRgba) {
    const PngVariant variants[] = {
        {"grey 8", PNG_COLOR_TYPE_GRAY, 8, false, false, false},
        {"grey 16", PNG_COLOR_TYPE_GRAY, 16, false, false, false},
        {"grey 1", PNG_COLOR_TYPE_GRAY, 1, false, false, false},
        {"grey 4", PNG_COLOR_TYPE_GRAY, 4, false, false, false},
        {"grey 8 with transparent value", PNG_COLOR_TYPE_GRAY, 8, false, false, true},
        {"grey 16 with transparent value", PNG_COLOR_TYPE_GRAY, 16, false, false, true},
        {"grey+alpha 8", PNG_COLOR_TYPE_GRAY_ALPHA, 8, false, false, false},
        {"grey+alpha 16", PNG_COLOR_TYPE_GRAY_ALPHA, 16, false, false, false},
        {"RGB 8", PNG_COLOR_TYPE_RGB, 8, false, false, false},
        {"RGB 16", PNG_COLOR_TYPE_RGB, 16, false, false, false},
        {"RGBA 8", PNG_COLOR_TYPE_RGB_ALPHA, 8, false, false, false},
        {"RGBA 16", PNG_COLOR_TYPE_RGB_ALPHA, 16, false, false, false},
        {"palette 4", PNG_COLOR_TYPE_PALETTE, 4, false, false, false},
        {"palette 8 with alpha", PNG_COLOR_TYPE_PALETTE, 8, false, true, false},
        {"RGB 8 interlaced", PNG_COLOR_TYPE_RGB, 8, true, false, false},
        {"RGBA 16 interlaced", PNG_COLOR_TYPE_RGB_ALPHA, 16, true, false, false},
        {"grey 2 interlaced", PNG_COLOR_TYPE_GRAY, 2, true, false, false},
    };
    const long width = 7, height = 5;
    for (const PngVariant& v : variants) {
        SCOPED_TRACE(v.name);
        const std::string path = Path("variant.png");
        WritePngVariant(path, v, width, height);
        const HostImage image = zep6gl::ReadImage(path);
        const bool wide = v.bits == 16;
        EXPECT_EQ(image.GetColorSpace(), long(FourCC("RGBA")));
        ASSERT_EQ(image.GetBitDepth(), wide ? 64 : 32);
        EXPECT_EQ(image.GetWhiteLevel(), wide ? 65535 : 255);
        EXPECT_FALSE(image.IsBottomUp());
        ASSERT_EQ(image.GetWidth(), width);
        ASSERT_EQ(image.GetHeight(), height);
        for (long y = 0; y < height; ++y)
            for (long x = 0; x < width; ++x) {
                const std::array<unsigned, 4> expected = VariantExpected(v, x, y);
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(Sample(image, x, y, c), expected[c])
                        << "at " << x << "," << y << " channel " << c;
            }
    }
}

TEST_F(ImageIOTest, ExrVariantsReadAsRgba) {
    struct Variant {
        const char* name;
        std::vector<std::pair<const char*, Imf::PixelType>> channels;
        Imath::Box2i window;
    };
    const Variant variants[] = {
        {"Y half", {{"Y", Imf::HALF}}, Imath::Box2i({0, 0}, {5, 3})},
        {"Y and A half", {{"Y", Imf::HALF}, {"A", Imf::HALF}}, Imath::Box2i({0, 0}, {5, 3})},
        {"RGB float",
         {{"R", Imf::FLOAT}, {"G", Imf::FLOAT}, {"B", Imf::FLOAT}},
         Imath::Box2i({0, 0}, {5, 3})},
        {"RGBA half, window off the origin",
         {{"R", Imf::HALF}, {"G", Imf::HALF}, {"B", Imf::HALF}, {"A", Imf::HALF}},
         Imath::Box2i({-3, 10}, {4, 13})},
        {"RGBA with a UINT alpha",
         {{"R", Imf::HALF}, {"G", Imf::HALF}, {"B", Imf::HALF}, {"A", Imf::UINT}},
         Imath::Box2i({0, 0}, {5, 3})},
    };
    // Channel values by name; A in whole numbers so that UINT holds it.
    auto value = [](const std::string& name, long x, long y) -> float {
        if (name == "A")
            return float((x + y) % 3);
        const int c = name == "R" || name == "Y" ? 0 : name == "G" ? 1 : 2;
        return PictureF(x, y, c);
    };
    for (const Variant& v : variants) {
        SCOPED_TRACE(v.name);
        const std::string path = Path("variant.exr");
        const long width = v.window.max.x - v.window.min.x + 1, height = v.window.max.y - v.window.min.y + 1;
        {
            Imf::Header header(v.window, v.window);
            // Writing takes each channel from a buffer of its own type.
            std::map<std::string, std::vector<half>> halves;
            std::map<std::string, std::vector<float>> floats;
            std::map<std::string, std::vector<unsigned>> integers;
            Imf::FrameBuffer frame;
            for (const auto& [name, type] : v.channels) {
                header.channels().insert(name, Imf::Channel(type));
                auto& h = halves[name];
                auto& f = floats[name];
                auto& u = integers[name];
                for (long y = 0; y < height; ++y)
                    for (long x = 0; x < width; ++x) {
                        h.push_back(half(value(name, x, y)));
                        f.push_back(value(name, x, y));
                        u.push_back(unsigned(value(name, x, y)));
                    }
                void* base = type == Imf::HALF    ? static_cast<void*>(h.data())
                             : type == Imf::FLOAT ? static_cast<void*>(f.data())
                                                  : static_cast<void*>(u.data());
                const size_t size = type == Imf::HALF ? 2 : 4;
                frame.insert(name, Imf::Slice::Make(type, base, v.window, size, size * width));
            }
            Imf::OutputFile file(path.c_str(), header);
            file.setFrameBuffer(frame);
            file.writePixels(int(height));
        }
        const HostImage image = zep6gl::ReadImage(path);
        EXPECT_EQ(image.GetColorSpace(), long(FourCC("RGBA")));
        EXPECT_EQ(image.GetBitDepth(), 128);
        EXPECT_EQ(image.GetWhiteLevel(), 1);
        EXPECT_FALSE(image.IsBottomUp());
        ASSERT_EQ(image.GetWidth(), width);
        ASSERT_EQ(image.GetHeight(), height);
        bool grey = false, alpha = false;
        for (const auto& channel : v.channels) {
            grey = grey || std::string(channel.first) == "Y";
            alpha = alpha || std::string(channel.first) == "A";
        }
        for (long y = 0; y < height; ++y)
            for (long x = 0; x < width; ++x) {
                const float expected[4] = {
                    grey ? value("Y", x, y) : value("R", x, y), grey ? value("Y", x, y) : value("G", x, y),
                    grey ? value("Y", x, y) : value("B", x, y), alpha ? value("A", x, y) : 1.0f};
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(Sample(image, x, y, c), expected[c])
                        << "at " << x << "," << y << " channel " << c;
            }
    }
}

TEST_F(ImageIOTest, BadFilesFailWithTheirName) {
    zep6gl::WriteImage(Path("good.png"), MakeImage(kRgba, kDepth8, 40, 30, 0, false));
    zep6gl::WriteImage(Path("good.exr"), MakeImage(kRgba, kDepthFloat, 40, 30, 0, false));
    const std::string png = Contents(Path("good.png")), exr = Contents(Path("good.exr"));
    std::string noise(1000, '\0');
    std::mt19937 random(7);
    for (char& c : noise)
        c = static_cast<char>(random());
    std::string damaged = png;
    damaged[damaged.size() / 2] ^= 0x55; // inside the image data: its checksum no longer fits

    struct Case {
        const char* name;
        std::string bytes; // the file's content; the "missing" case writes none
        const char* reason;
        bool exact; // the reason is the whole text after the file name, else its beginning
    };
    const Case cases[] = {
        {"signature-only.png", png.substr(0, 8), "truncated PNG data", true},
        {"cut-header.png", png.substr(0, 20), "truncated PNG data", true},
        {"cut-half.png", png.substr(0, png.size() / 2), "truncated PNG data", true},
        {"cut-end.png", png.substr(0, png.size() - 1), "truncated PNG data", true},
        {"damaged.png", damaged, "bad PNG: ", false},
        {"signature-noise.png", png.substr(0, 8) + noise, "bad PNG: ", false},
        {"magic-only.exr", exr.substr(0, 4), "bad OpenEXR: ", false},
        {"cut-header.exr", exr.substr(0, 40), "bad OpenEXR: ", false},
        {"cut-half.exr", exr.substr(0, exr.size() / 2), "bad OpenEXR: ", false},
        {"cut-end.exr", exr.substr(0, exr.size() - 1), "bad OpenEXR: ", false},
        {"noise.png", noise, "not a PNG or OpenEXR file", true},
        {"short.exr", "v/1", "not a PNG or OpenEXR file", true},
        {"empty.png", "", "empty file", true},
        {"missing.png", "", "cannot open: No such file or directory", true},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        if (std::string(k.name) != "missing.png")
            Store(Path(k.name), k.bytes);
        try {
            zep6gl::ReadImage(Path(k.name));
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& e) {
            const std::string text = e.what(), prefix = Path(k.name) + ": " + k.reason;
            if (k.exact)
                EXPECT_EQ(text, prefix);
            else
                EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << "one line: " << text;
        }
    }

    // A directory opens for reading on Linux but yields no bytes.
    fs::create_directory(Path("folder.png"));
    try {
        zep6gl::ReadImage(Path("folder.png"));
        ADD_FAILURE() << "no error";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()), Path("folder.png") + ": cannot read: Is a directory");
    }
}

TEST_F(ImageIOTest, FailedWritesLeaveNoFile) {
    const HostImage bytes = MakeImage(kRgba, kDepth8, 4, 4, 0, false);
    const HostImage floats = MakeImage(kRgba, kDepthFloat, 4, 4, 0, false);
    const HostImage noPixels(FourCC("RGBA"), 32, 255, 4, 4, 0, false, /*withPixels*/ false);
    const HostImage luma(GL_LUMINANCE16, 16, 65535, 4, 4, 0, false);
    const HostImage oddDepth(FourCC("RGBA"), 48, 65535, 4, 4, 0, false);
    zep6gl::WriteImage(Path("keep.png"), bytes);
    const std::string kept = Contents(Path("keep.png"));
    fs::create_directory(Path("taken.png")); // rename cannot replace a directory
    const std::vector<std::string> before = Files();

    struct Case {
        std::string path;
        const HostImage& image;
        std::string reason; // beginning of the text after the file name
    };
    const Case cases[] = {
        {Path("no/such/dir/out.png"), bytes, "cannot write: No such file or directory"},
        {Path("no/such/dir/out.exr"), floats, "cannot write: No such file or directory"},
        {"/proc/zep6gl-out.png", bytes, "cannot write: "}, // not writable, not even by root
        {Path("taken.png"), bytes, "cannot write: "},
        {Path("keep.png"), floats, "float pixels need an .exr file"},
        {Path("bytes.exr"), bytes, "integer pixels need a .png file"},
        {Path("out.tif"), bytes, "unknown file extension"},
        {Path("invalid.png"), noPixels, "the image to write is not valid"},
        {Path("luma.png"), luma, "only four-channel images can be written"},
        {Path("odd.png"), oddDepth, "unsupported bit depth 48"},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.path);
        try {
            zep6gl::WriteImage(k.path, k.image);
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& e) {
            const std::string text = e.what();
            EXPECT_EQ(text.rfind(k.path + ": " + k.reason, 0), 0u) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << "one line: " << text;
        }
    }
    EXPECT_EQ(Files(), before) << "nothing written, no temporary left";
    EXPECT_TRUE(fs::is_directory(Path("taken.png")));
    EXPECT_TRUE(Contents(Path("keep.png")) == kept) << "a failed write leaves the old file alone";
    EXPECT_FALSE(fs::exists("/proc/zep6gl-out.png"));
}

// The output replaces an existing file and gets the permissions of any new file (0666 less the
// umask), not those of a private temporary.
TEST_F(ImageIOTest, OutputReplacesOldFileWithOrdinaryPermissions) {
    const mode_t saved = ::umask(022);
    zep6gl::WriteImage(Path("out.png"), MakeImage(kRgba, kDepth8, 4, 4, 0, false));
    zep6gl::WriteImage(Path("out.png"), MakeImage(kRgba, kDepth16, 5, 3, 0, false));
    zep6gl::WriteImage(Path("out.exr"), MakeImage(kRgba, kDepthFloat, 2, 2, 0, false));
    ::umask(077);
    zep6gl::WriteImage(Path("private.png"), MakeImage(kRgba, kDepth8, 4, 4, 0, false));
    ::umask(saved);

    const HostImage back = zep6gl::ReadImage(Path("out.png"));
    EXPECT_EQ(back.GetWidth(), 5);
    EXPECT_EQ(back.GetBitDepth(), 64);
    struct stat info {};
    ASSERT_EQ(::stat(Path("out.png").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    ASSERT_EQ(::stat(Path("out.exr").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    ASSERT_EQ(::stat(Path("private.png").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(Files(), (std::vector<std::string>{"out.exr", "out.png", "private.png"}));
}
