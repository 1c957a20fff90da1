// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

class CGContext;

// Where UIColor::set, UIBezierPath::stroke and the like draw. Each thread has its own stack of contexts; while a view's
// drawRect runs, the view's is on top.

/// Null while nothing is being drawn.
VELMORA_EXPORT CGContext* UIGraphicsGetCurrentContext();
/// In pairs with the pop; the caller keeps the context alive in between.
VELMORA_EXPORT void UIGraphicsPushContext(CGContext& context);
/// A pop too much does nothing.
VELMORA_EXPORT void UIGraphicsPopContext();

}
