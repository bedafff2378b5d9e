// The composite of host images (ApplyMode::Apply with XIImages) against the CPU references of
// the modes: the tiles, mixes and masks with a few modes, a frame of many tiles, the inputs that
// are left out, smaller or make the call do nothing.

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

// The inputs are rounded to half floats on the card (under 1/8 step) and the result is
// unpremultiplied by an alpha of at least 1/4, which can magnify that rounding four times before
// the destination rounds to a whole step: 2 steps.
constexpr double kByteTolerance = 2.0;

// Largest difference in 8-bit steps between an RGBA8 result and the reference of `mode`.
double CompareBytes(const TestImage& front, const TestImage& back, const TestImage& got, ModeReference mode) {
    return Compare(
        got, BytePixel,
        [&](long x, long y) {
            return StraightMain(BytePixel(front, x, y), BytePixel(back, x, y), 1.0, mode);
        },
        255.0, kByteTolerance, "8-bit composite");
}

// ---- Modes, mixes and masks --------------------------------------------------------------

struct ModeRow {
    const char* name;
    PixelApplyMode mode;
    ModeReference reference;
    float mix;
    ImageFormat mask; // colour space 0: no mask
};

// The formulas themselves are checked once, mode by mode, in ApplyMode_gl_test; here a few modes
// (continuous in their inputs, so that float rounding on the card cannot take another branch than
// the double reference) check that the mode, the mix and the mask reach the tiles: mixes at both
// ends and between, masks of both layouts, whose alpha multiplies the front's alpha.
const ModeRow kModeRows[] = {
    {"Over", PixelApplyOver, modes::Over, 1.0f, {}},
    {"ScreenHalfMix", PixelApplyScreen, modes::Screen, 0.5f, {}},
    {"DarkenNoMix", PixelApplyDarken, modes::Darken, 0.0f, {}},
    {"Alpha8Mask", PixelApplyOver, modes::Over, 1.0f, Formats::Alpha8},
    {"Alpha8MaskMix03", PixelApplyMultiply, modes::Multiply, 0.3f, Formats::Alpha8},
    {"RGBA8Mask", PixelApplyOver, modes::Over, 0.8f, Formats::RGBA8},
};

class CompositeMode : public ::testing::TestWithParam<ModeRow> {};

TEST_P(CompositeMode, MatchesTheReferenceOfItsFormula) {
    const ModeRow& row = GetParam();
    FloatImage front(37, 23, FrontPixel), back(37, 23, BackPixel);
    TestImage destination(Formats::RGBA32F, 37, 23);
    const bool masked = row.mask.colorSpace != 0;
    TestImage mask(masked ? row.mask : Formats::Alpha8, 37, 23);
    const int maskBytes = int(mask.GetBitDepth() / 8);
    // Mask alpha in 1/255 steps from about 0.3 to 1 (so the result's alpha stays away from 0).
    auto maskAlpha = [](long x, long y) { return static_cast<unsigned char>(80 + (x * 13 + y * 7) % 176); };
    for (long y = 0; y < 23; ++y)
        for (long x = 0; x < 37; ++x) {
            unsigned char* p = mask.Row(y) + x * maskBytes;
            std::memset(p, 0x33, size_t(maskBytes)); // colour channels must not matter
            p[maskBytes - 1] = maskAlpha(x, y);
        }
    ApplyMode::Apply(&front, &back, masked ? &mask : nullptr, &destination, row.mode, row.mix);
    // A masked alpha is stored in half floats before the mode sees it (2^-12 relative), and the
    // result is divided by an alpha down to about 0.1: 2e-3.
    const double worst = Compare(
        destination, FloatPixel,
        [&](long x, long y) {
            V4 fg = FrontPixel(x, y);
            if (masked)
                fg.a *= maskAlpha(x, y) / 255.0;
            return StraightMain(fg, BackPixel(x, y), row.mix, row.reference);
        },
        1.0, masked ? 2e-3 : kHalfTolerance, row.name);
    std::printf("composite %-16s mix %.2f: largest relative error %.3e\n", row.name, row.mix, worst);
}

INSTANTIATE_TEST_SUITE_P(Modes, CompositeMode, ::testing::ValuesIn(kModeRows),
                         [](const ::testing::TestParamInfo<ModeRow>& info) {
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
    const double worst = CompareBytes(front, back, destination, modes::Screen);
    std::printf("composite 5000 x 3000 Screen: largest error %.3f steps\n", worst);
}

// ---- Inputs left out or smaller, calls that do nothing, unknown modes --------------------

struct InputRow {
    const char* name;
    bool frontValid, backValid, maskValid, destinationValid;
    long backWidth, backHeight; // the front and the destination are 41 x 19
    int mode;
    V4 (*want)(long x, long y); // null: the destination is left untouched
    double tolerance;
};

const InputRow kInputRows[] = {
    {"InvalidFront", false, true, true, true, 41, 19, PixelApplyOver, nullptr, 0.0},
    {"InvalidDestination", true, true, true, false, 41, 19, PixelApplyOver, nullptr, 0.0},
    // Composited against transparent black, with a mode that leaves something of the front there (the
    // destination's 0xA5 bytes read as floats are almost 0).
    {"InvalidBack", true, false, false, true, 41, 19, PixelApplyOver,
     [](long x, long y) {
         return StraightMain(FrontPixel(x, y), V4{0, 0, 0, 0}, 1.0, modes::Over);
     },
     kHalfTolerance},
    {"InvalidMask", true, true, false, true, 41, 19, PixelApplyScreen,
     [](long x, long y) { return StraightMain(FrontPixel(x, y), BackPixel(x, y), 1.0, modes::Screen); },
     kHalfTolerance},
    // No program: the tiles are drawn in the default colour.
    {"ModeAboveRange", true, true, false, true, 41, 19, 49,
     [](long, long) {
         return V4{1, 1, 1, 1};
     },
     0.0},
    {"NegativeMode", true, true, false, true, 41, 19, -1,
     [](long, long) {
         return V4{1, 1, 1, 1};
     },
     0.0},
    // A smaller back is aligned at the lower left and reaches only its own pixels; beyond it the
    // front is composited against transparent black.
    {"SmallerBack", true, true, false, true, 17, 11, PixelApplyOver,
     [](long x, long y) {
         const V4 bg = x < 17 && y < 11 ? BackPixel(x, y) : V4{0, 0, 0, 0};
         return StraightMain(FrontPixel(x, y), bg, 1.0, modes::Over);
     },
     kHalfTolerance},
};

class CompositeDegenerate : public ::testing::TestWithParam<InputRow> {};

TEST_P(CompositeDegenerate, BehavesAsDocumented) {
    const InputRow& row = GetParam();
    FloatImage front(41, 19, FrontPixel), back(row.backWidth, row.backHeight, BackPixel);
    TestImage destination(Formats::RGBA32F, 41, 19);
    TestImage mask(Formats::Alpha8, 41, 19);
    mask.Fill(0); // a mask that were used would make the front vanish
    if (!row.frontValid)
        front.SetHeight(0);
    if (!row.backValid)
        back.SetNullBase(true);
    if (!row.maskValid)
        mask.SetWidth(0);
    if (!row.destinationValid)
        destination.SetNullBase(true);
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
    ApplyMode::Apply(&front, &back, &mask, &destination, static_cast<PixelApplyMode>(row.mode), 1.0f);
    ZEP6_AE::StaticList::Decrement();

    if (row.want)
        Compare(destination, FloatPixel, row.want, 1.0, row.tolerance, row.name);
    else
        EXPECT_TRUE(std::equal(before.begin(), before.end(), destination.Bytes()));
}

INSTANTIATE_TEST_SUITE_P(Inputs, CompositeDegenerate, ::testing::ValuesIn(kInputRows),
                         [](const ::testing::TestParamInfo<InputRow>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
