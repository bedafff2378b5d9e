// The texture, renderbuffer and memory caches on a real context: reuse across sizes and formats,
// the renderbuffer limits, the memory cache emptied at the end of a job, and the orderly shutdown
// (the last StaticList::Decrement() finalises every resource in the worker's last job and stops
// the worker; a later Increment() starts everything again, and cycles leave memory flat). The
// eviction rules are the factory's (ResourceFactory_test). Most cases need fresh caches.

#include "core/PixelFormat.h"
#include "core/TestCountersPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "gl/context/Shared.h"
#include "gl/context/Thread.h"
#include "geometry/Region.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/resources/OpaqueBuffer.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/Resource.h"
#include "gl/resources/TextureBuffer.h"
#include "support/ProcessCounters.h"
#include "support/TestImage.h"
#include "sync/StaticList.h"
#include "ResourceTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::OnWorker;
using zep6test::TestImage;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

TEST(TextureCache, NotExactRequestsShareOneHighDefinitionTexture) {
    ZEP6_REQUIRE_FRESH_CACHES();
    ASSERT_TRUE(OnWorker([] {
        TextureBuffer* small = TextureBuffer::Make(TextureKey(kRect, 100, 100, GL_RGBA8, 0));
        ASSERT_NE(small, nullptr);
        EXPECT_EQ(std::make_tuple(small->Width(), small->Height(), TextureBuffer::Counters().inUse),
                  std::make_tuple(2048, 1080, 2048L * 1080 * 4));

        // Leave a mark, so the reuse is seen to hand the texture over as it was.
        ASSERT_TRUE(small->Select());
        glClearColor(0, 1, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        const unsigned int name = small->TextureName();
        TextureBuffer::Recycle(small);
        EXPECT_EQ(TextureBuffer::Counters().idle, 2048L * 1080 * 4);

        TextureBuffer* hd = TextureBuffer::Make(TextureKey(kRect, 1920, 1080, GL_RGBA8, 0));
        EXPECT_EQ(std::make_pair(hd, hd->TextureName()), std::make_pair(small, name));
        ASSERT_TRUE(hd->Select());
        TestImage pixel(zep6test::Formats::RGBA8, 1, 1);
        hd->ReadImageNative(&pixel, Region(1, 1), Region(1900, 1000, 1, 1));
        EXPECT_TRUE(pixel.Get<RGBA8>(0, 0).green == 255 && pixel.Get<RGBA8>(0, 0).red == 0) << "a reused texture is not cleared";

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

// The renderbuffer limits; what a cache evicts or purges it deletes, and a deleted buffer takes its
// OpenGL objects along.
ZEP6_WORKER_TEST(RenderBuffer, LimitsFromTheDriverAndDeletedBuffersTakeTheirObjects) {
    GLint maxSize = 0, maxSamples = 0;
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE_EXT, &maxSize);
    glGetIntegerv(GL_MAX_SAMPLES_EXT, &maxSamples);
    ASSERT_GT(maxSize, 0);
    EXPECT_EQ(std::make_pair(RenderBuffer::ClampBufferSize(5), RenderBuffer::ClampBufferSize(1 << 30)),
              std::make_pair(5, int(maxSize)));
    for (int samples : {1, 0, -3})
        EXPECT_EQ(RenderBuffer::ClampMultisample(samples), 0) << samples;
    const bool multisample = RenderBuffer::IsMultiSampleSupported();
    EXPECT_EQ(RenderBuffer::ClampMultisample(2), multisample ? std::min(2, int(maxSamples)) : 0);
    EXPECT_EQ(RenderBuffer::ClampMultisample(1000), multisample ? maxSamples : 0);

    unsigned int texture = 0, frameBuffer = 0, renderBuffer = 0;
    {
        // A renderbuffer asked for more than the driver allows is made at the largest size.
        RenderBuffer wide(RenderKey(maxSize + 100, 2, GL_RGBA, GL_UNSIGNED_BYTE));
        EXPECT_EQ(std::make_pair(wide.Width(), wide.Height()), std::make_pair(int(maxSize), 2));
        wide.Finalize();
        EXPECT_EQ(wide.Name(), 0u);
        wide.Initialize();
        TextureBuffer colour(TextureKey(kRect, 8, 8, GL_RGBA8, 1));
        ASSERT_TRUE(colour.Select());
        texture = colour.TextureName(), frameBuffer = colour.FrameBufferName(), renderBuffer = wide.Name();
        ASSERT_TRUE(texture && frameBuffer && renderBuffer);
    }
    EXPECT_FALSE(glIsTexture(texture) || ZEP6_GLCALL(glIsFramebufferEXT)(frameBuffer) ||
                 ZEP6_GLCALL(glIsRenderbufferEXT)(renderBuffer));
}

// A resource made before the buffers it watches, so the shutdown finalises it after them; it
// then asks OpenGL which of their names still exist.
struct ShutdownProbe : Resource {
    std::vector<unsigned int> textures, frameBuffers, renderBuffers;
    bool withContext = false, onWorker = false;
    int namesAlive = -1;

    void Finalize() override {
        withContext = RootContext::HasContext();
        onWorker = Shared::IsThread();
        if (!withContext)
            return;
        namesAlive = 0;
        for (unsigned int name : textures)
            namesAlive += glIsTexture(name) ? 1 : 0;
        for (unsigned int name : frameBuffers)
            namesAlive += ZEP6_GLCALL(glIsFramebufferEXT)(name) ? 1 : 0;
        for (unsigned int name : renderBuffers)
            namesAlive += ZEP6_GLCALL(glIsRenderbufferEXT)(name) ? 1 : 0;
    }
    void Dump() const override {}
};

TEST(Shutdown, CleanerGivesEverythingBackAndALaterCallStartsAgain) {
    // The probe must be older than every buffer it watches: no cached buffer may be reused.
    ZEP6_REQUIRE_FRESH_CACHES();
    ASSERT_EQ(ZEP6_AE::StaticList::UserCount(), 0);
    ZEP6_AE::StaticList::Increment();

    ShutdownProbe* probe = nullptr;
    TextureBuffer* held = nullptr;
    OpaqueBuffer* pixels = new OpaqueBuffer();
    ASSERT_TRUE(OnWorker([&] {
        probe = new ShutdownProbe();
        held = TextureBuffer::Make(TextureKey(kRect, 64, 64, GL_RGBA8, 0));
        ASSERT_NE(held, nullptr);
        TextureBuffer* idle = TextureBuffer::Make(TextureKey(kRect, 64, 64, GL_RGBA8, 1));
        for (TextureBuffer* b : {held, idle}) {
            ASSERT_TRUE(b->Select());
            probe->textures.push_back(b->TextureName());
            probe->frameBuffers.push_back(b->FrameBufferName());
        }
        TextureBuffer::Recycle(idle);

        RenderBuffer* depth = RenderBuffer::Make(RenderKey(64, 64, GL_DEPTH_COMPONENT, GL_FLOAT));
        probe->renderBuffers.push_back(depth->Name());
        RenderBuffer::Recycle(depth);

        ASSERT_TRUE(pixels->Resize(64, 64, GL_RGBA8));
    }));
    ASSERT_NE(probe, nullptr);
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(std::make_pair(TextureBuffer::Counters().idleCount, RenderBuffer::Counters().idleCount), std::make_pair(1, 1));

    ZEP6_AE::StaticList::Decrement();

    EXPECT_EQ(sThread, nullptr) << "the worker is gone";
    EXPECT_TRUE(probe->onWorker && probe->withContext) << "finalised in the worker's last job";
    EXPECT_EQ(probe->namesAlive, 0) << "every texture, framebuffer and renderbuffer was deleted";
    EXPECT_EQ(std::make_pair(held->TextureName(), held->FrameBufferName()), std::make_pair(0u, 0u));
    EXPECT_EQ(pixels->GetBaseAddress(), nullptr);
    EXPECT_EQ(ListedResourceCount(), 0);
    EXPECT_EQ(TextureBuffer::Counters().inUse, held->Size()) << "a buffer still held stays counted";

    // A later user starts everything again; resources that outlived the shutdown work again.
    ZEP6_AE::StaticList::Increment();
    ASSERT_TRUE(OnWorker([&] {
        EXPECT_FALSE(held->IsResident());
        held->Bind();
        EXPECT_TRUE(held->IsResident());
        ASSERT_TRUE(held->Select());
        glClearColor(1, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        TestImage pixel(zep6test::Formats::RGBA8, 1, 1);
        held->ReadImageNative(&pixel, Region(1, 1), Region(1, 1));
        EXPECT_EQ(pixel.Get<RGBA8>(0, 0).red, 255);

        // Recycled into a finalised cache, a buffer is deleted at once.
        const unsigned int name = held->TextureName();
        TextureBuffer::Recycle(held);
        EXPECT_FALSE(glIsTexture(name));
        EXPECT_EQ(TextureBuffer::Counters().allocated, 0);
        EXPECT_TRUE(pixels->Resize(16, 16, GL_RGBA8));
    }));
    ZEP6_AE::StaticList::Decrement();
    EXPECT_EQ(sThread, nullptr);
    delete pixels;
    delete probe;
}

// The three caches, each used thrice in a visit.
const struct Cache {
    const char* name;
    CacheCounters (*counters)();
    void (*makeAndRecycle)();
} kCaches[] = {
    {"memory", &MemoryBuffer::Counters, [] { MemoryBuffer::Recycle(MemoryBuffer::Make(MemoryKey(4096))); }},
    {"renderbuffer", &RenderBuffer::Counters,
     [] { RenderBuffer::Recycle(RenderBuffer::Make(RenderKey(64, 64, GL_RGBA, GL_UNSIGNED_BYTE))); }},
    {"texture", &TextureBuffer::Counters,
     [] { TextureBuffer::Recycle(TextureBuffer::Make(TextureKey(kRect, 64, 64, GL_RGBA8, 0))); }},
};

long ResidentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    return -1;
}

// One user's visit: start, use every cache, render into a cached texture, read it back into pixel
// memory (blocks that the end of each job gives back), leave. A host that counts itself in and out around each render keeps its caching: every
// session's caches serve the second and third use from the first's buffer, and give all back.
void UseAndLeave() {
    ZEP6_AE::StaticList::Increment();
    for (const Cache& cache : kCaches) {
        const long hits = cache.counters().hits;
        EXPECT_TRUE(OnWorker([&cache] {
            for (int use = 0; use < 3; ++use)
                cache.makeAndRecycle();
        }));
        EXPECT_EQ(cache.counters().hits - hits, 2) << cache.name << " cache";
    }
    const bool finished = OnWorker([] {
        TextureBuffer* target = TextureBuffer::Make(TextureKey(kRect, 640, 480, GL_RGBA8, 0));
        ASSERT_NE(target, nullptr);
        ASSERT_TRUE(target->Select());
        glClearColor(0, 0, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        glColor4f(1, 1, 0, 1);
        glRectf(0, 0, 8, 8);
        OpaqueBuffer pixels;
        ASSERT_TRUE(pixels.Resize(16, 16, OGL_ZEP6_AE::FourCC("RGBA"), 32, 255));
        target->ReadImageNative(&pixels, Region(16, 16), Region(16, 16));
        const unsigned char* first = static_cast<const unsigned char*>(pixels.GetBaseAddress());
        EXPECT_TRUE(first[0] == 255 && first[2] == 0) << int(first[0]) << " " << int(first[2]);
        TextureBuffer::Recycle(target);
    });
    EXPECT_EQ(MemoryBuffer::Counters().allocated, 0) << "the end of a job gives every memory block back";
    ZEP6_AE::StaticList::Decrement();
    EXPECT_TRUE(finished);
    EXPECT_EQ(sThread, nullptr);
    for (const Cache& cache : kCaches)
        EXPECT_EQ(cache.counters().allocated, 0) << cache.name << ": the shutdown gave everything back";
}

TEST(Shutdown, HundredCyclesKeepTheProcessMemoryFlat) {
    ASSERT_EQ(ZEP6_AE::StaticList::UserCount(), 0);
    // The first visits set up what stays for the life of the process (EGL display, driver threads).
    for (int i = 0; i < 5; ++i)
        UseAndLeave();
    ASSERT_FALSE(HasFailure());
    const int threads = zep6test::SettledThreadCount(0);
    const long before = ResidentKiB();
    for (int i = 0; i < 100 && !HasFailure(); ++i)
        UseAndLeave();
    const long after = ResidentKiB();
    // A texture (8.4 MiB) or context leaked per cycle would pass 300 MiB; below that, the C
    // library's per-thread malloc arenas keep some freed memory (seen up to 26 MiB on a loaded
    // two-core machine). The address sanitizer's quarantine holds up to 256 MiB of freed memory.
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(after - before, 320 * 1024) << "VmRSS before 100 cycles: " << before << " KiB, after: " << after;
#else
    EXPECT_LT(after - before, 96 * 1024) << "VmRSS before 100 cycles: " << before << " KiB, after: " << after;
#endif
    EXPECT_EQ(zep6test::SettledThreadCount(threads), threads);
}

} // namespace
