#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/Brush.h"
#include "Graphics/Geometry.h"
#include "Graphics/RenderTarget.h"
#include "LogCapture.h"
#include "sw/SwRenderTarget.h"

#include <gtest/gtest.h>
#include <cstring>
#include <memory>
#include <vector>

namespace TargetTest {

// The bytes of pixel (x, y), through a read lock, which leaves a Bitmap's caches alone.
template <typename B>
std::vector<unsigned char> ReadBytes(B& bitmap, int x, int y, int bytes) {
    const Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    const unsigned char* p = static_cast<unsigned char*>(lock.data) + lock.stride * y + bytes * x;
    std::vector<unsigned char> v(p, p + bytes);
    bitmap.Unlock();
    return v;
}
template <typename B>
unsigned int ReadWord(B& bitmap, int x, int y) {
    unsigned int v;
    std::memcpy(&v, ReadBytes(bitmap, x, y, 4).data(), 4);
    return v;
}

inline std::shared_ptr<Graphics::SwRenderTarget> SwOf(const Graphics::RenderTarget& target) {
    return std::dynamic_pointer_cast<Graphics::SwRenderTarget>(target.GetImplementation());
}

// A bitmap of one word everywhere with a render target on it, in a paint cycle from the start.
struct Canvas {
    Canvas(int width, int height, Graphics::PixelFormat::Enum format = Graphics::PixelFormat::ARGB8p,
           unsigned int word = 0)
        : bitmap(std::make_shared<Graphics::Bitmap>(Graphics::Size<int>(width, height), format, 96.0f, 96.0f)),
          target(bitmap) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) Set(x, y, word);
        target.BeginPaint();
    }
    ~Canvas() {
        if (SwOf(target)->GetSubTarget()) target.EndPaint();
    }
    // Through a read-write lock, so that the caches stay as they are.
    void Set(int x, int y, unsigned int word) {
        const Graphics::LockedData lock = bitmap->Lock(nullptr, Graphics::LockMode::ReadWrite);
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, &word, 4);
        bitmap->Unlock();
    }
    unsigned int At(int x, int y) { return ReadWord(*bitmap, x, y); }
    std::vector<unsigned int> Words() {  // row by row
        std::vector<unsigned int> v;
        for (int y = 0; y < bitmap->GetSize().height; ++y)
            for (int x = 0; x < bitmap->GetSize().width; ++x) v.push_back(At(x, y));
        return v;
    }
    std::shared_ptr<Graphics::Bitmap> bitmap;
    Graphics::BitmapRenderTarget target;
};

inline std::shared_ptr<Graphics::SolidBrush> Solid(const Graphics::Color& color) {
    return std::make_shared<Graphics::SolidBrush>(color);
}
inline std::shared_ptr<Graphics::SolidBrush> Solid(unsigned int argb) { return Solid(Graphics::Color(argb)); }

inline void ExpectPicture(Canvas& canvas, const std::vector<unsigned int>& expected) {
    EXPECT_EQ(canvas.Words(), expected);
}

}  // namespace TargetTest
