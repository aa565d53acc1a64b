#include "Graphics/Bitmap.h"

#include "bitmap/PixelBuffer.h"
#include "bitmap/PixelFormatConverter.h"
#include "bitmap/SolidColorBitmapSource.h"

#include <algorithm>
#include <cstring>

namespace Graphics {

namespace {

// Rows that a lock starting at row `top` may touch without leaving the
// bitmap. Row counts are taken from the caller's rectangle as given; this
// bound only keeps a rectangle that reaches past the bitmap from reading or
// writing outside its memory.
int _RowsAvailable(const Size<int>& size, int top) {
    if (top < 0 || top >= size.height) return 0;
    return size.height - top;
}

void _CopyRows(const unsigned char* source, int sourceStride, unsigned char* destination, int destinationStride,
               int bytes, int rows) {
    if (bytes <= 0) return;
    for (int y = 0; y < rows; ++y) {
        std::memcpy(destination, source, static_cast<size_t>(bytes));
        source += sourceStride;
        destination += destinationStride;
    }
}

}  // namespace

BitmapBase::BitmapBase(const Size<int>& s, PixelFormat::Enum f, float x, float y)
    : size(s), format(f), dpiX(x), dpiY(y) {}

void BitmapBase::CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) {
    int rows = rect ? rect->bottom - rect->top : size.height;
    Rect<int> r(0, 0, size.width, size.height);
    if (rect) {
        if (rect->left >= size.width || rect->top >= size.height || rect->right <= 0 || rect->bottom <= 0) {
            r = Rect<int>(0, 0, 0, 0);
        } else {
            r = Rect<int>(std::max(rect->left, 0), std::max(rect->top, 0), std::min(rect->right, size.width),
                          std::min(rect->bottom, size.height));
        }
    }
    LockedData lock = Lock(&r, LockMode::Read);
    const int bytes = std::min(lock.rowBytes, maxRowBytes);
    rows = std::min(rows, _RowsAvailable(size, r.top));
    _CopyRows(static_cast<const unsigned char*>(lock.data), lock.stride, static_cast<unsigned char*>(destination),
              stride, bytes, rows);
    Unlock();
}

void BitmapBase::CopyFromMemory(const Rect<int>* rect, const void* source, int stride, int maxRowBytes) {
    int rows = rect ? rect->bottom - rect->top : size.height;
    if (rect && (rect->left < 0 || rect->left >= size.width)) return;  // would lock outside the pixels
    const int top = rect ? rect->top : 0;
    rows = std::min(rows, _RowsAvailable(size, top));
    if (rows < 1) return;
    LockedData lock = Lock(rect, LockMode::Write);
    const int bytes = std::min(lock.rowBytes, maxRowBytes);
    _CopyRows(static_cast<const unsigned char*>(source), stride, static_cast<unsigned char*>(lock.data), lock.stride,
              bytes, rows);
    Unlock();
}

void BitmapBase::CopyFromBitmap(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                                const Rect<int>* sourceRect) {
    if (!source) return;
    if (source->GetPixelFormat() == format) {
        CopyWithSameFormat(destination, source, sourceRect);
    } else {
        CopyWithSameFormat(destination, std::make_shared<PixelFormatConverter>(source, format), sourceRect);
    }
}

void BitmapBase::CopyWithSameFormat(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                                    const Rect<int>* sourceRect) {
    if (!source) return;
    if (sourceRect && (sourceRect->left == sourceRect->right || sourceRect->top == sourceRect->bottom)) return;
    const Point<int> at = destination ? *destination : Point<int>(0, 0);
    Size<int> extent = source->GetSize();
    if (sourceRect) extent = Size<int>(sourceRect->Width(), sourceRect->Height());

    const long right = static_cast<long>(at.x) + extent.width;
    const long bottom = static_cast<long>(at.y) + extent.height;
    Rect<int> target(0, 0, 0, 0);
    if (at.x < size.width && at.y < size.height && right > 0 && bottom > 0) {
        target = Rect<int>(std::max(at.x, 0), std::max(at.y, 0), static_cast<int>(std::min<long>(right, size.width)),
                           static_cast<int>(std::min<long>(bottom, size.height)));
    }

    LockedData lock = Lock(&target, LockMode::Write);
    // The source writes as many rows as its rectangle holds, even where the
    // target was clipped at the bottom. When those rows would run past the
    // bitmap they go through a scratch block, and only the rows that fit land.
    const int available = _RowsAvailable(size, target.top);
    if (extent.height <= available) {
        source->CopyToMemory(sourceRect, lock.data, lock.stride, lock.rowBytes);
    } else if (available > 0 && extent.height > 0 && lock.rowBytes > 0) {
        PixelBuffer scratch(Size<int>(1, extent.height), static_cast<unsigned int>(lock.stride * 8 > 0 ? lock.stride * 8 : 8));
        source->CopyToMemory(sourceRect, scratch.GetPointer(), scratch.stride, lock.rowBytes);
        _CopyRows(scratch.GetPointer(), scratch.stride, static_cast<unsigned char*>(lock.data), lock.stride,
                  lock.rowBytes, available);
    }
    Unlock();
}

void BitmapBase::ColorFill(const Rect<int>* rect, const Color& color) {
    auto source = std::make_shared<SolidColorBitmapSource>(GetSize(), GetPixelFormat(), color);
    if (rect) {
        const Point<int> at(rect->left, rect->top);
        CopyFromBitmap(&at, source, rect);
    } else {
        CopyFromBitmap(nullptr, source, nullptr);
    }
}

void BitmapBase::CopyLockedDataInternal(const LockedData& source, const LockedData& destination, int rows) {
    const int bytes = std::min(source.rowBytes, destination.rowBytes);
    _CopyRows(static_cast<const unsigned char*>(source.data), source.stride,
              static_cast<unsigned char*>(destination.data), destination.stride, bytes, rows);
}

}  // namespace Graphics
