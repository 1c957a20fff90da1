// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGContext.h"

#include <optional>
#include <vector>

using cairo_t = struct _cairo;
using cairo_surface_t = struct _cairo_surface;

namespace velmora {

struct CGContext::State {
    CGColor fill { 0, 0, 0, 1 }, stroke { 0, 0, 0, 1 };
};

/// What stands behind a context, for the sources of this folder.
struct CGContext::Surface {
    Surface() = default;
    ~Surface();
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    cairo_surface_t* picture = nullptr;
    cairo_t* cairo = nullptr;
    State state;
    std::vector<State> saved;
    std::optional<CGColor> sole;
    bool drawn = false;
};

}
