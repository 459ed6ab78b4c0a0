#include "quorvel/ApsFrame.h"
#include "quorvel/Event2D.h"
#include "quorvel/QvObjectPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace quorvel;

TEST(ApsFrame, CopiesAreDeepAndCarryTheTimestamp) {
    ApsFrame a(4, 2, 777, 5);
    ASSERT_EQ(a.getDataSize(), 4u * 2u * 3u);
    std::memset(a.data(), 9, a.getDataSize());

    ApsFrame b = a;
    ApsFrame c = a.clone();
    ApsFrame d;
    d = a;
    a.data()[0] = 1;
    for (const ApsFrame* f : {&b, &c, &d}) {
        EXPECT_EQ(f->data()[0], 9);
        EXPECT_NE(f->data(), a.data());
        EXPECT_EQ(f->getTimestamp(), 777u);
        EXPECT_EQ(f->getSequence(), 5u);
        EXPECT_EQ(f->getWidth(), 4);
    }

    ApsFrame moved = std::move(b);
    EXPECT_EQ(moved.data()[0], 9);
    EXPECT_TRUE(b.empty());
}

TEST(ApsFrame, ReshapeReusesALargeAllocation) {
    ApsFrame big(3840, 2160);
    unsigned char* before = big.data();
    big.reshape(1280, 720);
    EXPECT_EQ(big.data(), before);
    EXPECT_EQ(big.getDataSize(), 1280u * 720u * 3u);
    EXPECT_EQ(big.getCapacity(), 3840u * 2160u * 3u);
    // Assigning a smaller frame into the big one must not shrink or reallocate it either.
    ApsFrame small(2, 2);
    big = small;
    EXPECT_EQ(big.data(), before);
    EXPECT_EQ(big.getWidth(), 2);
    ApsFrame neg(-5, 3);
    EXPECT_TRUE(neg.empty());
}

TEST(ObjectPool, BatchesAreReusedClearedAndMayOutliveThePool) {
    auto pool = QvObjectPoolFactory::createUniqueQvObjectPoolWithArgs<std::vector<Event2D>>(2ULL, 1000);
    ASSERT_EQ(pool->idleCount(), 2u);
    const Event2D* firstBuffer = nullptr;
    {
        auto a = pool->acquire();
        EXPECT_TRUE(a->empty());
        EXPECT_GE(a->capacity(), 1000u);
        a->resize(10);
        firstBuffer = a->data();
        EXPECT_EQ(pool->idleCount(), 1u);
    }
    EXPECT_EQ(pool->idleCount(), 2u);
    auto again = pool->acquire();
    EXPECT_EQ(again->data(), firstBuffer); // last returned, first reused: stays warm in cache
    EXPECT_TRUE(again->empty());
    auto b = pool->acquire();
    EXPECT_EQ(pool->tryAcquire(), nullptr);
    auto c = pool->acquire(); // grows instead of blocking
    EXPECT_EQ(pool->grownCount(), 1u);
    pool.reset();
    again.reset(); // returning after the pool is gone must be harmless
    c->push_back(Event2D());
}

TEST(ObjectPool, ConcurrentAcquireAndReturnKeepsEveryObject) {
    auto pool = QvObjectPoolFactory::createUniqueQvObjectPoolWithArgs<std::vector<Event2D>>(8ULL, 16);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                auto v = pool->acquire();
                v->push_back(Event2D(1, 2, 1, static_cast<uint64_t>(i)));
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(pool->idleCount(), 8u + pool->grownCount());
}
