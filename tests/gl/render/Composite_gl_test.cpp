// The composite of host images (ApplyMode::Apply with XIImages) against the modes' CPU references.

#include "core/PixelFormat.h"
#include "gl/render/ApplyMode.h"
#include "gl/texture/SubImageTexture.h"

#include "support/ApplyModeReference.h"
#include "gl/resources/ResourceTestSupport.h"
#include "support/TestImage.h"
#include "sync/StaticList.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

// ---- Images and their comparison with a reference ----------------------------------------

// Bottom-up RGBA32F image holding pixel(x, y); row y is picture row y.
struct FloatImage : TestImage {
    template <class F>
    FloatImage(long width, long height, F pixel) : TestImage(Formats::RGBA32F, width, height) {
        for (long y = 0; y < height; ++y)
            for (long x = 0; x < width; ++x) {
                const V4 p = pixel(x, y);
                const float v[4] = {float(p.r), float(p.g), float(p.b), float(p.a)};
                std::memcpy(Row(y) + x * 16, v, 16);
            }
    }
};

// Pixel (x, y) of an RGBA32F or an RGBA8 image, as fractions of white.
V4 FloatPixel(const TestImage& image, long x, long y) {
    float v[4];
    std::memcpy(v, image.Row(y) + x * 16, 16);
    return {v[0], v[1], v[2], v[3]};
}
V4 BytePixel(const TestImage& image, long x, long y) {
    const unsigned char* p = image.Row(y) + x * 4;
    return {p[0] / 255.0, p[1] / 255.0, p[2] / 255.0, p[3] / 255.0};
}

// Channel values in steps of 1/64: exactly representable in half floats, so the card holds the
// very values the reference starts from. Alpha is at least 1/4: the straight main divides by the
// result's alpha, and a small alpha would magnify the storage rounding.
double Step64(unsigned value) {
    return double(value % 65u) / 64.0;
}
V4 FrontPixel(long x, long y) {
    return {Step64(unsigned(x * 7 + y * 3)), Step64(unsigned(x * 2 + y * 11 + 5)),
            Step64(unsigned(x * y + 9)), 0.25 + Step64(unsigned(x * 5 + y * 2)) * 0.75};
}
V4 BackPixel(long x, long y) {
    return {Step64(unsigned(x * 3 + y * 13 + 1)), Step64(unsigned(x * 9 + y + 40)),
            Step64(unsigned(x + y * 7)), 0.25 + Step64(unsigned(x * 3 + y * 5 + 17)) * 0.75};
}

// Largest difference of `got` (read with `read`) from want(x, y), in units of `unit` (1 for float
// results, 255 for 8-bit steps) and relative to the expected magnitude above 1; a NaN counts as
// infinite. Reports the first channel over `tolerance`.
template <class Want>
double Compare(const TestImage& got, V4 (*read)(const TestImage&, long, long), Want want, double unit,
               double tolerance, const std::string& what) {
    double worst = 0.0;
    bool reported = false;
    for (long y = 0; y < got.GetHeight(); ++y)
        for (long x = 0; x < got.GetWidth(); ++x) {
            const V4 e = want(x, y), g = read(got, x, y);
            for (int k = 0; k < 4; ++k) {
                const double diff = std::fabs(g[k] - e[k]) * unit / std::max(1.0, std::fabs(e[k]));
                const double d = std::isnan(diff) ? INFINITY : diff;
                if (d > tolerance && !reported) {
                    ADD_FAILURE() << what << ": pixel (" << x << ", " << y << ") channel "
                                  << "RGBA"[k] << " got " << g[k] * unit << ", expected " << e[k] * unit;
                    reported = true;
                }
                worst = std::max(worst, d);
            }
        }
    return worst;
}

// The card keeps the tile in half floats on llvmpipe: a result in [0, 1] is rounded to 2^-12
// absolute, an input in 1/64 steps not at all. 1e-3 leaves room for the float arithmetic of the
// program; with float storage the same bound holds.
constexpr double kHalfTolerance = 1e-3;

// 8-bit channel values that differ from pixel to pixel and from tile to tile, so that a tile
// read into the wrong place or a texture pointed at the wrong region shows; alpha at least 64.
void FillBytes(TestImage& image, unsigned seed) {
    for (long y = 0; y < image.GetHeight(); ++y) {
        unsigned char* p = image.Row(y);
        for (long x = 0; x < image.GetWidth(); ++x, p += 4) {
            const unsigned h = unsigned(x) * 2654435761u ^ unsigned(y) * 40503u ^ seed;
            p[0] = static_cast<unsigned char>(h >> 3);
            p[1] = static_cast<unsigned char>(x + 3 * y + seed);
            p[2] = static_cast<unsigned char>(h >> 13);
            p[3] = static_cast<unsigned char>(64 + (h >> 21) % 192);
        }
    }
}

// ---- Modes, mixes, masks, and inputs left out, smaller or making the call do nothing -------

enum Flaw { kNone = 0, kNoFront = 1, kNoBack = 2, kNoMask = 4, kNoDestination = 8 };

// The formulas themselves are checked mode by mode in ProgramFormulas_gl_test; here a few modes
// (continuous in their inputs, so float rounding cannot take another branch than the double
// reference) show that the mode, the mix and the mask (whose alpha multiplies the front's) reach
// the tiles. A smaller or missing back leaves transparent black where it does not reach; an
// unknown mode draws the default colour, opaque white; an invalid front or destination does
// nothing.
struct Row {
    const char* name;
    int mode;
    ModeReference reference; // null: an unknown mode
    float mix;
    ImageFormat mask; // colour space 0: no mask
    int flaws;
    long backWidth = 41, backHeight = 19; // the front and the destination are 41 x 19
};

const Row kRows[] = {
    {"Over", PixelApplyOver, modes::Over, 1.0f, {}, kNone},
    {"ScreenHalfMix", PixelApplyScreen, modes::Screen, 0.5f, {}, kNone},
    {"DarkenNoMix", PixelApplyDarken, modes::Darken, 0.0f, {}, kNone},
    {"Alpha8Mask", PixelApplyOver, modes::Over, 1.0f, Formats::Alpha8, kNone},
    {"Alpha8MaskMix03", PixelApplyMultiply, modes::Multiply, 0.3f, Formats::Alpha8, kNone},
    {"RGBA8Mask", PixelApplyOver, modes::Over, 0.8f, Formats::RGBA8, kNone},
    {"InvalidFront", PixelApplyOver, modes::Over, 1.0f, Formats::Alpha8, kNoFront},
    {"InvalidDestination", PixelApplyOver, modes::Over, 1.0f, Formats::Alpha8, kNoDestination},
    {"InvalidBack", PixelApplyOver, modes::Over, 1.0f, Formats::Alpha8, kNoBack | kNoMask},
    {"InvalidMask", PixelApplyScreen, modes::Screen, 1.0f, Formats::Alpha8, kNoMask},
    {"ModeAboveRange", 49, nullptr, 1.0f, {}, kNone},
    {"NegativeMode", -1, nullptr, 1.0f, {}, kNone},
    {"SmallerBack", PixelApplyOver, modes::Over, 1.0f, {}, kNone, 17, 11},
};

// Mask alpha in 1/255 steps from about 0.3 to 1 (so the result's alpha stays away from 0).
unsigned char MaskAlpha(long x, long y) {
    return static_cast<unsigned char>(80 + (x * 13 + y * 7) % 176);
}

class CompositeRow : public ::testing::TestWithParam<Row> {};

TEST_P(CompositeRow, MatchesTheReference) {
    const Row& row = GetParam();
    FloatImage front(41, 19, FrontPixel), back(row.backWidth, row.backHeight, BackPixel);
    TestImage destination(Formats::RGBA32F, 41, 19);
    const bool masked = row.mask.colorSpace != 0;
    TestImage mask(masked ? row.mask : Formats::Alpha8, 41, 19);
    const int maskBytes = int(mask.GetBitDepth() / 8);
    for (long y = 0; y < 19; ++y)
        for (long x = 0; x < 41; ++x) {
            unsigned char* p = mask.Row(y) + x * maskBytes;
            std::memset(p, 0x33, size_t(maskBytes)); // colour channels must not matter
            p[maskBytes - 1] = MaskAlpha(x, y);
        }
    front.SetHeight(row.flaws & kNoFront ? 0 : 19);
    back.SetNullBase(row.flaws & kNoBack);
    mask.SetWidth(row.flaws & kNoMask ? 0 : 41);
    destination.SetNullBase(row.flaws & kNoDestination);
    destination.Fill(0xA5);
    const std::vector<unsigned char> before(destination.Bytes(),
                                            destination.Bytes() + destination.ByteCount());

    // Within one session the cache hands out textures as earlier uses left them: here opaque
    // white, more of them than the composite takes. None of it may show where an image does not
    // reach.
    ZEP6_AE::StaticList::Increment();
    ASSERT_TRUE(zep6test::OnWorker([] {
        FloatImage white(41, 19, [](long, long) { return V4{1, 1, 1, 1}; });
        std::vector<std::unique_ptr<SubImageTexture>> textures;
        for (int i = 0; i < 6; ++i) {
            textures.push_back(std::make_unique<SubImageTexture>(&white));
            textures.back()->Load();
        }
    }));
    ApplyMode::Apply(&front, &back, masked ? &mask : nullptr, &destination,
                     static_cast<PixelApplyMode>(row.mode), row.mix);
    ZEP6_AE::StaticList::Decrement();

    if (row.flaws & (kNoFront | kNoDestination)) {
        EXPECT_TRUE(std::equal(before.begin(), before.end(), destination.Bytes()));
        return;
    }
    const bool maskUsed = masked && !(row.flaws & kNoMask);
    // A masked alpha is stored in half floats before the mode sees it (2^-12 relative), and the
    // result is divided by an alpha down to about 0.1: 2e-3.
    const double tolerance = !row.reference ? 0.0 : maskUsed ? 2e-3 : kHalfTolerance;
    Compare(
        destination, FloatPixel,
        [&](long x, long y) {
            if (!row.reference)
                return V4{1, 1, 1, 1};
            V4 fg = FrontPixel(x, y);
            if (maskUsed)
                fg.a *= MaskAlpha(x, y) / 255.0;
            const bool reached = !(row.flaws & kNoBack) && x < row.backWidth && y < row.backHeight;
            return StraightMain(fg, reached ? BackPixel(x, y) : V4{0, 0, 0, 0}, row.mix, row.reference);
        },
        1.0, tolerance, row.name);
}

INSTANTIATE_TEST_SUITE_P(Rows, CompositeRow, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) {
                             return std::string(info.param.name);
                         });

// ---- A frame of many tiles ---------------------------------------------------------------

TEST(Composite, FrameOfManyTilesMatchesTheReference) {
    // 5000 x 3000 is three columns (2048, 2048, 904) by three rows (1080, 1080, 840) of tiles.
    TestImage front(Formats::RGBA8, 5000, 3000), back(Formats::RGBA8, 5000, 3000);
    TestImage destination(Formats::RGBA8, 5000, 3000);
    FillBytes(front, 11);
    FillBytes(back, 977);
    destination.Fill(0xA5);
    ApplyMode::Apply(&front, &back, nullptr, &destination, PixelApplyScreen, 1.0f);
    // The inputs are rounded to half floats on the card (under 1/8 step) and the result is
    // unpremultiplied by an alpha of at least 1/4, which can magnify that rounding four times before
    // the destination rounds to a whole step: 2 steps.
    const double worst = Compare(
        destination, BytePixel,
        [&](long x, long y) { return StraightMain(BytePixel(front, x, y), BytePixel(back, x, y), 1.0, modes::Screen); },
        255.0, 2.0, "8-bit composite");
    std::printf("composite 5000 x 3000 Screen: largest error %.3f steps\n", worst);
}

} // namespace
