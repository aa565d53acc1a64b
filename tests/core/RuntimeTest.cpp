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

TEST(Bootstrapper, CountsStartsAndKeepsTheFirstSettings) {
    Bootstrapper boot;
    ASSERT_EQ(HwModule::Instance(), nullptr);
    // No hardware factory exists: Hardware is quietly refused for Software.
    // Later starts change nothing and report the first settings.
    RuntimeParameters hardware, print, actual;
    hardware.highQualityDownsampling = false;
    print.mode = RuntimeMode::Print;
    boot.Startup(hardware, &actual);
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Software);
    EXPECT_FALSE(actual.highQualityDownsampling);
    EXPECT_EQ(boot.GetReferenceCount(), 2);
    // Only the last stop ends the module.
    boot.Shutdown();
    EXPECT_NE(HwModule::Instance(), nullptr);
    boot.Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
    // An extra stop takes the count below zero; the next start begins afresh at 1.
    boot.Shutdown();
    EXPECT_EQ(boot.GetReferenceCount(), -1);
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Print);
    EXPECT_EQ(boot.GetReferenceCount(), 1);
    boot.Shutdown();

    // The public entry points drive the process-wide instance.
    Startup(print, nullptr);
    EXPECT_EQ(g_RuntimeParameters.mode, RuntimeMode::Print);
    EXPECT_NE(HwModule::Instance(), nullptr);
    Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
}

namespace {

struct OrderListener : LogListener {
    void OnLogMessage(const std::string& text) override {
        received.push_back(text);
        if (throws) throw std::runtime_error("listener failed");
    }
    bool throws = false;
    std::vector<std::string> received;
};

[[noreturn]] void FailingOperation() { GRAPHICS_FAIL("Something broke"); }

}  // namespace

TEST(Log, FailuresAndDelivery) {
    // A failure is logged with function, file and line, then thrown.
    EXPECT_GRAPHICS_FAILURE(FailingOperation(), "FailingOperation", "Something broke");
    {
        GraphicsTest::LogCapture capture;  // the place is this file and a line
        EXPECT_THROW(FailingOperation(), Exception);
        const std::string text = capture.Last();
        ASSERT_NE(text.find("RuntimeTest.cpp, "), std::string::npos) << text;
        EXPECT_GT(std::stoi(text.substr(text.find("RuntimeTest.cpp, ") + 17)), 0) << text;
    }
    auto a = std::make_shared<OrderListener>(), b = std::make_shared<OrderListener>();
    // Delivery goes in the order of the listeners' addresses.
    auto first = a.get() < b.get() ? a : b, second = a.get() < b.get() ? b : a;
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
        EXPECT_EQ(second->received.size(), 2u);
    }
    EXPECT_EQ(second->received.size(), 3u);
    // A stream in a failed state sends nothing; detached listeners get nothing.
    {
        LogMessage m;
        m << "four";
        m.setstate(std::ios::failbit);
    }
    DetachLogListener(a);
    DetachLogListener(b);
    DetachLogListener(b);  // unknown listener: nothing happens
    { LogMessage() << "five"; }
    EXPECT_EQ(a->received.back(), "three");
    EXPECT_EQ(b->received.back(), "three");
}

namespace {
struct Counted : GraphicsBase {
    int values[4] = {1, 2, 3, 4};
};
struct Entry : CacheBase {};
}  // namespace

TEST(ProcessHeap, AllocationsAndFailures) {
    void* p = ProcessHeap::AllocAligned(100, 16);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    ProcessHeap::FreeAligned(p);
    ProcessHeap::Free(nullptr);
    ProcessHeap::FreeAligned(nullptr);
    EXPECT_GRAPHICS_FAILURE(ProcessHeap::Alloc(ULONG_MAX - 64), "Alloc", "Not enough memory");
    EXPECT_GRAPHICS_FAILURE(ProcessHeap::AllocAligned(ULONG_MAX - 64, 16), "AllocAligned", "Not enough memory");
    // Library objects and containers go through the heap; a mismatched
    // new and delete shows under the sanitizers.
    delete new Counted();
    Counted* many = new Counted[3];
    EXPECT_EQ(many[2].values[3], 4);
    delete[] many;
    std::vector<int, Allocator<int>> v(1000, 7);
    EXPECT_EQ(v[999], 7);
}

TEST(CacheHolder, StoreReplaceReleaseAndLock) {
    auto a = std::make_shared<Entry>(), b = std::make_shared<Entry>();
    {
        CacheHolder holder;
        EXPECT_EQ(holder.GetCache(7), nullptr);
        holder.SetCache(7, a);
        holder.SetCache(7, b);
        EXPECT_EQ(holder.GetCache(7), b);
        EXPECT_EQ(a.use_count(), 1);  // replacing released the old entry
        holder.SetCache(7, nullptr);  // an empty entry reads as an unknown token
        EXPECT_EQ(holder.GetCache(7), nullptr);
        holder.SetCache(1, a);
        holder.SetCache(2, b);
        holder.ReleaseAllCaches();
        EXPECT_EQ(holder.GetCache(1), nullptr);
        EXPECT_EQ(b.use_count(), 1);
        holder.SetCache(3, a);
    }
    EXPECT_EQ(a.use_count(), 1);  // entries die with the holder
    const unsigned int t1 = CacheHolder::GenerateUniqueToken();
    EXPECT_EQ(CacheHolder::GenerateUniqueToken(), t1 + 1);

    // The lock is recursive on one thread and excludes the others until the
    // last unlock.
    CacheHolder holder;
    holder.LockCaches();
    holder.LockCaches();
    holder.SetCache(1, a);
    std::atomic<bool> done(false);
    std::thread other([&] {
        holder.GetCache(1);
        done = true;
    });
    holder.UnlockCaches();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(done.load());
    holder.UnlockCaches();
    other.join();
    EXPECT_TRUE(done.load());
}
