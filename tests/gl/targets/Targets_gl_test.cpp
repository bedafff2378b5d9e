// Render targets on a real context: RenderedTexture's WriteFit and read paths, depth attachment
// and its fallback (depth-composited blits: StaticPrograms_gl_test), hand-over and bad input; tile
// loops, their order, supersampling and its box-filtered resolve, where Write puts an image across
// tiles, and a loop made away from the GL worker. The perspective projections are checked in
// Texture_gl_test.cpp; 8-bit storage, chosen where the card has no float textures, in the storage
// rules (Capabilities_test) and the round trips under ZEP6_STORAGE=byte (RoundTrip_gl_test).

#include "core/TestCountersPrivate.h"
#include "gl/context/Capabilities.h"
#include "geometry/Region.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/State.h"
#include "gl/targets/AntiAliasBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/Texture.h"
#include "support/PixelLayouts.h"
#include "support/StateSentinel.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::Integer;
using zep6test::ExpectWithout;
using zep6test::OnWorker;
using zep6test::Pixels;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

namespace {

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

// Whether an RGBA8 image is within `tolerance` steps of the bytes want(px, py) at each picture
// position (rows from the bottom); names the worst pixel.
template <class Want>
::testing::AssertionResult Within(int tolerance, const TestImage& image, Want want, int* largest = nullptr) {
    int worst = 0;
    std::string where;
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            const long py = zep6test::PictureRow(image, y);
            const unsigned char *got = image.Row(y) + x * 4, *expected = want(x, py);
            for (int c = 0; c < 4; ++c)
                if (std::abs(got[c] - expected[c]) > worst) {
                    worst = std::abs(got[c] - expected[c]);
                    where = "(" + std::to_string(x) + ", " + std::to_string(py) + ") channel " +
                            std::to_string(c) + ": got " + std::to_string(got[c]) + ", want " +
                            std::to_string(expected[c]);
                }
        }
    if (largest)
        *largest = worst;
    if (worst <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "largest error " << worst << " steps, at " << where;
}

// Neighbours differ in blue, and red and green say where a pixel lies.
void FillPattern(TestImage& image) {
    zep6test::FillSource(image, {"RGBA8", zep6test::Kind::RGBA, Formats::RGBA8});
}

// A BGRA image whose pixel (x, y in memory rows) is (blue = 4x, green = 8y, red = 90, alpha = 255).
void FillOpaquePattern(TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(4 * x), p[1] = static_cast<unsigned char>(8 * y), p[2] = 90,
            p[3] = 255;
        }
}

// Selects the target, runs the drawing and puts the state back; false when it cannot be selected.
bool Drawn(RenderedTexture& target, const std::function<void()>& draw) {
    PushState state;
    if (!target.Select())
        return false;
    draw();
    return true;
}

// ---- RenderedTexture ---------------------------------------------------------------------

// WriteFit puts the lower-left of a larger image unscaled; invalid images change nothing and are
// not read into; a bottom-up read is direct, a top-down one takes the render path. (Write and the
// read layouts: Texture_gl_test and the round trips.)
ZEP6_WORKER_TEST(RenderedTexture, WriteFitKeepsTheLowerLeftInvalidImagesChangeNothingReadsFollowTheRowOrder) {
    TestImage source(Formats::BGRA8, 40, 40), invalid(Formats::BGRA8, 32, 16);
    FillOpaquePattern(source);
    invalid.Fill(0xFF);
    invalid.SetHeight(0);
    RenderedTexture target(32, 16);
    ASSERT_TRUE(Drawn(target, [&] { target.WriteFit(&source); }));
    target.Resize(&invalid);
    EXPECT_TRUE(target.Width() == 32 && target.Height() == 16 && target.ColorBuffer() != nullptr);
    ASSERT_TRUE(Drawn(target, [&] {
        target.Write(&invalid);
        target.WriteFit(&invalid);
        target.Write(nullptr);
    }));
    ResetTestCounts();
    target.Read(&invalid);
    target.Read(nullptr);
    EXPECT_EQ(TestCount(TestCounter::DirectReads) + TestCount(TestCounter::RenderReads), 0);
    for (bool bottomUp : {true, false}) {
        TestImage result(Formats::BGRA8, 32, 16);
        result.SetBottomUp(bottomUp);
        ResetTestCounts();
        target.Read(&result);
        // From half or float content even a bottom-up read draws an 8-bit copy first.
        const unsigned int stored = target.ColorBuffer()->Key().InternalFormat();
        const bool direct = bottomUp && stored != GL_RGBA16F_ARB && stored != GL_RGBA32F_ARB;
        EXPECT_EQ(TestCount(TestCounter::DirectReads), direct ? 1 : 0);
        EXPECT_EQ(TestCount(TestCounter::RenderReads), direct ? 0 : 1);
        EXPECT_TRUE(Within(2, result, [&](long x, long py) { return source.Row(py) + x * 4; }));
    }
}

// Nothing on the card before first use; Resize keeps storage of the same size and format (not
// type); a copy is a default target that takes the framebuffer object and depth attachment.
ZEP6_WORKER_TEST(RenderedTexture, DescriptionResizeAndHandOver) {
    const auto expectDefault = [](const RenderedTexture& t) {
        EXPECT_EQ(std::make_tuple(t.Width(), t.Height(), t.GetFormat(), t.GetType(), t.ColorBuffer()),
                  std::make_tuple(2048, 1080, unsigned(GL_RGBA), Texture::GetBestType(), static_cast<TextureBuffer*>(nullptr)));
    };
    RenderedTexture fresh;
    expectDefault(fresh);
    EXPECT_EQ(fresh.FrameBufferName(), 0u);

    RenderedTexture first(16, 16);
    first.Clear();
    TextureBuffer* colour = first.ColorBuffer();
    ASSERT_NE(colour, nullptr);
    first.Resize(16, 16, GL_RGBA, GL_UNSIGNED_SHORT);
    EXPECT_EQ(first.ColorBuffer(), colour);
    const unsigned int fbo = first.FrameBufferName();
    TextureBuffer* depth = first.DepthBuffer();
    RenderBuffer* depthRender = first.DepthRenderBuffer();
    ASSERT_NE(fbo, 0u);
    ASSERT_TRUE(depth != nullptr || depthRender != nullptr); // a depth attachment to move
    RenderedTexture second(first);
    expectDefault(second);
    EXPECT_EQ(std::make_tuple(second.FrameBufferName(), second.DepthBuffer(), second.DepthRenderBuffer()),
              std::make_tuple(fbo, depth, depthRender));
    EXPECT_EQ(std::make_tuple(first.FrameBufferName(), first.DepthBuffer(), first.DepthRenderBuffer(), first.ColorBuffer()),
              std::make_tuple(0u, static_cast<TextureBuffer*>(nullptr), static_cast<RenderBuffer*>(nullptr), colour));

    second.Clear();
    second.Resize(20, 16, GL_RGBA, 0);
    EXPECT_EQ(std::make_pair(second.ColorBuffer(), second.FrameBufferName()),
              std::make_pair(static_cast<TextureBuffer*>(nullptr), 0u));
    TestImage image(Formats::RGBA16, 33, 17);
    second.Resize(&image);
    EXPECT_EQ(std::make_tuple(second.Width(), second.Height(), second.GetType()),
              std::make_tuple(33, 17, Texture::GetBestType()));
}

bool DepthRenderBufferIsReadBack() {
    if (IsDepthTextureSupported())
        return false;
    RenderedTexture target(16, 16);
    target.Clear();
    const bool drawn = Drawn(target, [] {
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_ALWAYS);
        FillRect(0, 0, 8, 16, 1.0f, 1.0f, 1.0f, 1.0f); // depth 0.5 in the left half
    });
    if (!drawn || target.DepthBuffer() != nullptr || target.DepthRenderBuffer() == nullptr)
        return false;
    PushState state;
    target.ApplyDepth();
    const GLint name = Integer(GL_TEXTURE_BINDING_RECTANGLE);
    if (name == 0)
        return false;
    GLint width = 0, height = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, GL_TEXTURE_HEIGHT, &height);
    std::vector<float> values(static_cast<size_t>(width) * height * 4);
    glGetTexImage(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, GL_FLOAT, values.data());
    const float left = values[(static_cast<size_t>(4) * width + 2) * 4];
    const float right = values[(static_cast<size_t>(4) * width + 12) * 4];
    return std::abs(left - 0.5f) < 0.01f && std::abs(right - 1.0f) < 0.01f;
}

TEST(RenderedTextureDeathTest, WithoutDepthTexturesDepthRenderBufferIsReadBack) {
    ExpectWithout("GL_ARB_depth_texture", &DepthRenderBufferIsReadBack);
}

// ---- Tiles and their order -----------------------------------------------------------------

// Tiles of the default size (2048 x 1080), or of the size given to Rewind (a tile width above 0);
// none for a null destination or one without pixels.
ZEP6_WORKER_TEST(TiledBuffer, TilesRunRowByRowFromTheBottomLeft) {
    const struct {
        long width, height;
        int tileWidth, tileHeight;
        std::vector<Region> tiles; // as drawn: grown by the margin within the destination
        int margin;
    } rows[] = {
        {4096, 2160, 0, 0, {{0, 0, 2048, 1080}, {2048, 0, 2048, 1080}, {0, 1080, 2048, 1080}, {2048, 1080, 2048, 1080}}, 0},
        {2500, 1000, 0, 0, {{0, 0, 2048, 1000}, {2048, 0, 452, 1000}}, 0},
        {2048, 1080, 0, 0, {{0, 0, 2048, 1080}}, 0},
        {100, 1081, 0, 0, {{0, 0, 100, 1080}, {0, 1080, 100, 1}}, 0},
        {300, 200, 128, 128,
         {{0, 0, 128, 128}, {128, 0, 128, 128}, {256, 0, 44, 128}, {0, 128, 128, 72}, {128, 128, 128, 72}, {256, 128, 44, 72}}, 0},
        {300, 200, 128, 128,
         {{0, 0, 138, 138}, {118, 0, 148, 138}, {246, 0, 54, 138}, {0, 118, 138, 82}, {118, 118, 148, 82}, {246, 118, 54, 82}},
         10},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
        // Only the size matters: without pixels the tiles are not read back.
        TestImage destination(Formats::RGBA8, row.width, row.height, 0, Pixels::None);
        TiledBuffer tiles(&destination);
        if (row.tileWidth > 0) {
            EXPECT_TRUE(tiles.Rewind(row.tileWidth, row.tileHeight, row.margin));
        }
        EXPECT_EQ(tiles.TileCount(), static_cast<int>(row.tiles.size()));
        EXPECT_FALSE(tiles.IsFirstTile());
        std::vector<Region> seen;
        while (tiles.Next())
            seen.push_back(tiles.GetCurrentTile());
        EXPECT_EQ(seen, row.tiles);
        EXPECT_TRUE(tiles.IsFirstTile());
        EXPECT_FALSE(tiles.GetCurrentTile().valid);
        EXPECT_FALSE(tiles.Rewind(128, 128)); // the loop is over: no target, no tiles
    }
    // A null destination, or one without pixels, gives no targets and an empty loop.
    TestImage invalid(Formats::RGBA8, 16, 16);
    invalid.SetNullBase(true);
    TiledBuffer none(nullptr);
    AntiAliasBuffer supersampled(&invalid, 3);
    EXPECT_TRUE(none.Width() == 0 && !none.Next());
    EXPECT_EQ(supersampled.GetAntialiasScaler(), 4.0f);
    EXPECT_TRUE(!supersampled.TileTarget() && !supersampled.SupersampleTarget() && !supersampled.Next());
}

// ---- Away from the worker ------------------------------------------------------------------

// A loop made on the test's own thread, not the GL worker, only clears its destination (but a
// read-only one, whose pixels must not be written).
TEST(TiledBuffer, OffTheWorkerALoopOnlyClearsTheDestination) {
    const struct {
        zep6test::ImageFormat format;
        bool bottomUp, readOnly;
    } rows[] = {{Formats::RGBA8, true, false},   {Formats::ARGB16, false, false}, {Formats::RGBA32F, true, false},
                {Formats::Alpha8, false, false}, {Formats::RGBA8, true, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.format.bitDepth) + (row.readOnly ? " read-only" : ""));
        const long padding = 5;
        TestImage destination(row.format, 19, 7, padding);
        destination.SetBottomUp(row.bottomUp);
        destination.Fill(0x77);
        destination.SetReadOnly(row.readOnly);
        TiledBuffer tiles(&destination);
        EXPECT_EQ(tiles.TileCount(), 0);
        EXPECT_FALSE(tiles.Next());
        EXPECT_FALSE(tiles.GetCurrentTile().valid);
        const long pixelBytes = 19 * row.format.bitDepth / 8;
        for (long y = 0; y < 7; ++y)
            for (long i = 0; i < pixelBytes + padding; ++i)
                ASSERT_EQ(destination.Row(y)[i], i < pixelBytes && !row.readOnly ? 0 : 0x77)
                    << "row " << y << " byte " << i;
        // Nothing else happens: a write and a read without a target leave every byte alone.
        destination.Fill(0x33);
        tiles.Write(&destination, 0, 0);
        tiles.Read(&destination);
        EXPECT_EQ(std::count(destination.Bytes(), destination.Bytes() + destination.ByteCount(), 0x33),
                  static_cast<long>(destination.ByteCount()));
        EXPECT_FALSE(tiles.Next());
    }
}

// ---- Write ---------------------------------------------------------------------------------

// 2100 x 1100 is four tiles: 2048 and 52 columns, 1080 and 20 rows.
constexpr long kFrameWidth = 2100;
constexpr long kFrameHeight = 1100;

struct WriteRow {
    const char* name;
    const char* label;  // in the printed figure
    long width, height; // the image's
    bool imageBottomUp, destinationBottomUp;
    bool rs3d;                    // RS3dPerspective first: tiles are read back flipped
    float translateX, translateY; // model-view translation set before writing
    int x, y;                     // Write's arguments
    int tileWidth, tileHeight, margin; // Rewind's, when a tile width is given
};

// clang-format off
const WriteRow kWriteRows[] = {
    // The destination's size at (0, 0): copied tile by tile, upright under RS3dPerspective too.
    {"CopyBottomUp", "bottom-up", kFrameWidth, kFrameHeight, true, true, false, 0, 0, 0, 0, 0, 0, 0},
    {"CopyTopDown", "top-down", kFrameWidth, kFrameHeight, true, false, false, 0, 0, 0, 0, 0, 0, 0},
    {"CopyUnderRS3dPerspective", "RS3dPerspective", kFrameWidth, kFrameHeight, true, true, true, 0, 0, 0, 0, 0, 0, 0},
    // Its lower-left corner at (2030, 1070) both ways: straddling all four tiles.
    {"TranslatedModelView", "40 x 30 translated", 40, 30, false, true, false, 2000, 1050, 30, 20, 0, 0, 0},
    {"IdentityModelView", "40 x 30 at (2030, 1070)", 40, 30, false, true, false, 0, 0, 2030, 1070, 0, 0, 0},
    // Tiles drawn with a margin: each reads back only its own area, from inside the drawn one.
    {"CopyTopDownWithMargins", "top-down, margins", kFrameWidth, kFrameHeight, true, false, false, 0, 0, 0, 0, 900, 500, 30},
    {"CopyUnderRS3dPerspectiveWithMargins", "RS3dPerspective, margins", kFrameWidth, kFrameHeight, true, true, true, 0, 0, 0, 0, 900, 500, 30},
};
// clang-format on

class WritePlacement : public ::testing::TestWithParam<WriteRow> {};

TEST_P(WritePlacement, ImageLandsAtItsOwnSizeWhereTheModelViewPutsIt) {
    const WriteRow& row = GetParam();
    TestImage image(Formats::RGBA8, row.width, row.height);
    image.SetBottomUp(row.imageBottomUp);
    FillPattern(image);
    TestImage destination(Formats::RGBA8, kFrameWidth, kFrameHeight);
    destination.SetBottomUp(row.destinationBottomUp);
    ASSERT_TRUE(OnWorker([&] {
        TiledBuffer tiles(&destination);
        if (row.tileWidth > 0)
            tiles.Rewind(row.tileWidth, row.tileHeight, row.margin);
        while (tiles.Next()) {
            FillRect(0, 0, kFrameWidth, kFrameHeight, 0.2f, 0.4f, 0.6f, 1.0f);
            if (row.rs3d)
                tiles.RS3dPerspective(-1.0f, 1.0f, -1.0f, 1.0f, 1.0f, 10.0f);
            glColor4f(1.0f, 1.0f, 1.0f, 1.0f); // the image is modulated by the current colour
            glTranslatef(row.translateX, row.translateY, 0.0f);
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&image, row.x, row.y);
        }
    }));
    const long x0 = row.x + static_cast<long>(row.translateX), y0 = row.y + static_cast<long>(row.translateY);
    const unsigned char background[4] = {51, 102, 153, 255};
    const auto want = [&](long px, long py) -> const unsigned char* {
        if (px < x0 || py < y0 || px >= x0 + row.width || py >= y0 + row.height)
            return background;
        return image.Row(zep6test::PictureRow(image, py - y0)) + (px - x0) * 4;
    };
    // 8-bit values pass through half floats and back: at most one step.
    int worst = 0;
    EXPECT_TRUE(Within(1, destination, want, &worst));
    std::printf("tiled copy %s: largest error %d steps\n", row.label, worst);
}

INSTANTIATE_TEST_SUITE_P(Placements, WritePlacement, ::testing::ValuesIn(kWriteRows),
                         [](const ::testing::TestParamInfo<WriteRow>& info) {
                             return std::string(info.param.name);
                         });

// WriteFit stretches an image linearly over the whole destination, whatever the model-view, with
// no seam at the tile boundary (2048): a 2 x 1 image becomes a ramp.
TEST(TiledBuffer, WriteFitStretchesLinearlyOverTheDestination) {
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
    std::vector<unsigned char> ramp(kFrameWidth * 4);
    for (long x = 0; x < kFrameWidth; ++x) {
        const double t = std::clamp((x + 0.5) * 2.0 / kFrameWidth - 0.5, 0.0, 1.0);
        for (int c = 0; c < 4; ++c)
            ramp[x * 4 + c] = static_cast<unsigned char>(std::lround(left[c] * (1 - t) + right[c] * t));
    }
    // Linear filtering weighs in steps of 1/256 on llvmpipe: two steps.
    EXPECT_TRUE(Within(2, destination, [&](long x, long) { return &ramp[x * 4]; }));
}

// Each tile uploads only the part of the image it shows: never as much as the whole image takes.
TEST(TiledBuffer, WriteUploadsOnlyWhatTheTileShows) {
    ZEP6_REQUIRE_FRESH_CACHES();
    TestImage image(Formats::RGBA8, 4096, 2160), result(Formats::RGBA8, 4096, 2160);
    FillPattern(image);
    long whole = 0;
    ASSERT_TRUE(OnWorker([&] {
        whole = CalculateTextureSize(4096, 2160, GetInternalFormat(GL_RGBA, Texture::GetBestType()));
        TiledBuffer tiles(&result);
        while (tiles.Next()) {
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&image, 0, 0);
        }
    }));
    EXPECT_LT(TextureBuffer::Counters().peak, whole);
    EXPECT_TRUE(Within(1, result, [&](long x, long y) { return image.Row(y) + x * 4; }));
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
    EXPECT_TRUE(Within(0, handedPixels, [&](long, long) { return red; }));
    EXPECT_TRUE(Within(0, destination, [&](long, long) { return green; }));
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

// Each level's factor and target sizes (outside 1 to 5: factor 1); a hard-edged triangle resolves
// to its coverage of each pixel's F x F samples. 300 x 150: one tile up to factor 6, four at 8.
class SupersampledDrawing : public ::testing::TestWithParam<LevelRow> {};

TEST_P(SupersampledDrawing, HardEdgeResolvesToBoxFilteredCoverage) {
    const LevelRow& row = GetParam();
    constexpr long kW = 300, kH = 150;
    const double vx[3] = {13.37, 287.71, 101.13}, vy[3] = {7.29, 51.83, 143.41};
    TestImage destination(Formats::RGBA32F, kW, kH);
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
    // The resolve sums F^2 weighted samples, each addition losing up to a unit of storage precision.
    const double storage = IsFloatSupported()                            ? 1e-6
                           : Texture::GetBestType() == GL_HALF_FLOAT_ARB ? std::ldexp(1.0, -11)
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

INSTANTIATE_TEST_SUITE_P(Levels, SupersampledDrawing, ::testing::ValuesIn(kLevelRows),
                         [](const ::testing::TestParamInfo<LevelRow>& info) {
                             return "Level" + std::to_string(info.param.level < 0 ? 99 : info.param.level);
                         });

} // namespace
