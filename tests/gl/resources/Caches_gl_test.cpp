// The texture and renderbuffer caches on a real context: reuse across sizes and formats, the
// renderbuffer limits, and the memory cache emptied at the end of a job. The eviction rules are
// the factory's (ResourceFactory_test); the names an evicted or purged buffer held are checked
// deleted by the shutdown tests. Each case needs caches as a fresh process has them.

#include "core/PixelFormat.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/Region.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/resources/OpaqueBuffer.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/TextureBuffer.h"
#include "support/TestImage.h"
#include "ResourceTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

using namespace OGL_ZEP6_AE;
using zep6test::OnWorker;
using zep6test::TestImage;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

// The caches are process-wide; the cases that count bytes start from an empty, working one.

TEST(TextureCache, NotExactRequestsShareOneHighDefinitionTexture) {
    ZEP6_REQUIRE_FRESH_CACHES();
    ASSERT_TRUE(OnWorker([] {
        TextureBuffer* small = TextureBuffer::Make(TextureKey(kRect, 100, 100, GL_RGBA8, 0));
        ASSERT_NE(small, nullptr);
        EXPECT_EQ(small->Width(), 2048);
        EXPECT_EQ(small->Height(), 1080);
        EXPECT_EQ(TextureBuffer::Counters().inUse, 2048L * 1080 * 4);

        // Leave a mark, so the reuse is seen to hand the texture over as it was.
        ASSERT_TRUE(small->Select());
        glClearColor(0, 1, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        const unsigned int name = small->TextureName();
        TextureBuffer::Recycle(small);
        EXPECT_EQ(TextureBuffer::Counters().idle, 2048L * 1080 * 4);

        TextureBuffer* hd = TextureBuffer::Make(TextureKey(kRect, 1920, 1080, GL_RGBA8, 0));
        EXPECT_EQ(hd, small);
        EXPECT_EQ(hd->TextureName(), name);
        ASSERT_TRUE(hd->Select());
        TestImage pixel(zep6test::Formats::RGBA8, 1, 1);
        hd->ReadImageNative(&pixel, Region(1, 1), Region(1900, 1000, 1, 1));
        EXPECT_EQ(pixel.Get<RGBA8>(0, 0).green, 255) << "a reused texture is not cleared";
        EXPECT_EQ(pixel.Get<RGBA8>(0, 0).red, 0);

        // An exact request is made at its size; a wider one is raised only in height; a
        // not-exact request of 0 x 0 asks for the smallest shared size.
        TextureBuffer::Recycle(hd);
        TextureBuffer* exact = TextureBuffer::Make(TextureKey(kRect, 100, 100, GL_RGBA8, 1));
        ASSERT_NE(exact, nullptr);
        EXPECT_EQ(std::make_pair(exact->Width(), exact->Height()), std::make_pair(100, 100));
        TextureBuffer* wider = TextureBuffer::Make(TextureKey(kRect, 2049, 10, GL_RGBA8, 0));
        EXPECT_EQ(std::make_pair(wider->Width(), wider->Height()), std::make_pair(2049, 1080));
        EXPECT_EQ(TextureBuffer::Make(TextureKey(kRect, 0, 0, GL_RGBA8, 0)), hd);
        for (TextureBuffer* b : {exact, wider, hd})
            TextureBuffer::Recycle(b);
    }));
}

TEST(RenderCache, AcceptsOnlyTheSameFormatAndType) {
    ZEP6_REQUIRE_FRESH_CACHES();
    ASSERT_TRUE(OnWorker([] {
        RenderBuffer* floats = RenderBuffer::Make(RenderKey(640, 480, GL_RGBA, GL_FLOAT));
        ASSERT_NE(floats, nullptr);
        EXPECT_NE(floats->Name(), 0u);
        EXPECT_EQ(floats->Size(), CalculateTextureSize(640, 480, GetInternalFormat(GL_RGBA, GL_FLOAT)));
        RenderBuffer::Recycle(floats);
        RenderBuffer* bytes = RenderBuffer::Make(RenderKey(640, 480, GL_RGBA, GL_UNSIGNED_BYTE));
        EXPECT_NE(bytes, floats);
        EXPECT_EQ(bytes->Key().internalFormat, static_cast<unsigned int>(GL_RGBA8));
        RenderBuffer* again = RenderBuffer::Make(RenderKey(640, 480, GL_RGBA, GL_FLOAT));
        EXPECT_EQ(again, floats);
        RenderBuffer* depth = RenderBuffer::Make(RenderKey(64, 64, GL_DEPTH_COMPONENT, GL_FLOAT));
        EXPECT_EQ(depth->Key().internalFormat, static_cast<unsigned int>(GL_DEPTH_COMPONENT24));
        for (RenderBuffer* b : {bytes, again, depth})
            RenderBuffer::Recycle(b);
    }));
}

// What a cache evicts or purges it deletes, and a deleted buffer takes its OpenGL objects along.
TEST(Caches, ADeletedBufferDeletesItsObjects) {
    ASSERT_TRUE(OnWorker([] {
        unsigned int texture = 0, frameBuffer = 0, renderBuffer = 0;
        {
            TextureBuffer colour(TextureKey(kRect, 8, 8, GL_RGBA8, 1));
            RenderBuffer depth(RenderKey(8, 8, GL_DEPTH_COMPONENT, GL_FLOAT));
            ASSERT_TRUE(colour.Select());
            texture = colour.TextureName(), frameBuffer = colour.FrameBufferName(), renderBuffer = depth.Name();
            ASSERT_TRUE(texture && frameBuffer && renderBuffer);
        }
        EXPECT_FALSE(glIsTexture(texture));
        EXPECT_FALSE(ZEP6_GLCALL(glIsFramebufferEXT)(frameBuffer));
        EXPECT_FALSE(ZEP6_GLCALL(glIsRenderbufferEXT)(renderBuffer));
    }));
}

TEST(RenderBuffer, LimitsFromTheDriver) {
    ASSERT_TRUE(OnWorker([] {
        GLint maxSize = 0, maxSamples = 0;
        glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE_EXT, &maxSize);
        glGetIntegerv(GL_MAX_SAMPLES_EXT, &maxSamples);
        ASSERT_GT(maxSize, 0);
        EXPECT_EQ(RenderBuffer::ClampBufferSize(5), 5);
        EXPECT_EQ(RenderBuffer::ClampBufferSize(1 << 30), maxSize);

        EXPECT_EQ(RenderBuffer::ClampMultisample(1), 0);
        EXPECT_EQ(RenderBuffer::ClampMultisample(0), 0);
        EXPECT_EQ(RenderBuffer::ClampMultisample(-3), 0);
        if (RenderBuffer::IsMultiSampleSupported()) {
            EXPECT_EQ(RenderBuffer::ClampMultisample(2), std::min(2, static_cast<int>(maxSamples)));
            EXPECT_EQ(RenderBuffer::ClampMultisample(1000), maxSamples);
        } else {
            EXPECT_EQ(RenderBuffer::ClampMultisample(16), 0);
        }

        // A renderbuffer asked for more than the driver allows is made at the largest size.
        RenderBuffer wide(RenderKey(maxSize + 100, 2, GL_RGBA, GL_UNSIGNED_BYTE));
        EXPECT_EQ(wide.Width(), maxSize);
        EXPECT_EQ(wide.Height(), 2);
        wide.Finalize();
        EXPECT_EQ(wide.Name(), 0u);
        wide.Initialize();
        EXPECT_NE(wide.Name(), 0u);
    }));
}

TEST(MemoryCache, EmptiedWhenAJobEnds) {
    OpaqueBuffer::FinalizePool();
    void* first = nullptr;
    ASSERT_TRUE(OnWorker([&first] {
        OpaqueBuffer a;
        ASSERT_TRUE(a.Resize(512, 512, GL_RGBA8));
        first = a.GetBaseAddress();
        a.Finalize();
        // Within a job a released block serves the next request.
        OpaqueBuffer b;
        ASSERT_TRUE(b.Resize(256, 256, GL_RGBA8));
        EXPECT_EQ(b.GetBaseAddress(), first);
    }));
    const CacheCounters after = MemoryBuffer::Counters();
    EXPECT_EQ(after.idle, 0) << "the end of the job gave the blocks back";
    EXPECT_EQ(after.inUse, 0);
    EXPECT_EQ(after.allocated, 0);
}

} // namespace
