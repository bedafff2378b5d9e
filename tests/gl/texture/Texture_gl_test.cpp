// Image textures and render targets on a real context: which upload path is taken, the row order
// of regions, fit mode, masks, lazy loading, bad input, the perspective projections of
// RenderedTexture and TiledBuffer against the same matrices built on the CPU, Blit's opacity and
// region gate, processing shaders, WriteTexture, and the storage type asked first from two sides
// at once.

#include "core/Errors.h"
#include "core/TestCountersPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/Conversion.h"
#include "geometry/Region.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/texture/WriteTexture.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include <unistd.h>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

// The bytes of a texture's content, read from its framebuffer as BGRA bytes (row 0 = bottom).
std::vector<unsigned char> ReadContent(Texture& texture, int width, int height) {
    std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * 4, 0xEE);
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &previous);
    EXPECT_TRUE(texture.Select());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER_EXT, previous);
    return pixels;
}

const unsigned char* At(const std::vector<unsigned char>& pixels, int width, int x, int y) {
    return &pixels[(static_cast<size_t>(y) * width + x) * 4];
}

bool Near(int a, int b, int tolerance = 2) {
    return std::abs(a - b) <= tolerance;
}

// A BGRA image whose memory row r holds (blue = x, green = r, red = 7, alpha = 255) per pixel.
void FillRowCoded(TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = static_cast<unsigned char>(x), p[1] = static_cast<unsigned char>(y), p[2] = 7, p[3] = 255;
        }
}

// Exposes the protected upload to drive it with a destination of another size.
class LoadableTexture : public RenderedTexture {
public:
    using RenderedTexture::CreateTexture;
    using RenderedTexture::LoadTexture;
};

// Uploads the whole of an image over a 100 x 100 texture, stretched or fitted, and reads it back.
std::vector<unsigned char> LoadedOver100(const TestImage& image, bool fit) {
    LoadableTexture texture;
    texture.Resize(100, 100, GL_RGBA, 0);
    if (fit)
        texture.SetFit();
    EXPECT_TRUE(texture.CreateTexture());
    const Region all(0, 0, static_cast<unsigned int>(image.GetWidth()),
                     static_cast<unsigned int>(image.GetHeight()));
    texture.LoadTexture(&image, all, Region(0, 0, 100, 100));
    return ReadContent(texture, 100, 100);
}

// A region counts its rows from the bottom in either row order; it goes straight to the card only
// from a bottom-up image and wholly inside it, else through the render path, transparent black
// past the image (where the driver, out of the sanitizer's sight, would show stray texels); each
// change uploads once.
class SubImageRegion : public ::testing::TestWithParam<bool> {};

TEST_P(SubImageRegion, PathRowOrderAndTransparencyPastTheImage) {
    const bool bottomUp = GetParam();
    ASSERT_TRUE(OnWorker([bottomUp] {
        TestImage image(Formats::BGRA8, 100, 100);
        image.SetBottomUp(bottomUp);
        FillRowCoded(image);
        SubImageTexture texture(&image);
        texture.Apply();
        texture.SetImage(&image); // the same image again is a change: its pixels may have changed in place
        // The whole image, a part of it, past the left and lower edges, past the right and upper
        // edges, wholly beside it. The texture keeps the buffer of its first load: largest first.
        const Region regions[] = {Region(0, 0, 100, 100), Region(10, 20, 30, 40), Region(-5, -3, 20, 10),
                                  Region(90, 95, 20, 10), Region(200, 0, 8, 8)};
        for (const Region& region : regions) {
            SCOPED_TRACE(::testing::Message() << region);
            ResetTestCounts();
            texture.SetRegion(region);
            texture.Apply();
            // Nothing changed: applying, loading or setting the same region again uploads nothing.
            texture.Apply();
            texture.SetRegion(region);
            texture.Load();
            const bool inside =
                region.x >= 0 && region.y >= 0 && region.XEnd() <= 100 && region.YEnd() <= 100;
            EXPECT_EQ(TestCount(TestCounter::DirectUploads), bottomUp && inside ? 1 : 0);
            EXPECT_EQ(TestCount(TestCounter::RenderUploads), bottomUp && inside ? 0 : 1);
            const int width = static_cast<int>(region.width), height = static_cast<int>(region.height);
            EXPECT_EQ(std::make_pair(texture.GetWidth(), texture.GetHeight()), std::make_pair(width, height));
            const std::vector<unsigned char> pixels = ReadContent(texture, width, height);
            for (int j = 0; j < height; ++j)
                for (int i = 0; i < width; ++i) {
                    const int x = region.x + i, y = region.y + j; // picture position, y up
                    const bool in = x >= 0 && y >= 0 && x < 100 && y < 100;
                    const int want[4] = {in ? x : 0, in ? (bottomUp ? y : 99 - y) : 0, in ? 7 : 0,
                                         in ? 255 : 0};
                    for (int c = 0; c < 4; ++c)
                        ASSERT_EQ(At(pixels, width, i, j)[c], want[c])
                            << "texel " << i << ", " << j << " channel " << c;
                }
        }
    }));
}

INSTANTIATE_TEST_SUITE_P(Orders, SubImageRegion, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "BottomUp" : "TopDown";
                         });

ZEP6_WORKER_TEST(Texture, FitModeKeepsAspectRatioAndEnlargedContentBlendsOnlyWithinTheImage) {
    TestImage image(Formats::BGRA8, 200, 100);
    image.Fill(255);
    const std::vector<unsigned char> fitted = LoadedOver100(image, true);
    for (int y = 0; y < 100; ++y) {
        const bool inside = y >= 25 && y < 75;
        for (int x = 0; x < 100; x += 9)
            ASSERT_EQ(At(fitted, 100, x, y)[3], inside ? 255 : 0) << x << ", " << y;
    }
    EXPECT_EQ(At(fitted, 100, 99, 25)[0], 255);
    EXPECT_EQ(At(fitted, 100, 99, 24)[0], 0);

    // Enlarged, the last row and column blend only with the image, not with what an earlier use
    // left beyond it in a larger cached texture: an upload, and a stretched write of either order.
    TestImage red(Formats::BGRA8, 64, 64), white(Formats::BGRA8, 10, 10);
    for (long i = 0; i < 64 * 64; ++i)
        red.Bytes()[i * 4 + 2] = red.Bytes()[i * 4 + 3] = 255;
    white.Fill(255);
    for (int row = 0; row < 3; ++row) {
        SCOPED_TRACE(row == 0 ? "upload" : row == 1 ? "write bottom-up" : "write top-down");
        std::vector<unsigned char> pixels;
        if (row == 0) {
            LoadedOver100(red, false);
            pixels = LoadedOver100(white, false);
        } else {
            white.SetBottomUp(row == 1);
            RenderedTexture target(100, 100);
            {
                PushState state;
                ASSERT_TRUE(target.Select());
                target.Write(&red); // leaves red in the cached textures of image size
                target.Write(&white);
            }
            pixels = ReadContent(target, 100, 100);
        }
        for (int y : {0, 50, 95, 99})
            for (int x : {0, 50, 95, 99})
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(At(pixels, 100, x, y)[c], 255) << x << ", " << y << " channel " << c;
    }
}

// A mask multiplies only alpha, and hides the image where a mask smaller than the image does not
// reach. The mask's colour channels are black: none of it may reach the image's colour.
ZEP6_WORKER_TEST(SubImageTexture, MaskMultipliesOnlyAlphaStorageStaysWithTheOriginalFollowsALargerImageAndAnInvalidOneClears) {
    TestImage image(Formats::BGRA8, 16, 16);
    for (long i = 0; i < 16 * 16; ++i) {
        unsigned char* p = image.Bytes() + i * 4;
        p[0] = 50, p[1] = 100, p[2] = 200, p[3] = 200;
    }
    for (const auto& [maskWidth, maskHeight] : {std::pair<int, int>{16, 16}, {8, 4}}) {
        SCOPED_TRACE(::testing::Message() << "mask " << maskWidth << " x " << maskHeight);
        TestImage mask(Formats::BGRA8, maskWidth, maskHeight);
        for (long y = 0; y < maskHeight; ++y)
            for (long x = 0; x < maskWidth; ++x)
                mask.Row(y)[x * 4 + 3] = x < 4 ? 128 : 255;
        SubImageTexture texture(&image);
        texture.SetMask(&mask);
        texture.Apply();
        const std::vector<unsigned char> pixels = ReadContent(texture, 16, 16);
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) {
                const unsigned char* p = At(pixels, 16, x, y);
                const int maskAlpha = x < maskWidth && y < maskHeight ? (x < 4 ? 128 : 255) : 0;
                ASSERT_TRUE(Near(p[0], 50) && Near(p[1], 100) && Near(p[2], 200)) << x << ", " << y;
                ASSERT_TRUE(Near(p[3], 200 * maskAlpha / 255, maskAlpha == 128 ? 2 : 0))
                    << x << ", " << y << ": alpha " << int(p[3]);
            }
    }

    // A copy shares the storage and never gives it back: after a copy is gone the storage is still the
    // original's alone, a new texture gets storage of its own, and the original keeps its content.
    // Pointed at a larger image than its storage holds, a texture takes storage that does; pointed at
    // an invalid image, it clears to transparent black.
    TestImage small(Formats::BGRA8, 100, 100), large(Formats::BGRA8, 3000, 1500);
    FillRowCoded(small);
    FillRowCoded(large);
    SubImageTexture texture(&small);
    texture.Apply();
    const TextureBuffer* storage = texture.ColorBuffer();
    ASSERT_NE(storage, nullptr);
    { Texture copy(texture); }
    {
        Texture assigned;
        assigned = texture;
    }
    SubImageTexture other(&small);
    other.Apply();
    EXPECT_NE(other.ColorBuffer(), storage) << "the copy gave the original's storage back";
    EXPECT_EQ(texture.ColorBuffer(), storage);
    EXPECT_EQ(At(ReadContent(texture, 100, 100), 100, 5, 6)[0], 5);

    texture.SetImage(&large);
    texture.Apply();
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    ASSERT_NE(texture.ColorBuffer(), nullptr);
    EXPECT_GE(texture.ColorBuffer()->Width(), 3000);
    const std::vector<unsigned char> pixels = ReadContent(texture, 3000, 1500);
    EXPECT_EQ(At(pixels, 3000, 2999, 1499)[0], 2999 % 256);
    EXPECT_EQ(At(pixels, 3000, 2999, 1499)[1], 1499 % 256);
    TestImage invalid(Formats::BGRA8, 16, 8);
    invalid.SetWidth(-3);
    texture.SetImage(&invalid);
    texture.Load();
    const std::vector<unsigned char> cleared = ReadContent(texture, 16, 8);
    EXPECT_EQ(cleared, std::vector<unsigned char>(cleared.size(), 0));
}

enum class Form { Rendered, TiledFovy, TiledFrustum, TiledRS3d };

struct ProjectionCase {
    const char* name;
    Form form;
    int width, height;
    float p[6];    // frustum (left, right, bottom, top, near, far) or (fovy, aspect, near, far)
    float quad[5]; // eye-space rectangle x0, y0, x1, y1 at depth z
};

void PrintTo(const ProjectionCase& c, std::ostream* out) {
    *out << c.name;
}

// Where an eye point lands, in pixels of the target or the destination (rows from the bottom).
// Orthogonal(1, -1) with its viewport over the same pixels (the target's, or the tile's window of
// destination pixels) maps drawing coordinates one to one onto pixels, so the point lands where
// the matrices multiplied after it take it: the frustum or perspective (their manual pages'
// matrices; w = -z), then each form's translate and scale.
void Land(const ProjectionCase& c, double x, double y, double z, double& px, double& py) {
    const float* f = c.p;
    double nx, ny;
    if (c.form == Form::TiledFovy) {
        const double cot = 1.0 / std::tan(f[0] * M_PI / 360.0);
        nx = cot / f[1] * x / -z, ny = cot * y / -z;
    } else {
        nx = (2 * f[4] / (f[1] - f[0]) * x + (f[1] + f[0]) / (f[1] - f[0]) * z) / -z;
        ny = (2 * f[4] / (f[3] - f[2]) * y + (f[3] + f[2]) / (f[3] - f[2]) * z) / -z;
    }
    const int w = c.width, h = c.height;
    switch (c.form) {
    case Form::Rendered: // scale (w/2, h/2), translate (1, 1), scale (1, -1): y down
        px = w / 2.0 * (nx + 1), py = h / 2.0 * (1 - ny);
        break;
    case Form::TiledFovy: // integer halves, the centre on the destination's origin
        px = w / 2 * nx, py = h / 2 * ny;
        break;
    case Form::TiledFrustum: // exact halves
        px = w * 0.5 * nx, py = h * 0.5 * ny;
        break;
    case Form::TiledRS3d: // integer halves, translate (1, 1): the square over the destination
        px = w / 2 * (nx + 1), py = h / 2 * (ny + 1);
        break;
    }
}

void DrawEyeQuad(const float* q) {
    Push<BlendFunc> replace(BlendFunc::Replace);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE); // the y-down projection turns the winding round
    glColor4f(1, 1, 1, 1);
    glBegin(GL_QUADS);
    glVertex3f(q[0], q[1], q[4]);
    glVertex3f(q[2], q[1], q[4]);
    glVertex3f(q[2], q[3], q[4]);
    glVertex3f(q[0], q[3], q[4]);
    glEnd();
}

// The quads are chosen so that every projected edge lies at least 0.15 px from a pixel centre,
// and, for the tiled forms, so that the other rounding of the halves (integer or exact) would
// move the right edge across one.
// clang-format off
const ProjectionCase kProjectionCases[] = {
    // By the frustum's (left, top) corner, which y down puts at pixel (0, 0).
    {"RenderedTopLeft", Form::Rendered, 40, 24, {-2, 1, -1, 1.5f, 1, 10}, {-2.4f, 1.2f, -1.75f, 1.85f, -1.25f}},
    {"RenderedLowerRight", Form::Rendered, 40, 24, {-2, 1, -1, 1.5f, 1, 10}, {0.3f, -2, 2.1f, -0.6f, -4}},
    // 21 x 2201 is three tiles high; each quad crosses a tile boundary (row 1080), the RS3d one
    // where the flipped read-back puts the two tiles next to each other.
    {"TiledFovy", Form::TiledFovy, 21, 2201, {60, 1.5f, 1, 10}, {1.1f, 1.645f, 2.16f, 1.73f, -3}},
    {"TiledFrustum", Form::TiledFrustum, 21, 2201, {-0.5f, 1.5f, -1, 1, 1, 10}, {1.62f, 1.905f, 2.66f, 1.975f, -2}},
    {"TiledRS3d", Form::TiledRS3d, 21, 2201, {-1, 1, -1, 1, 1, 10}, {-1.25f, -0.0614f, -0.56f, -0.0114f, -2}},
};
// clang-format on

class TexturePathsProjection : public ::testing::TestWithParam<ProjectionCase> {};

TEST_P(TexturePathsProjection, QuadLandsWhereTheMatricesSay) {
    const ProjectionCase& c = GetParam();
    TestImage result(Formats::RGBA8, c.width, c.height);
    result.Fill(0x55);
    ASSERT_TRUE(OnWorker([&] {
        if (c.form == Form::Rendered) {
            RenderedTexture target(c.width, c.height);
            target.Clear();
            {
                PushState state;
                ASSERT_TRUE(target.Select());
                target.Perspective(c.p[0], c.p[1], c.p[2], c.p[3], c.p[4], c.p[5]);
                DrawEyeQuad(c.quad);
            }
            target.Read(&result);
            return;
        }
        TiledBuffer tiles(&result);
        while (tiles.Next()) {
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT); // the target keeps the previous tile otherwise
            if (c.form == Form::TiledFovy)
                tiles.Perspective(double(c.p[0]), double(c.p[1]), double(c.p[2]), double(c.p[3]));
            else if (c.form == Form::TiledFrustum)
                tiles.Perspective(c.p[0], c.p[1], c.p[2], c.p[3], c.p[4], c.p[5]);
            else
                tiles.RS3dPerspective(c.p[0], c.p[1], c.p[2], c.p[3], c.p[4], c.p[5]);
            DrawEyeQuad(c.quad);
        }
    }));
    double px[2], py[2];
    for (int i = 0; i < 2; ++i)
        Land(c, c.quad[2 * i], c.quad[2 * i + 1], c.quad[4], px[i], py[i]);
    const double x0 = std::min(px[0], px[1]), x1 = std::max(px[0], px[1]);
    const double y0 = std::min(py[0], py[1]), y1 = std::max(py[0], py[1]);
    // A pixel is drawn when its centre lies inside; centres within 0.05 px of an edge would
    // depend on the rasteriser's sub-pixel rounding and are not judged (none is, by design).
    const auto onEdge = [](double centre, double a, double b) {
        return std::abs(centre - a) < 0.05 || std::abs(centre - b) < 0.05;
    };
    int inside = 0, wrong = 0;
    for (long j = 0; j < c.height; ++j)
        for (long i = 0; i < c.width; ++i) {
            const double cx = i + 0.5, cy = j + 0.5;
            if (onEdge(cx, x0, x1) || onEdge(cy, y0, y1))
                continue;
            const bool expected = cx > x0 && cx < x1 && cy > y0 && cy < y1;
            inside += expected;
            // After RS3dPerspective the tiles are read back flipped: framebuffer row j is
            // destination row H - 1 - j.
            const long row = c.form == Form::TiledRS3d ? c.height - 1 - j : j;
            const unsigned char alpha = result.Row(row)[i * 4 + 3];
            if (alpha != (expected ? 255 : 0) && ++wrong <= 5)
                ADD_FAILURE() << "pixel " << i << ", " << j << " alpha " << int(alpha) << "; quad x " << x0
                              << " ... " << x1 << ", y " << y0 << " ... " << y1;
        }
    EXPECT_GT(inside, 10);
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Forms, TexturePathsProjection, ::testing::ValuesIn(kProjectionCases),
                         ::testing::PrintToStringParamName());

const Layout kBGRA8{"BGRA8", Kind::BGRA, Formats::BGRA8};
const Layout kRGBA32F{"RGBA32F", Kind::RGBA, Formats::RGBA32F};

// Channel k (red, green, blue, alpha) of pixel (x, y) of a bottom-up image, as a fraction of white.
double At(const TestImage& image, const Layout& layout, long x, long y, int k) {
    double rgba[4];
    SourceRGBA(image, layout, x, y, rgba);
    return rgba[k];
}

// Every channel of a bottom-up result is expected(x, y, k) within the layout's tolerance; the first
// misses are reported, and their count.
template <typename Expected> void ExpectPixels(const TestImage& result, const Layout& layout, Expected expected) {
    int wrong = 0;
    for (long y = 0; y < result.GetHeight(); ++y)
        for (long x = 0; x < result.GetWidth(); ++x)
            for (int k = 0; k < 4; ++k) {
                const double got = At(result, layout, x, y, k), want = expected(x, y, k);
                if (std::abs(got - want) > Tolerance(layout.format) && ++wrong <= 5)
                    ADD_FAILURE() << x << ", " << y << " channel " << k << ": " << got << " not " << want;
            }
    EXPECT_EQ(wrong, 0);
}

// Draws into the target with blending that replaces what is there.
void DrawReplacing(RenderedTexture& target, const std::function<void()>& draw) {
    PushState state;
    ASSERT_TRUE(target.Select());
    Push<BlendFunc> replace(BlendFunc::Replace);
    draw();
}

TEST(TexturePaths, BlitModulatesByOpacityGatedByTheRegionAndProcessingShadersTakeTheRenderPath) {
    TestImage image(Formats::BGRA8, 16, 8);
    FillSource(image, kBGRA8);
    const std::pair<Region, bool> rows[] = {{Region(0, 0, 16, 8), true},
                                            {Region(3, 2, 4, 4), true}, // another size: the whole texture
                                            {Region(), false},
                                            {Region(5, 5, 0, 3), false}};
    ASSERT_TRUE(OnWorker([&] {
        RenderedTexture source(16, 8), destination(16, 8);
        DrawReplacing(source, [&] { source.Write(&image); });
        for (const auto& [region, draws] : rows) {
            SCOPED_TRACE(::testing::Message() << "region " << region);
            // Blending replaces, so the drawn colour is the texture modulated by the current colour
            // (opacity on all four channels), with nothing of the green below.
            DrawReplacing(destination, [&] {
                glClearColor(0, 1, 0, 1);
                glClear(GL_COLOR_BUFFER_BIT);
                source.Blit(region, 0.5f);
            });
            TestImage result(Formats::RGBA32F, 16, 8);
            destination.Read(&result);
            const double green[4] = {0, 1, 0, 1};
            ExpectPixels(result, kRGBA32F,
                         [&](long x, long y, int k) { return draws ? 0.5 * At(image, kBGRA8, x, y, k) : green[k]; });
        }
    }));

    // A processing shader sends pixels through the render path both ways: an upload that would go
    // straight to the card comes out inverted, and every read layout gets (rgb * a, a).
    TestImage picture(Formats::BGRA8, 16, 8), inverted(Formats::BGRA8, 16, 8);
    FillSource(picture, kBGRA8);
    const Layout layouts[] = {{"RGBA8", Kind::RGBA, Formats::RGBA8},
                              kRGBA32F,
                              // converted: processed first, then put in alpha-first order
                              {"ARGB32F", Kind::ARGB, Formats::ARGB32F}};
    ASSERT_TRUE(OnWorker([&] {
        SubImageTexture texture(&picture);
        texture.SetLoadProcessing(&Conversion::sInvertColor);
        ResetTestCounts();
        texture.Apply();
        EXPECT_EQ(TestCount(TestCounter::DirectUploads), 0);
        EXPECT_EQ(TestCount(TestCounter::RenderUploads), 1);
        texture.Read(&inverted);
        ExpectPixels(inverted, kBGRA8, [&](long x, long y, int k) {
            const double v = At(picture, kBGRA8, x, y, k);
            return k == 3 ? v : 1.0 - v;
        });

        RenderedTexture target(16, 8);
        DrawReplacing(target, [&] { target.Write(&picture); });
        target.SetReadProcessing(&Conversion::sPremultiply);
        for (const Layout& layout : layouts) {
            SCOPED_TRACE(layout.name);
            TestImage result(layout.format, 16, 8);
            ResetTestCounts();
            target.Read(&result);
            EXPECT_EQ(TestCount(TestCounter::RenderReads), 1);
            ExpectPixels(result, layout, [&](long x, long y, int k) {
                const double a = At(picture, kBGRA8, x, y, 3);
                return k == 3 ? a : At(picture, kBGRA8, x, y, k) * a;
            });
        }
    }));
}

// WriteTexture shows the texture's image over the region at the region's own place, sampled
// nearest (the state it leaves is checked by the operation table).
TEST(TexturePaths, WriteTextureDrawsTheRegionNearest) {
    TestImage image(Formats::BGRA8, 32, 16), result(Formats::BGRA8, 32, 16);
    for (long y = 0; y < 16; ++y)
        for (long x = 0; x < 32; ++x) {
            unsigned char* p = image.Row(y) + x * 4;
            p[0] = x % 2 ? 255 : 0, p[1] = static_cast<unsigned char>(8 * y), p[2] = 90, p[3] = 255;
        }
    const Region region(8, 4, 12, 6);
    ASSERT_TRUE(OnWorker([&] {
        SubImageTexture texture(&image);
        RenderedTexture target(32, 16);
        target.Clear();
        // A quarter-pixel shift puts every pixel centre a quarter texel off its texel's centre:
        // nearest still shows the texel, linear would mix in a quarter of the neighbour, whose blue
        // differs by 255.
        DrawReplacing(target, [&] {
            glTranslatef(0.25f, 0.0f, 0.0f);
            WriteTexture(texture, region);
        });
        EXPECT_EQ(texture.GetWidth(), 12);
        EXPECT_EQ(texture.GetHeight(), 6);
        target.Read(&result);
    }));
    ExpectPixels(result, kBGRA8, [&](long x, long y, int k) {
        return region.IsInRange(p2f(x + 0.5f, y + 0.5f)) ? At(image, kBGRA8, x, y, k) : 0.0;
    });
}

// ---- The storage type (its choice under ZEP6_STORAGE: RoundTrip_gl_test.cpp) ------------------

// Whether the thread is blocked (state S in /proc: waiting on a lock or a condition).
bool IsBlocked(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const std::size_t end = text.rfind(')');
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S';
}

// A host thread asks first, outside any job, while the worker runs another thread's job; that job
// asks once the host thread is blocked waiting for the worker. The first answer's queries hand
// themselves to the worker, so an answer worked out under a lock (a function-local static) would
// leave each side waiting for the other.
int BothSidesGetTheAnswer() {
    alarm(10); // a deadlock ends the process with SIGALRM
    std::atomic<pid_t> hostThread{0};
    std::atomic<unsigned int> hostAnswer{0};
    unsigned int jobAnswer = 0;
    std::thread host;
    const bool ran = zep6test::OnWorker([&] {
        host = std::thread([&] {
            hostThread = static_cast<pid_t>(gettid());
            hostAnswer = Texture::GetBestType();
        });
        while (hostThread == 0 || !IsBlocked(hostThread))
            usleep(1000);
        jobAnswer = Texture::GetBestType();
    });
    host.join();
    return ran && jobAnswer != 0 && hostAnswer == jobAnswer ? 0 : 1;
}

TEST(BestTypeDeathTest, AskedFirstByAHostThreadAndByAJobAtOnce) {
    // The answer is kept for the process: the case runs in a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(BothSidesGetTheAnswer()), ::testing::ExitedWithCode(0), "");
}

} // namespace
