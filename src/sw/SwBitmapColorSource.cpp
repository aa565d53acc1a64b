#include "sw/SwBitmapColorSource.h"

#include <cstring>

#include "Graphics/Brush.h"

namespace Graphics {

SwBitmapColorSource::SwBitmapColorSource(std::shared_ptr<BitmapBrush> brush, const Matrix& placement) {
    if (!brush) return;
    m_Sampler.emplace(brush->GetBitmap(), brush->GetExtendModeX(), brush->GetExtendModeY(),
                      brush->GetInterpolationMode(), brush->GetOpacity(),
                      SurfaceToSourceMatrix(brush->GetTransform(), placement));
}

SwBitmapColorSource::SwBitmapColorSource(std::shared_ptr<BitmapSource> bitmap, const Matrix& bitmapToSurface,
                                         float opacity) {
    m_Sampler.emplace(std::move(bitmap), ExtendMode::Clamp, ExtendMode::Clamp, InterpolationMode::Nearest, opacity,
                      SurfaceToSourceMatrix(bitmapToSurface));
}

SwBitmapColorSource::~SwBitmapColorSource() = default;

void SwBitmapColorSource::FillSpan(int x0, int x1, int y, unsigned char* destination) {
    if (m_Sampler) {
        m_Sampler->FillSpan(x0, x1, y, destination);
    } else if (x1 > x0) {
        std::memset(destination, 0, static_cast<size_t>(static_cast<long>(x1) - x0) * 4);
    }
}

const uint32_t* SwBitmapColorSource::SpanWords(int x0, int x1, int y) {
    return m_Sampler ? m_Sampler->SpanWords(x0, x1, y) : nullptr;
}

bool SwBitmapColorSource::FillRows(int x0, int x1, int y0, int rows, unsigned char* destination,
                                   std::ptrdiff_t stride, const void* avoidBegin, const void* avoidEnd) {
    return m_Sampler && m_Sampler->FillRows(x0, x1, y0, rows, destination, stride, avoidBegin, avoidEnd);
}

void SwBitmapColorSource::ExpectSpans(int x0, int x1) {
    if (m_Sampler) m_Sampler->ExpectSpans(x0, x1);
}

Matrix SwBitmapColorSource::SurfaceToSourceMatrix(const Matrix& brushTransform, const Matrix& placement) {
    const Matrix half(1.0f, 0.0f, 0.0f, 1.0f, 0.5f, 0.5f);
    Matrix a = Matrix::Multiply(half, brushTransform);
    // The identity is tested exactly, so that a surface at the origin takes
    // no rounding from an inverse.
    if (!placement.IsIdentity()) a = Matrix::Multiply(a, placement.Inverse());
    return Matrix::Multiply(half, a.Inverse());
}

Matrix SwBitmapColorSource::SurfaceToSourceMatrix(const Matrix& bitmapToSurface) {
    return SurfaceToSourceMatrix(bitmapToSurface, Matrix::Identity());
}

}  // namespace Graphics
