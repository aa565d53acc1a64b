#pragma once

#include "Graphics/Types.h"

#include <mutex>

namespace Graphics {

// Counts Startup and Shutdown calls; the first Startup initialises, the last
// Shutdown terminates the hardware module.
class Bootstrapper {
public:
    Bootstrapper();
    ~Bootstrapper();

    void Startup(const RuntimeParameters& requested, RuntimeParameters* actual);
    void Shutdown();

    void DoStartup();
    void DoShutdown();

    int GetReferenceCount() const { return referenceCount; }

private:
    int referenceCount = 0;
    std::mutex mutex;
};

extern Bootstrapper g_Bootstrapper;

}  // namespace Graphics
