// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIGraphics.h"

#include <vector>

namespace velmora {

namespace {

std::vector<CGContext*>& contexts()
{
    static thread_local std::vector<CGContext*> all;
    return all;
}

}

CGContext* UIGraphicsGetCurrentContext()
{
    return contexts().empty() ? nullptr : contexts().back();
}

void UIGraphicsPushContext(CGContext& context)
{
    contexts().push_back(&context);
}

void UIGraphicsPopContext()
{
    if (!contexts().empty())
        contexts().pop_back();
}

}
