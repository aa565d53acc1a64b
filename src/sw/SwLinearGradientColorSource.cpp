#include "sw/SwLinearGradientColorSource.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "Graphics/Brush.h"
#include "Graphics/Gradient.h"
#include "paint/GradientStopLookup.h"
#include "sw/SwGradientColorSource.h"

namespace Graphics {

SwLinearGradientColorSource::SwLinearGradientColorSource(std::shared_ptr<GradientBrush> brush,
                                                         const Matrix& placement)
    : m_Brush(std::move(brush)) {
    const std::shared_ptr<LinearGradientBase> gradient =
        m_Brush ? std::dynamic_pointer_cast<LinearGradientBase>(m_Brush->GetGradient()) : nullptr;
    if (!gradient) {
        // Nothing to paint with: the span stays transparent.
        m_Degenerate = true;
        return;
    }

    m_Sampler = std::make_shared<GradientSampler>(gradient);
    m_Opacity = SwGradientColorSource::OpacityWeight(m_Brush->GetOpacity());
    if (gradient->IsExtendStart())
        m_StartColor = SwGradientColorSource::ApplyWeight(m_Sampler->GetColor(0.0f), m_Opacity);
    if (gradient->IsExtendEnd())
        m_EndColor = SwGradientColorSource::ApplyWeight(m_Sampler->GetColor(1.0f), m_Opacity);

    const Point<float>& start = gradient->GetStartPoint();
    const Point<float>& end = gradient->GetEndPoint();
    if (start.x == end.x && start.y == end.y) {
        m_Degenerate = true;
        return;
    }

    // The axis is placed on the surface through its two end points only, so
    // a skewing transform does not tilt the lines of equal t.
    const Matrix f = Matrix::Multiply(m_Brush->GetTransform(), placement.Inverse());
    const Point<float> p0 = f.Transform(start);
    const Point<float> p1 = f.Transform(end);

    const float angle = static_cast<float>(
        std::atan2(static_cast<double>(p1.y - p0.y), static_cast<double>(p1.x - p0.x)));
    const float s = static_cast<float>(std::sin(-static_cast<double>(angle)));
    const float co = static_cast<float>(std::cos(-static_cast<double>(angle)));

    // Rotate the axis onto x and scale it so that the end point lands on 1.
    const float length = std::fabs((p1.x * co - p1.y * s) + (p0.y * s - p0.x * co));
    m_Matrix = Matrix(co / length, s / length, -s / length, co / length, (p0.y * s - p0.x * co) / length,
                      (-p0.x * s - p0.y * co) / length);
}

void SwLinearGradientColorSource::FillSpan(int x0, int x1, int y, unsigned char* destination) {
    if (x1 <= x0) return;
    const size_t count = static_cast<size_t>(static_cast<long long>(x1) - x0);
    if (m_Degenerate) {
        std::memset(destination, 0, count * sizeof(uint32_t));
        return;
    }

    // The stops are read afresh for every span, so stops inserted since the
    // last one show up.
    GradientStopLookup lookup(*m_Sampler);
    const float step = m_Matrix.m11;
    // Integer pixel coordinates, no half-pixel offset; t is carried along
    // the span by addition.
    float t = (static_cast<float>(x0) * m_Matrix.m11 + static_cast<float>(y) * m_Matrix.m21) + m_Matrix.dx;

    // The parameters are laid out a chunk at a time, and the chunk is shaded
    // in one pass.
    constexpr size_t kChunk = 64;
    float parameters[kChunk];
    uint32_t colors[kChunk];
    for (size_t done = 0; done < count;) {
        const size_t n = std::min(kChunk, count - done);
        for (size_t i = 0; i < n; ++i) {
            parameters[i] = t;
            t += step;
        }
        lookup.Shade(parameters, n, m_StartColor, m_EndColor, m_Opacity, colors);
        std::memcpy(destination, colors, n * sizeof(uint32_t));
        destination += n * sizeof(uint32_t);
        done += n;
    }
}

}  // namespace Graphics
