// The cache rules: which buffer a request accepts (the three cache keys), and reuse, budget,
// eviction, purge, finalisation and their counters on stand-in buffers that need no OpenGL; the
// process-wide resource list.

#include "core/TestCountersPrivate.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceFactory.h"
#include "gl/resources/ResourceKeys.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <unistd.h>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

// A texture request accepts a candidate by size, format, target and exactness; a renderbuffer one
// only the same size, format and type; a memory one any block at least as large.
TEST(CacheKeys, SizeAndAcceptance) {
    // 2048 x 1080 four-float texels: 16 bytes each, the figure the texture budget is planned with.
    EXPECT_EQ(TextureKey(kRect, 2048, 1080, GL_RGBA32F, 0).Size(), 35389440);
    EXPECT_EQ(TextureKey(kRect, 4096, 4096, GL_RGBA8, 1).Size(), 4096 * 4096 * 4);
    const struct {
        const char* what;
        TextureKey request;
        TextureKey candidate;
        bool accepted;
    } cases[] = {
        // clang-format off
        {"same size, not exact", {kRect, 2048, 1080, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, true},
        {"larger candidate, not exact", {kRect, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, true},
        {"wider only, not exact", {kRect, 100, 1200, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"higher only, not exact", {kRect, 2100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"same size, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 100, 100, GL_RGBA8, 1}, true},
        {"larger candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"smaller candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 99, 100, GL_RGBA8, 1}, false},
        {"candidate's exact flag ignored", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 100, 100, GL_RGBA8, 0}, true},
        {"exact candidate serves inexact request", {kRect, 64, 64, GL_RGBA8, 0}, {kRect, 100, 100, GL_RGBA8, 1}, true},
        {"other internal format", {kRect, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA32F, 0}, false},
        {"other target", {GL_TEXTURE_2D, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        // clang-format on
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.request.IsAcceptable(c.candidate), c.accepted) << c.what;

    const RenderKey request(640, 480, GL_RGBA, GL_FLOAT);
    RenderKey made = request;
    made.internalFormat = GL_RGBA32F;
    made.size = 640 * 480 * 16;
    EXPECT_TRUE(request.IsAcceptable(made)) << "what the renderbuffer filled in is not compared";
    const RenderKey others[] = {
        RenderKey(640, 480, GL_RGBA, GL_UNSIGNED_BYTE), RenderKey(640, 480, GL_DEPTH_COMPONENT, GL_FLOAT),
        RenderKey(641, 480, GL_RGBA, GL_FLOAT), RenderKey(640, 960, GL_RGBA, GL_FLOAT)};
    for (const RenderKey& other : others)
        EXPECT_FALSE(request.IsAcceptable(other)) << other.width << " x " << other.height << " " << other.format;
    const MemoryKey block(0x100000);
    EXPECT_TRUE(block.IsAcceptable(MemoryKey(0x100000)) && block.IsAcceptable(MemoryKey(0x400000)));
    EXPECT_FALSE(block.IsAcceptable(MemoryKey(0xFFFFF)));
}

// A request for `size` bytes that any buffer of the same kind at least as large satisfies; `tag`
// names the buffer made for it.
struct FakeKey {
    int size;
    int tag;
    int kind = 0;
    bool IsAcceptable(const FakeKey& candidate) const {
        return candidate.kind == kind && candidate.size >= size;
    }
};

struct FakeBuffer : Resource {
    explicit FakeBuffer(const FakeKey& key) : key(key) {
        if (key.size < 0)
            throw std::runtime_error("refused");
        ++sLive;
    }
    ~FakeBuffer() override {
        --sLive;
        sDeleted.push_back(key.tag);
    }
    void Finalize() override {}
    void Dump() const override {}
    const FakeKey& Key() const { return key; }
    int Size() const { return key.size; }

    FakeKey key;
    static inline int sLive = 0;
    static inline std::vector<int> sDeleted;
};

using Cache = ResourceFactory<FakeKey, FakeBuffer, 100>;

class ResourceFactoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        FakeBuffer::sLive = 0;
        FakeBuffer::sDeleted.clear();
    }
    void TearDown() override { cache.Purge(); }

    // In use, idle, allocated, peak and idle count.
    void ExpectCounters(long inUse, long idle, long allocated, long peak, long idleCount) {
        const CacheCounters c = cache.Counters();
        EXPECT_EQ(std::vector<long>({c.inUse, c.idle, c.allocated, c.peak, c.idleCount}),
                  std::vector<long>({inUse, idle, allocated, peak, idleCount}));
    }

    Cache cache;
};

TEST_F(ResourceFactoryTest, ReusesTheOldestIdleBufferThatFits) {
    FakeBuffer* small = cache.Make({10, 1});
    FakeBuffer* first = cache.Make({40, 2});
    FakeBuffer* second = cache.Make({40, 3});
    ExpectCounters(90, 0, 90, 90, 0);
    cache.Recycle(small);
    cache.Recycle(first);
    cache.Recycle(second);
    ExpectCounters(0, 90, 90, 90, 3);
    EXPECT_TRUE(FakeBuffer::sDeleted.empty());

    // The small one is older but does not fit; of the two that fit the older one comes back.
    EXPECT_EQ(cache.Make({30, 9}), first);
    ExpectCounters(40, 50, 90, 90, 2);
    // A smaller request takes the oldest fitting one, larger than asked.
    EXPECT_EQ(cache.Make({5, 9}), small);
    EXPECT_EQ(cache.Make({40, 9}), second);
    ExpectCounters(90, 0, 90, 90, 0);
    EXPECT_EQ(FakeBuffer::sLive, 3) << "reuse makes no new buffer";
    cache.Recycle(first);
    cache.Recycle(small);
    cache.Recycle(second);
}

// Idle buffers are kept up to the budget exactly; past it the oldest go first, as many as needed
// and no more. Each later request is of another kind, so no idle buffer serves it.
TEST_F(ResourceFactoryTest, EvictsOldestFirstUntilWithinBudget) {
    FakeBuffer* buffers[4];
    for (int i = 0; i < 4; ++i)
        buffers[i] = cache.Make({25, i + 1});
    for (FakeBuffer* b : buffers)
        cache.Recycle(b);
    ExpectCounters(0, 100, 100, 100, 4);
    EXPECT_TRUE(FakeBuffer::sDeleted.empty()) << "at the budget nothing is evicted";

    // One byte over: the oldest goes, and only it.
    cache.Recycle(cache.Make({1, 5, 1}));
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({1}));
    ExpectCounters(0, 76, 76, 101, 4);
    // 136 idle: two more of the 25-byte buffers must go (111, 86).
    cache.Recycle(cache.Make({60, 6, 2}));
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({1, 2, 3}));
    ExpectCounters(0, 86, 86, 136, 3);
    // A buffer larger than the whole budget pushes everything out, itself last.
    cache.Recycle(cache.Make({150, 7, 3}));
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({1, 2, 3, 4, 5, 6, 7}));
    ExpectCounters(0, 0, 0, 236, 0);

    // Bytes held outside count against the budget: with 70 of them only one 25-byte buffer stays
    // idle, and Trim() evicts it once they grow to 90.
    static long outside = 70;
    cache.SetOutsideBytes([] { return outside; });
    for (int i = 0; i < 3; ++i)
        cache.Recycle(cache.Make({25, 8 + i, 4 + i}));
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({1, 2, 3, 4, 5, 6, 7, 8, 9}));
    ExpectCounters(0, 25, 25, 236, 1);
    EXPECT_EQ(cache.Counters().outside, 70);
    outside = 90;
    cache.Trim();
    ExpectCounters(0, 0, 0, 236, 0);
}

// A failed Make and a null Recycle change no counter; Purge deletes idle buffers only.
TEST_F(ResourceFactoryTest, FailedMakeChangesNoCounterAndPurgeDeletesIdleBuffersOnly) {
    FakeBuffer* kept = cache.Make({30, 1});
    cache.Recycle(cache.Make({20, 2}));
    EXPECT_THROW(cache.Make({-1, 3, 1}), std::runtime_error);
    cache.Recycle(nullptr);
    ExpectCounters(30, 20, 50, 50, 1);
    cache.Purge();
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({2}));
    ExpectCounters(30, 0, 30, 50, 0);
    cache.Recycle(kept);
    ExpectCounters(0, 30, 30, 50, 1);
    // The peak stays at the highest allocation, through the purge and a smaller one after it.
    cache.Recycle(cache.Make({10, 3, 1}));
    ExpectCounters(0, 40, 40, 50, 2);
}

// A finalized cache keeps nothing until its next session; a destroyed one deletes its idle buffers.
TEST_F(ResourceFactoryTest, FinalizedCacheKeepsNothingAndADestroyedOneDeletesItsIdleBuffers) {
    FakeBuffer* held = cache.Make({30, 1});
    cache.Recycle(cache.Make({20, 2}));
    cache.Finalize();
    EXPECT_TRUE(cache.Counters().finalized);
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({2}));

    cache.Recycle(held);
    EXPECT_EQ(FakeBuffer::sDeleted, std::vector<int>({2, 1})) << "recycled after finalisation: deleted";
    EXPECT_EQ(FakeBuffer::sLive, 0);
    ExpectCounters(0, 0, 0, 50, 0);

    // The next Make() belongs to a new session: the cache keeps again.
    cache.Recycle(cache.Make({10, 3}));
    EXPECT_FALSE(cache.Counters().finalized);
    ExpectCounters(0, 10, 10, 50, 1);
    {
        Cache destroyed;
        destroyed.Recycle(destroyed.Make({10, 4}));
        destroyed.Recycle(destroyed.Make({10, 5, 1}));
        EXPECT_EQ(FakeBuffer::sLive, 3);
    }
    EXPECT_EQ(FakeBuffer::sLive, 1) << "a destroyed cache deletes its idle buffers";
}

// A resource that records the order in which resources are finalised.
struct Probe : Resource {
    explicit Probe(std::vector<const Probe*>* log, bool throws = false) : log(log), throws(throws) {}
    void Finalize() override {
        log->push_back(this);
        if (throws)
            throw std::runtime_error("finalize failed");
    }
    void Dump() const override {}
    std::vector<const Probe*>* log;
    bool throws;
};

TEST(Resource, NewResourcesAreListedAndUnlinkedWhenDestroyed) {
    std::vector<const Probe*> log;
    const int before = ListedResourceCount();
    Probe* a = new Probe(&log);
    Probe* b = new Probe(&log);
    Probe* c = new Probe(&log);
    EXPECT_EQ(ListedResourceCount(), before + 3);
    delete b; // from the middle
    EXPECT_EQ(ListedResourceCount(), before + 2);
    EXPECT_TRUE(a->IsListed() && c->IsListed());
    {
        // A copy is a resource of its own; assignment moves nothing in the list.
        Probe copy(*a);
        EXPECT_EQ(ListedResourceCount(), before + 3);
        copy = *c;
        EXPECT_EQ(ListedResourceCount(), before + 3);
    }
    EXPECT_EQ(ListedResourceCount(), before + 2);
    delete c; // the head
    EXPECT_TRUE(a->IsListed());
    delete a;
    EXPECT_EQ(ListedResourceCount(), before);
}

// FinalizeAll works on the whole process (the library's own caches included), so this runs in a
// child process; its newest-first order is checked by the shutdown test (Caches_gl_test).
int FinalizeAllStopsAtAFailure() {
    std::vector<const Probe*> log;
    Probe* a = new Probe(&log);
    Probe* b = new Probe(&log);
    Resource::FinalizeAll();
    // Resources that outlive the list are destroyed in any order without touching each other.
    delete a;
    delete b;
    Probe later(&log);
    if (ListedResourceCount() != 1 || !later.IsListed())
        return 1;
    log.clear();
    Probe failing(&log, true);
    Probe newest(&log);
    Resource::FinalizeAll(); // must not throw
    if (log.size() != 2 || log[0] != &newest || log[1] != &failing)
        return 2;
    return ListedResourceCount() != 0 || later.IsListed() ? 3 : 0;
}

TEST(ResourceDeathTest, FinalizeAllStopsAtAFailureAndEmptiesTheList) {
    EXPECT_EXIT(_exit(FinalizeAllStopsAtAFailure()), ::testing::ExitedWithCode(0), "");
}

} // namespace
