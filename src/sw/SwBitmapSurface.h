#pragma once

#include "sw/SwSurface.h"

namespace Graphics {

// A surface on a caller's bitmap. Formats that the compositor can't paint on
// are painted through an ARGB8p copy that Present copies back.
class SwBitmapSurface : public SwSurface {
public:
    explicit SwBitmapSurface(std::shared_ptr<Bitmap> bitmap);

    PixelFormat::Enum GetPixelFormat() const override;
    Size<int> GetSize() const override;
    float GetDpiX() const override;
    float GetDpiY() const override;
    std::shared_ptr<BitmapBase> BeginPaint() override;
    void EndPaint() override;
    void Present() override;

    const std::shared_ptr<Bitmap>& GetBitmap() const { return bitmap; }

private:
    std::shared_ptr<Bitmap> bitmap;
};

}  // namespace Graphics
