// The shared block cache: memory limit, least-recently-used eviction, and one decode per
// block however many readers want it.
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

#include "cache/BlockCache.h"

using namespace PLK::Engine;

namespace {
std::shared_ptr<Block> makeBlock(uint32_t side)
{
    auto b = std::make_shared<Block>();
    b->rect = LevelRect{0, 0, side, side};
    b->cells.allocate(side, side, 1);
    return b;
}
BlockKey key(uint32_t block, uint64_t image = 1)
{
    return BlockKey{image, 0, 1, 0, block};
}
}  // namespace

class TestBlockCache : public QObject {
    Q_OBJECT
private slots:
    void staysWithinLimit();
    void evictsLeastRecentlyUsed();
    void claimIsExclusive();
    void waitersGetThePublishedBlock();
    void abandonedBlockWakesWaitersEmptyHanded();
    void dropImageForgetsOnlyThatImage();
    void heldBlocksSurviveEviction();
};

void TestBlockCache::staysWithinLimit()
{
    const uint64_t oneBlock = 64 * 64 * 4;
    BlockCache cache(oneBlock * 10);
    for (uint32_t i = 0; i < 100; ++i) {
        QVERIFY(cache.claim(key(i)));
        cache.publish(key(i), makeBlock(64));
        QVERIFY(cache.bytesInUse() <= cache.limit());
    }
    QVERIFY(cache.bytesInUse() > oneBlock * 5);
    cache.setLimit(0);
    QCOMPARE(cache.bytesInUse(), uint64_t(0));
}

void TestBlockCache::evictsLeastRecentlyUsed()
{
    BlockCache cache(3 * (64 * 64 * 4 + 200));
    for (uint32_t i = 0; i < 3; ++i) {
        cache.claim(key(i));
        cache.publish(key(i), makeBlock(64));
    }
    QVERIFY(cache.find(key(0)));  // 0 becomes the most recently used
    cache.claim(key(3));
    cache.publish(key(3), makeBlock(64));
    QVERIFY(cache.contains(key(0)));
    QVERIFY(!cache.contains(key(1)));
    QVERIFY(cache.contains(key(3)));
}

void TestBlockCache::claimIsExclusive()
{
    BlockCache cache(1 << 20);
    QVERIFY(cache.claim(key(7)));
    QVERIFY(!cache.claim(key(7)));
    cache.publish(key(7), makeBlock(8));
    QVERIFY(!cache.claim(key(7)));  // decoded already
}

void TestBlockCache::waitersGetThePublishedBlock()
{
    BlockCache cache(1 << 20);
    QVERIFY(cache.claim(key(1)));
    std::atomic<int> got{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] {
            if (cache.waitFor(key(1))) ++got;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    cache.publish(key(1), makeBlock(8));
    for (auto& t : readers) t.join();
    QCOMPARE(got.load(), 4);
}

void TestBlockCache::abandonedBlockWakesWaitersEmptyHanded()
{
    BlockCache cache(1 << 20);
    QVERIFY(cache.claim(key(2)));
    std::thread reader([&] { QVERIFY(!cache.waitFor(key(2))); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    cache.abandon(key(2));
    reader.join();
    QVERIFY(cache.claim(key(2)));  // free to decode again
}

void TestBlockCache::dropImageForgetsOnlyThatImage()
{
    BlockCache cache(1 << 24);
    for (uint32_t i = 0; i < 4; ++i) {
        cache.claim(key(i, 1));
        cache.publish(key(i, 1), makeBlock(16));
        cache.claim(key(i, 2));
        cache.publish(key(i, 2), makeBlock(16));
    }
    cache.dropImage(1);
    QVERIFY(!cache.contains(key(0, 1)));
    QVERIFY(cache.contains(key(0, 2)));
    cache.dropImage(2);
    QCOMPARE(cache.bytesInUse(), uint64_t(0));
}

void TestBlockCache::heldBlocksSurviveEviction()
{
    BlockCache cache(64 * 64 * 4 + 200);
    cache.claim(key(0));
    cache.publish(key(0), makeBlock(64));
    BlockCache::BlockPtr held = cache.find(key(0));
    cache.claim(key(1));
    cache.publish(key(1), makeBlock(64));
    QVERIFY(!cache.contains(key(0)));
    QCOMPARE(held->cells.width, 64u);  // the reader's copy is still whole
}

QTEST_APPLESS_MAIN(TestBlockCache)
#include "tst_blockcache.moc"
