#include "Graphics/Cache.h"
#include "Graphics/Memory.h"
#include "Graphics/Runtime.h"
#include "LogCapture.h"
#include "core/Bootstrapper.h"
#include "core/Failure.h"
#include "core/HwModule.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>

using namespace Graphics;

// Huge requests must come back as null so that they can be reported.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

TEST(Bootstrapper, CountsAndKeepsTheFirstSettings) {
    Bootstrapper boot;
    ASSERT_EQ(HwModule::Instance(), nullptr);

    // No hardware factory exists: Hardware is refused quietly and becomes Software.
    RuntimeParameters requested;
    requested.mode = RuntimeMode::Hardware;
    requested.highQualityDownsampling = false;
    RuntimeParameters actual;
    boot.Startup(requested, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Software);
    EXPECT_FALSE(actual.highQualityDownsampling);
    EXPECT_EQ(g_RuntimeParameters.mode, RuntimeMode::Software);
    ASSERT_NE(HwModule::Instance(), nullptr);

    // A second start with other values changes nothing and reports the first.
    RuntimeParameters print;
    print.mode = RuntimeMode::Print;
    print.highQualityDownsampling = true;
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Software);
    EXPECT_FALSE(actual.highQualityDownsampling);
    boot.Startup(print, nullptr);
    EXPECT_EQ(boot.GetReferenceCount(), 3);

    // Three starts, two stops: still alive; the third stop ends the module.
    boot.Shutdown();
    boot.Shutdown();
    EXPECT_NE(HwModule::Instance(), nullptr);
    boot.Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
    EXPECT_EQ(boot.GetReferenceCount(), 0);

    // A stop without a start only takes the count below zero.
    boot.Shutdown();
    EXPECT_EQ(boot.GetReferenceCount(), -1);
    EXPECT_EQ(HwModule::Instance(), nullptr);
    // The next start initialises afresh and leaves the count at 1.
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Print);
    EXPECT_EQ(boot.GetReferenceCount(), 1);
    EXPECT_NE(HwModule::Instance(), nullptr);
    boot.Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
}

TEST(Bootstrapper, PublicEntryPoints) {
    RuntimeParameters software;
    software.mode = RuntimeMode::Software;
    RuntimeParameters actual;
    actual.mode = RuntimeMode::Print;
    Startup(software, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Software);
    Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
}

namespace {

class OrderListener : public LogListener {
public:
    explicit OrderListener(bool t) : throws(t) {}
    void OnLogMessage(const std::string& text) override {
        received.push_back(text);
        if (throws) throw std::runtime_error("listener failed");
    }
    bool throws;
    std::vector<std::string> received;
};

[[noreturn]] void FailingOperation() { GRAPHICS_FAIL("Something broke"); }

}  // namespace

TEST(Log, FailureIsLoggedWithPlaceThenThrown) {
    GraphicsTest::LogCapture capture;
    try {
        FailingOperation();
        FAIL();
    } catch (const Exception& e) {
        EXPECT_STREQ(e.what(), "Something broke");
    }
    const std::string text = capture.Last();
    const std::string head = "Exception in FailingOperation (";
    ASSERT_EQ(text.rfind(head, 0), 0u) << text;
    const size_t comma = text.find(", ", head.size());
    ASSERT_NE(comma, std::string::npos);
    EXPECT_NE(text.substr(head.size(), comma - head.size()).find("RuntimeTest.cpp"), std::string::npos);
    const size_t close = text.find("):\n\t", comma);
    ASSERT_NE(close, std::string::npos);
    const int line = std::stoi(text.substr(comma + 2, close - comma - 2));
    EXPECT_GT(line, 0);
    EXPECT_EQ(text.substr(close), "):\n\tSomething broke");
}

TEST(Log, DeliveryOrderAttachDetachAndThrowingListeners) {
    auto a = std::make_shared<OrderListener>(false);
    auto b = std::make_shared<OrderListener>(false);
    // Listeners are called in the order of their addresses.
    auto first = a.get() < b.get() ? a : b;
    auto second = a.get() < b.get() ? b : a;
    AttachLogListener(a);
    AttachLogListener(b);
    AttachLogListener(a);  // a second attach changes nothing
    { LogMessage() << "one " << 1; }
    EXPECT_EQ(a->received, std::vector<std::string>{"one 1"});
    EXPECT_EQ(b->received, std::vector<std::string>{"one 1"});

    // A throwing listener keeps the message from the later ones, and the
    // place that logged sees nothing.
    first->throws = true;
    EXPECT_NO_THROW({ LogMessage() << "two"; });
    EXPECT_EQ(first->received.size(), 2u);
    EXPECT_EQ(second->received.size(), 1u);
    first->throws = false;

    // Flush sends now and again at destruction.
    {
        LogMessage m;
        m << "three";
        m.Flush();
        EXPECT_EQ(second->received.back(), "three");
        EXPECT_EQ(second->received.size(), 2u);
    }
    EXPECT_EQ(second->received.size(), 3u);

    DetachLogListener(a);
    DetachLogListener(b);
    DetachLogListener(b);  // unknown listener: nothing happens
    { LogMessage() << "four"; }
    EXPECT_EQ(a->received.back(), "three");
    EXPECT_EQ(b->received.back(), "three");

    // A stream in a failed state sends nothing.
    AttachLogListener(a);
    {
        LogMessage m;
        m << "five";
        m.setstate(std::ios::failbit);
    }
    EXPECT_EQ(a->received.back(), "three");
    DetachLogListener(a);
}

TEST(ProcessHeap, AllocFreeAndFailure) {
    ProcessHeap::Free(nullptr);
    ProcessHeap::FreeAligned(nullptr);
    void* p = ProcessHeap::AllocAligned(100, 16);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    ProcessHeap::FreeAligned(p);
    p = ProcessHeap::Alloc(0);
    ProcessHeap::Free(p);

    EXPECT_GRAPHICS_FAILURE(ProcessHeap::Alloc(ULONG_MAX - 64), "Alloc", "Not enough memory");
    EXPECT_GRAPHICS_FAILURE(ProcessHeap::AllocAligned(ULONG_MAX - 64, 16), "AllocAligned", "Not enough memory");
}

namespace {
struct Counted : GraphicsBase {
    int values[4] = {1, 2, 3, 4};
};
}  // namespace

TEST(ProcessHeap, GraphicsBaseObjectsUseTheHeap) {
    Counted* one = new Counted();
    EXPECT_EQ(one->values[3], 4);
    delete one;
    Counted* many = new Counted[3];
    EXPECT_EQ(many[2].values[0], 1);
    delete[] many;

    std::vector<int, Allocator<int>> v(1000, 7);
    EXPECT_EQ(v[999], 7);
}

namespace {
struct Entry : CacheBase {
    explicit Entry(int v) : value(v) {}
    int value;
};
}  // namespace

TEST(CacheHolder, StoreReplaceAndRelease) {
    CacheHolder holder;
    EXPECT_EQ(holder.GetCache(7), nullptr);
    holder.ReleaseAllCaches();

    auto a = std::make_shared<Entry>(1);
    auto b = std::make_shared<Entry>(2);
    holder.SetCache(7, a);
    EXPECT_EQ(a.use_count(), 2);
    holder.SetCache(7, b);
    EXPECT_EQ(holder.GetCache(7), b);
    EXPECT_EQ(a.use_count(), 1);  // replacing released the old entry

    // An empty entry reads like an unknown token.
    holder.SetCache(7, nullptr);
    EXPECT_EQ(holder.GetCache(7), nullptr);
    EXPECT_EQ(holder.GetCache(8), nullptr);

    holder.SetCache(1, a);
    holder.SetCache(2, b);
    holder.ReleaseAllCaches();
    EXPECT_EQ(holder.GetCache(1), nullptr);
    EXPECT_EQ(a.use_count(), 1);
    EXPECT_EQ(b.use_count(), 1);

    // Entries die with the holder.
    {
        CacheHolder scoped;
        scoped.SetCache(3, a);
        EXPECT_EQ(a.use_count(), 2);
    }
    EXPECT_EQ(a.use_count(), 1);

    const unsigned int t1 = CacheHolder::GenerateUniqueToken();
    const unsigned int t2 = CacheHolder::GenerateUniqueToken();
    EXPECT_EQ(t2, t1 + 1);
}

TEST(CacheHolder, LockIsRecursiveAndExcludesOtherThreads) {
    CacheHolder holder;
    holder.LockCaches();
    holder.LockCaches();  // does not block on the same thread
    holder.SetCache(1, std::make_shared<Entry>(5));
    EXPECT_NE(holder.GetCache(1), nullptr);

    std::atomic<bool> done(false);
    std::thread other([&] {
        holder.GetCache(1);
        done = true;
    });
    holder.UnlockCaches();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(done.load());  // one unlock is not enough
    holder.UnlockCaches();
    other.join();
    EXPECT_TRUE(done.load());
}
