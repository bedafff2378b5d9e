// Host-image transfers through staging buffer objects give the very bytes the direct transfers
// give, on every path the driver's extensions allow; the upload ring is reused rather than grown;
// buffer bindings come back; the shutdown gives the buffers back.
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/resources/StagingBuffer.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "support/PixelLayouts.h"
#include "sync/StaticList.h"
#include "ResourceTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

using Trips = std::vector<std::pair<std::string, std::vector<unsigned char>>>;

// Every source layout of the round-trip matrix (top-down ones with rows three bytes longer than
// whole pixels) through SubImageTexture and RenderedTexture into every destination layout; then
// a block loaded into and read from the inside of a float texture, rows not whole pixels apart. GL worker thread.
Trips TripAll() {
    Trips trips;
    const auto keep = [&trips](const std::string& name, const TestImage& image) {
        trips.emplace_back(name, std::vector<unsigned char>(image.Bytes(), image.Bytes() + image.ByteCount()));
    };
    for (const SourceCase& source : SourceCases()) {
        TestImage input(source.layout.format, 37, 23, 2 * (source.layout.format.bitDepth / 8) + (source.bottomUp ? 0 : 3));
        input.SetBottomUp(source.bottomUp);
        FillSource(input, source.layout);
        ForEachDestination(37, 23, [&](TestImage& output, const Layout&, const std::string& destination) {
            SubImageTexture texture(&input);
            RenderedTexture target(37, 23);
            texture.Load();
            {
                PushState state;
                ASSERT_TRUE(target.Select());
                target.Clear();
                glDisable(GL_BLEND);
                texture.Blit(Region(37, 23), 1.0f);
            }
            target.Read(&output);
            keep(CaseName(source) + " -> " + destination, output);
        });
    }
    TestImage input(Formats::RGBA32F, 29, 17, 3), output(Formats::RGBA32F, 31, 19, 8);
    for (std::size_t i = 0; i < input.ByteCount(); ++i)
        input.Bytes()[i] = static_cast<unsigned char>(i * 13 + 7);
    ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 40, 30, GL_RGBA32F_ARB, 0));
    PushState state;
    EXPECT_TRUE(texture.Get() && texture.Get()->Select());
    texture.Get()->LoadImageNative(&input, Region(3, 2, 20, 11), Region(5, 4, 0, 0));
    texture.Get()->ReadImageNative(&output, Region(2, 1, 27, 17), Region(4, 3, 0, 0));
    keep("block", output);
    return trips;
}

std::string FileFor(const char* hidden) {
    return std::string(std::getenv("ZEP6_TRIP_FILES")) + "-" + hidden;
}

// In a child with one extension hidden: checks the path it leaves and writes every trip's bytes.
bool WriteTrips() {
    const std::string hidden = std::getenv("ZEP6_DISABLE_EXTENSIONS");
    const bool noBuffers = hidden == "GL_ARB_pixel_buffer_object";
    if (StagingBuffer::IsAvailable() == noBuffers || StagingBuffer::IsPersistent() ||
        IsSyncSupported() == (hidden == "GL_ARB_sync"))
        return false;
    const Trips trips = TripAll();
    // The direct path makes no staging buffer; the others make the upload ring and the read-back one.
    if (StagingBuffer::Counters().idleCount != (noBuffers ? 0 : StagingBuffer::kRingSize + 1))
        return false;
    std::ofstream out(FileFor(hidden.c_str()), std::ios::binary);
    for (const auto& trip : trips)
        out.write(reinterpret_cast<const char*>(trip.second.data()), static_cast<std::streamsize>(trip.second.size()));
    return static_cast<bool>(out) && !trips.empty();
}

TEST(StagingBuffer, EveryPathGivesTheDirectBytes) {
    setenv("ZEP6_PIXEL_BUFFERS", "on", 1); // a software renderer too, for every case of this file
    const std::string prefix = "/tmp/zep6-staging-" + std::to_string(getpid());
    setenv("ZEP6_TRIP_FILES", prefix.c_str(), 0); // a child keeps its parent's
    const char* const paths[] = {"GL_ARB_pixel_buffer_object", "GL_ARB_buffer_storage", "GL_ARB_sync"};
    std::vector<std::vector<unsigned char>> files;
    for (const char* hidden : paths) {
        ExpectWithout(hidden, &WriteTrips);
        std::ifstream in(FileFor(hidden), std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        std::remove(FileFor(hidden).c_str());
        ASSERT_EQ(files.back().size(), files[0].size()) << hidden << " hidden";
    }
    Trips mine;
    ASSERT_TRUE(OnWorker([&] { mine = TripAll(); }));
    // Where the driver has persistent buffers, both upload buffers and the read-back one served.
    EXPECT_TRUE(!StagingBuffer::IsPersistent() || StagingBuffer::Counters().idleCount == StagingBuffer::kRingSize + 1);
    // The direct path's bytes, trip by trip, against this process's own path (persistent where
    // the driver has it) and the orphaning and unfenced paths.
    std::size_t at = 0;
    for (const auto& [name, own] : mine) {
        ASSERT_LE(at + own.size(), files[0].size()) << "the direct path wrote fewer trips";
        const unsigned char* direct = files[0].data() + at;
        EXPECT_TRUE(std::equal(own.begin(), own.end(), direct)) << name << ": this process's path";
        for (std::size_t f = 1; f < files.size(); ++f)
            EXPECT_TRUE(std::equal(direct, direct + own.size(), files[f].data() + at)) << name << ", " << paths[f];
        at += own.size();
    }
}

ZEP6_WORKER_TEST(StagingBuffer, MixedSizesReuseTheRingAndRestoreBindings) {
    setenv("ZEP6_PIXEL_BUFFERS", "on", 1);
    if (!StagingBuffer::IsAvailable())
        GTEST_SKIP() << "no pixel buffer objects";
    ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 256, 160, GL_RGBA8, 0));
    PushState state;
    ASSERT_TRUE(texture.Get() && texture.Get()->Select());
    GLuint mine[2] = {0, 0};
    ZEP6_GLCALL(glGenBuffers)(2, mine);
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_PACK_BUFFER, mine[0]);
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_UNPACK_BUFFER, mine[1]);
    const long sizes[][2] = {{256, 160}, {7, 3}, {128, 97}, {1, 1}, {255, 159}, {64, 64}, {200, 11}};
    const long bound = (StagingBuffer::kRingSize + 1) * ((256 * 160 * 4 + 65535) / 65536 * 65536);
    const long hits = StagingBuffer::Counters().hits;
    for (int i = 0; i < 1000; ++i) {
        const long* size = sizes[(i * 5) % 7];
        TestImage image(Formats::BGRA8, size[0], size[1], (i % 3) * 3);
        image.Fill(static_cast<unsigned char>(i));
        const Region all(static_cast<unsigned int>(size[0]), static_cast<unsigned int>(size[1]));
        if (i % 2 == 0)
            texture.Get()->LoadImageNative(&image, all, all);
        else
            texture.Get()->ReadImageNative(&image, all, all);
        ASSERT_LE(StagingBuffer::Counters().allocated, bound) << "transfer " << i;
    }
    const CacheCounters staging = StagingBuffer::Counters();
    EXPECT_LE(staging.idleCount, StagingBuffer::kRingSize + 1);
    EXPECT_GE(staging.hits - hits, 990) << "nearly every transfer reuses a buffer";
    // The last upload's fence is still pending where uploads are fenced; the read-back was waited
    // for. The memory cache counts the storage against its budget.
    EXPECT_EQ(staging.inUse > 0, StagingBuffer::IsPersistent());
    EXPECT_EQ(staging.inUse + staging.idle, staging.allocated);
    EXPECT_EQ(MemoryBuffer::Counters().outside, staging.allocated);
    GLint packed = -1, unpacked = -1;
    glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packed);
    glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpacked);
    EXPECT_EQ(std::make_pair(packed, unpacked), std::make_pair(GLint(mine[0]), GLint(mine[1])));
    ZEP6_GLCALL(glDeleteBuffers)(2, mine);
}

// A transfer larger than a buffer can be checked for (2^31 - 1 bytes; here a TiB, of which nothing
// is read) is refused quietly: no request issued, no OpenGL error left, no byte added. The
// texture transfers then move the pixels through host memory.
ZEP6_WORKER_TEST(StagingBuffer, TooLargeATransferFallsBackQuietly) {
    setenv("ZEP6_PIXEL_BUFFERS", "on", 1);
    if (!StagingBuffer::IsAvailable())
        GTEST_SKIP() << "no pixel buffer objects";
    unsigned char byte = 0;
    const HostRows rows{&byte, 1L << 20, 1L << 20, 1L << 20};
    const long allocated = StagingBuffer::Counters().allocated;
    int requests = 0;
    EXPECT_FALSE(StagingBuffer::Upload(rows, [&] { ++requests; }) || StagingBuffer::Read(rows, [&] { ++requests; }));
    EXPECT_EQ(requests, 0);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_LE(StagingBuffer::Counters().allocated, allocated);
}

// The wait for a fence, without a context: slices of at most 5 ms until the fence signals or the
// wait fails (given 10 s: load cannot time it out); one that never does, once 40 ms have passed.
TEST(StagingBuffer, FenceWaitGivesUpAfterItsTime) {
    using namespace std::chrono;
    using Result = StagingBuffer::WaitResult;
    // The driver's answers (the last one repeats), the outcome, the waits (0: as many as fit).
    const struct { std::vector<unsigned int> answers; Result result; std::size_t waits; } cases[] = {
        {{GL_TIMEOUT_EXPIRED, GL_TIMEOUT_EXPIRED, GL_CONDITION_SATISFIED}, Result::Signalled, 3},
        {{GL_ALREADY_SIGNALED}, Result::Signalled, 1},
        {{GL_TIMEOUT_EXPIRED, GL_WAIT_FAILED}, Result::Failed, 2},
        {{GL_TIMEOUT_EXPIRED}, Result::TimedOut, 0}};
    for (const auto& c : cases) {
        std::vector<std::uint64_t> waits;
        const auto start = steady_clock::now();
        const auto wait = [&](std::uint64_t ns) {
            std::this_thread::sleep_for(nanoseconds(ns));
            waits.push_back(ns);
            return c.answers[std::min(waits.size(), c.answers.size()) - 1];
        };
        const milliseconds total(c.waits ? 10000 : 40);
        EXPECT_EQ(StagingBuffer::WaitInSlices(wait, milliseconds(5), total), c.result) << c.answers.size();
        EXPECT_TRUE(c.waits ? waits.size() == c.waits : steady_clock::now() - start >= total)
            << waits.size() << " waits";
        EXPECT_LE(*std::max_element(waits.begin(), waits.end()), 5000000u);
    }
}

TEST(StagingBuffer, ShutdownGivesTheBuffersBack) {
    setenv("ZEP6_PIXEL_BUFFERS", "on", 1);
    if (ZEP6_AE::StaticList::UserCount() != 0)
        GTEST_SKIP() << "needs a process without library users (run this case on its own)";
    TestImage image(Formats::BGRA8, 64, 32);
    for (int session = 0; session < 2; ++session) { // a later session makes them again
        ZEP6_AE::StaticList::Increment();
        EXPECT_TRUE(OnWorker([&] {
            ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 64, 32, GL_RGBA8, 0));
            PushState state;
            ASSERT_TRUE(texture.Get() && texture.Get()->Select());
            texture.Get()->LoadImageNative(&image, Region(64, 32), Region());
            texture.Get()->ReadImageNative(&image, Region(64, 32), Region());
        }));
        const CacheCounters during = StagingBuffer::Counters();
        ZEP6_AE::StaticList::Decrement();
        EXPECT_EQ(during.allocated > 0 && !during.finalized, StagingBuffer::IsAvailable());
        EXPECT_EQ(StagingBuffer::Counters().allocated, 0);
        EXPECT_EQ(StagingBuffer::Counters().finalized, StagingBuffer::IsAvailable());
    }
}

} // namespace
