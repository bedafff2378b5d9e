// Image files of the command-line tool: every writable description lands in the file as the
// same RGBA picture, files read back as they were written, and bad files or paths fail with one
// line naming the file, leaving nothing behind.
#include "ImageIO.h"

#include "core/PixelFormat.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>
#include <half.h>
#include <png.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

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
        return names;
    }
    fs::path dir_;
};

// The reference picture: channel c of pixel (x, y) from the top, as a fraction of white.
double Reference(long x, long y, int c) {
    const double values[4] = {(x * 37 + y * 11) % 256 / 255.0, (x * 5 + y * 53 + 7) % 256 / 255.0,
                              (x * y + 3) % 256 / 255.0, (c == 3) ? ((x + 2 * y) % 5) / 4.0 : 0.0};
    return values[c];
}

struct Description {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
    int order[4]; // memory position of R, G, B, A
};

const Description kDescriptions[] = {
    {"ARGB8", 32, 32, 255, {1, 2, 3, 0}},
    {"BGRA8", FourCC("BGRA"), 32, 255, {2, 1, 0, 3}},
    {"RGBA8", FourCC("RGBA"), 32, 255, {0, 1, 2, 3}},
    {"ARGB16@65535", 32, 64, 65535, {1, 2, 3, 0}},
    {"BGRA16@32768", FourCC("BGRA"), 64, 32768, {2, 1, 0, 3}},
    {"RGBA16@16384", FourCC("RGBA"), 64, 16384, {0, 1, 2, 3}},
    {"GL_RGBA16F", GL_RGBA16F, 64, 1, {0, 1, 2, 3}},
    {"ARGB32F", 32, 128, 1, {1, 2, 3, 0}},
    {"BGRA32F", FourCC("BGRA"), 128, 1, {2, 1, 0, 3}},
};

// Fills an image of the description with the reference picture, quantised to its channels.
HostImage MakeImage(const Description& d, long width, long height, long padding, bool bottomUp) {
    HostImage image(d.colorSpace, d.bitDepth, d.whiteLevel, width, height, padding, bottomUp);
    for (long y = 0; y < height; ++y) {
        unsigned char* row = image.Row(bottomUp ? height - 1 - y : y);
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                const double v = Reference(x, y, c);
                unsigned char* at = row + (x * 4 + d.order[c]) * (d.bitDepth / 32);
                if (d.bitDepth == 32) {
                    *at = static_cast<unsigned char>(std::lround(v * 255));
                } else if (d.bitDepth == 64 && d.whiteLevel == 1) {
                    const half h(static_cast<float>(v));
                    std::memcpy(at, &h, 2);
                } else if (d.bitDepth == 64) {
                    const auto s = static_cast<unsigned short>(std::lround(v * d.whiteLevel));
                    std::memcpy(at, &s, 2);
                } else {
                    const float f = static_cast<float>(v);
                    std::memcpy(at, &f, 4);
                }
            }
    }
    return image;
}

// Channel c of pixel (x, y) of a top-down RGBA image read from a file, as a fraction of white.
double ReadBack(const HostImage& image, long x, long y, int c) {
    const unsigned char* at = image.Row(y) + (x * 4 + c) * (image.GetBitDepth() / 32);
    switch (image.GetBitDepth()) {
    case 32:
        return *at / 255.0;
    case 64: {
        unsigned short s;
        std::memcpy(&s, at, 2);
        return s / 65535.0;
    }
    default: {
        float f;
        std::memcpy(&f, at, 4);
        return f;
    }
    }
}

} // namespace

TEST_F(ImageIOTest, EveryDescriptionWritesTheSamePicture) {
    const long width = 13, height = 7;
    for (const Description& d : kDescriptions) {
        for (bool bottomUp : {false, true}) {
            SCOPED_TRACE(std::string(d.name) + (bottomUp ? " bottom-up" : " top-down"));
            const HostImage image = MakeImage(d, width, height, /*padding*/ 12, bottomUp);
            const bool isFloat = d.bitDepth == 128 || (d.bitDepth == 64 && d.whiteLevel == 1);
            const std::string path = Path(std::string(d.name) + (isFloat ? ".exr" : ".png"));
            zep6gl::WriteImage(path, image);
            const HostImage back = zep6gl::ReadImage(path);
            ASSERT_EQ(back.GetWidth(), width);
            ASSERT_EQ(back.GetHeight(), height);
            EXPECT_FALSE(back.IsBottomUp());
            EXPECT_EQ(back.GetColorSpace(), long(FourCC("RGBA")));
            // The picture was quantised once when the image was made: 8-bit bytes reach the file
            // unchanged (within the half step of that quantisation); 16-bit goes through
            // value * 65535 / white (within a step of the source's scale); float files hold
            // half channels (relative 2^-11).
            const double tolerance = d.bitDepth == 32 ? 0.5 / 255 + 1e-9
                                     : isFloat        ? 1e-3
                                                      : 1.0 / d.whiteLevel;
            double worst = 0;
            for (long y = 0; y < height; ++y)
                for (long x = 0; x < width; ++x)
                    for (int c = 0; c < 4; ++c)
                        worst = std::max(worst, std::fabs(ReadBack(back, x, y, c) - Reference(x, y, c)));
            EXPECT_LE(worst, tolerance);
        }
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
}

TEST_F(ImageIOTest, GreyAndOpaquePngsExpandToRgba) {
    // A grey 16-bit PNG without alpha, written with libpng directly.
    const std::string path = Path("grey.png");
    {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        ASSERT_NE(file, nullptr);
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_set_IHDR(png, info, 2, 1, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        unsigned char row[4] = {0x12, 0x34, 0xFF, 0xFE}; // big-endian 0x1234 and 0xFFFE
        png_write_row(png, row);
        png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
    }
    const HostImage back = zep6gl::ReadImage(path);
    ASSERT_EQ(back.GetBitDepth(), 64);
    EXPECT_EQ(back.GetWhiteLevel(), 65535);
    unsigned short px[8];
    std::memcpy(px, back.Row(0), sizeof px);
    const unsigned short expected[8] = {0x1234, 0x1234, 0x1234, 0xFFFF, 0xFFFE, 0xFFFE, 0xFFFE, 0xFFFF};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(px[i], expected[i]) << "value " << i;
}

TEST_F(ImageIOTest, BadFilesFailWithTheirName) {
    const HostImage image = MakeImage(kDescriptions[2], 40, 30, 0, false);
    zep6gl::WriteImage(Path("good.png"), image);
    HostImage floats = MakeImage(kDescriptions[7], 40, 30, 0, false);
    zep6gl::WriteImage(Path("good.exr"), floats);

    auto truncate = [&](const std::string& from, const std::string& to, double fraction) {
        std::ifstream in(Path(from), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::ofstream(Path(to), std::ios::binary)
            .write(bytes.data(), std::streamsize(bytes.size() * fraction));
    };
    truncate("good.png", "cut.png", 0.5);
    truncate("good.exr", "cut.exr", 0.5);
    std::ofstream(Path("empty.png"), std::ios::binary);
    {
        std::mt19937 random(7);
        std::ofstream noise(Path("noise.png"), std::ios::binary);
        for (int i = 0; i < 1000; ++i)
            noise.put(static_cast<char>(random()));
    }
    for (const char* name : {"cut.png", "cut.exr", "empty.png", "noise.png", "missing.png"}) {
        SCOPED_TRACE(name);
        try {
            zep6gl::ReadImage(Path(name));
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& e) {
            const std::string text = e.what();
            EXPECT_EQ(text.rfind(Path(name) + ": ", 0), 0u) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << "one line";
        }
    }
}

TEST_F(ImageIOTest, FailedWritesLeaveNoFile) {
    const HostImage bytes = MakeImage(kDescriptions[0], 4, 4, 0, false);
    const HostImage floats = MakeImage(kDescriptions[7], 4, 4, 0, false);
    HostImage invalid(FourCC("RGBA"), 32, 255, 4, 4, 0, false, /*withPixels*/ false);
    const std::vector<std::string> before = Files();
    EXPECT_THROW(zep6gl::WriteImage(Path("no/such/dir/out.png"), bytes), std::runtime_error);
    EXPECT_THROW(zep6gl::WriteImage(Path("floats.png"), floats), std::runtime_error);
    EXPECT_THROW(zep6gl::WriteImage(Path("bytes.exr"), bytes), std::runtime_error);
    EXPECT_THROW(zep6gl::WriteImage(Path("out.tif"), bytes), std::runtime_error);
    EXPECT_THROW(zep6gl::WriteImage(Path("invalid.png"), invalid), std::runtime_error);
    EXPECT_EQ(Files(), before) << "nothing written, no temporary left";
}
