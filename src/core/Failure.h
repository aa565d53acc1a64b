#pragma once

// The library's one way of reporting a failure: a log entry naming the
// function, file and line, then an Exception carrying the message alone.

#include "Graphics/Exception.h"
#include "Graphics/Log.h"

#include <string>

namespace Graphics {

[[noreturn]] void RaiseFailure(const char* function, const char* file, int line, const std::string& message);

}  // namespace Graphics

// Reports under the enclosing function's bare name.
#define GRAPHICS_FAIL(message) ::Graphics::RaiseFailure(__func__, __FILE__, __LINE__, (message))
// Reports under an explicit function name, for failures whose reported
// place is a named step rather than the C++ function that detects it.
#define GRAPHICS_FAIL_IN(function, message) ::Graphics::RaiseFailure((function), __FILE__, __LINE__, (message))
