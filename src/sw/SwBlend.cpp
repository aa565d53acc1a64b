#include "sw/SwBlend.h"

#include <cmath>
#include <cstdlib>

namespace Graphics {

namespace {

// Channel offsets in a pixel in memory order.
const int _Blue = 0;
const int _Green = 1;
const int _Red = 2;

// Runs a per-channel rule over red, green and blue, in that order.
template <int (*Rule)(int cb, int cs)>
void _Separable(const unsigned char* backdrop, const unsigned char* source, unsigned char* result) {
    result[_Red] = static_cast<unsigned char>(Rule(backdrop[_Red], source[_Red]));
    result[_Green] = static_cast<unsigned char>(Rule(backdrop[_Green], source[_Green]));
    result[_Blue] = static_cast<unsigned char>(Rule(backdrop[_Blue], source[_Blue]));
}

int _Normal(int, int cs) { return cs; }

int _Multiply(int cb, int cs) { return cs * cb / 255; }

int _Screen(int cb, int cs) { return cs + cb - cs * cb / 255; }

// Multiplies below the middle, screens above it, switching on the first
// argument: hard light switches on the source, overlay on the backdrop.
int _HardLightChannel(int switching, int other) {
    if (switching >= 128) {
        const int v = 2 * switching - 255;
        return v + other - v * other / 255;
    }
    return 2 * switching * other / 255;
}

int _Overlay(int cb, int cs) { return _HardLightChannel(cb, cs); }

int _HardLight(int cb, int cs) { return _HardLightChannel(cs, cb); }

int _Darken(int cb, int cs) { return cb < cs ? cb : cs; }

int _Lighten(int cb, int cs) { return cb > cs ? cb : cs; }

// Both burn and dodge look at the source alone for their limits, so a white
// backdrop still burns to 0 under a black source, and a black backdrop
// dodges to 255 under a white one.
int _ColorBurn(int cb, int cs) {
    if (cs == 0) return 0;
    const int q = (255 - cb) * 255 / cs;
    return q < 256 ? 255 - q : 0;
}

int _ColorDodge(int cb, int cs) {
    if (cs == 255) return 255;
    const int q = cb * 255 / (255 - cs);
    return q < 256 ? q : 255;
}

// The products can be negative; C++ division truncates toward zero, which is
// the rounding wanted here.
int _SoftLight(int cb, int cs) {
    if (cs >= 128) return (SwBlend::D(static_cast<unsigned char>(cb)) - cb) * (2 * cs - 255) / 255 + cb;
    return cb - ((255 - 2 * cs) * cb * (255 - cb)) / 65025;
}

int _Difference(int cb, int cs) { return std::abs(cb - cs); }

int _Exclusion(int cb, int cs) { return cs + cb - 2 * cb * cs / 255; }

const float _WeightRed = 0.3f;
const float _WeightGreen = 0.59f;
const float _WeightBlue = 0.11f;

const SwBlend::BlendFunc _Table[16] = {
    SwBlend::Normal,     SwBlend::Multiply,  SwBlend::Screen,     SwBlend::Overlay,
    SwBlend::Darken,     SwBlend::Lighten,   SwBlend::ColorBurn,  SwBlend::ColorDodge,
    SwBlend::HardLight,  SwBlend::SoftLight, SwBlend::Difference, SwBlend::Exclusion,
    SwBlend::Hue,        SwBlend::Saturation, SwBlend::ColorBlend, SwBlend::Luminosity,
};

}  // namespace

SwBlend::SwBlend(BlendMode::Enum mode) : function(GetBlendFunc(mode)) {}

void SwBlend::SetMode(BlendMode::Enum mode) { function = GetBlendFunc(mode); }

SwBlend::BlendFunc SwBlend::GetBlendFunc(BlendMode::Enum mode) {
    // Unsigned, so that a negative value falls outside the table as well.
    const unsigned int index = static_cast<unsigned int>(mode);
    return index < 16 ? _Table[index] : Normal;
}

void SwBlend::Normal(const unsigned char* b, const unsigned char* s, unsigned char* r) { _Separable<_Normal>(b, s, r); }

void SwBlend::Compatible(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Normal>(b, s, r);
}

void SwBlend::Multiply(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Multiply>(b, s, r);
}

void SwBlend::Screen(const unsigned char* b, const unsigned char* s, unsigned char* r) { _Separable<_Screen>(b, s, r); }

void SwBlend::Overlay(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Overlay>(b, s, r);
}

void SwBlend::Darken(const unsigned char* b, const unsigned char* s, unsigned char* r) { _Separable<_Darken>(b, s, r); }

void SwBlend::Lighten(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Lighten>(b, s, r);
}

void SwBlend::ColorBurn(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_ColorBurn>(b, s, r);
}

void SwBlend::ColorDodge(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_ColorDodge>(b, s, r);
}

void SwBlend::HardLight(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_HardLight>(b, s, r);
}

void SwBlend::SoftLight(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_SoftLight>(b, s, r);
}

void SwBlend::Difference(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Difference>(b, s, r);
}

void SwBlend::Exclusion(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    _Separable<_Exclusion>(b, s, r);
}

void SwBlend::Hue(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    Color c;
    SetSat(s, Sat(b), c);
    SetLum(c, Lum(b), r);
}

void SwBlend::Saturation(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    Color c;
    SetSat(b, Sat(s), c);
    SetLum(c, Lum(b), r);
}

void SwBlend::ColorBlend(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    Color c;
    RGBColorToColor(s, c);
    SetLum(c, Lum(b), r);
}

void SwBlend::Luminosity(const unsigned char* b, const unsigned char* s, unsigned char* r) {
    Color c;
    RGBColorToColor(b, c);
    SetLum(c, Lum(s), r);
}

int SwBlend::D(unsigned char c) {
    const float x = static_cast<float>(c) / 255.0f;
    int d;
    if (x <= 0.25f)
        d = static_cast<int>(((16.0f * x - 12.0f) * x + 4.0f) * 255.0f * x);
    else
        d = static_cast<int>(std::sqrt(static_cast<double>(x)) * 255.0);
    return d & 0xFF;
}

float SwBlend::Lum(const unsigned char* p) {
    return (p[_Blue] * _WeightBlue + (p[_Green] * _WeightGreen + p[_Red] * _WeightRed)) / 255.0f;
}

float SwBlend::Lum(const Color& c) { return c.b * _WeightBlue + (c.g * _WeightGreen + c.r * _WeightRed); }

float SwBlend::Sat(const unsigned char* p) {
    int mx = p[_Red], mn = p[_Red];
    for (int i = _Blue; i <= _Green; ++i) {
        if (p[i] > mx) mx = p[i];
        if (p[i] < mn) mn = p[i];
    }
    return static_cast<float>(mx - mn) / 255.0f;
}

void SwBlend::GetPosition(Color& c, float** positions) {
    float*& mx = positions[0];
    float*& mid = positions[1];
    float*& mn = positions[2];
    // The comparisons are fixed: they decide which channel counts as the
    // middle one when two are equal.
    if (c.r > c.g) {
        if (c.r > c.b) {
            mx = &c.r;
            if (c.g > c.b) {
                mid = &c.g;
                mn = &c.b;
            } else {
                mid = &c.b;
                mn = &c.g;
            }
        } else {
            mx = &c.b;
            mid = &c.r;
            mn = &c.g;
        }
    } else {
        if (c.g > c.b) {
            mx = &c.g;
            if (c.r >= c.b) {
                mid = &c.r;
                mn = &c.b;
            } else {
                mid = &c.b;
                mn = &c.r;
            }
        } else {
            mx = &c.b;
            mid = &c.g;
            mn = &c.r;
        }
    }
}

void SwBlend::SetSat(const unsigned char* pixel, float s, Color& color) {
    RGBColorToColor(pixel, color);
    float* p[3];
    GetPosition(color, p);
    if (*p[0] > *p[2]) {
        *p[1] = (*p[1] - *p[2]) * s / (*p[0] - *p[2]);
        *p[0] = s;
    } else {
        *p[1] = 0.0f;
        *p[0] = 0.0f;
    }
    // The smallest channel keeps its value on purpose: hue and saturation
    // leave the darkest component where it was.
}

void SwBlend::ClipColor(Color& c) {
    const float m = Lum(c);
    float n = c.r, x = c.r;
    if (c.g < n) n = c.g;
    if (c.b < n) n = c.b;
    if (c.g > x) x = c.g;
    if (c.b > x) x = c.b;
    if (n < 0.0f) {
        c.r = (c.r - m) * m / (m - n) + m;
        c.g = (c.g - m) * m / (m - n) + m;
        c.b = (c.b - m) * m / (m - n) + m;
    }
    if (x > 1.0f) {
        c.r = (c.r - m) * (1.0f - m) / (x - m) + m;
        c.g = (c.g - m) * (1.0f - m) / (x - m) + m;
        c.b = (c.b - m) * (1.0f - m) / (x - m) + m;
    }
}

void SwBlend::SetLum(const Color& color, float l, unsigned char* result) {
    const float d = l - Lum(color);
    Color c(color.r + d, color.g + d, color.b + d, color.a);
    ClipColor(c);
    ColorToRGBColor(c, result);
}

void SwBlend::RGBColorToColor(const unsigned char* pixel, Color& color) {
    color.r = static_cast<float>(pixel[_Red]) / 255.0f;
    color.g = static_cast<float>(pixel[_Green]) / 255.0f;
    color.b = static_cast<float>(pixel[_Blue]) / 255.0f;
}

namespace {

unsigned char _ToByte(float c) {
    if (c > 1.0f) return 255;
    // A grey pushed a hair below zero can leave ClipColor dividing 0 by 0;
    // the NaN that results counts as below 0.
    if (!(c >= 0.0f)) return 0;
    return static_cast<unsigned char>(static_cast<int>(c * 255.0f));
}

}  // namespace

void SwBlend::ColorToRGBColor(const Color& color, unsigned char* pixel) {
    pixel[_Red] = _ToByte(color.r);
    pixel[_Green] = _ToByte(color.g);
    pixel[_Blue] = _ToByte(color.b);
}

}  // namespace Graphics
