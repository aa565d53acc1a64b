#pragma once

#include <memory>

#include "Graphics/Types.h"

namespace Graphics {

class GradientSampler;
class RadialGradient;

// Solves the two-circle gradient per pixel. A point lies on the circle of
// parameter t (centre c0 + t (c1 - c0), radius r0 + t dr) when, divided
// through by dr = r1 - r0 and with u = (p - c0) / dr,
//     A t^2 + B t + C = 0,  A = a^2 + b^2 - 1,
//     B = 2 (a u.x + b u.y - c),  C = u.x^2 + u.y^2 - c^2,
// with (a, b) = (c0 - c1) / dr and c = r0 / dr. Of the two roots, the first
// one (-B + sqrt(D)) / 2A is taken when it lies within 0..1, else the other;
// the sign of the radius at t plays no part. Pixels with no real root get 0.
class RadialGradientFiller {
public:
    RadialGradientFiller(std::shared_ptr<RadialGradient> gradient, const Matrix& gradientToSurface, float opacity);

    // Same contract as SwColorSource::FillSpan.
    void FillSpan(int x0, int x1, int y, unsigned char* destination) const;

    // Surface pixels to u.
    const Matrix& GetMatrix() const { return m_Matrix; }
    float GetRadiusDelta() const { return m_RadiusDelta; }
    unsigned int GetOpacityWeight() const { return m_Opacity; }
    unsigned int GetStartColor() const { return m_StartColor; }  // ARGB8p
    unsigned int GetEndColor() const { return m_EndColor; }      // ARGB8p

private:
    Matrix m_Matrix;
    float m_RadiusDelta = 0.0f;
    float m_A = 0.0f;
    float m_B = 0.0f;
    float m_C = 0.0f;
    float m_CSquared = 0.0f;
    float m_FourA = 0.0f;
    float m_InverseTwoA = 0.0f;
    float m_BStep = 0.0f;  // change of B from one pixel to the next
    unsigned int m_StartColor = 0;
    unsigned int m_EndColor = 0;
    std::shared_ptr<GradientSampler> m_Sampler;
    unsigned int m_Opacity = 256;
};

}  // namespace Graphics
