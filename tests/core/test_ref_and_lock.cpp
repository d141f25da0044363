#include <gtest/gtest.h>

#include <vector>

#include "core/scripted_worker.h"
#include "framework/core/coreref.h"

namespace {

using namespace wstest;
using CORE::refptr;

class Counted : public CORE::coreref {
  public:
    explicit Counted(int& destroyed) : destroyed_(destroyed) {}
    ~Counted() override { ++destroyed_; }

  private:
    int& destroyed_;
};

TEST(CoreRef, CountsItsHoldersAndIsDestroyedByTheLastRelease) {
    int destroyed = 0;
    auto* object = new Counted(destroyed);
    EXPECT_EQ(object->RefCount(), 1);
    EXPECT_EQ(object->AddRef(), 2);
    EXPECT_EQ(object->Release(), 1);
    {
        auto first = refptr<Counted>::adopt(object);
        auto second = refptr<Counted>::share(first.get());
        auto moved = std::move(second);
        EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): it promises to be empty
        refptr<Counted> assigned;
        assigned = moved;
        EXPECT_EQ(object->RefCount(), 3);
        assigned = refptr<Counted>::share(assigned.get());
        EXPECT_EQ(object->RefCount(), 3);
        first.reset();
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

// Another thread gets the lock only when its holder has given it back as often as it took it.
TEST(CoreLock, ItsHolderMayTakeItAgain) {
    CORE::corecritsec lock(L"test");
    EXPECT_EQ(lock.name(), L"test");
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> given{false};
        std::thread other;
        {
            const CORE::coresync outer(lock);
            const CORE::coresync idle(lock, false);
            other = std::thread([&] {
                const CORE::coresync hold(lock);
                EXPECT_TRUE(given);
            });
            { const CORE::coresync inner(lock, true); }
            yield();
            given = true;
        }
        other.join();
    }
}

TEST(CoreEvent, StaysSetUntilItIsReset) {
    CORE::coreevent event;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(event.isSet());
        EXPECT_FALSE(event.waitFor(std::chrono::milliseconds(0)));
        event.set();
        event.set();
        EXPECT_TRUE(event.isSet());
        EXPECT_TRUE(event.waitFor(std::chrono::milliseconds(0)));
        event.wait();
        event.reset();
    }
}

// The threads meet at a fresh lock again and again: its first uses are where a runtime can go wrong.
TEST(CoreEvent, CallsBackWhenItIsSetAndWhenItWasSet) {
    CORE::coreevent event;
    int calls = 0;
    {
        const CORE::eventcallback first(event, [&] { ++calls; });
        EXPECT_EQ(calls, 0);
        event.set();
        EXPECT_EQ(calls, 1);
        const CORE::eventcallback second(event, [&] { calls += 10; });
        EXPECT_EQ(calls, 11);
    }
    event.set();
    EXPECT_EQ(calls, 11);
}

TEST(SharedMutex, KeepsAWriterAwayFromEverybodyElse) {
    for (int round = 0; round < 200; ++round) {
        CORE::SharedMutex mutex;
        CORE::coreevent go;
        std::atomic<int> first{0}, second{0}, torn{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&, i] {
                go.wait();
                for (int turn = 0; turn < 50; ++turn)
                    if ((i + turn) % 3) {
                        const std::shared_lock reading(mutex);
                        if (first != second) ++torn;
                    } else {
                        const std::unique_lock writing(mutex);
                        if (++first != second + 1) ++torn;
                        ++second;
                    }
            });
        go.set();
        for (auto& thread : threads) thread.join();
        ASSERT_EQ(torn, 0) << "round " << round;
    }
}

}  // namespace
