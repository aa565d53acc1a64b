#pragma once

#include "Graphics/Bitmap.h"
#include "sw/SwBlend.h"

#include <cstdint>

namespace Graphics {

// The place of an operation in the span pipeline. Operations run by stage,
// ascending; within a stage, in the order in which they were added.
struct OperationStage {
    enum Enum {
        Prepare = 1,      // row pointers and the shape row stand
        ShapeMask = 2,    // the shape row is cut down by shape and clip masks
        SourceColor = 3,  // the source colours stand
        Backdrop = 4,     // the backdrop row pointer stands
        OpacityMask = 5,  // the source colours are cut down by opacity masks
        Composite = 6     // the target rows take the result
    };
};

// What the operations of one pipeline read and write for the current span.
// The row pointers address the span's first pixel; the scratch rows are
// indexed from the span's first pixel as well.
struct OperationContext {
    // One run of pixels on one row with one coverage value.
    struct Params {
        int y = 0;
        int x1 = 0;  // first pixel
        int x2 = 0;  // pixel behind the last
        unsigned char coverage = 0;
    };

    LockedData targetLock;
    uint32_t* targetColor = nullptr;
    unsigned char* targetShape = nullptr;
    unsigned char* targetAlpha = nullptr;
    uint32_t* backdropColor = nullptr;
    unsigned char* sourceShape = nullptr;
    uint32_t* sourceColor = nullptr;
    SwBlend::BlendFunc blendFunction = SwBlend::Normal;
    const Params* params = nullptr;
};

// One stage of the span pipeline. All pixel arithmetic of the compositor is
// integer, eight bits a channel, on 32-bit words laid out as ARGB8p.
class SwOperation {
public:
    explicit SwOperation(OperationStage::Enum stage) : stage(stage) {}
    virtual ~SwOperation() {}
    virtual void operator()(OperationContext& context) = 0;

    int GetStage() const { return stage; }

protected:
    static unsigned char* GetValue(unsigned char* base, int size, int index) { return base + size * index; }
    static uint32_t* GetArgbValue(unsigned char* base, int index) {
        return reinterpret_cast<uint32_t*>(base + 4 * index);
    }
    static unsigned char* GetValue(const LockedData& data, int size, int x, int y) {
        return static_cast<unsigned char*>(data.data) + static_cast<std::ptrdiff_t>(data.stride) * y + size * x;
    }
    static uint32_t* GetArgbValue(const LockedData& data, int x, int y) {
        return reinterpret_cast<uint32_t*>(GetValue(data, 4, x, y));
    }

    // Blends two premultiplied words through the context's blend function:
    // both are unpremultiplied first, and the function writes the three
    // colour bytes of result, leaving its alpha byte alone.
    static void Blend(OperationContext& context, const unsigned char* backdrop, const unsigned char* source,
                      unsigned char* result);

    int stage;

private:
    SwOperation(const SwOperation&) = delete;
    SwOperation& operator=(const SwOperation&) = delete;
};

// Packed helpers shared by the composite operations.
namespace SwPixel {

inline uint32_t Alpha(uint32_t w) { return w >> 24; }

// The union of two alphas. Its rounding is not symmetric: the order of the
// arguments matters.
inline uint32_t Union(uint32_t a, uint32_t b) { return a + b - (((a + 1) * b) >> 8); }

inline uint32_t WithAlpha(uint32_t w, uint32_t alpha) { return (w & 0x00FFFFFFu) | ((alpha & 0xFFu) << 24); }

// Byte order of a word in memory (blue, green, red, alpha), whatever the
// machine's byte order.
inline void ToBytes(uint32_t w, unsigned char* bytes) {
    bytes[0] = static_cast<unsigned char>(w);
    bytes[1] = static_cast<unsigned char>(w >> 8);
    bytes[2] = static_cast<unsigned char>(w >> 16);
    bytes[3] = static_cast<unsigned char>(w >> 24);
}

inline uint32_t FromBytes(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) | (static_cast<uint32_t>(bytes[1]) << 8) |
           (static_cast<uint32_t>(bytes[2]) << 16) | (static_cast<uint32_t>(bytes[3]) << 24);
}

}  // namespace SwPixel

}  // namespace Graphics
