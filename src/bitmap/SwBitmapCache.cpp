#include "bitmap/SwBitmapCache.h"

#include "bitmap/SysMemBitmap.h"

namespace Graphics {

unsigned int SwBitmapCache::m_Token = CacheHolder::GenerateUniqueToken();

namespace {

// Holds the source's cache mutex for the whole of one operation, so that two
// threads asking for the same copy make one.
class _CacheLock {
public:
    explicit _CacheLock(const BitmapSource& s) : source(s) { source.LockCaches(); }
    ~_CacheLock() { source.UnlockCaches(); }

private:
    const BitmapSource& source;
};

std::shared_ptr<BitmapBase> _Entry(const BitmapSource& source) {
    auto entry = std::dynamic_pointer_cast<SwBitmapCacheEntry>(source.GetCache(SwBitmapCache::m_Token));
    return entry ? entry->bitmap : std::shared_ptr<BitmapBase>();
}

std::shared_ptr<BitmapBase> _MakeCopy(const std::shared_ptr<BitmapSource>& source, PixelFormat::Enum format) {
    auto copy = std::make_shared<SysMemBitmap>(source->GetSize(), format, source->GetDpiX(), source->GetDpiY());
    copy->CopyFromBitmap(nullptr, source, nullptr);
    source->SetCache(SwBitmapCache::m_Token, std::make_shared<SwBitmapCacheEntry>(copy));
    return copy;
}

}  // namespace

std::shared_ptr<BitmapBase> SwBitmapCache::GetCachedBitmap(std::shared_ptr<BitmapSource> source) {
    _CacheLock lock(*source);
    if (auto bitmap = _Entry(*source)) return bitmap;
    return _MakeCopy(source, source->GetPixelFormat());
}

std::shared_ptr<BitmapBase> SwBitmapCache::SetCachedBitmap(std::shared_ptr<BitmapSource> source,
                                                           std::shared_ptr<BitmapBase> bitmap) {
    _CacheLock lock(*source);
    if (auto existing = _Entry(*source)) return existing;
    source->SetCache(m_Token, std::make_shared<SwBitmapCacheEntry>(bitmap));
    return bitmap;
}

std::shared_ptr<BitmapBase> SwBitmapCache::SetCachedBitmap(std::shared_ptr<BitmapSource> source,
                                                           PixelFormat::Enum format) {
    _CacheLock lock(*source);
    if (auto existing = _Entry(*source)) return existing;
    return _MakeCopy(source, format);
}

void SwBitmapCache::ClearCachedBitmap(std::shared_ptr<BitmapSource> source) {
    _CacheLock lock(*source);
    if (_Entry(*source)) source->SetCache(m_Token, std::shared_ptr<CacheBase>());
}

bool SwBitmapCache::IsCached(std::shared_ptr<BitmapSource> source) {
    _CacheLock lock(*source);
    return static_cast<bool>(_Entry(*source));
}

std::shared_ptr<BitmapBase> DeriveBitmapFromSource(std::shared_ptr<BitmapSource> source) {
    if (!source) return std::shared_ptr<BitmapBase>();
    if (SwBitmapCache::IsCached(source)) return SwBitmapCache::GetCachedBitmap(source);
    // The public wrapper first: it is what callers hand in most, and a cast
    // that fails costs a walk through the class's bases.
    if (auto bitmap = std::dynamic_pointer_cast<Bitmap>(source)) return bitmap->GetImplementation();
    if (auto base = std::dynamic_pointer_cast<BitmapBase>(source)) return base;
    return SwBitmapCache::GetCachedBitmap(source);
}

}  // namespace Graphics
