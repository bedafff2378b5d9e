// `zep6gl convert` end to end, on real OpenGL: a PNG and an OpenEXR picture go through the card
// into every destination layout, in both orientations, and come back out of the files as they
// went in, within what the path's storage allows; the converted files convert back again. A frame
// larger than one render target is done in tiles without seams. Premultiplying is checked against
// the product computed here, and unpremultiplying undoes it. Bad files and bad arguments end in
// one line naming the culprit, a non-zero status and no output file.
#include "Command.h"
#include "HostImage.h"
#include "ImageIO.h"

#include "core/PixelFormat.h"
#include "gl/context/Capabilities.h"
#include "gl/texture/Texture.h"
#include "sync/StaticList.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <vector>
#include <unistd.h>

namespace fs = std::filesystem;
using OGL_ZEP6_AE::FourCC;
using zep6gl::HostImage;

namespace {

constexpr long kWidth = 37;
constexpr long kHeight = 23;

// ---- the pictures ---------------------------------------------------------------------------

// 8-bit: red and green ramps, a blue texture that changes every pixel, and soft alpha covering
// 0 to 255, so that blending by alpha, a swap of channels, a flip or a shift all show.
HostImage MakePng8Picture(long width, long height) {
    HostImage image(static_cast<long>(FourCC("RGBA")), 32, 255, width, height, 0, false);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(std::lround(255.0 * x / std::max(1L, width - 1)));
            p[1] = static_cast<unsigned char>(std::lround(255.0 * y / std::max(1L, height - 1)));
            p[2] = static_cast<unsigned char>((x * 37 + y * 11 + x * y) % 256);
            p[3] = static_cast<unsigned char>(
                std::lround(127.5 + 127.5 * std::sin(x * 0.31) * std::cos(y * 0.43)));
        }
    return image;
}

// Float: multiples of 1/512 (exact in half and float). The top-left corner holds values above
// white and below black, which float layouts must keep and integer layouts clamp; alpha stays in
// 0..1.
HostImage MakeExrPicture() {
    HostImage image(static_cast<long>(FourCC("RGBA")), 128, 1, kWidth, kHeight, 0, false);
    for (long y = 0; y < kHeight; ++y)
        for (long x = 0; x < kWidth; ++x) {
            float v[4] = {float(x * 14) / 512.0f, float(512 - y * 23) / 512.0f,
                          float((x * 97 + y * 31) % 512) / 512.0f, float((x + y) * 9 % 513) / 512.0f};
            if (x < 4 && y < 3) {
                v[0] = float(512 + 64 * x) / 512.0f; // up to 1.375
                v[2] = float(-32 - 16 * y) / 512.0f; // down to -0.125
            }
            std::memcpy(image.Row(y) + x * 16, v, 16);
        }
    return image;
}

// Channel c (0 red ... 3 alpha) of pixel (x, y), y from the top, as a fraction of white, of a
// top-down RGBA image (the pictures above and everything ReadImage returns).
double Value(const HostImage& image, long x, long y, int c) {
    const unsigned char* at = image.Row(y) + (x * 4 + c) * (image.GetBitDepth() / 32);
    switch (image.GetBitDepth()) {
    case 32:
        return *at / double(image.GetWhiteLevel());
    case 64: {
        unsigned short s;
        std::memcpy(&s, at, 2);
        return s / double(image.GetWhiteLevel());
    }
    default: {
        float f;
        std::memcpy(&f, at, 4);
        return f;
    }
    }
}

// ---- the destination layouts and what each keeps -----------------------------------------------

struct Layout {
    const char* name;
    long bitDepth;   // of the pixels, so also of the file: 32 8-bit PNG, 64 16-bit PNG, 128 EXR
    long whiteLevel; // the layout's own white: its integer step is 1 / whiteLevel
};

const Layout kLayouts[] = {
    {"rgba8", 32, 255},         {"bgra8", 32, 255},         {"argb8", 32, 255},
    {"rgba16", 64, 65535},      {"bgra16", 64, 65535},      {"argb16", 64, 32768},
    {"rgba16-ffff", 64, 65535}, {"rgba16-8000", 64, 32768}, {"rgba16-4000", 64, 16384},
    {"bgra16-ffff", 64, 65535}, {"bgra16-8000", 64, 32768}, {"bgra16-4000", 64, 16384},
    {"argb16-ffff", 64, 65535}, {"argb16-8000", 64, 32768}, {"argb16-4000", 64, 16384},
    {"rgba32f", 128, 1},        {"bgra32f", 128, 1},        {"argb32f", 128, 1},
};

// Names the case in GoogleTest's output instead of dumping its bytes.
void PrintTo(const Layout& layout, std::ostream* out) {
    *out << layout.name;
}

bool IsFloat(const Layout& layout) {
    return layout.bitDepth == 128;
}

// Error allowed for one value v (fraction of white) that was stored `roundings` times in the
// card's best type on its way into the layout. With half floats (llvmpipe) a stored value may be
// off by one whole step of the half's 10-bit mantissa, 2^-10 relative (llvmpipe truncates when it
// stores a half rather than rounding to the nearest): one trip through the card stores once (the
// upload; the draw copies half to half). On top of that an integer layout rounds to its own step,
// and a 16-bit one is rounded again to 1/65535 when the file is written; 8-bit results are
// allowed one step.
double Tolerance(const Layout& layout, double v, int roundings) {
    const unsigned int best = OGL_ZEP6_AE::Texture::GetBestType();
    const double storage = best == GL_FLOAT           ? 1e-6
                           : best == GL_UNSIGNED_BYTE ? 1.0 / 255.0
                                                      : std::ldexp(1.0, -10);
    double quantum = 0.0;
    if (layout.bitDepth == 32)
        quantum = 1.0 / 255.0;
    else if (layout.bitDepth == 64)
        quantum = 1.0 / layout.whiteLevel + 1.0 / 65535.0;
    return roundings * storage * std::max(1.0, std::fabs(v)) + quantum + 1e-6;
}

// Values an integer layout can hold: 0 to white.
double Representable(const Layout& layout, double v) {
    return IsFloat(layout) ? v : std::clamp(v, 0.0, 1.0);
}

// ---- running the command --------------------------------------------------------------------

struct Outcome {
    int status;
    std::string errors;
};

Outcome Convert(const std::vector<std::string>& args) {
    ::testing::internal::CaptureStderr();
    const int status = zep6gl::RunConvert(args);
    return {status, ::testing::internal::GetCapturedStderr()};
}

// The failure report: exactly one line, containing `culprit`.
void ExpectOneLineNaming(const Outcome& outcome, const std::string& culprit) {
    EXPECT_NE(outcome.status, 0);
    ASSERT_FALSE(outcome.errors.empty());
    EXPECT_EQ(outcome.errors.back(), '\n') << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_NE(outcome.errors.find(culprit), std::string::npos) << outcome.errors;
}

// Tests that go through the card need an OpenGL context: a machine without one skips them
// outside CI; in CI (CI=true) that is a failure. A macro, so that it leaves the test body.
bool InCi() {
    const char* ci = std::getenv("CI");
    return ci && std::strcmp(ci, "true") == 0;
}

#define REQUIRE_CONTEXT()                                                                                    \
    do {                                                                                                     \
        if (OGL_ZEP6_AE::GetCard() == "Unknown") {                                                           \
            if (InCi())                                                                                      \
                FAIL() << "no OpenGL context in CI";                                                         \
            GTEST_SKIP() << "no OpenGL context on this machine";                                             \
        }                                                                                                    \
    } while (0)

class ConvertTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ZEP6_AE::StaticList::Increment(); }
    static void TearDownTestSuite() { ZEP6_AE::StaticList::Decrement(); }

    void SetUp() override {
        // A parameterised case's name holds a '/'; the directory is one level all the same.
        std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::replace(name.begin(), name.end(), '/', '_');
        dir_ = fs::temp_directory_path() / ("zep6gl-convert-" + std::to_string(::getpid()) + "-" + name);
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }

    // Every value of `got` against `want` (both top-down RGBA, as read from files), with the
    // wanted value passed through `expected` first; reports the worst place.
    void Compare(const HostImage& want, const HostImage& got, const std::string& what,
                 const std::function<double(double)>& expected,
                 const std::function<double(double)>& tolerance,
                 const std::function<bool(long, long)>& where = nullptr) {
        ASSERT_EQ(got.GetWidth(), want.GetWidth()) << what;
        ASSERT_EQ(got.GetHeight(), want.GetHeight()) << what;
        long failures = 0;
        double worstExcess = -1.0;
        std::string worst;
        for (long y = 0; y < want.GetHeight(); ++y)
            for (long x = 0; x < want.GetWidth(); ++x) {
                if (where && !where(x, y))
                    continue;
                for (int c = 0; c < 4; ++c) {
                    const double w = expected(Value(want, x, y, c));
                    const double g = Value(got, x, y, c);
                    const double excess = std::fabs(g - w) - tolerance(w);
                    if (!(excess <= 0.0)) {
                        ++failures;
                        if (!(excess <= worstExcess)) {
                            worstExcess = std::isnan(excess) ? 1e9 : excess;
                            worst = "(" + std::to_string(x) + ", " + std::to_string(y) + ") channel " +
                                    "RGBA"[c] + ": got " + std::to_string(g) + ", want " + std::to_string(w);
                        }
                    }
                }
            }
        EXPECT_EQ(failures, 0) << what << ": worst at " << worst;
    }

    fs::path dir_;
};

// ---- every layout ---------------------------------------------------------------------------

class ConvertLayout : public ConvertTest, public ::testing::WithParamInterface<Layout> {};

TEST_P(ConvertLayout, PictureSurvivesBothOrientationsAndConvertsBack) {
    REQUIRE_CONTEXT();
    const Layout& layout = GetParam();
    const std::string extension = IsFloat(layout) ? ".exr" : ".png";

    struct Source {
        const char* file;
        HostImage picture;
        const char* backLayout; // the source's own depth, to convert the result back into
        Layout back;
    };
    std::vector<Source> sources;
    sources.push_back({"source.png", MakePng8Picture(kWidth, kHeight), "rgba8", {"rgba8", 32, 255}});
    sources.push_back({"source.exr", MakeExrPicture(), "rgba32f", {"rgba32f", 128, 1}});

    for (const Source& source : sources) {
        zep6gl::WriteImage(Path(source.file), source.picture, true);
        for (bool topDown : {false, true}) {
            const std::string what =
                std::string(source.file) + " -> " + layout.name + (topDown ? " top-down" : " bottom-up");
            const std::string middle = Path(std::string("middle") + (topDown ? "-td" : "-bu") + extension);
            std::vector<std::string> args = {Path(source.file), middle, "--layout", layout.name};
            if (topDown)
                args.push_back("--top-down");
            const Outcome outcome = Convert(args);
            ASSERT_EQ(outcome.status, 0) << what << ": " << outcome.errors;

            const HostImage converted = zep6gl::ReadImage(middle);
            EXPECT_EQ(converted.GetBitDepth(), layout.bitDepth) << what << ": file of the wrong depth";
            Compare(
                source.picture, converted, what, [&](double v) { return Representable(layout, v); },
                [&](double v) { return Tolerance(layout, v, 1); });

            // And back into the source's own depth: the converted file reads as any other.
            const std::string back = Path(std::string("back") + (topDown ? "-td" : "-bu") +
                                          fs::path(source.file).extension().string());
            const Outcome again = Convert({middle, back, "--layout", source.backLayout});
            ASSERT_EQ(again.status, 0) << what << " and back: " << again.errors;
            Compare(
                source.picture, zep6gl::ReadImage(back), what + " and back",
                [&](double v) { return Representable(layout, v); },
                [&](double v) { return Tolerance(layout, v, 2) + Tolerance(source.back, v, 0); });
        }
    }
}

std::string LayoutName(const ::testing::TestParamInfo<Layout>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(EveryLayout, ConvertLayout, ::testing::ValuesIn(kLayouts), LayoutName);

// ---- frames larger than one render target -----------------------------------------------------

// 2100 x 1100 spans two tiles in each direction with thin edge tiles; a misplaced, flipped or
// missing tile shows in the blue texture, which differs from pixel to pixel.
TEST_F(ConvertTest, FrameLargerThanOneTargetIsConvertedWithoutSeams) {
    REQUIRE_CONTEXT();
    const HostImage picture = MakePng8Picture(2100, 1100);
    zep6gl::WriteImage(Path("large.png"), picture);
    const Layout rgba8 = {"rgba8", 32, 255};
    const Layout argb32f = {"argb32f", 128, 1};
    for (const Layout* layout : {&rgba8, &argb32f})
        for (bool topDown : {false, true}) {
            const std::string out =
                Path(std::string("large-") + layout->name + (IsFloat(*layout) ? ".exr" : ".png"));
            std::vector<std::string> args = {Path("large.png"), out, "--layout", layout->name};
            if (topDown)
                args.push_back("--top-down");
            const Outcome outcome = Convert(args);
            ASSERT_EQ(outcome.status, 0) << outcome.errors;
            Compare(
                picture, zep6gl::ReadImage(out),
                std::string("2100 x 1100 -> ") + layout->name + (topDown ? " top-down" : " bottom-up"),
                [](double v) { return v; }, [&](double v) { return Tolerance(*layout, v, 1); });
        }
}

// ---- premultiplying -------------------------------------------------------------------------

TEST_F(ConvertTest, PremultiplyMatchesTheProductAndUnpremultiplyUndoesIt) {
    REQUIRE_CONTEXT();
    const HostImage picture = MakePng8Picture(kWidth, kHeight);
    zep6gl::WriteImage(Path("straight.png"), picture);
    const Layout rgba16 = {"rgba16", 64, 65535};
    const Layout rgba8 = {"rgba8", 32, 255};

    // Into 16 bits, so the premultiplied values lose next to nothing before they are divided.
    // Colour and alpha are each stored once on the card and their product once more: three
    // roundings.
    Outcome outcome =
        Convert({Path("straight.png"), Path("premultiplied.png"), "--layout", "rgba16", "--premultiply"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    const HostImage premultiplied = zep6gl::ReadImage(Path("premultiplied.png"));
    for (long y = 0; y < kHeight; ++y)
        for (long x = 0; x < kWidth; ++x) {
            const double alpha = Value(picture, x, y, 3);
            for (int c = 0; c < 4; ++c) {
                const double want = c == 3 ? alpha : Value(picture, x, y, c) * alpha;
                ASSERT_NEAR(Value(premultiplied, x, y, c), want, Tolerance(rgba16, want, 3))
                    << "premultiplied (" << x << ", " << y << ") channel "
                    << "RGBA"[c];
            }
        }

    outcome = Convert(
        {Path("premultiplied.png"), Path("unpremultiplied.png"), "--layout", "rgba8", "--unpremultiply"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    // The quotient carries the three roundings of the product and one more each for the stored
    // product and alpha: up to 5 * 2^-10 relative with half floats, about one 8-bit step beside
    // the step of the 8-bit result itself. Dividing by alpha also magnifies the absolute error of
    // the 16-bit product by 1 / alpha: where alpha is at least 0.1 that stays far below a step;
    // for alpha near 0 it need not.
    Compare(
        picture, zep6gl::ReadImage(Path("unpremultiplied.png")), "premultiplied and unpremultiplied",
        [](double v) { return v; }, [&](double v) { return Tolerance(rgba8, v, 5); },
        [&](long x, long y) { return Value(picture, x, y, 3) >= 0.1; });
}

// ---- failures -------------------------------------------------------------------------------

TEST_F(ConvertTest, BadInputFilesNameTheFileAndLeaveNoOutput) {
    const HostImage picture = MakePng8Picture(kWidth, kHeight);
    zep6gl::WriteImage(Path("good.png"), picture);
    {
        std::ifstream in(Path("good.png"), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::ofstream(Path("truncated.png"), std::ios::binary)
            .write(bytes.data(), std::streamsize(bytes.size() / 2));
    }
    std::ofstream(Path("text.png")) << "not an image at all\n";
    std::ofstream(Path("empty.exr"));

    for (const char* name : {"missing.png", "truncated.png", "text.png", "empty.exr"}) {
        const std::string out = Path(std::string("out-") + name + ".png");
        const Outcome outcome = Convert({Path(name), out, "--layout", "rgba8"});
        SCOPED_TRACE(name);
        ExpectOneLineNaming(outcome, Path(name));
        EXPECT_FALSE(fs::exists(out));
    }
    // An output that cannot be written (after the work on the card): named, nothing left behind.
    REQUIRE_CONTEXT();
    const std::string unwritable = Path("no-such-directory/out.png");
    const Outcome outcome = Convert({Path("good.png"), unwritable});
    ExpectOneLineNaming(outcome, unwritable);
    EXPECT_FALSE(fs::exists(Path("no-such-directory")));
}

TEST_F(ConvertTest, BadArgumentsNameTheArgumentAndLeaveNoOutput) {
    zep6gl::WriteImage(Path("good.png"), MakePng8Picture(kWidth, kHeight));
    const std::string in = Path("good.png"), out = Path("out.png");
    struct Case {
        std::vector<std::string> args;
        std::string culprit;
    };
    const Case cases[] = {
        {{in, out, "--layout", "rgb565"}, "rgb565"},
        {{in, out, "--layout=xyz16"}, "xyz16"},
        {{in, out, "--layout"}, "--layout"},
        {{in, out, "--sharpen"}, "--sharpen"},
        {{in, out, "extra"}, "extra"},
        {{in}, "OUT"},
        {{in, out, "--premultiply", "--unpremultiply"}, "--unpremultiply"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.culprit);
        ExpectOneLineNaming(Convert(c.args), c.culprit);
        EXPECT_FALSE(fs::exists(out));
    }
}

// A layout and a file type that do not go together are refused before anything is read: the
// input here does not even exist, and the report names the output.
TEST_F(ConvertTest, LayoutAndExtensionMustAgreeBeforeAnyWork) {
    const std::string missing = Path("missing.png");
    const struct {
        const char* layout;
        const char* out;
    } cases[] = {{"rgba32f", "float.png"}, {"bgra8", "byte.exr"}, {"rgba16", "picture.tiff"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.out);
        ExpectOneLineNaming(Convert({missing, Path(c.out), "--layout", c.layout}), Path(c.out));
        EXPECT_FALSE(fs::exists(Path(c.out)));
    }
}

} // namespace
