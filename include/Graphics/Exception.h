#pragma once

#include <stdexcept>
#include <string>

namespace Graphics {

// The one exception type of the library. Its text is the message alone; the
// place of the failure goes to the log first (see Log.h).
class Exception : public std::runtime_error {
public:
    explicit Exception(const std::string& message) : std::runtime_error(message) {}
    explicit Exception(const char* message) : std::runtime_error(message) {}
};

}  // namespace Graphics
