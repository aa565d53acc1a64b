#pragma once

#include "Graphics/Brush.h"
#include "Graphics/Geometry.h"
#include "Graphics/RenderTarget.h"
#include "sw/SwRenderTarget.h"
#include "TargetTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace FillTest {

// A bitmap with a render target on it, in a paint cycle from the start, and
// direct access to its words.
struct Canvas {
    Canvas(int width, int height, Graphics::PixelFormat::Enum format = Graphics::PixelFormat::ARGB8p,
           unsigned int word = 0)
        : bitmap(std::make_shared<Graphics::Bitmap>(Graphics::Size<int>(width, height), format, 96.0f, 96.0f)),
          target(bitmap) {
        SetAll(word);
        target.BeginPaint();
    }
    ~Canvas() {
        if (Sw()->GetSubTarget()) target.EndPaint();
    }

    std::shared_ptr<Graphics::SwRenderTarget> Sw() const {
        return std::dynamic_pointer_cast<Graphics::SwRenderTarget>(target.GetImplementation());
    }

    void SetAll(unsigned int word) {
        const Graphics::Size<int> size = bitmap->GetSize();
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) Set(x, y, word);
    }

    void Set(int x, int y, unsigned int word) {
        Graphics::LockedData lock = bitmap->Lock(nullptr, Graphics::LockMode::ReadWrite);
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, &word, 4);
        bitmap->Unlock();
    }

    unsigned int At(int x, int y) { return TargetTest::ReadWord(*bitmap, x, y); }

    // All words, row by row.
    std::vector<unsigned int> Words() {
        std::vector<unsigned int> v;
        const Graphics::Size<int> size = bitmap->GetSize();
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) v.push_back(At(x, y));
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

inline std::string Hex(const std::vector<unsigned int>& words, int width) {
    std::string s;
    char buffer[16];
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::snprintf(buffer, sizeof buffer, "%08X", words[i]);
        s += buffer;
        s += (static_cast<int>(i % width) == width - 1) ? "\n" : " ";
    }
    return s;
}

// Compares the whole picture, printing both on a mismatch.
inline void ExpectPicture(Canvas& canvas, const std::vector<unsigned int>& expected) {
    const int width = canvas.bitmap->GetSize().width;
    const std::vector<unsigned int> actual = canvas.Words();
    EXPECT_EQ(actual, expected) << "actual:\n" << Hex(actual, width) << "expected:\n" << Hex(expected, width);
}

}  // namespace FillTest
