// The static programs outlive every shutdown: three sessions in one process draw alike.
#include "gl/render/AntiAliasRender.h"
#include "gl/render/ApplyMode.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/Glow.h"
#include "gl/render/Kernel.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "sync/StaticList.h"

#include "gl/render/EffectProgramTestSupport.h"
#include "gl/resources/ResourceTestSupport.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

constexpr int kSize = 8;

std::vector<Rgba> Pattern(int seed) {
    std::vector<Rgba> pixels;
    for (int i = 0; i < kSize * kSize; ++i)
        pixels.push_back({static_cast<float>((i * seed) % 11) / 10.0f, static_cast<float>((i + seed) % 7) / 6.0f,
                          static_cast<float>(i % 5) / 4.0f, static_cast<float>((i + 2 * seed) % 4) / 3.0f});
    return pixels;
}

void Append(std::vector<float>& all, const std::vector<Rgba>& pixels) {
    for (const Rgba& p : pixels)
        all.insert(all.end(), p.begin(), p.end());
}

// One session: every static program draws once; the result is everything drawn, in order.
std::vector<float> UseEveryStaticProgram() {
    std::vector<float> all;
    ZEP6_AE::StaticList::Increment();

    // Host images in ARGB order, the front and the destination top-down: the composites also run
    // the upload, mask and read-back conversions (the static Conversion programs of the textures
    // and targets) besides the straight program of each selectable mode.
    TestImage front(Formats::ARGB8, kSize, kSize), back(Formats::ARGB8, kSize, kSize);
    TestImage mask(Formats::ARGB8, kSize, kSize), destination(Formats::ARGB8, kSize, kSize);
    for (std::size_t i = 0; i < front.ByteCount(); ++i) {
        front.Bytes()[i] = static_cast<unsigned char>(i * 37);
        back.Bytes()[i] = static_cast<unsigned char>(i * 11 + 5);
        mask.Bytes()[i] = static_cast<unsigned char>(255 - i * 3);
    }
    front.SetBottomUp(false);
    destination.SetBottomUp(false);
    for (int mode = 0; mode <= PixelApplyDancingSoftDissolve; ++mode) {
        destination.Fill(0);
        ApplyMode::Apply(&front, &back, &mask, &destination, static_cast<PixelApplyMode>(mode), 0.75f);
        all.insert(all.end(), destination.Bytes(), destination.Bytes() + destination.ByteCount());
    }

    const auto drawOnWorker = [&all] {
        PushState state;
        FloatTarget target(kSize, kSize);
        FloatTexture first(kSize, kSize, Pattern(3)), second(kSize, kSize, Pattern(5));
        first.BindOn(0);
        second.BindOn(1);
        auto draw = [&](EffectProgram& program) {
            target.Clear({0, 0, 0, 0});
            for (const char* sampler : {"threshold_source", "blur_source", "glow_source"})
                program.SetUniform(sampler, TextureUnit(0));
            program.SetUniform("glow_blurred", TextureUnit(1));
            program.SetUniform("threshold_luma", 0.3f);
            program.SetUniform("blur_size", p2f(kSize, kSize));
            program.SetUniform("blur_radius", 3.0f);
            program.SetUniform("glow_intensity", 0.5f);
            EffectProgram::DrawRegion(Region(kSize, kSize), GL_TEXTURE1);
            Append(all, target.Read());
        };
        // The light program of every mode, and the straight one of those no value selects; both
        // run through the multi-texture vertex program.
        std::vector<ApplyMode*> modes = {&ApplyMode::sNone, &ApplyMode::sCopy, &ApplyMode::sFront,
                                         &ApplyMode::sBack, &ApplyMode::sUnder};
        for (ApplyMode* mode : modes) {
            mode->ApplyBound(0.75f);
            draw(*mode);
        }
        for (int value = 0; value <= PixelApplyDancingSoftDissolve; ++value)
            modes.push_back(ApplyMode::GetApplyMode(static_cast<PixelApplyMode>(value)));
        for (ApplyMode* mode : modes) {
            mode->ApplyLightBound(0.75f);
            draw(mode->LightProgram());
        }
        for (EffectProgram* glow : {&EffectProgram::sThreshold, &EffectProgram::sHorizBlur,
                                    &EffectProgram::sVertBlur, &EffectProgram::sGlow}) {
            glow->Apply();
            draw(*glow);
        }
        GLSL::Program::UseProgram(0);
        target.Clear({0, 0, 0, 0});
        DrawKernel(MakeBinomialKernel(3), KernelAxis::Vertical, Region(kSize, kSize), KernelPath::Shader);
        Append(all, target.Read());

        // The depth blit, through the plain vertex program: a red quad at depth 0 over the left
        // half of the source, blitted onto blue.
        RenderedTexture source(kSize, kSize), blitted(kSize, kSize);
        source.Clear();
        blitted.Clear();
        {
            PushState drawing;
            ASSERT_TRUE(source.Select());
            glEnable(GL_DEPTH_TEST);
            glDepthFunc(GL_ALWAYS);
            glColor4f(1, 0, 0, 1);
            glRectf(0, 0, kSize / 2, kSize);
        }
        {
            PushState drawing;
            ASSERT_TRUE(blitted.Select());
            glClearColor(0, 0, 1, 1);
            glClear(GL_COLOR_BUFFER_BIT);
            source.BlitWithDepth(Region(kSize, kSize), 1.0f);
        }
        TestImage image(Formats::RGBA8, kSize, kSize);
        blitted.Read(&image);
        EXPECT_EQ(image.Get<RGBA8>(0, 0).red, 255) << "the near half is blitted";
        EXPECT_EQ(image.Get<RGBA8>(kSize - 1, 0).blue, 255) << "the far half is left alone";
        all.insert(all.end(), image.Bytes(), image.Bytes() + image.ByteCount());

        // A multipass frame with depth smoothing and the post-process blur (its three programs).
        TestImage frame(Formats::RGBA32F, 24, 16);
        {
            TiledBuffer tiles(&frame);
            AntiAliasRender render;
            render.Initialize(1, 10.0f, 40.0f, 1.0f, 1.0f, 100.0f, false);
            while (tiles.Next())
                while (render.Next()) {
                    render.Perspective(tiles, -1.0f, 0.0f, -0.7f, 0.0f, 1.0f, 100.0f);
                    glEnable(GL_DEPTH_TEST);
                    glTranslatef(0, 0, -30), glColor4f(1, 0.5f, 0, 1), glRectf(-20, -10, 5, 6);
                    render.AddRegion(Region3d(p3f(0, 0, 0), p3f(24, 16, 1)));
                }
        }
        EXPECT_GT(frame.Get<RGBA32F>(12, 8).alpha, 0.0f) << "the blurred frame holds the triangle";
        all.insert(all.end(), frame.Bytes(), frame.Bytes() + frame.ByteCount());
    };
    EXPECT_TRUE(OnWorker(drawOnWorker));
    ZEP6_AE::StaticList::Decrement();
    return all;
}

// A session that ends before any program was built finalizes them all unbuilt: the sessions after
// it still build every one of them and draw alike.
TEST(StaticPrograms, DrawAlikeInThreeSessionsAfterOneThatUsedNone) {
    ASSERT_EQ(ZEP6_AE::StaticList::UserCount(), 0);
    ZEP6_AE::StaticList::Increment();
    EXPECT_TRUE(OnWorker([] {}));
    ZEP6_AE::StaticList::Decrement();
    const std::vector<float> first = UseEveryStaticProgram();
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(UseEveryStaticProgram(), first) << "session 2";
    EXPECT_EQ(UseEveryStaticProgram(), first) << "session 3";
}

} // namespace
