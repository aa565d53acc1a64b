#pragma once

#include "Graphics/Bitmap.h"

namespace Graphics {

typedef void (*PaletteConvertProc)(const void* source, std::shared_ptr<Palette> palette, void* destination,
                                   int count);

// Reads a source in another format, row by row; indexed sources expand
// through their palette to ARGB8 first.
class PixelFormatConverter : public BitmapSource {
public:
    PixelFormatConverter(std::shared_ptr<BitmapSource> source, PixelFormat::Enum target);

    PixelFormat::Enum GetPixelFormat() const override { return targetFormat; }
    Size<int> GetSize() const override { return source->GetSize(); }
    float GetDpiX() const override { return source->GetDpiX(); }
    float GetDpiY() const override { return source->GetDpiY(); }
    std::shared_ptr<Palette> GetPalette() const override { return source->GetPalette(); }
    // maxRowBytes is ignored.
    void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) override;

    void CopyFromBitmapToMemory(const Rect<int>* rect, void* destination, int stride) const;
    void CopyFromBitmapSourceToMemory(const Rect<int>* rect, void* destination, int stride) const;
    void CopyFromBitmapToMemoryP(const Rect<int>* rect, void* destination, int stride) const;
    void CopyFromBitmapSourceToMemoryP(const Rect<int>* rect, void* destination, int stride) const;

    static PaletteConvertProc SelectConvertProc(PixelFormat::Enum format);
    static void Convert_P1_ARGB8(const void* source, std::shared_ptr<Palette> palette, void* destination, int count);
    static void Convert_P8_ARGB8(const void* source, std::shared_ptr<Palette> palette, void* destination, int count);

private:
    std::shared_ptr<BitmapSource> source;
    PixelFormat::Enum sourceFormat;
    PixelFormat::Enum targetFormat;
    std::shared_ptr<BitmapBase> bitmap;
};

}  // namespace Graphics
