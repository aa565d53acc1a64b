#include "Graphics/Cache.h"

namespace Graphics {

namespace {
// Read and incremented without a lock: tokens are taken at load time and when
// a GL bitmap cache is made, never concurrently.
unsigned int s_NextToken = 0;
}  // namespace

CacheHolder::CacheHolder() = default;

CacheHolder::~CacheHolder() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    caches.clear();
}

unsigned int CacheHolder::GenerateUniqueToken() { return s_NextToken++; }

void CacheHolder::SetCache(unsigned int token, std::shared_ptr<CacheBase> cache) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    caches[token] = std::move(cache);
}

std::shared_ptr<CacheBase> CacheHolder::GetCache(unsigned int token) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    auto it = caches.find(token);
    if (it == caches.end()) return std::shared_ptr<CacheBase>();
    return it->second;
}

void CacheHolder::LockCaches() const { mutex.lock(); }

void CacheHolder::UnlockCaches() const { mutex.unlock(); }

void CacheHolder::ReleaseAllCaches() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    caches.clear();
}

}  // namespace Graphics
