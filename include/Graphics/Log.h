#pragma once

#include <memory>
#include <sstream>
#include <string>

namespace Graphics {

// Implemented by the host. Runs with the logger's lock held: a listener must
// not log, attach or detach from inside OnLogMessage.
class LogListener {
public:
    virtual ~LogListener() = default;
    virtual void OnLogMessage(const std::string& text) = 0;
};

// A string stream whose text goes to every listener when the object dies.
// Flush() sends it at once and does not empty the stream, so a manual Flush
// sends the text a second time at destruction.
class LogMessage : public std::ostringstream {
public:
    LogMessage() = default;
    ~LogMessage() override;
    void Flush();
};

void AttachLogListener(std::shared_ptr<LogListener> listener);
void DetachLogListener(std::shared_ptr<LogListener> listener);

}  // namespace Graphics
