// The copies into and out of staging memory, split over threads: any number of bands gives the
// bytes one thread gives, padded rows included (no context needed).
#include "gl/resources/StagingBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

TEST(StagingCopy, BandsOfRowsCopyLikeOneThread) {
    for (const long padding : {0L, 12L}) {
        constexpr long kRowBytes = 60, kHeight = 37;
        const long stride = kRowBytes + padding;
        std::vector<unsigned char> host(static_cast<size_t>(stride * kHeight));
        for (size_t i = 0; i < host.size(); ++i)
            host[i] = static_cast<unsigned char>(i * 31 + 7);
        HostRows rows{host.data(), stride, kRowBytes, kHeight};
        std::vector<unsigned char> packed(static_cast<size_t>(kRowBytes * kHeight), 0);
        StagingBuffer::CopyIn(rows, packed.data(), 1);
        for (int threads : {2, 3, 5, 64}) {
            std::vector<unsigned char> banded(packed.size(), 0), back(host.size(), 0);
            StagingBuffer::CopyIn(rows, banded.data(), threads);
            EXPECT_EQ(banded, packed) << threads << " threads, padding " << padding;
            HostRows out{back.data(), stride, kRowBytes, kHeight};
            StagingBuffer::CopyOut(banded.data(), out, threads);
            for (long r = 0; r < kHeight; ++r) // the padding is not the copy's to write
                ASSERT_TRUE(std::equal(&host[size_t(r * stride)], &host[size_t(r * stride + kRowBytes)],
                                       &back[size_t(r * stride)]))
                    << threads << " threads, row " << r;
        }
    }
}

} // namespace
