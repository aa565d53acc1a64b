#pragma once

#include "Graphics/Types.h"

namespace Graphics {

// The sixteen blend functions of the transparency model, on one pixel of
// unpremultiplied colour, eight bits a channel. Every pointer addresses a
// pixel in memory order blue (byte 0), green (1), red (2), alpha (3). The
// functions read and write bytes 0 to 2 only: alpha is the caller's business,
// and byte 3 of the result is left as it was. There are no lookup tables and
// no state, so every function may be called from any thread.
class SwBlend {
public:
    typedef void (*BlendFunc)(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);

    explicit SwBlend(BlendMode::Enum mode);
    void SetMode(BlendMode::Enum mode);
    BlendFunc GetFunction() const { return function; }

    // The function of a mode; anything outside 0 to 15 blends as Normal.
    static BlendFunc GetBlendFunc(BlendMode::Enum mode);

    static void Normal(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    // Another name for Normal, kept outside the table.
    static void Compatible(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Multiply(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Screen(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Overlay(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Darken(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Lighten(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void ColorBurn(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void ColorDodge(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void HardLight(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void SoftLight(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Difference(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Exclusion(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Hue(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Saturation(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void ColorBlend(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);
    static void Luminosity(const unsigned char* backdrop, const unsigned char* source, unsigned char* result);

    // The auxiliary curve of soft light on a byte, 0 to 255.
    static int D(unsigned char c);
    // Luminosity of a byte pixel, 0 to 1.
    static float Lum(const unsigned char* pixel);
    // Luminosity of a colour whose channels are already 0 to 1.
    static float Lum(const Color& color);
    // Spread of a byte pixel's channels, 0 to 1.
    static float Sat(const unsigned char* pixel);
    // The pixel as floats, with its middle and largest channel stretched so
    // that the spread becomes s. The smallest channel keeps its value.
    static void SetSat(const unsigned char* pixel, float s, Color& color);
    // The colour moved to luminosity l, brought back into 0 to 1, stored as
    // bytes (blue, green, red).
    static void SetLum(const Color& color, float l, unsigned char* result);
    static void ClipColor(Color& color);
    static void RGBColorToColor(const unsigned char* pixel, Color& color);
    static void ColorToRGBColor(const Color& color, unsigned char* pixel);
    // Points positions[0], [1], [2] at the largest, middle and smallest of
    // the colour's red, green and blue.
    static void GetPosition(Color& color, float** positions);

private:
    BlendFunc function;
};

}  // namespace Graphics
