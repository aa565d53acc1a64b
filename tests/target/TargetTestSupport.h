#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/Brush.h"
#include "Graphics/Geometry.h"
#include "Graphics/RenderTarget.h"
#include "LogCapture.h"
#include "sw/SwRenderTarget.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace TargetTest {

// Pixel access through a read lock, which leaves a Bitmap's caches alone.
template <typename B>
unsigned int ReadWord(B& bitmap, int x, int y) {
    const Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    unsigned int v;
    std::memcpy(&v, static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, 4);
    bitmap.Unlock();
    return v;
}

// The bytes of pixel (x, y) in a format of the given size in bytes.
inline std::vector<unsigned char> ReadBytes(Graphics::Bitmap& bitmap, int x, int y, int bytes) {
    const Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    const unsigned char* p = static_cast<unsigned char*>(lock.data) + lock.stride * y + bytes * x;
    std::vector<unsigned char> v(p, p + bytes);
    bitmap.Unlock();
    return v;
}

// Every byte of the rows set to the value, through a read-write lock so
// that the caches stay as they are.
inline void FillBytes(Graphics::Bitmap& bitmap, unsigned char value) {
    const Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::ReadWrite);
    for (int y = 0; y < bitmap.GetSize().height; ++y)
        std::memset(static_cast<unsigned char*>(lock.data) + lock.stride * y, value, lock.rowBytes);
    bitmap.Unlock();
}

inline std::shared_ptr<Graphics::SwRenderTarget> SwOf(const Graphics::RenderTarget& target) {
    return std::dynamic_pointer_cast<Graphics::SwRenderTarget>(target.GetImplementation());
}

// A bitmap of one word everywhere with a render target on it, in a paint
// cycle from the start.
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
    void Set(int x, int y, unsigned int word) {
        const Graphics::LockedData lock = bitmap->Lock(nullptr, Graphics::LockMode::ReadWrite);
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, &word, 4);
        bitmap->Unlock();
    }
    unsigned int At(int x, int y) { return ReadWord(*bitmap, x, y); }
    // All words, row by row.
    std::vector<unsigned int> Words() {
        std::vector<unsigned int> v;
        for (int y = 0; y < bitmap->GetSize().height; ++y)
            for (int x = 0; x < bitmap->GetSize().width; ++x) v.push_back(At(x, y));
        return v;
    }

    std::shared_ptr<Graphics::Bitmap> bitmap;
    Graphics::BitmapRenderTarget target;
};

inline std::shared_ptr<Graphics::SolidBrush> Solid(unsigned int argb) {
    return std::make_shared<Graphics::SolidBrush>(argb);
}
inline std::shared_ptr<Graphics::SolidBrush> Solid(const Graphics::Color& color) {
    return std::make_shared<Graphics::SolidBrush>(color);
}

// Compares the whole picture, printing both in rows on a mismatch.
inline void ExpectPicture(Canvas& canvas, const std::vector<unsigned int>& expected) {
    const int width = canvas.bitmap->GetSize().width;
    auto hex = [width](const std::vector<unsigned int>& words) {
        std::string s;
        char buffer[16];
        for (std::size_t i = 0; i < words.size(); ++i) {
            std::snprintf(buffer, sizeof buffer, "%08X%c", words[i], int(i % width) == width - 1 ? '\n' : ' ');
            s += buffer;
        }
        return s;
    };
    const std::vector<unsigned int> actual = canvas.Words();
    EXPECT_EQ(actual, expected) << "actual:\n" << hex(actual) << "expected:\n" << hex(expected);
}

}  // namespace TargetTest
