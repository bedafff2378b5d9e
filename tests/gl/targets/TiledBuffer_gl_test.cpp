// Tile loops on a real context: the tiles and their order, the supersampling factors and sizes,
// the box-filtered resolve against a supersampled CPU reference, where Write puts an image, the
// copy across tiles, the flipped read of RS3dPerspective, handing a target over, the state after
// the loop, and a loop made away from the GL worker thread.

#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/render/Region.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/state/Blend.h"
#include "gl/state/State.h"
#include "gl/targets/AntiAliasBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/Texture.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::OnWorker;
using zep6test::Pixels;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

std::vector<Region> Tiles(std::initializer_list<Region> list) {
    return std::vector<Region>(list);
}

// Runs a whole loop and returns the tiles it made current, in order.
std::vector<Region> LoopTiles(TiledBuffer& tiles) {
    std::vector<Region> seen;
    while (tiles.Next())
        seen.push_back(tiles.GetCurrentTile());
    return seen;
}

// A flat quad in the current colour, blending off: drawing that replaces what is there.
void FillRect(float x0, float y0, float x1, float y1, float r, float g, float b, float a) {
    Push<BlendFunc> replace(BlendFunc::Replace);
    glColor4f(r, g, b, a);
    glBegin(GL_QUADS);
    glVertex2f(x0, y0);
    glVertex2f(x1, y0);
    glVertex2f(x1, y1);
    glVertex2f(x0, y1);
    glEnd();
}

// Largest difference in steps between two RGBA8 images (memory rows compared as they lie).
int LargestByteError(const TestImage& a, const TestImage& b, long* worstX = nullptr, long* worstY = nullptr) {
    int worst = 0;
    for (long y = 0; y < a.GetHeight(); ++y)
        for (long x = 0; x < a.GetWidth() * 4; ++x) {
            const int d = std::abs(int(a.Row(y)[x]) - int(b.Row(y)[x]));
            if (d > worst) {
                worst = d;
                if (worstX)
                    *worstX = x / 4, *worstY = y;
            }
        }
    return worst;
}

// Every pixel differs from its neighbours in some channel and no two tiles look alike.
void FillPattern(TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(x * 5 + y);
            p[1] = static_cast<unsigned char>(y * 3 + x / 7);
            p[2] = static_cast<unsigned char>((x * y) >> 4);
            p[3] = 255;
        }
}

// ---- Tiles and their order -----------------------------------------------------------------

struct TileRow {
    const char* name;
    long width, height;
    std::vector<Region> tiles;
};

class TileOrder : public ::testing::TestWithParam<TileRow> {};

TEST_P(TileOrder, RowByRowFromTheBottomLeft) {
    const TileRow& row = GetParam();
    // Only the size matters: without pixels the tiles are not read back.
    TestImage destination(Formats::RGBA8, row.width, row.height, 0, Pixels::None);
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        EXPECT_EQ(tiles.Width(), row.width);
        EXPECT_EQ(tiles.Height(), row.height);
        EXPECT_EQ(tiles.TileCount(), static_cast<int>(row.tiles.size()));
        EXPECT_FALSE(tiles.IsFirstTile());
        EXPECT_EQ(LoopTiles(tiles), row.tiles);
        EXPECT_TRUE(tiles.IsFirstTile());
        EXPECT_FALSE(tiles.GetCurrentTile().valid);
    }));
}

const TileRow kTileRows[] = {
    {"UltraHD", 4096, 2160,
     Tiles({{0, 0, 2048, 1080}, {2048, 0, 2048, 1080}, {0, 1080, 2048, 1080}, {2048, 1080, 2048, 1080}})},
    {"NarrowLastColumn", 2500, 1000, Tiles({{0, 0, 2048, 1000}, {2048, 0, 452, 1000}})},
    {"OneTile", 2048, 1080, Tiles({{0, 0, 2048, 1080}})},
    {"LowLastRow", 100, 1081, Tiles({{0, 0, 100, 1080}, {0, 1080, 100, 1}})},
};

INSTANTIATE_TEST_SUITE_P(Sizes, TileOrder, ::testing::ValuesIn(kTileRows),
                         [](const ::testing::TestParamInfo<TileRow>& info) {
                             return std::string(info.param.name);
                         });

// The loop leaves the state as it found it: framebuffer, viewport, matrices, blending; and
// Rewind restarts with any tile size.
TEST(TiledBuffer, LoopRestoresTheStateAndRewindCutsAgain) {
    TestImage destination(Formats::RGBA8, 300, 200);
    ASSERT_TRUE(OnWorker([&] {
        RenderedTexture sentinel(8, 8);
        PushState outer;
        ASSERT_TRUE(sentinel.Select());
        glViewport(1, 2, 3, 4);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glTranslatef(7.0f, 0.0f, 0.0f);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glScalef(2.0f, 2.0f, 2.0f);
        glDisable(GL_BLEND);
        GLint framebuffer = 0, viewport[4] = {};
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);

        TiledBuffer tiles(&destination);
        EXPECT_TRUE(tiles.Rewind(128, 128));
        EXPECT_EQ(LoopTiles(tiles), Tiles({{0, 0, 128, 128},
                                           {128, 0, 128, 128},
                                           {256, 0, 44, 128},
                                           {0, 128, 128, 72},
                                           {128, 128, 128, 72},
                                           {256, 128, 44, 72}}));
        GLint after = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &after);
        EXPECT_EQ(after, framebuffer);
        glGetIntegerv(GL_VIEWPORT, viewport);
        EXPECT_EQ(viewport[0], 1);
        EXPECT_EQ(viewport[3], 4);
        GLdouble projection[16], model[16];
        glGetDoublev(GL_PROJECTION_MATRIX, projection);
        glGetDoublev(GL_MODELVIEW_MATRIX, model);
        EXPECT_EQ(projection[12], 7.0);
        EXPECT_EQ(model[0], 2.0);
        EXPECT_FALSE(glIsEnabled(GL_BLEND));
        // The loop is over: no target, no tiles.
        EXPECT_FALSE(tiles.Rewind(128, 128));
    }));
}

// ---- Away from the worker ------------------------------------------------------------------

struct ClearRow {
    const char* name;
    zep6test::ImageFormat format;
    bool bottomUp;
    bool readOnly; // its pixels must not be written: the clear leaves them
};

const ClearRow kClearRows[] = {
    {"RGBA8", Formats::RGBA8, true, false},     {"ARGB16TopDown", Formats::ARGB16, false, false},
    {"RGBA32F", Formats::RGBA32F, true, false}, {"Alpha8", Formats::Alpha8, false, false},
    {"ReadOnly", Formats::RGBA8, true, true},
};

class OffWorker : public ::testing::TestWithParam<ClearRow> {};

TEST_P(OffWorker, LoopOnlyClearsTheDestination) {
    const ClearRow& row = GetParam();
    const long padding = 5;
    TestImage destination(row.format, 19, 7, padding);
    destination.SetBottomUp(row.bottomUp);
    destination.Fill(0x77);
    destination.SetReadOnly(row.readOnly);
    // Made on the test's own thread, not the GL worker.
    TiledBuffer tiles(&destination);
    EXPECT_EQ(tiles.TileCount(), 0);
    EXPECT_FALSE(tiles.Next());
    EXPECT_FALSE(tiles.GetCurrentTile().valid);
    const long pixelBytes = 19 * row.format.bitDepth / 8;
    for (long y = 0; y < 7; ++y)
        for (long i = 0; i < pixelBytes + padding; ++i)
            ASSERT_EQ(destination.Row(y)[i], i < pixelBytes && !row.readOnly ? 0 : 0x77)
                << "row " << y << " byte " << i;
    // Nothing else happens: a write and a read are no-ops without a target.
    tiles.Write(&destination, 0, 0);
    tiles.Read(&destination);
    EXPECT_FALSE(tiles.Next());
}

INSTANTIATE_TEST_SUITE_P(Layouts, OffWorker, ::testing::ValuesIn(kClearRows),
                         [](const ::testing::TestParamInfo<ClearRow>& info) {
                             return std::string(info.param.name);
                         });

TEST(TiledBuffer, NullDestinationHasNoLoop) {
    ASSERT_TRUE(OnWorker([] {
        TiledBuffer tiles(nullptr);
        EXPECT_EQ(tiles.Width(), 0);
        EXPECT_FALSE(tiles.Next());
    }));
}

// ---- Write ---------------------------------------------------------------------------------

// 2100 x 1100 is four tiles: 2048 and 52 columns, 1080 and 20 rows.
constexpr long kFrameWidth = 2100;
constexpr long kFrameHeight = 1100;

class CopyAcrossTiles : public ::testing::TestWithParam<bool> {};

// Write(image, 0, 0) of an image of the destination's size copies it, tile by tile, whatever the
// orientation of the destination.
TEST_P(CopyAcrossTiles, ImageOfTheDestinationsSizeIsCopied) {
    TestImage source(Formats::RGBA8, kFrameWidth, kFrameHeight);
    FillPattern(source);
    TestImage destination(Formats::RGBA8, kFrameWidth, kFrameHeight);
    destination.SetBottomUp(GetParam());
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        while (tiles.Next()) {
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&source, 0, 0);
        }
    }));
    // The same picture: compare by picture rows.
    int worst = 0;
    for (long y = 0; y < kFrameHeight; ++y) {
        const long memoryRow = GetParam() ? y : kFrameHeight - 1 - y;
        for (long x = 0; x < kFrameWidth * 4; ++x)
            worst = std::max(worst, std::abs(int(destination.Row(memoryRow)[x]) - int(source.Row(y)[x])));
    }
    // 8-bit values pass through half floats and back: at most one step.
    EXPECT_LE(worst, 1);
    std::printf("tiled copy %s: largest error %d steps\n", GetParam() ? "bottom-up" : "top-down", worst);
}

INSTANTIATE_TEST_SUITE_P(Orientation, CopyAcrossTiles, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return std::string(info.param ? "BottomUp" : "TopDown");
                         });

struct PlacementRow {
    const char* name;
    float translateX, translateY; // model-view translation set before writing
    int x, y;                     // Write's arguments
};

// Both put the image's lower-left corner at (2030, 1070): straddling all four tiles.
const PlacementRow kPlacementRows[] = {
    {"TranslatedModelView", 2000.0f, 1050.0f, 30, 20},
    {"IdentityModelView", 0.0f, 0.0f, 2030, 1070},
};

class WritePlacement : public ::testing::TestWithParam<PlacementRow> {};

TEST_P(WritePlacement, ImageLandsAtItsOwnSizeWhereTheModelViewPutsIt) {
    const PlacementRow& row = GetParam();
    constexpr long kX = 2030, kY = 1070, kW = 40, kH = 30;
    TestImage image(Formats::RGBA8, kW, kH);
    image.SetBottomUp(false); // rows counted from the bottom of the picture still
    for (long py = 0; py < kH; ++py)
        for (long x = 0; x < kW; ++x) {
            unsigned char* p = image.Row(kH - 1 - py) + x * 4;
            p[0] = static_cast<unsigned char>(6 * x), p[1] = static_cast<unsigned char>(8 * py), p[2] = 200,
            p[3] = 255;
        }
    TestImage destination(Formats::RGBA8, kFrameWidth, kFrameHeight);
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        while (tiles.Next()) {
            FillRect(0, 0, kFrameWidth, kFrameHeight, 0.2f, 0.4f, 0.6f, 1.0f);
            glColor4f(1.0f, 1.0f, 1.0f, 1.0f); // the image is modulated by the current colour
            glTranslatef(row.translateX, row.translateY, 0.0f);
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&image, row.x, row.y);
        }
    }));
    TestImage expected(Formats::RGBA8, kFrameWidth, kFrameHeight);
    for (long y = 0; y < kFrameHeight; ++y)
        for (long x = 0; x < kFrameWidth; ++x) {
            unsigned char* p = expected.Row(y) + x * 4;
            if (x >= kX && x < kX + kW && y >= kY && y < kY + kH)
                std::memcpy(p, image.Row(kH - 1 - (y - kY)) + (x - kX) * 4, 4);
            else
                p[0] = 51, p[1] = 102, p[2] = 153, p[3] = 255;
        }
    long wx = 0, wy = 0;
    const int worst = LargestByteError(destination, expected, &wx, &wy);
    EXPECT_LE(worst, 1) << "worst at (" << wx << ", " << wy << "): got " << int(destination.Row(wy)[wx * 4])
                        << " " << int(destination.Row(wy)[wx * 4 + 1]) << " "
                        << int(destination.Row(wy)[wx * 4 + 2]) << ", want " << int(expected.Row(wy)[wx * 4])
                        << " " << int(expected.Row(wy)[wx * 4 + 1]) << " "
                        << int(expected.Row(wy)[wx * 4 + 2]);
}

INSTANTIATE_TEST_SUITE_P(Placements, WritePlacement, ::testing::ValuesIn(kPlacementRows),
                         [](const ::testing::TestParamInfo<PlacementRow>& info) {
                             return std::string(info.param.name);
                         });

// WriteFit stretches any image over the whole destination, whatever the model-view matrix: a
// 2 x 1 image becomes two halves.
TEST(TiledBuffer, WriteFitStretchesOverTheDestination) {
    TestImage image(Formats::RGBA8, 2, 1);
    const unsigned char left[4] = {255, 0, 0, 255}, right[4] = {0, 0, 255, 255};
    std::memcpy(image.Row(0), left, 4);
    std::memcpy(image.Row(0) + 4, right, 4);
    TestImage destination(Formats::RGBA8, kFrameWidth, 40);
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        while (tiles.Next()) {
            glTranslatef(500.0f, 0.0f, 0.0f); // ignored: the fit covers the destination
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.WriteFit(&image);
        }
    }));
    // Nearest sampling: the left half takes the left pixel, the right half the right one; the
    // tile boundary at 2048 lies in the right half.
    for (long y : {0L, 39L})
        for (long x : {0L, 1049L, 1050L, 2047L, 2048L, kFrameWidth - 1}) {
            const unsigned char* want = x < kFrameWidth / 2 ? left : right;
            const unsigned char* got = destination.Row(y) + x * 4;
            EXPECT_EQ(std::memcmp(got, want, 4), 0)
                << "pixel " << x << ", " << y << ": " << int(got[0]) << " " << int(got[1]) << " "
                << int(got[2]) << " " << int(got[3]);
        }
}

// ---- RS3dPerspective -----------------------------------------------------------------------

// A frame two tiles high: the frustum's normalised square covers the destination, and the read
// flips it. A red block drawn at the bottom-left of the frustum ends at the top-left.
TEST(TiledBuffer, RS3dPerspectiveFlipsTheReadBack) {
    constexpr long kW = 64, kH = 1200; // tiles of 1080 and 120 rows
    TestImage destination(Formats::RGBA8, kW, kH);
    TestImage image(Formats::RGBA8, kW, kH);
    FillPattern(image);
    TestImage written(Formats::RGBA8, kW, kH);
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        while (tiles.Next()) {
            tiles.RS3dPerspective(-1.0f, 1.0f, -1.0f, 1.0f, 1.0f, 10.0f);
            glDisable(GL_DEPTH_TEST);
            // At z = -2 the frustum's normalised coordinates are half the model coordinates.
            glTranslatef(0.0f, 0.0f, -2.0f);
            FillRect(-2.0f, -2.0f, 2.0f, 2.0f, 0.0f, 0.0f, 1.0f, 1.0f);
            FillRect(-2.0f, -2.0f, 0.0f, -1.0f, 1.0f, 0.0f, 0.0f, 1.0f); // x < W/2, y < H/4
        }
        // Under the flip, Write still lands upright.
        TiledBuffer copy(&written);
        while (copy.Next()) {
            copy.RS3dPerspective(-1.0f, 1.0f, -1.0f, 1.0f, 1.0f, 10.0f);
            Push<BlendFunc> replace(BlendFunc::Replace);
            copy.Write(&image, 0, 0);
        }
    }));
    for (long y = 0; y < kH; ++y)
        for (long x = 0; x < kW; ++x) {
            const bool red = x < kW / 2 && y >= kH - kH / 4;
            const unsigned char* p = destination.Row(y) + x * 4;
            ASSERT_TRUE(p[0] == (red ? 255 : 0) && p[2] == (red ? 0 : 255) && p[3] == 255)
                << "pixel " << x << ", " << y << " is " << int(p[0]) << " " << int(p[1]) << " " << int(p[2]);
        }
    EXPECT_LE(LargestByteError(written, image), 1);
}

// ---- AcquireRender -------------------------------------------------------------------------

TEST(TiledBuffer, AcquireRenderHandsOverTheTileAndGoesOn) {
    TestImage destination(Formats::RGBA8, 40, 20);
    TestImage handedPixels(Formats::RGBA8, 40, 20);
    ASSERT_TRUE(OnWorker([&] {
        RenderedTexture* handed = nullptr;
        {
            TiledBuffer tiles(&destination);
            ASSERT_TRUE(tiles.Next());
            FillRect(0, 0, 40, 20, 1.0f, 0.0f, 0.0f, 1.0f);
            handed = tiles.AcquireRender();
            ASSERT_NE(handed, nullptr);
            EXPECT_EQ(handed->Width(), 40);
            EXPECT_EQ(handed->Height(), 20);
            // The loop draws on into its new target.
            FillRect(0, 0, 40, 20, 0.0f, 1.0f, 0.0f, 1.0f);
            EXPECT_FALSE(tiles.Next());
        }
        handed->Read(&handedPixels);
        delete handed;
    }));
    const unsigned char red[4] = {255, 0, 0, 255}, green[4] = {0, 255, 0, 255};
    for (long y = 0; y < 20; ++y)
        for (long x = 0; x < 40; ++x) {
            ASSERT_EQ(std::memcmp(handedPixels.Row(y) + x * 4, red, 4), 0) << x << ", " << y;
            ASSERT_EQ(std::memcmp(destination.Row(y) + x * 4, green, 4), 0) << x << ", " << y;
        }
}

// ---- Supersampling -------------------------------------------------------------------------

struct LevelRow {
    int level;
    int factor;
    int tileWidth, tileHeight;
};

const LevelRow kLevelRows[] = {
    {0, 1, 2048, 1080}, {1, 2, 1024, 540}, {2, 3, 682, 360},   {3, 4, 512, 270},
    {4, 6, 341, 180},   {5, 8, 256, 135},  {6, 1, 2048, 1080}, {-1, 1, 2048, 1080},
};

class Supersampling : public ::testing::TestWithParam<LevelRow> {};

TEST_P(Supersampling, FactorAndTargetSizes) {
    const LevelRow& row = GetParam();
    TestImage destination(Formats::RGBA8, 16, 16);
    ASSERT_TRUE(OnWorker([&] {
        AntiAliasBuffer buffer(&destination, row.level);
        EXPECT_EQ(buffer.GetAntialiasScaler(), float(row.factor));
        ASSERT_NE(buffer.TileTarget(), nullptr);
        EXPECT_EQ(buffer.TileTarget()->Width(), row.tileWidth);
        EXPECT_EQ(buffer.TileTarget()->Height(), row.tileHeight);
        if (row.factor == 1) {
            EXPECT_EQ(buffer.SupersampleTarget(), nullptr);
        } else {
            ASSERT_NE(buffer.SupersampleTarget(), nullptr);
            EXPECT_EQ(buffer.SupersampleTarget()->Width(), row.factor * row.tileWidth);
            EXPECT_EQ(buffer.SupersampleTarget()->Height(), row.factor * row.tileHeight);
        }
    }));
}

// A hard-edged triangle, white over opaque black, resolves to its coverage of the F x F sample
// points of each pixel (the box filter of a supersampled CPU reference). The frame is 300 x 150:
// one tile up to factor 6, four tiles (edge tiles narrower and lower) at factor 8.
// Levels 0 to 5: every factor once (the other rows repeat factor 1).
class SupersampledDrawing : public ::testing::TestWithParam<LevelRow> {};

TEST_P(SupersampledDrawing, HardEdgeResolvesToBoxFilteredCoverage) {
    const LevelRow& row = GetParam();
    constexpr long kW = 300, kH = 150;
    const double vx[3] = {13.37, 287.71, 101.13}, vy[3] = {7.29, 51.83, 143.41};
    TestImage destination(Formats::RGBA32F, kW, kH);
    ASSERT_TRUE(OnWorker([&] {
        AntiAliasBuffer buffer(&destination, row.level);
        while (buffer.Next()) {
            FillRect(0, 0, kW, kH, 0.0f, 0.0f, 0.0f, 1.0f);
            Push<BlendFunc> replace(BlendFunc::Replace);
            glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
            glBegin(GL_TRIANGLES);
            for (int k = 0; k < 3; ++k)
                glVertex2d(vx[k], vy[k]);
            glEnd();
        }
    }));
    // Signed distance of a point from edge k, in supersample pixels; inside is positive (the
    // triangle is counter-clockwise).
    const int f = row.factor;
    auto edge = [&](int k, double px, double py) {
        const int n = (k + 1) % 3;
        const double ex = vx[n] - vx[k], ey = vy[n] - vy[k];
        return (ex * (py - vy[k]) - ey * (px - vx[k])) / std::hypot(ex, ey) * f;
    };
    // The rasteriser snaps vertices to 1/256 of a target pixel: a sample this close to an edge
    // may fall either way, and its pixel is not judged.
    const double kAmbiguous = 0.02;
    // The resolve sums F^2 samples weighted 1/F^2 in float storage when the driver has float
    // textures; otherwise in the best type, where each addition can lose a unit of its last place.
    const double storage = IsFloatSupported() ? 1e-6 : Texture::GetBestType() == GL_HALF_FLOAT_ARB
                                                           ? std::ldexp(1.0, -11)
                                                           : 1.0 / 255.0;
    const double tolerance = (f * f + 1) * storage;
    double worst = 0.0;
    long judged = 0, partial = 0;
    for (long y = 0; y < kH; ++y)
        for (long x = 0; x < kW; ++x) {
            int covered = 0;
            bool ambiguous = false;
            for (int j = 0; j < f; ++j)
                for (int i = 0; i < f; ++i) {
                    const double px = x + (i + 0.5) / f, py = y + (j + 0.5) / f;
                    bool inside = true;
                    for (int k = 0; k < 3; ++k) {
                        const double d = edge(k, px, py);
                        ambiguous = ambiguous || std::fabs(d) < kAmbiguous;
                        inside = inside && d > 0;
                    }
                    covered += inside ? 1 : 0;
                }
            if (ambiguous)
                continue;
            ++judged;
            partial += covered > 0 && covered < f * f ? 1 : 0;
            const double want = double(covered) / (f * f);
            float got[4];
            std::memcpy(got, destination.Row(y) + x * 16, 16);
            for (int c = 0; c < 3; ++c) {
                const double d = std::fabs(got[c] - want);
                worst = std::max(worst, d);
                ASSERT_LE(d, tolerance) << "pixel " << x << ", " << y << " channel " << c << ": got "
                                        << got[c] << ", coverage " << covered << " of " << f * f;
            }
            ASSERT_NEAR(got[3], 1.0, tolerance) << "pixel " << x << ", " << y;
        }
    EXPECT_GT(judged, kW * kH * 9 / 10);
    if (f > 1) {
        EXPECT_GT(partial, 300) << "the edges should give partly covered pixels";
    }
    std::printf("supersampling factor %d: largest error %.3e (tolerance %.3e), %ld of %ld pixels judged\n", f,
                worst, tolerance, judged, kW * kH);
}

INSTANTIATE_TEST_SUITE_P(Levels, Supersampling, ::testing::ValuesIn(kLevelRows),
                         [](const ::testing::TestParamInfo<LevelRow>& info) {
                             return "Level" + std::to_string(info.param.level < 0 ? 99 : info.param.level);
                         });
INSTANTIATE_TEST_SUITE_P(Levels, SupersampledDrawing, ::testing::ValuesIn(kLevelRows, kLevelRows + 6),
                         [](const ::testing::TestParamInfo<LevelRow>& info) {
                             return "Level" + std::to_string(info.param.level);
                         });

// An invalid destination gives no targets; the loop does nothing.
TEST(AntiAliasBuffer, InvalidDestinationHasNoTargets) {
    TestImage destination(Formats::RGBA8, 16, 16);
    destination.SetNullBase(true);
    ASSERT_TRUE(OnWorker([&] {
        AntiAliasBuffer buffer(&destination, 3);
        EXPECT_EQ(buffer.GetAntialiasScaler(), 4.0f);
        EXPECT_EQ(buffer.TileTarget(), nullptr);
        EXPECT_EQ(buffer.SupersampleTarget(), nullptr);
        EXPECT_FALSE(buffer.Next());
    }));
}

} // namespace
