#pragma once

#include "Graphics/Types.h"

namespace Graphics {

// The settings fixed by the first Startup; before any, mode Hardware and
// high-quality downsampling on.
extern RuntimeParameters g_RuntimeParameters;

// Reference counted. The first call fixes g_RuntimeParameters; later ones
// only report, through `actual`, what the first settled (a refused hardware
// mode shows as Software).
void Startup(const RuntimeParameters& requested, RuntimeParameters* actual);
void Shutdown();

}  // namespace Graphics
