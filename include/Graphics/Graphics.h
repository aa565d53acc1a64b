#pragma once

// The whole public interface of the library.

#include "Graphics/Types.h"
#include "Graphics/Exception.h"
#include "Graphics/Log.h"
#include "Graphics/Runtime.h"
#include "Graphics/Memory.h"
#include "Graphics/Cache.h"
#include "Graphics/ImplementationHolder.h"
#include "Graphics/Bitmap.h"
#include "Graphics/Downsampling.h"
#include "Graphics/RenderTarget.h"
