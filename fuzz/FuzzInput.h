#pragma once

// Reads a fuzzer's bytes as drawing input; past the end every read is 0.

#include "Graphics/Types.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace FuzzInput {

class Reader {
public:
    Reader(const uint8_t* d, size_t n) : data(d), size(n) {}
    bool Empty() const { return pos >= size; }
    uint8_t Byte() { return pos < size ? data[pos++] : 0; }
    int Pick(int n) { return Byte() % n; }
    // One byte picks a style, so that small, huge and non-finite values all
    // turn up often: mostly small halves, then small fractions, then any bit
    // pattern, NaN and infinities included.
    float Float() {
        const uint8_t style = Byte();
        if (style < 160) return static_cast<float>(static_cast<int8_t>(Byte())) * 0.5f;
        if (style < 184) return static_cast<float>(Byte()) / 64.0f;
        float f = 0.0f;
        uint8_t raw[4] = {Byte(), Byte(), Byte(), Byte()};
        std::memcpy(&f, raw, 4);
        return f;
    }
    Graphics::Point<float> P() {
        // One value at a time: argument evaluation order differs between
        // compilers.
        const float x = Float();
        return Graphics::Point<float>(x, Float());
    }
    uint32_t Word() {
        uint32_t w = 0;
        for (int i = 0; i < 4; ++i) w = (w << 8) | Byte();
        return w;
    }

private:
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
};

}  // namespace FuzzInput
