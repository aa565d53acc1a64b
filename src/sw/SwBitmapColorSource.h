#pragma once

#include <memory>
#include <optional>

#include "Graphics/Types.h"
#include "sw/SwBitmapSampler.h"
#include "sw/SwColorSource.h"

namespace Graphics {

class BitmapBrush;
class BitmapSource;

// Paints a bitmap through a sampler that reads it under an affine matrix.
class SwBitmapColorSource : public SwColorSource {
public:
    // A bitmap brush on a surface whose pixels `placement` maps into the
    // space of the brush's transform. Without a brush: transparent black.
    SwBitmapColorSource(std::shared_ptr<BitmapBrush> brush, const Matrix& placement);
    // A bitmap placed directly on the surface, clamped and read at the
    // nearest pixel (layers, mesh gradients).
    SwBitmapColorSource(std::shared_ptr<BitmapSource> bitmap, const Matrix& bitmapToSurface, float opacity);
    ~SwBitmapColorSource() override;

    void FillSpan(int x0, int x1, int y, unsigned char* destination) override;
    const uint32_t* SpanWords(int x0, int x1, int y) override;
    bool FillRows(int x0, int x1, int y0, int rows, unsigned char* destination, std::ptrdiff_t stride,
                  const void* avoidBegin, const void* avoidEnd) override;
    void ExpectSpans(int x0, int x1) override;

    const SwBitmapSampler* GetSampler() const { return m_Sampler ? &*m_Sampler : nullptr; }

    // The matrix that takes a surface pixel to a source pixel position, for a
    // bitmap placed by `brushTransform` on a surface addressed through
    // `placement`. Integer positions are source pixel centres: the pixel
    // (x, y) maps to the u for which (u + 0.5) placed by the brush equals
    // (x + 0.5, y + 0.5) on the surface.
    static Matrix SurfaceToSourceMatrix(const Matrix& brushTransform, const Matrix& placement);
    // The same for a bitmap placed directly on the surface.
    static Matrix SurfaceToSourceMatrix(const Matrix& bitmapToSurface);

private:
    // In place, so that a fill makes one allocation for its paint.
    std::optional<SwBitmapSampler> m_Sampler;
};

}  // namespace Graphics
