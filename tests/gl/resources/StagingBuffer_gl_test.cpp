// Host-image transfers through staging buffer objects give the very bytes the direct transfers
// give, on every path the driver's extensions allow; the upload ring is reused rather than grown;
// the shutdown gives the buffers back.
#include "geometry/Region.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/resources/StagingBuffer.h"
#include "gl/state/BufferBinding.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"
#include "sync/StaticList.h"
#include "ResourceTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <unistd.h>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

struct Trips {
    std::vector<std::string> names;
    std::vector<std::vector<unsigned char>> bytes;
};

// Every source layout of the round-trip matrix through SubImageTexture and RenderedTexture into every destination layout; then a block
// loaded into and read from the inside of a texture. GL worker thread.
Trips TripAll() {
    Trips trips;
    const auto keep = [&trips](const std::string& name, const TestImage& image) {
        trips.names.push_back(name);
        trips.bytes.emplace_back(image.Bytes(), image.Bytes() + image.ByteCount());
    };
    for (const SourceCase& source : SourceCases()) {
        // Top-down sources have rows three bytes longer than whole pixels.
        const long extra = source.bottomUp ? 0 : 3;
        const long pixelBytes = source.layout.format.bitDepth / 8;
        TestImage input(source.layout.format, 37, 23, 2 * pixelBytes + extra);
        input.SetBottomUp(source.bottomUp);
        FillSource(input, source.layout);
        ForEachDestination(37, 23, [&](TestImage& output, const Layout&, const std::string& destination) {
            SubImageTexture texture(&input);
            RenderedTexture target(37, 23);
            texture.Load();
            {
                PushState state;
                if (!target.Select())
                    return;
                target.Clear();
                glDisable(GL_BLEND);
                texture.Blit(Region(37, 23), 1.0f);
            }
            target.Read(&output);
            keep(CaseName(source) + "+" + std::to_string(extra) + " -> " + destination, output);
        });
    }
    for (long extra : {0L, 3L}) {
        TestImage input(Formats::RGBA32F, 29, 17, extra), output(Formats::RGBA32F, 31, 19, 5 + extra);
        for (std::size_t i = 0; i < input.ByteCount(); ++i)
            input.Bytes()[i] = static_cast<unsigned char>(i * 13 + 7);
        output.Fill(0x5A);
        ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 40, 30, GL_RGBA32F_ARB, 0));
        PushState state;
        if (!texture.Get() || !texture.Get()->Select())
            continue;
        texture.Get()->LoadImageNative(&input, Region(3, 2, 20, 11), Region(5, 4, 0, 0));
        texture.Get()->ReadImageNative(&output, Region(2, 1, 27, 17), Region(4, 3, 0, 0));
        keep("block+" + std::to_string(extra), output);
    }
    return trips;
}

std::string FileFor(const char* hidden) {
    std::string name = std::string(std::getenv("ZEP6_TRIP_FILES")) + "-" + hidden;
    for (char& c : name)
        if (c == ' ')
            c = '_';
    return name;
}

// In a child with extensions hidden: checks the path they leave and writes every trip's bytes.
bool WriteTrips() {
    const std::string hidden = std::getenv("ZEP6_DISABLE_EXTENSIONS");
    const bool noBuffers = hidden.find("GL_ARB_pixel_buffer_object") != std::string::npos;
    const bool noSync = hidden.find("GL_ARB_sync") != std::string::npos;
    if (StagingBuffer::IsAvailable() == noBuffers || StagingBuffer::IsPersistent() || IsSyncSupported() == noSync) {
        std::fprintf(stderr, "unexpected path with %s hidden\n", hidden.c_str());
        return false;
    }
    const Trips trips = TripAll();
    // The direct path makes no staging buffer; the others make the upload ring and the read-back one.
    if (StagingBuffer::Counters().idleCount != (noBuffers ? 0 : StagingBuffer::kRingSize + 1))
        return false;
    std::ofstream out(FileFor(hidden.c_str()), std::ios::binary);
    for (const auto& bytes : trips.bytes)
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out) && !trips.bytes.empty();
}

TEST(StagingBuffer, EveryPathGivesTheDirectBytes) {
    const std::string prefix = "/tmp/zep6-staging-" + std::to_string(getpid());
    setenv("ZEP6_TRIP_FILES", prefix.c_str(), 0); // a child keeps its parent's
    const char* const paths[] = {"GL_ARB_pixel_buffer_object", "GL_ARB_buffer_storage", "GL_ARB_sync"};
    for (const char* hidden : paths)
        ExpectWithout(hidden, &WriteTrips);

    Trips mine;
    ASSERT_TRUE(OnWorker([&] { mine = TripAll(); }));
    ASSERT_FALSE(mine.bytes.empty());
    const bool persistent = StagingBuffer::IsPersistent();
    if (persistent) {
        // Both upload buffers and the read-back buffer served the trips.
        EXPECT_EQ(StagingBuffer::Counters().idleCount, StagingBuffer::kRingSize + 1);
    }

    std::vector<std::vector<unsigned char>> files;
    for (const char* hidden : paths) {
        std::ifstream in(FileFor(hidden), std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        std::remove(FileFor(hidden).c_str());
    }
    // The direct path's bytes, trip by trip, against this process's own path (persistent where
    // the driver has it) and the orphaning and unfenced paths.
    for (std::size_t f = 1; f < files.size(); ++f)
        ASSERT_EQ(files[f].size(), files[0].size()) << paths[f] << " hidden";
    std::size_t at = 0;
    for (std::size_t t = 0; t < mine.bytes.size(); ++t) {
        const std::vector<unsigned char>& own = mine.bytes[t];
        ASSERT_LE(at + own.size(), files[0].size()) << "the direct path wrote fewer trips";
        const unsigned char* direct = files[0].data() + at;
        EXPECT_TRUE(std::equal(own.begin(), own.end(), direct)) << mine.names[t] << ": this process's path";
        for (std::size_t f = 1; f < files.size(); ++f)
            EXPECT_TRUE(std::equal(direct, direct + own.size(), files[f].data() + at))
                << mine.names[t] << " with " << paths[f] << " hidden";
        at += own.size();
    }
    EXPECT_EQ(at, files[0].size());
}

ZEP6_WORKER_TEST(StagingBuffer, MixedSizesReuseTheRing) {
    if (!StagingBuffer::IsAvailable())
        GTEST_SKIP() << "no pixel buffer objects";
    ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 256, 160, GL_RGBA8, 0));
    PushState state;
    ASSERT_TRUE(texture.Get() && texture.Get()->Select());
    const long sizes[][2] = {{256, 160}, {7, 3}, {128, 97}, {1, 1}, {255, 159}, {64, 64}, {200, 11}};
    long largest = 0;
    for (const auto& size : sizes)
        largest = std::max(largest, size[0] * size[1] * 4);
    const long granule = 64 * 1024;
    const long bound = (StagingBuffer::kRingSize + 1) * ((largest + granule - 1) / granule * granule);
    const CacheCounters before = StagingBuffer::Counters();
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
    const CacheCounters after = StagingBuffer::Counters();
    EXPECT_LE(after.peak, std::max(before.peak, bound));
    EXPECT_LE(after.idleCount, StagingBuffer::kRingSize + 1);
    EXPECT_GE(after.hits - before.hits, 990) << "nearly every transfer reuses a buffer";
}

ZEP6_WORKER_TEST(StagingBuffer, TransfersRestoreTheBufferBindings) {
    if (!StagingBuffer::IsAvailable())
        GTEST_SKIP() << "no pixel buffer objects";
    ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 16, 8, GL_RGBA8, 0));
    PushState state;
    ASSERT_TRUE(texture.Get() && texture.Get()->Select());
    TestImage image(Formats::BGRA8, 16, 8);
    texture.Get()->LoadImageNative(&image, Region(16, 8), Region(16, 8));
    GLuint mine[2] = {0, 0};
    ZEP6_GLCALL(glGenBuffers)(2, mine);
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_PACK_BUFFER, mine[0]);
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_UNPACK_BUFFER, mine[1]);
    {
        // What the staging buffers do while another buffer is bound is undone afterwards.
        PushBufferBinding pack(GL_PIXEL_PACK_BUFFER, 0), unpack(GL_PIXEL_UNPACK_BUFFER, 0);
        texture.Get()->LoadImageNative(&image, Region(16, 8), Region(16, 8));
        texture.Get()->ReadImageNative(&image, Region(16, 8), Region(16, 8));
        GLint packed = -1, unpacked = -1;
        glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packed);
        glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpacked);
        EXPECT_EQ(std::make_pair(packed, unpacked), std::make_pair(0, 0));
    }
    GLint packed = -1, unpacked = -1;
    glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packed);
    glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpacked);
    EXPECT_EQ(std::make_pair(packed, unpacked), std::make_pair(GLint(mine[0]), GLint(mine[1])));
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_PACK_BUFFER, 0);
    ZEP6_GLCALL(glBindBuffer)(GL_PIXEL_UNPACK_BUFFER, 0);
    ZEP6_GLCALL(glDeleteBuffers)(2, mine);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST(StagingBuffer, ShutdownGivesTheBuffersBack) {
    if (ZEP6_AE::StaticList::UserCount() != 0)
        GTEST_SKIP() << "needs a process without library users (run this case on its own)";
    ZEP6_AE::StaticList::Increment();
    TestImage image(Formats::BGRA8, 64, 32);
    const auto trip = [&image] {
        return OnWorker([&] {
            ScopedTextureBuffer texture(TextureKey(GL_TEXTURE_RECTANGLE_ARB, 64, 32, GL_RGBA8, 0));
            PushState state;
            ASSERT_TRUE(texture.Get() && texture.Get()->Select());
            texture.Get()->LoadImageNative(&image, Region(64, 32), Region());
            texture.Get()->ReadImageNative(&image, Region(64, 32), Region());
        });
    };
    ASSERT_TRUE(trip());
    if (!StagingBuffer::IsAvailable()) {
        ZEP6_AE::StaticList::Decrement();
        GTEST_SKIP() << "no pixel buffer objects";
    }
    EXPECT_GT(StagingBuffer::Counters().allocated, 0);
    ZEP6_AE::StaticList::Decrement();
    EXPECT_EQ(StagingBuffer::Counters().allocated, 0);
    EXPECT_TRUE(StagingBuffer::Counters().finalized);

    ZEP6_AE::StaticList::Increment();
    ASSERT_TRUE(trip());
    EXPECT_GT(StagingBuffer::Counters().allocated, 0) << "a later session makes them again";
    EXPECT_FALSE(StagingBuffer::Counters().finalized);
    ZEP6_AE::StaticList::Decrement();
}

} // namespace
