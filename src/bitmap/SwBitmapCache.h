#pragma once

#include "Graphics/Bitmap.h"

namespace Graphics {

class SwBitmapCacheEntry : public CacheBase {
public:
    explicit SwBitmapCacheEntry(std::shared_ptr<BitmapBase> b) : bitmap(std::move(b)) {}
    std::shared_ptr<BitmapBase> bitmap;
};

// The software back end's lockable copy of a source, kept in the source's
// caches so that NotifyChange drops it. Every operation runs under the
// source's cache mutex.
class SwBitmapCache {
public:
    static std::shared_ptr<BitmapBase> GetCachedBitmap(std::shared_ptr<BitmapSource> source);
    static std::shared_ptr<BitmapBase> SetCachedBitmap(std::shared_ptr<BitmapSource> source,
                                                       std::shared_ptr<BitmapBase> bitmap);
    static std::shared_ptr<BitmapBase> SetCachedBitmap(std::shared_ptr<BitmapSource> source,
                                                       PixelFormat::Enum format);
    static void ClearCachedBitmap(std::shared_ptr<BitmapSource> source);
    static bool IsCached(std::shared_ptr<BitmapSource> source);

    static unsigned int m_Token;
};

}  // namespace Graphics
