// `zep6gl convert` end to end, on real OpenGL: a picture comes out of the file as it went in,
// within what the path's storage allows. (Mistakes: CommandLine_test.)
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

// Multiples of 1/512 (exact in half and float), so with the file's 8 bits (`bytes`) the steps show
// too. Blue differs from pixel to pixel, so a swap of channels, a flip, a shift or a misplaced
// tile shows. The top-left corner of the float picture holds values above white and below black
// (red up to 1.375, blue down to -0.125), which float layouts keep and integer layouts clamp.
HostImage MakePicture(long width, long height, bool bytes = false) {
    return RgbaImage(bytes ? 32 : 128, width, height, [=](long x, long y, int c) {
        const bool corner = !bytes && x < 4 && y < 3;
        const long rgba[4] = {corner ? 512 + 64 * x : x * 14 % 512, (512 - y * 23 % 512),
                              corner ? -32 - 16 * y : (x * 97 + y * 31) % 512, (x + y) * 9 % 513};
        return rgba[c] / 512.0;
    });
}

struct Layout {
    const char* name;
    long bitDepth;   // of the pixels, so also of the file: 32 8-bit PNG, 64 16-bit PNG, 128 EXR
    long whiteLevel; // the layout's own white: its integer step is 1 / whiteLevel
};

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

class ConvertTest : public ToolTest {
protected:
    static Outcome Convert(const std::vector<std::string>& args) {
        return RunCommand("convert", args);
    }
};

// The float picture comes out of the card in each channel order, channel type and 16-bit scale
// once, into a file of the layout's depth (the library's round-trip matrix takes every layout in
// both orientations; every name: CommandLine_test). A frame of 2100 x 1100 spans two render
// targets in each direction with thin edge tiles.
TEST_F(ConvertTest, PictureComesOutInTheLayoutAndLargeFramesWithoutSeams) {
    REQUIRE_OPENGL();
    const struct {
        Layout layout;
        long width, height;
        bool topDown;
    } cases[] = {
        {{"rgba8", 32, 255}, kWidth, kHeight, false},    {{"argb8", 32, 255}, kWidth, kHeight, true},
        {{"bgra16", 64, 65535}, kWidth, kHeight, false}, {{"argb16", 64, 32768}, kWidth, kHeight, true},
        {{"rgba16-4000", 64, 16384}, kWidth, kHeight, false}, {{"bgra32f", 128, 1}, kWidth, kHeight, true},
        {{"argb32f", 128, 1}, kWidth, kHeight, false},   {{"rgba8", 32, 255}, 2100, 1100, true},
        {{"argb32f", 128, 1}, 2100, 1100, false},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(std::string(k.layout.name) + " " + std::to_string(k.width) +
                     (k.topDown ? " top-down" : ""));
        const HostImage picture = MakePicture(k.width, k.height);
        zep6gl::WriteImage(Path("source.exr"), picture, true);
        const std::string out = Path(std::string("out") + (IsFloat(k.layout) ? ".exr" : ".png"));
        std::vector<std::string> args = {Path("source.exr"), out, "--layout", k.layout.name};
        if (k.topDown)
            args.push_back("--top-down");
        const Outcome outcome = Convert(args);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        const HostImage converted = zep6gl::ReadImage(out);
        EXPECT_EQ(converted.GetBitDepth(), k.layout.bitDepth) << "file of the wrong depth";
        ExpectValues(
            converted, k.width, k.height,
            [&](long x, long y, int c) {
                const double v = Value(picture, x, y, c);
                return IsFloat(k.layout) ? v : std::clamp(v, 0.0, 1.0);
            },
            [&](double v) { return Tolerance(k.layout, v, 1); });
    }
}

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

// Premultiplying matches the product computed here, and unpremultiplying undoes it.
TEST_F(ConvertTest, PremultiplyMatchesTheProductAndUnpremultiplyUndoesIt) {
    REQUIRE_OPENGL();
    const HostImage picture = MakePicture(kWidth, kHeight, true);
    zep6gl::WriteImage(Path("straight.png"), picture);
    const struct {
        const char *in, *out, *option;
        Layout layout;
        int roundings;
        bool product;
    } steps[] = {
        // Into 16 bits, so that the product loses next to nothing before it is divided. Colour,
        // alpha and their product are each stored on the card: three roundings.
        {"straight.png", "premultiplied.png", "--premultiply", {"rgba16", 64, 65535}, 3, true},
        // The quotient carries those and two more (stored product and alpha); dividing by alpha
        // magnifies the product's error by 1 / alpha, so alpha below 0.1 is not judged.
        {"premultiplied.png", "unpremultiplied.png", "--unpremultiply", {"rgba8", 32, 255}, 5, false},
    };
    for (const auto& k : steps) {
        SCOPED_TRACE(k.option);
        const Outcome outcome = Convert({Path(k.in), Path(k.out), "--layout", k.layout.name, k.option});
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        ExpectValues(
            zep6gl::ReadImage(Path(k.out)), kWidth, kHeight,
            [&](long x, long y, int c) -> std::optional<double> {
                const double alpha = Value(picture, x, y, 3);
                if (k.product)
                    return c == 3 ? alpha : Value(picture, x, y, c) * alpha;
                return alpha < 0.1 ? std::nullopt : std::optional<double>(Value(picture, x, y, c));
            },
            [&](double v) { return Tolerance(k.layout, v, k.roundings); });
    }
}

// ---- float storage ------------------------------------------------------------------------------

// Under ZEP6_STORAGE=float, values far beyond the half-float range (65504) and steps finer than
// its 11-bit significand come through the card unchanged.
TEST_F(ConvertTest, FloatStorageKeepsValuesBeyondHalfFloats) {
    REQUIRE_OPENGL();
    const HostImage picture = RgbaImage(128, 8, 4, [](long x, long y, int c) {
        const double rgba[4] = {1e38 * double(x + 1) / 8.0, 65504.0 * double(y + 2),
                                1.0 + std::ldexp(double(x + 8 * y), -20), 1.0};
        return rgba[c];
    });
    zep6gl::WriteImage(Path("wide.exr"), picture, true);
    const ToolRun run =
        RunTool({"convert", Path("wide.exr"), Path("out.exr"), "--layout", "rgba32f"}, "ZEP6_STORAGE=float");
    ASSERT_EQ(run.status, 0) << run.errors;
    ExpectValues(
        zep6gl::ReadImage(Path("out.exr")), 8, 4, [&](long x, long y, int c) { return Value(picture, x, y, c); },
        [](double v) { return 1e-7 * std::max(1.0, std::fabs(v)); });
}

} // namespace
} // namespace zep6gltest
