#pragma once

#include "sw/SwSubTarget.h"

namespace Graphics {

// The root sub-target: it paints on the bitmap that the surface gave out.
class SwBasicSubTarget : public SwSubTarget {
public:
    SwBasicSubTarget(const Rect<int>& rectangle, const LayerParameters& parameters, const Matrix& matrix,
                     float dpiX, float dpiY);

    void BeginLayer(const LayerParameters& parameters) override;
    void InitLayer(std::shared_ptr<BitmapBase> bitmap) override;
    // Paints the geometry straight onto the colour plane, through one
    // pipeline that lives for this fill only.
    void InnerFillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<SwColorSource> source,
                           const Matrix& matrix) override;
};

}  // namespace Graphics
