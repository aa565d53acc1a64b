#include "sw/SwRadialGradientColorSource.h"

#include "Graphics/Brush.h"
#include "Graphics/Gradient.h"

namespace Graphics {

SwRadialGradientColorSource::SwRadialGradientColorSource(std::shared_ptr<GradientBrush> brush,
                                                         const Matrix& placement) {
    std::shared_ptr<RadialGradient> gradient;
    Matrix toSurface;
    float opacity = 1.0f;
    if (brush) {
        gradient = std::dynamic_pointer_cast<RadialGradient>(brush->GetGradient());
        toSurface = brush->GetTransform();
        // A surface at the origin takes no rounding from an inverse.
        if (!placement.IsIdentity()) toSurface = Matrix::Multiply(toSurface, placement.Inverse());
        opacity = brush->GetOpacity();
    }
    m_Filler = std::make_shared<RadialGradientFiller>(std::move(gradient), toSurface, opacity);
}

void SwRadialGradientColorSource::FillSpan(int x0, int x1, int y, unsigned char* destination) {
    m_Filler->FillSpan(x0, x1, y, destination);
}

}  // namespace Graphics
