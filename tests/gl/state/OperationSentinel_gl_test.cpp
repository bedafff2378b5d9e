// Every public drawing operation leaves the context as it found it over sentinel state (stack
// depths included) and raises no OpenGL error. An operation joins the table with one row.
#include "core/Errors.h"
#include "gl/render/AntiAliasRender.h"
#include "gl/render/ApplyMode.h"
#include "gl/render/GLSL.h"
#include "gl/render/Kernel.h"
#include "geometry/Region.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/targets/AntiAliasBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/texture/WriteTexture.h"
#include "gl/resources/Buffer.h"
#include "gl/state/Blend.h"
#include "imageops/ImageOperations.h"
#include "support/StateSentinel.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

// The protected uploads of a texture, on storage of its own (no framebuffer of a render target).
class Uploading : public Texture {
public:
    Uploading(int width, int height, unsigned int format, unsigned int type) {
        SetType(GL_TEXTURE_RECTANGLE, width, height, format, type, false);
        CreateTexture();
    }
    using Texture::ClearTexture;
    using Texture::LoadTexture;
    using Texture::MaskTexture;
};

Region All(const XIImage& image) {
    return Region(0, 0, static_cast<unsigned int>(image.GetWidth()),
                  static_cast<unsigned int>(image.GetHeight()));
}

TestImage Image(const ImageFormat& format, long width, long height, bool bottomUp) {
    TestImage image(format, width, height);
    image.SetBottomUp(bottomUp);
    for (std::size_t i = 0; i < image.ByteCount(); ++i)
        image.Bytes()[i] = static_cast<unsigned char>(i * 7 + 3);
    return image;
}

// What the operations work on, made (and their storage taken) before the snapshot.
struct Subjects {
    TestImage bottomUp = Image(Formats::BGRA8, 64, 32, true);
    TestImage topDown = Image(Formats::BGRA8, 64, 32, false);
    TestImage wide = Image(Formats::RGBA16, 40, 20, false);
    TestImage depthImage{GL_DEPTH_COMPONENT, 32, 1, 64, 32};
    TestImage frame{Formats::RGBA8, 2100, 40};
    TestImage supersampled{Formats::RGBA8, 1024, 540};
    Uploading texture{64, 32, GL_RGBA, Texture::GetBestType()};
    Uploading fitted{100, 100, GL_RGBA, Texture::GetBestType()};
    Uploading depth{64, 32, GL_DEPTH_COMPONENT, GL_FLOAT};
    RenderedTexture target{64, 32};
    GLSL::Shader broken{GL_FRAGMENT_SHADER, "void process( ) { this does not compile; }"};

    Subjects() {
        fitted.SetFit();
        target.Clear();
    }
};

struct Row {
    const char* name;
    std::function<void(Subjects&)> run;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

// An exception must have left the operation: a row that provokes one fails when none comes.
void ExpectThrows(const std::function<void()>& operation) {
    bool thrown = false;
    try {
        operation();
    } catch (const std::exception&) {
        thrown = true;
    }
    EXPECT_TRUE(thrown) << "the operation was expected to fail";
}

// Frames of a multipass render over the tiles of s.wide (drawn with margins), leaving each loop
// after `passes` passes.
void AntiAliasFrames(Subjects& s, bool lensJitter, int passes) {
    AntiAliasRender render;
    render.Initialize(2, 10.0f, 30.0f, 1.5f, 1.0f, 100.0f, lensJitter);
    TiledBuffer tiles(&s.wide);
    tiles.Rewind(16, 12, 4);
    while (tiles.Next()) {
        for (int pass = 0; pass < passes && render.Next(); ++pass) {
            render.Perspective(tiles, -1.0f, 0.0f, -0.5f, 0.0f, 1.0f, 100.0f);
            glEnable(GL_DEPTH_TEST);
            glRectf(-2.0f, -1.0f, 0.0f, 0.0f);
            render.AddRegion(Region3d(p3f(2, 2, 0.2f), p3f(20, 18, 0.9f)));
        }
        if (passes < 99)
            break;
    }
}

// clang-format off
const Row kRows[] = {
    {"UploadDirect", [](Subjects& s) { s.texture.LoadTexture(&s.bottomUp, All(s.bottomUp), All(s.bottomUp)); }},
    {"UploadConvertedTopDown", [](Subjects& s) { s.texture.LoadTexture(&s.topDown, All(s.topDown), Region()); }},
    {"UploadResized", [](Subjects& s) { s.texture.LoadTexture(&s.bottomUp, All(s.bottomUp), Region(0, 0, 30, 10)); }},
    {"UploadFit", [](Subjects& s) { s.fitted.LoadTexture(&s.wide, All(s.wide), Region(0, 0, 100, 100)); }},
    {"UploadMask", [](Subjects& s) { s.texture.MaskTexture(&s.topDown, All(s.topDown), Region()); }},
    {"UploadDepth", [](Subjects& s) { s.depth.LoadTexture(&s.depthImage, All(s.depthImage), Region()); }},
    {"ClearTexture", [](Subjects& s) { s.texture.ClearTexture(Color::Red); }},
    {"WriteToFile", [](Subjects& s) { s.target.WriteToFile("unused", Channel()); }},
    // 20 converted uploads in one job: a level of the attribute stack left by each overflows it.
    {"TwentyConvertedUploads", [](Subjects& s) { for (int i = 0; i < 20; ++i) s.texture.LoadTexture(&s.topDown, All(s.topDown), Region()); }},
    {"UploadFailingInItsProgram", [](Subjects& s) {
        s.texture.SetLoadProcessing(&s.broken);
        ExpectThrows([&] { s.texture.LoadTexture(&s.bottomUp, All(s.bottomUp), Region()); });
    }},
    {"ReadDirect", [](Subjects& s) { s.target.Read(&s.bottomUp); }},
    {"ReadConverted", [](Subjects& s) { s.target.Read(&s.wide); }},
    {"ReadFailingInItsProgram", [](Subjects& s) {
        s.target.SetReadProcessing(&s.broken);
        ExpectThrows([&] { s.target.Read(&s.topDown); });
    }},
    {"Write", [](Subjects& s) { s.target.Write(&s.topDown); }},
    {"WriteStretched", [](Subjects& s) { s.target.Write(&s.wide); }},
    {"WriteFit", [](Subjects& s) { s.target.WriteFit(&s.wide); }},
    {"Clear", [](Subjects& s) { s.target.Clear(); }},
    {"WriteTexture", [](Subjects& s) { SubImageTexture texture(&s.topDown); WriteTexture(texture, Region(3, 2, 20, 10)); }},
    {"Blit", [](Subjects& s) { s.target.Blit(Region(0, 0, 64, 32), 0.5f); }},
    {"BlitWithDepth", [](Subjects& s) { s.target.BlitWithDepth(Region(0, 0, 64, 32), 0.5f); }},
    {"TiledLoop", [](Subjects& s) {
        TiledBuffer tiles(&s.frame);
        while (tiles.Next()) {
            tiles.Write(&s.topDown, 2030, 10);
            tiles.WriteFit(&s.wide);
            tiles.Read(&s.wide);
        }
    }},
    // Level 5 (factor 8): 16 tiles of 256 x 135, each with a converted upload.
    {"SupersampledLoop", [](Subjects& s) {
        AntiAliasBuffer tiles(&s.supersampled, 5);
        while (tiles.Next()) {
            tiles.Write(&s.topDown, 250, 130);
            tiles.WriteFit(&s.wide);
        }
    }},
    // Multipass frames: post-process blur with smoothing, lens jitter, left after one pass.
    {"AntiAliasRenderWithPostBlur", [](Subjects& s) { AntiAliasFrames(s, false, 99); }},
    {"AntiAliasRenderWithLensJitter", [](Subjects& s) { AntiAliasFrames(s, true, 99); }},
    {"AntiAliasRenderLeftEarly", [](Subjects& s) { AntiAliasFrames(s, false, 1); }},
    {"ApplyKernelsShader", [](Subjects& s) { ApplyKernels(s.target, MakeBoxKernel(3), MakeBinomialKernel(300), KernelPath::Shader); }},
    {"ApplyKernelsTaps", [](Subjects& s) { ApplyKernels(s.target, Kernel{-0.5f, 2.0f}, MakeTriangleKernel(4), KernelPath::Taps); }},
    {"DrawKernelTapsOnAGrid", [](Subjects&) { DrawKernelTaps(MakeBoxKernel(3), 3, 3, Region(0, 0, 8, 8)); }},
    {"ApplyModeComposite", [](Subjects& s) {
        ApplyMode::Apply(&s.topDown, &s.wide, &s.bottomUp, &s.frame, PixelApplyMultiply, 0.5f);
    }},
    {"CopyConverted", [](Subjects& s) { Copy(&s.topDown, &s.frame); }},
    {"ClearThroughTheCard", [](Subjects& s) { Clear(&s.frame, Color(0.5f, 0.25f, 1.0f, 0.75f)); }},
    {"Test", [](Subjects& s) { Test(&s.topDown, &s.frame); }},
    {"Premultiply", [](Subjects& s) { Premultiply(&s.topDown, &s.frame); }},
    {"Center", [](Subjects& s) { Center(&s.wide, &s.frame); }},
    {"CopyAlpha", [](Subjects& s) { CopyAlpha(&s.wide, &s.frame); }},
    {"Resize", [](Subjects& s) { Resize(&s.topDown, &s.frame); }},
    {"FitInto", [](Subjects& s) { FitInto(&s.topDown, &s.frame); }},
    {"Composite", [](Subjects& s) { Composite(&s.topDown, &s.wide, nullptr, &s.frame, 0.5f, BlendOp::Screen); }},
    {"RenderMask", [](Subjects& s) { RenderMask(&s.topDown, &s.wide, &s.frame, Color::Red); }},
    {"RenderInvMask", [](Subjects& s) { RenderInvMask(&s.topDown, &s.wide, &s.frame, Color::Red); }},
    {"GetAlphaAndLuma", [](Subjects& s) {
        Buffer<Alpha32F> alpha(GL_ALPHA32F_ARB, 32, 1.0f);
        Buffer<Luma32F> luma(GL_LUMINANCE32F_ARB, 32, 1.0f);
        alpha.Resize(40, 20, GL_ALPHA32F_ARB);
        luma.Resize(40, 20, GL_LUMINANCE32F_ARB);
        GetAlpha(&s.topDown, &alpha);
        GetLuma(&s.topDown, &luma);
    }},
    {"CopyTexture", [](Subjects& s) { CopyTexture(s.target, &s.frame); }},
    {"TransformTurnedAndEnlarged", [](Subjects& s) {
        Transform(&s.topDown, &s.wide, nullptr, &s.frame, PixelApplyScreen, p3f(1000.0f, 20.0f, 0.0f),
                  p3f(2.0f, 1.5f, 1.0f), p3f(0.0f, 0.0f, 30.0f), XYZ, TransformInterpolateMitchell, TransformDecimateNone);
    }},
    {"TransformReduced", [](Subjects& s) {
        Transform(&s.wide, nullptr, nullptr, &s.frame, PixelApplyOver, p3f(30.0f, 20.0f, 0.0f), p3f(0.5f, 0.4f, 1.0f),
                  p3f(0.0f, 0.0f, 0.0f), XYZ, TransformInterpolateLinear, TransformDecimateBinomial);
    }},
    {"CompositeBlurredImages", [](Subjects& s) {
        const XIImage* images[] = {&s.topDown, &s.wide};
        const p2f blurs[] = {p2f(6.0f, 3.0f), p2f(0.0f, 9.0f)};
        CompositeBlurredImages(images, &s.bottomUp, &s.frame, blurs, 2, BlendOp::Composite, true);
    }},
    {"BlurAcrossTiles", [](Subjects& s) { Blur(&s.topDown, &s.frame, 9.0f, 5.0f, 0.85f); }},
    {"BoxAndPascalBlurOnTheTapPath", [](Subjects& s) {
        const Kernel box = MakeBoxKernel(4.0f), pascal = MakeBinomialKernel(3.0f);
        ApplyKernels(&s.wide, &s.frame, &box, &pascal, KernelPath::Taps);
    }},
};
// clang-format on

class OperationSentinel : public ::testing::TestWithParam<Row> {};

TEST_P(OperationSentinel, LeavesTheStateAsItFoundIt) {
    ASSERT_TRUE(OnWorker([&] {
        Subjects subjects;
        Sentinels objects;
        objects.Create();
        objects.Damage(5.0);
        const Snapshot before = Snapshot::Take();
        ASSERT_EQ(ErrorsLeft(), "");
        GetParam().run(subjects);
        EXPECT_EQ(ErrorsLeft(), "");
        EXPECT_EQ(Snapshot::Take().DifferencesFrom(before), "");
        objects.Destroy();
    }));
}

INSTANTIATE_TEST_SUITE_P(Operations, OperationSentinel, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
