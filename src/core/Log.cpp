#include "Graphics/Log.h"

#include <mutex>
#include <set>

namespace Graphics {

namespace {

// One logger for the process: listeners ordered by address, delivery under a
// plain (non-recursive) mutex.
class LoggerImpl {
public:
    std::set<std::shared_ptr<LogListener>> listeners;
    std::mutex mutex;
};

LoggerImpl logger;

}  // namespace

LogMessage::~LogMessage() {
    // An exception here would end the process anyway; Flush swallows its own.
    Flush();
}

void LogMessage::Flush() {
    if (fail() || bad()) return;
    std::string text;
    try {
        text = str();
    } catch (...) {
        return;
    }
    std::unique_lock<std::mutex> lock(logger.mutex, std::defer_lock);
    try {
        lock.lock();
    } catch (...) {
        return;
    }
    try {
        for (const auto& listener : logger.listeners) listener->OnLogMessage(text);
    } catch (...) {
        // A throwing listener ends delivery of this message; the logging
        // place never sees the exception.
    }
}

void AttachLogListener(std::shared_ptr<LogListener> listener) {
    std::lock_guard<std::mutex> lock(logger.mutex);
    logger.listeners.insert(std::move(listener));
}

void DetachLogListener(std::shared_ptr<LogListener> listener) {
    std::lock_guard<std::mutex> lock(logger.mutex);
    logger.listeners.erase(listener);
}

}  // namespace Graphics
