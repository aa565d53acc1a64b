#pragma once

#include <memory>

#include "Graphics/Types.h"
#include "sw/SwColorSource.h"

namespace Graphics {

class GradientBrush;
class GradientSampler;

// Paints an axial gradient: each pixel is reduced to its parameter t along
// the axis, from 0 at the start point to 1 at the end point, and t is looked
// up in the stops. Beyond the two ends the source delivers the end colours,
// which are 0 unless the gradient extends that end.
class SwLinearGradientColorSource : public SwColorSource {
public:
    SwLinearGradientColorSource(std::shared_ptr<GradientBrush> brush, const Matrix& placement);

    void FillSpan(int x0, int x1, int y, unsigned char* destination) override;

    // Start and end points coincide (or there is no axial gradient): the
    // source paints nothing, not even extended ends.
    bool IsDegenerate() const { return m_Degenerate; }
    // Surface pixels to the axis space; its x is t.
    const Matrix& GetMatrix() const { return m_Matrix; }
    unsigned int GetOpacityWeight() const { return m_Opacity; }
    unsigned int GetStartColor() const { return m_StartColor; }  // ARGB8p
    unsigned int GetEndColor() const { return m_EndColor; }      // ARGB8p

private:
    std::shared_ptr<GradientBrush> m_Brush;
    std::shared_ptr<GradientSampler> m_Sampler;
    bool m_Degenerate = false;
    unsigned int m_Opacity = 256;
    unsigned int m_StartColor = 0;
    unsigned int m_EndColor = 0;
    Matrix m_Matrix;
};

}  // namespace Graphics
