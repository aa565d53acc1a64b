#include "core/Failure.h"

namespace Graphics {

void RaiseFailure(const char* function, const char* file, int line, const std::string& message) {
    {
        LogMessage entry;
        entry << "Exception in " << function << " (" << file << ", " << line << "):\n\t" << message;
    }
    throw Exception(message);
}

}  // namespace Graphics
