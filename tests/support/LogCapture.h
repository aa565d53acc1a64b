#pragma once

#include "Graphics/Exception.h"
#include "Graphics/Log.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace GraphicsTest {

// Collects every log text while alive.
class LogCapture {
public:
    class Listener : public Graphics::LogListener {
    public:
        void OnLogMessage(const std::string& text) override {
            std::lock_guard<std::mutex> lock(mutex);
            texts.push_back(text);
        }
        std::mutex mutex;
        std::vector<std::string> texts;
    };

    LogCapture() : listener(std::make_shared<Listener>()) { Graphics::AttachLogListener(listener); }
    ~LogCapture() { Graphics::DetachLogListener(listener); }

    std::vector<std::string> Texts() {
        std::lock_guard<std::mutex> lock(listener->mutex);
        return listener->texts;
    }
    std::string Last() {
        auto t = Texts();
        return t.empty() ? std::string() : t.back();
    }

    std::shared_ptr<Listener> listener;
};

}  // namespace GraphicsTest

// Expects `statement` to raise Graphics::Exception with exactly `message`,
// logged first under the function name `function`.
#define EXPECT_GRAPHICS_FAILURE(statement, function, message)                                          \
    do {                                                                                               \
        GraphicsTest::LogCapture capture_;                                                             \
        bool thrown_ = false;                                                                          \
        try {                                                                                          \
            statement;                                                                                 \
        } catch (const Graphics::Exception& e_) {                                                      \
            thrown_ = true;                                                                            \
            EXPECT_EQ(std::string(e_.what()), std::string(message));                                   \
        }                                                                                              \
        EXPECT_TRUE(thrown_) << "no Graphics::Exception from " #statement;                             \
        const std::string log_ = capture_.Last();                                                      \
        EXPECT_EQ(log_.rfind(std::string("Exception in ") + (function) + " (", 0), 0u) << log_;        \
        const std::string tail_ = std::string("):\n\t") + (message);                                   \
        EXPECT_TRUE(log_.size() >= tail_.size() && log_.compare(log_.size() - tail_.size(), tail_.size(), tail_) == 0) \
            << log_;                                                                                   \
    } while (0)
