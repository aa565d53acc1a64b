#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/Exception.h"
#include "Graphics/Log.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TargetTest {

// Runs the call, which must raise Exception with exactly the message, and
// checks that the failure went to the log first under the function's name.
inline void ExpectFailure(const std::function<void()>& call, const std::string& function,
                          const std::string& message) {
    GraphicsTest::LogCapture log;
    try {
        call();
        ADD_FAILURE() << "no exception, expected \"" << message << "\"";
        return;
    } catch (const Graphics::Exception& e) {
        EXPECT_EQ(std::string(e.what()), message);
    }
    const std::vector<std::string> texts = log.Texts();
    ASSERT_EQ(texts.size(), 1u);
    const std::string& text = texts[0];
    const std::string head = "Exception in " + function + " (";
    const std::string tail = "):\n\t" + message;
    EXPECT_EQ(text.compare(0, head.size(), head), 0) << text;
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(text.compare(text.size() - tail.size(), tail.size(), tail), 0) << text;
}

// Pixel access through a read lock, which leaves the bitmap's caches alone.
inline unsigned int ReadWord(Graphics::Bitmap& bitmap, int x, int y) {
    Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    unsigned int v;
    std::memcpy(&v, static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, 4);
    bitmap.Unlock();
    return v;
}

inline unsigned int ReadWord(Graphics::BitmapBase& bitmap, int x, int y) {
    Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    unsigned int v;
    std::memcpy(&v, static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, 4);
    bitmap.Unlock();
    return v;
}

// Bytes of pixel (x, y) in a format of the given size in bytes.
inline std::vector<unsigned char> ReadBytes(Graphics::Bitmap& bitmap, int x, int y, int bytes) {
    Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::Read);
    const unsigned char* p = static_cast<unsigned char*>(lock.data) + lock.stride * y + bytes * x;
    std::vector<unsigned char> v(p, p + bytes);
    bitmap.Unlock();
    return v;
}

// Fills every byte of the bitmap's rows with the value, through a read-write
// lock so that the caches stay as they are.
inline void FillBytes(Graphics::Bitmap& bitmap, unsigned char value) {
    const Graphics::Size<int> size = bitmap.GetSize();
    Graphics::LockedData lock = bitmap.Lock(nullptr, Graphics::LockMode::ReadWrite);
    for (int y = 0; y < size.height; ++y)
        std::memset(static_cast<unsigned char*>(lock.data) + lock.stride * y, value, lock.rowBytes);
    bitmap.Unlock();
}

}  // namespace TargetTest
