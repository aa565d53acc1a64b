#include "sw/RadialGradientFiller.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "Graphics/Gradient.h"
#include "paint/GradientStopLookup.h"
#include "sw/SwGradientColorSource.h"

namespace Graphics {

RadialGradientFiller::RadialGradientFiller(std::shared_ptr<RadialGradient> gradient,
                                           const Matrix& gradientToSurface, float opacity) {
    // Without a gradient the radius delta stays 0 and nothing is painted.
    if (!gradient) return;

    m_Sampler = std::make_shared<GradientSampler>(gradient);
    m_Opacity = SwGradientColorSource::OpacityWeight(opacity);
    if (gradient->IsExtendStart())
        m_StartColor = SwGradientColorSource::ApplyWeight(m_Sampler->GetColor(0.0f), m_Opacity);
    if (gradient->IsExtendEnd())
        m_EndColor = SwGradientColorSource::ApplyWeight(m_Sampler->GetColor(1.0f), m_Opacity);

    // Circles of equal radii have no division by dr: such a gradient paints
    // nothing at all, whatever its centres and extend flags.
    m_RadiusDelta = gradient->GetEndRadius() - gradient->GetStartRadius();
    if (m_RadiusDelta == 0.0f) return;

    const Point<float>& c0 = gradient->GetStartPoint();
    const Point<float>& c1 = gradient->GetEndPoint();
    const float k = 1.0f / m_RadiusDelta;
    m_A = (c0.x - c1.x) * k;
    m_B = (c0.y - c1.y) * k;
    m_C = gradient->GetStartRadius() * k;
    m_CSquared = m_C * m_C;

    const float q = m_B * m_B + m_A * m_A - 1.0f;
    m_FourA = 4.0f * q;
    m_InverseTwoA = 1.0f / (q + q);

    const Matrix toStart(1.0f, 0.0f, 0.0f, 1.0f, -c0.x, -c0.y);
    const Matrix scale(k, 0.0f, 0.0f, k, 0.0f, 0.0f);
    m_Matrix = Matrix::Multiply(Matrix::Multiply(gradientToSurface.Inverse(), toStart), scale);
    m_BStep = 2.0f * (m_A * m_Matrix.m11 + m_B * m_Matrix.m12);
}

void RadialGradientFiller::FillSpan(int x0, int x1, int y, unsigned char* destination) const {
    if (x1 <= x0) return;
    const size_t count = static_cast<size_t>(static_cast<long long>(x1) - x0);
    if (m_RadiusDelta == 0.0f) {
        std::memset(destination, 0, count * sizeof(uint32_t));
        return;
    }

    GradientStopLookup lookup(*m_Sampler);
    const uint32_t startColor = m_StartColor;
    const uint32_t endColor = m_EndColor;
    const unsigned int weight = m_Opacity;
    const float a = m_A;
    const float b = m_B;
    const float cSquared = m_CSquared;
    const float fourA = m_FourA;
    const float inverseTwoA = m_InverseTwoA;
    const double inverseTwoAWide = m_InverseTwoA;
    const float bStep = m_BStep;
    const float stepX = m_Matrix.m11;
    const float stepY = m_Matrix.m12;

    // Integer pixel coordinates, no half-pixel offset. u and B are carried
    // along the span by addition.
    const float fx = static_cast<float>(x0);
    const float fy = static_cast<float>(y);
    float ux = (m_Matrix.m21 * fy + m_Matrix.m11 * fx) + m_Matrix.dx;
    float uy = (fy * m_Matrix.m22 + fx * m_Matrix.m12) + m_Matrix.dy;
    float bCoefficient = 2.0f * ((a * ux + b * uy) - m_C);

    // The parameters are solved a chunk at a time, and the chunk is shaded
    // in one pass; pixels that no circle passes through are cleared after.
    constexpr size_t kChunk = 64;
    float parameters[kChunk];
    bool covered[kChunk];
    uint32_t colors[kChunk];
    for (size_t done = 0; done < count;) {
        const size_t n = std::min(kChunk, count - done);
        bool anyUncovered = false;
        for (size_t i = 0; i < n; ++i) {
            const float c = (uy * uy + ux * ux) - cSquared;
            bool hit = true;
            float t1, t2;
            if (fourA == 0.0f) {
                // One circle touches the cone: the equation is linear. B of 0
                // gives no finite t; the stop lookup still answers safely.
                t1 = t2 = -c / bCoefficient;
            } else {
                const float d = bCoefficient * bCoefficient - fourA * c;
                if (d > 0.0f) {
                    const double r = std::sqrt(static_cast<double>(d));
                    const double minusB = -static_cast<double>(bCoefficient);
                    t1 = static_cast<float>((minusB + r) * inverseTwoAWide);
                    t2 = static_cast<float>((minusB - r) * inverseTwoAWide);
                } else if (d == 0.0f) {
                    t1 = t2 = -(inverseTwoA * bCoefficient);
                } else {
                    // Below 0, or not a number from a singular matrix.
                    hit = false;
                    t1 = t2 = 0.0f;
                }
            }
            parameters[i] = (t1 >= 0.0f && t1 <= 1.0f) ? t1 : t2;
            covered[i] = hit;
            anyUncovered |= !hit;
            bCoefficient += bStep;
            ux += stepX;
            uy += stepY;
        }
        lookup.Shade(parameters, n, startColor, endColor, weight, colors);
        if (anyUncovered)
            for (size_t i = 0; i < n; ++i)
                if (!covered[i]) colors[i] = 0;
        std::memcpy(destination, colors, n * sizeof(uint32_t));
        destination += n * sizeof(uint32_t);
        done += n;
    }
}

}  // namespace Graphics
