#pragma once

#include "Graphics/Bitmap.h"

namespace Graphics {

// Row routines: `count` pixels from the start of `source` into the start of
// `destination`; a count below 1 does nothing. One-bit rows start at the top
// bit of their first byte, and only the bits of the `count` pixels change.
typedef void (*ConvertProc)(const void* source, void* destination, int count);

struct PixelConversion {
    // The routine for a pair of formats. A pair without conversion yields a
    // routine that raises "Bad format conversion" when called; formats
    // outside 1..10 yield null.
    static ConvertProc Select(PixelFormat::Enum from, PixelFormat::Enum to);

    static void ThrowBadConversion(const void* source, void* destination, int count);

    static void Convert_ARGB8_ARGB8(const void* s, void* d, int count);
    static void Convert_ARGB8_ARGB8p(const void* s, void* d, int count);
    static void Convert_ARGB8_XRGB8(const void* s, void* d, int count);
    static void Convert_XRGB8_RGB8(const void* s, void* d, int count);
    static void Convert_ARGB8_A8(const void* s, void* d, int count);
    static void Convert_XRGB8_L8(const void* s, void* d, int count);
    static void Convert_ARGB8_A1(const void* s, void* d, int count);
    static void Convert_RGB8_XRGB8(const void* s, void* d, int count);
    static void Convert_RGB8_L8(const void* s, void* d, int count);
    static void Convert_ARGB8p_ARGB8(const void* s, void* d, int count);
    static void Convert_ARGB8p_XRGB8(const void* s, void* d, int count);
    static void Convert_ARGB8p_RGB8(const void* s, void* d, int count);
    static void Convert_ARGB8p_L8(const void* s, void* d, int count);
    static void Convert_ARGB8p_L1(const void* s, void* d, int count);
    static void Convert_XRGB8_ARGB8(const void* s, void* d, int count);
    static void Convert_XRGB8_L1(const void* s, void* d, int count);
    static void Convert_A8_ARGB8(const void* s, void* d, int count);
    static void Convert_A8_ARGB8p(const void* s, void* d, int count);
    static void Convert_L8_XRGB8(const void* s, void* d, int count);
    static void Convert_A8_A1(const void* s, void* d, int count);
    static void Convert_L8_P8(const void* s, void* d, int count);
    static void Convert_A1_ARGB8p(const void* s, void* d, int count);
    static void Convert_A1_ARGB8(const void* s, void* d, int count);
    static void Convert_L1_XRGB8(const void* s, void* d, int count);
    static void Convert_A1_A8(const void* s, void* d, int count);
    static void Convert_A1_P1(const void* s, void* d, int count);
};

class PixelConverter {
public:
    PixelConverter(PixelFormat::Enum from, PixelFormat::Enum to) : proc(SelectConvertProc(from, to)) {}
    static ConvertProc SelectConvertProc(PixelFormat::Enum from, PixelFormat::Enum to) {
        return PixelConversion::Select(from, to);
    }
    // Does nothing when no routine was selected.
    void Convert(const void* source, void* destination, int count) const {
        if (proc) proc(source, destination, count);
    }

private:
    ConvertProc proc;
};

}  // namespace Graphics
