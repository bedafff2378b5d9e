// `zep6gl convert` end to end, on real OpenGL: a picture goes through the card into every
// destination layout, in both orientations, and comes out of the file as it went in, within what
// the path's storage allows. A frame larger than one render target is done in tiles without
// seams. Premultiplying is checked against the product computed here, and unpremultiplying undoes
// it; luminance/chroma OpenEXR comes out in colour with its windows. (Mistakes: CommandLine_test.)
#include "ToolTestSupport.h"

#include "ImageIO.h"

#include "gl/texture/Texture.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfRgbaFile.h>


namespace zep6gltest {
namespace {

constexpr long kWidth = 37;
constexpr long kHeight = 23;

// ---- the pictures ---------------------------------------------------------------------------

// 8-bit: red and green ramps, a blue texture that changes every pixel, and soft alpha covering
// 0 to 255, so that blending by alpha, a swap of channels, a flip or a shift all show.
HostImage MakePng8Picture(long width, long height) {
    return RgbaImage(32, width, height, [=](long x, long y, int c) {
        const double rgba[4] = {double(x) / std::max(1L, width - 1), double(y) / std::max(1L, height - 1),
                                ((x * 37 + y * 11 + x * y) % 256) / 255.0,
                                0.5 + 0.5 * std::sin(x * 0.31) * std::cos(y * 0.43)};
        return rgba[c];
    });
}

// Float: multiples of 1/512 (exact in half and float). The top-left corner holds values above
// white and below black (red up to 1.375, blue down to -0.125), which float layouts must keep and
// integer layouts clamp; alpha stays in 0..1.
HostImage MakeExrPicture() {
    return RgbaImage(128, kWidth, kHeight, [](long x, long y, int c) {
        const bool corner = x < 4 && y < 3;
        const long rgba[4] = {corner ? 512 + 64 * x : x * 14, 512 - y * 23,
                              corner ? -32 - 16 * y : (x * 97 + y * 31) % 512, (x + y) * 9 % 513};
        return rgba[c] / 512.0;
    });
}

// ---- the destination layouts and what each keeps -----------------------------------------------

struct Layout {
    const char* name;
    long bitDepth;   // of the pixels, so also of the file: 32 8-bit PNG, 64 16-bit PNG, 128 EXR
    long whiteLevel; // the layout's own white: its integer step is 1 / whiteLevel
};

// Every channel order, channel type and 16-bit scale once: the library's own tests convert into
// every layout; here the names and the files are on trial (every name: CommandLine_test).
const Layout kLayouts[] = {{"rgba8", 32, 255},         {"argb8", 32, 255},         {"bgra16", 64, 65535},
                           {"argb16", 64, 32768},       {"rgba16-4000", 64, 16384}, {"bgra32f", 128, 1},
                           {"argb32f", 128, 1}};

bool IsFloat(const Layout& layout) {
    return layout.bitDepth == 128;
}

// Error allowed for one value v (fraction of white) stored `roundings` times in the card's best
// type: with half floats (llvmpipe truncates them) one step of the 10-bit mantissa, 2^-10
// relative, per storing; on top an integer layout's own step, and 1/65535 more for 16-bit files.
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

class ConvertTest : public ToolTest {
protected:
    static Outcome Convert(const std::vector<std::string>& args) {
        return RunCommand("convert", args);
    }

    // Converts `in` to `out` in `layout`, bottom-up or top-down; the run must succeed.
    static void ConvertInto(const std::string& in, const std::string& out, const Layout& layout,
                            bool topDown) {
        std::vector<std::string> args = {in, out, "--layout", layout.name};
        if (topDown)
            args.push_back("--top-down");
        const Outcome outcome = Convert(args);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
    }
};

// ---- every layout ---------------------------------------------------------------------------

class ConvertLayout : public ConvertTest, public ::testing::WithParamInterface<Layout> {};

// The float picture (values above white and below black included) comes out of the card in every
// layout and orientation, into a file of the layout's depth. (8-bit sources: the tests below.)
TEST_P(ConvertLayout, PictureComesOutInTheLayoutInBothOrientations) {
    REQUIRE_OPENGL();
    const Layout& layout = GetParam();
    const HostImage picture = MakeExrPicture();
    zep6gl::WriteImage(Path("source.exr"), picture, true);
    for (bool topDown : {false, true}) {
        SCOPED_TRACE(topDown ? "top-down" : "bottom-up");
        const std::string out = Path(std::string("out") + (IsFloat(layout) ? ".exr" : ".png"));
        ASSERT_NO_FATAL_FAILURE(ConvertInto(Path("source.exr"), out, layout, topDown));
        const HostImage converted = zep6gl::ReadImage(out);
        EXPECT_EQ(converted.GetBitDepth(), layout.bitDepth) << "file of the wrong depth";
        ExpectValues(
            converted, kWidth, kHeight,
            [&](long x, long y, int c) { return Representable(layout, Value(picture, x, y, c)); },
            [&](double v) { return Tolerance(layout, v, 1); });
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
    REQUIRE_OPENGL();
    const HostImage picture = MakePng8Picture(2100, 1100);
    zep6gl::WriteImage(Path("large.png"), picture);
    const Layout layouts[] = {{"rgba8", 32, 255}, {"argb32f", 128, 1}};
    for (const Layout& layout : layouts)
        for (bool topDown : {false, true}) {
            const std::string out =
                Path(std::string("large-") + layout.name + (IsFloat(layout) ? ".exr" : ".png"));
            SCOPED_TRACE(std::string(layout.name) + (topDown ? " top-down" : " bottom-up"));
            ASSERT_NO_FATAL_FAILURE(ConvertInto(Path("large.png"), out, layout, topDown));
            ExpectValues(
                zep6gl::ReadImage(out), 2100, 1100,
                [&](long x, long y, int c) { return Value(picture, x, y, c); },
                [&](double v) { return Tolerance(layout, v, 1); });
        }
}

// ---- OpenEXR luminance and chroma, and windows ---------------------------------------------------

// A luminance/chroma file (Y, RY, BY, chroma at half resolution) is colour, not grey; and a
// picture's data and display windows come through to an OpenEXR output.
TEST_F(ConvertTest, LuminanceChromaIsColourAndWindowsAreKept) {
    REQUIRE_OPENGL();
    const Imath::Box2i display({0, 0}, {15, 11}), data({2, 4}, {9, 9});
    const float colour[4] = {0.8f, 0.3f, 0.1f, 1.0f};
    {
        std::vector<Imf::Rgba> pixels(8 * 6, Imf::Rgba(colour[0], colour[1], colour[2], colour[3]));
        Imf::RgbaOutputFile file(Path("yc.exr").c_str(), display, data, Imf::WRITE_YC);
        file.setFrameBuffer(Imf::ComputeBasePointer(pixels.data(), data), 1, 8);
        file.writePixels(6);
    }
    const Outcome outcome = Convert({Path("yc.exr"), Path("out.exr")});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    Imf::InputFile out(Path("out.exr").c_str());
    EXPECT_EQ(out.header().dataWindow(), data);
    EXPECT_EQ(out.header().displayWindow(), display);
    // Luminance and chroma are stored with rounded significands: 1 % is far from grey.
    ExpectValues(
        zep6gl::ReadImage(Path("out.exr")), 8, 6, [&](long, long, int c) { return colour[c]; },
        [](double) { return 0.01; });
}

// ---- premultiplying -------------------------------------------------------------------------

TEST_F(ConvertTest, PremultiplyMatchesTheProductAndUnpremultiplyUndoesIt) {
    REQUIRE_OPENGL();
    const HostImage picture = MakePng8Picture(kWidth, kHeight);
    zep6gl::WriteImage(Path("straight.png"), picture);
    const Layout rgba16 = {"rgba16", 64, 65535};
    const Layout rgba8 = {"rgba8", 32, 255};

    // Into 16 bits, so that the product loses next to nothing before it is divided. Colour, alpha
    // and their product are each stored on the card: three roundings.
    Outcome outcome =
        Convert({Path("straight.png"), Path("premultiplied.png"), "--layout", "rgba16", "--premultiply"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    ExpectValues(
        zep6gl::ReadImage(Path("premultiplied.png")), kWidth, kHeight,
        [&](long x, long y, int c) {
            const double alpha = Value(picture, x, y, 3);
            return c == 3 ? alpha : Value(picture, x, y, c) * alpha;
        },
        [&](double v) { return Tolerance(rgba16, v, 3); });

    outcome = Convert(
        {Path("premultiplied.png"), Path("unpremultiplied.png"), "--layout", "rgba8", "--unpremultiply"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    // The quotient carries those and two more roundings (stored product and alpha); dividing by
    // alpha magnifies the product's error by 1 / alpha, so alpha below 0.1 is not judged.
    ExpectValues(
        zep6gl::ReadImage(Path("unpremultiplied.png")), kWidth, kHeight,
        [&](long x, long y, int c) -> std::optional<double> {
            if (Value(picture, x, y, 3) < 0.1)
                return std::nullopt;
            return Value(picture, x, y, c);
        },
        [&](double v) { return Tolerance(rgba8, v, 5); });
}

} // namespace
} // namespace zep6gltest
