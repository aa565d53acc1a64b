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
#include "Graphics/Geometry.h"
#include "Graphics/RenderTarget.h"
#include "Graphics/CombineMode.h"
#include "Graphics/Region.h"
#include "Graphics/Rasterizer.h"
#include "Graphics/Gradient.h"
#include "Graphics/Brush.h"
