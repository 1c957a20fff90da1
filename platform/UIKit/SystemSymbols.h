// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <string>

namespace velmora {

class CGContext;

/// Draws the symbol of this name, 24 by 24 points, in the context's colours. False: there is none.
bool drawSystemSymbol(const std::string& name, CGContext& context);
inline constexpr CGSize systemSymbolSize { 24, 24 };

}
