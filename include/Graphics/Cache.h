#pragma once

#include <map>
#include <memory>
#include <mutex>

namespace Graphics {

// What a back end keeps in a source's cache derives from this.
class CacheBase {
public:
    virtual ~CacheBase() = default;
};

// A small store of derived data (a converted copy, a texture) kept by a
// source under tokens, one per back end, and dropped whole when the source
// changes. An entry holding an empty pointer reads as an absent token.
class CacheHolder {
public:
    CacheHolder();
    ~CacheHolder();
    CacheHolder(const CacheHolder&) = delete;
    CacheHolder& operator=(const CacheHolder&) = delete;

    // Process-wide counter from 0; a token is never given back.
    static unsigned int GenerateUniqueToken();

    void SetCache(unsigned int token, std::shared_ptr<CacheBase> cache);
    std::shared_ptr<CacheBase> GetCache(unsigned int token) const;

    // Brackets a test and a store into one step. The mutex is recursive.
    void LockCaches() const;
    void UnlockCaches() const;

    void ReleaseAllCaches();

private:
    std::map<unsigned int, std::shared_ptr<CacheBase>> caches;
    mutable std::recursive_mutex mutex;
};

}  // namespace Graphics
