#include "Graphics/Cache.h"
#include "Graphics/Memory.h"
#include "Graphics/Runtime.h"
#include "LogCapture.h"
#include "core/Bootstrapper.h"
#include "core/Failure.h"
#include "core/HwModule.h"

#include <gtest/gtest.h>
#include <climits>
#include <thread>

using namespace Graphics;

// Huge requests must come back as null so that they can be reported.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

TEST(Bootstrapper, CountsStartsAndKeepsTheFirstSettings) {
    Bootstrapper boot;
    // No hardware factory: Hardware becomes Software; later starts keep the first settings.
    RuntimeParameters hardware, print, actual;
    hardware.highQualityDownsampling = false;
    print.mode = RuntimeMode::Print;
    boot.Startup(hardware, &actual);
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Software);
    EXPECT_FALSE(actual.highQualityDownsampling);
    EXPECT_EQ(boot.GetReferenceCount(), 2);
    boot.Shutdown();  // only the last stop ends the module
    EXPECT_NE(HwModule::Instance(), nullptr);
    boot.Shutdown();
    EXPECT_EQ(HwModule::Instance(), nullptr);
    boot.Shutdown();  // below zero; the next start begins afresh at 1
    boot.Startup(print, &actual);
    EXPECT_EQ(actual.mode, RuntimeMode::Print);
    EXPECT_EQ(boot.GetReferenceCount(), 1);
    boot.Shutdown();
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
struct Counted : GraphicsBase {
    int values[4] = {};
};
struct Entry : CacheBase {};
}  // namespace

TEST(Log, FailuresAndDelivery) {
    EXPECT_GRAPHICS_FAILURE(FailingOperation(), "FailingOperation", "Something broke");
    auto a = std::make_shared<OrderListener>(), b = std::make_shared<OrderListener>();
    auto first = a.get() < b.get() ? a : b, second = a.get() < b.get() ? b : a;
    for (auto& l : {a, b, a}) AttachLogListener(l);  // delivered by address; a second attach changes nothing
    { LogMessage() << "one " << 1; }
    EXPECT_EQ(a->received, std::vector<std::string>{"one 1"});
    EXPECT_EQ(b->received, a->received);
    // A throwing listener stops delivery; the caller sees nothing.
    first->throws = true;
    EXPECT_NO_THROW({ LogMessage() << "two"; });
    EXPECT_EQ(first->received.size(), 2u);
    EXPECT_EQ(second->received.size(), 1u);
    first->throws = false;
    {  // Flush sends now and again at destruction
        LogMessage m;
        m << "three";
        m.Flush();
        EXPECT_EQ(second->received.size(), 2u);
    }
    EXPECT_EQ(second->received.size(), 3u);
    LogMessage().setstate(std::ios::failbit);  // a failed stream sends nothing
    DetachLogListener(a);
    DetachLogListener(b);
    { LogMessage() << "five"; }
    EXPECT_EQ(a->received.back(), "three");
    EXPECT_EQ(b->received.back(), "three");
}

TEST(ProcessHeap, AllocationsAndFailures) {
    void* p = ProcessHeap::AllocAligned(100, 16);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    ProcessHeap::FreeAligned(p);
    EXPECT_GRAPHICS_FAILURE(ProcessHeap::Alloc(ULONG_MAX - 64), "Alloc", "Not enough memory");
    EXPECT_GRAPHICS_FAILURE(ProcessHeap::AllocAligned(ULONG_MAX - 64, 16), "AllocAligned", "Not enough memory");
    delete[] new Counted[3];  // a mismatched new and delete shows under the sanitizers
    std::vector<int, Allocator<int>> v(1000, 7);
    EXPECT_EQ(v[999], 7);
}

TEST(CacheHolder, StoreReplaceReleaseAndLock) {
    auto a = std::make_shared<Entry>(), b = std::make_shared<Entry>();
    {
        CacheHolder holder;
        holder.SetCache(7, a);
        holder.SetCache(7, b);
        EXPECT_EQ(holder.GetCache(7), b);
        EXPECT_EQ(a.use_count(), 1);  // replacing released the old entry
        holder.SetCache(1, a);
        holder.ReleaseAllCaches();
        EXPECT_EQ(holder.GetCache(1), nullptr);
        EXPECT_EQ(b.use_count(), 1);
        holder.SetCache(3, a);
    }
    EXPECT_EQ(a.use_count(), 1);  // entries die with the holder

    // The lock is recursive, and free to another thread after the last unlock.
    CacheHolder holder;
    for (int i = 0; i < 2; ++i) holder.LockCaches();
    holder.SetCache(1, a);
    for (int i = 0; i < 2; ++i) holder.UnlockCaches();
    std::thread([&] { EXPECT_EQ(holder.GetCache(1), a); }).join();
}
