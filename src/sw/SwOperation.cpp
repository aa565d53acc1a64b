#include "sw/SwOperation.h"

namespace Graphics {

namespace {

// Each colour channel c of a premultiplied pixel with alpha a becomes
// (c << 8) / (a + 1), kept to eight bits: a channel above its alpha wraps.
void _Unpremultiply(const unsigned char* in, unsigned char* out) {
    const unsigned int d = static_cast<unsigned int>(in[3]) + 1;
    out[0] = static_cast<unsigned char>((static_cast<unsigned int>(in[0]) << 8) / d);
    out[1] = static_cast<unsigned char>((static_cast<unsigned int>(in[1]) << 8) / d);
    out[2] = static_cast<unsigned char>((static_cast<unsigned int>(in[2]) << 8) / d);
    out[3] = in[3];
}

}  // namespace

void SwOperation::Blend(OperationContext& context, const unsigned char* backdrop, const unsigned char* source,
                        unsigned char* result) {
    unsigned char s[4];
    unsigned char b[4];
    _Unpremultiply(source, s);
    _Unpremultiply(backdrop, b);
    context.blendFunction(b, s, result);
}

}  // namespace Graphics
