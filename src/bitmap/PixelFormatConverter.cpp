#include "bitmap/PixelFormatConverter.h"

#include "bitmap/PixelBuffer.h"
#include "bitmap/PixelConversion.h"

#include <cstring>

namespace Graphics {

namespace {

typedef unsigned char Byte;

// What an index without a colour reads as: a missing palette or an index
// past its end. Opaque black, since indexed formats carry no alpha.
const unsigned int s_MissingColor = 0xFF000000u;

inline void _Store32(Byte* d, unsigned int v) {
    d[0] = static_cast<Byte>(v);
    d[1] = static_cast<Byte>(v >> 8);
    d[2] = static_cast<Byte>(v >> 16);
    d[3] = static_cast<Byte>(v >> 24);
}

inline unsigned int _Lookup(const Palette* palette, unsigned long colors, unsigned long index) {
    return index < colors ? palette->GetColor(index) : s_MissingColor;
}

inline Byte* _Row(void* base, long stride, int y) { return static_cast<Byte*>(base) + stride * y; }

// Width and height of the requested block.
inline void _Extent(const Rect<int>* rect, const Size<int>& size, int& w, int& h) {
    w = rect ? rect->right - rect->left : size.width;
    h = rect ? rect->bottom - rect->top : size.height;
}

// Pixels written per destination row. The row width is the request's, whatever
// the caller's row limit; only a limit that can't hold the row cuts it, so
// that a target clipped at its right edge is not written past.
inline int _PixelsPerRow(int w, PixelFormat::Enum target, int maxRowBytes) {
    const int bits = PixelFormat::GetBitsPerPixel(target);
    if (bits <= 0 || maxRowBytes <= 0) return w;
    const long needed = (static_cast<long>(w) * bits + 7) / 8;
    if (maxRowBytes >= needed) return w;
    return static_cast<int>(static_cast<long>(maxRowBytes) * 8 / bits);
}

// Whether a lock of `rect` reads only pixels of a bitmap of `size`.
inline bool _Inside(const Rect<int>* rect, const Size<int>& size) {
    if (!rect) return true;
    return rect->left >= 0 && rect->top >= 0 && rect->right <= size.width && rect->bottom <= size.height;
}

// A one-row buffer, cleared so that a source that fills less than the row
// still hands out defined pixels.
inline void _Clear(PixelBuffer& buffer) {
    if (buffer.data) std::memset(buffer.data, 0, static_cast<size_t>(buffer.stride) + 1);
}

}  // namespace

PixelFormatConverter::PixelFormatConverter(std::shared_ptr<BitmapSource> s, PixelFormat::Enum target)
    : source(std::move(s)), sourceFormat(source ? source->GetPixelFormat() : target), targetFormat(target) {
    bitmap = std::dynamic_pointer_cast<BitmapBase>(source);
    if (!bitmap) {
        if (auto wrapper = std::dynamic_pointer_cast<Bitmap>(source)) bitmap = wrapper->GetImplementation();
    }
}

void PixelFormatConverter::CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) {
    if (!source || !destination) return;
    int w, h;
    _Extent(rect, source->GetSize(), w, h);
    if (w <= 0 || h <= 0) return;
    const int pixels = _PixelsPerRow(w, targetFormat, maxRowBytes);
    if (pixels <= 0) return;
    // The block is narrowed only when the rows can't hold it.
    Rect<int> narrow;
    if (pixels < w) {
        narrow = rect ? *rect : Rect<int>(0, 0, w, h);
        narrow.right = narrow.left + pixels;
        rect = &narrow;
    }
    // A block that reaches outside the bitmap is read through the source's
    // own clipped CopyToMemory: a lock would point outside the pixels.
    const bool direct = bitmap && _Inside(rect, bitmap->GetSize());
    if (PixelFormat::IsIndexed(sourceFormat)) {
        if (direct)
            CopyFromBitmapToMemoryP(rect, destination, stride);
        else
            CopyFromBitmapSourceToMemoryP(rect, destination, stride);
    } else if (direct) {
        CopyFromBitmapToMemory(rect, destination, stride);
    } else {
        CopyFromBitmapSourceToMemory(rect, destination, stride);
    }
}

// Converts straight out of the locked pixels. A failing row leaves the rows
// before it written and the lock taken, as the failure leaves the call.
void PixelFormatConverter::CopyFromBitmapToMemory(const Rect<int>* rect, void* destination, int stride) const {
    if (!bitmap || !destination) return;
    int w, h;
    _Extent(rect, bitmap->GetSize(), w, h);
    if (w <= 0 || h <= 0) return;
    if (!_Inside(rect, bitmap->GetSize())) {
        CopyFromBitmapSourceToMemory(rect, destination, stride);
        return;
    }
    PixelConverter converter(sourceFormat, targetFormat);
    LockedData lock = bitmap->Lock(rect, LockMode::Read);
    for (int y = 0; y < h; ++y)
        converter.Convert(_Row(lock.data, lock.stride, y), _Row(destination, stride, y), w);
    bitmap->Unlock();
}

void PixelFormatConverter::CopyFromBitmapSourceToMemory(const Rect<int>* rect, void* destination, int stride) const {
    if (!source || !destination) return;
    int w, h;
    _Extent(rect, source->GetSize(), w, h);
    if (w <= 0 || h <= 0) return;
    PixelConverter converter(sourceFormat, targetFormat);
    PixelBuffer row(Size<int>(w, 1), sourceFormat);
    _Clear(row);
    Rect<int> rowRect = rect ? Rect<int>(rect->left, rect->top, rect->left + w, rect->top + 1) : Rect<int>(0, 0, w, 1);
    for (int y = 0; y < h; ++y) {
        source->CopyToMemory(&rowRect, row.GetPointer(), row.stride, row.stride);
        converter.Convert(row.GetPointer(), _Row(destination, stride, y), w);
        rowRect.top += 1;
        rowRect.bottom += 1;
    }
}

void PixelFormatConverter::CopyFromBitmapToMemoryP(const Rect<int>* rect, void* destination, int stride) const {
    if (!bitmap || !destination) return;
    int w, h;
    _Extent(rect, bitmap->GetSize(), w, h);
    if (w <= 0 || h <= 0) return;
    if (!_Inside(rect, bitmap->GetSize())) {
        CopyFromBitmapSourceToMemoryP(rect, destination, stride);
        return;
    }
    std::shared_ptr<Palette> palette = source->GetPalette();
    PaletteConvertProc expand = SelectConvertProc(sourceFormat);
    if (!expand) return;
    PixelConverter converter(PixelFormat::ARGB8, targetFormat);
    PixelBuffer colors(Size<int>(w, 1), PixelFormat::ARGB8);
    LockedData lock = bitmap->Lock(rect, LockMode::Read);
    for (int y = 0; y < h; ++y) {
        expand(_Row(lock.data, lock.stride, y), palette, colors.GetPointer(), w);
        converter.Convert(colors.GetPointer(), _Row(destination, stride, y), w);
    }
    bitmap->Unlock();
}

void PixelFormatConverter::CopyFromBitmapSourceToMemoryP(const Rect<int>* rect, void* destination,
                                                         int stride) const {
    if (!source || !destination) return;
    int w, h;
    _Extent(rect, source->GetSize(), w, h);
    if (w <= 0 || h <= 0) return;
    std::shared_ptr<Palette> palette = source->GetPalette();
    PaletteConvertProc expand = SelectConvertProc(sourceFormat);
    if (!expand) return;
    PixelConverter converter(PixelFormat::ARGB8, targetFormat);
    PixelBuffer indices(Size<int>(w, 1), sourceFormat);
    _Clear(indices);
    PixelBuffer colors(Size<int>(w, 1), PixelFormat::ARGB8);
    Rect<int> rowRect = rect ? Rect<int>(rect->left, rect->top, rect->left + w, rect->top + 1) : Rect<int>(0, 0, w, 1);
    for (int y = 0; y < h; ++y) {
        source->CopyToMemory(&rowRect, indices.GetPointer(), indices.stride, indices.stride);
        expand(indices.GetPointer(), palette, colors.GetPointer(), w);
        converter.Convert(colors.GetPointer(), _Row(destination, stride, y), w);
        rowRect.top += 1;
        rowRect.bottom += 1;
    }
}

PaletteConvertProc PixelFormatConverter::SelectConvertProc(PixelFormat::Enum format) {
    switch (format) {
        case PixelFormat::P1:
            return &PixelFormatConverter::Convert_P1_ARGB8;
        case PixelFormat::P8:
            return &PixelFormatConverter::Convert_P8_ARGB8;
        default:
            return nullptr;
    }
}

void PixelFormatConverter::Convert_P1_ARGB8(const void* source, std::shared_ptr<Palette> palette, void* destination,
                                            int count) {
    if (count < 1 || !source || !destination) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    const Palette* p = palette.get();
    const unsigned long colors = p ? p->GetCount() : 0;
    const unsigned int color[2] = {_Lookup(p, colors, 0), _Lookup(p, colors, 1)};
    unsigned int bits = 0;
    for (int i = 0; i < count; ++i) {
        if ((i & 7) == 0) bits = s[i >> 3];
        _Store32(d + 4L * i, color[(bits >> (7 - (i & 7))) & 1u]);
    }
}

void PixelFormatConverter::Convert_P8_ARGB8(const void* source, std::shared_ptr<Palette> palette, void* destination,
                                            int count) {
    if (count < 1 || !source || !destination) return;
    const Byte* s = static_cast<const Byte*>(source);
    Byte* d = static_cast<Byte*>(destination);
    const Palette* p = palette.get();
    const unsigned long colors = p ? p->GetCount() : 0;
    for (int i = 0; i < count; ++i) _Store32(d + 4L * i, _Lookup(p, colors, s[i]));
}

}  // namespace Graphics
