// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSBundle.h"

namespace velmora {

/// The identifier of the framework's bundle; the labels of its queues begin with it.
inline constexpr const char* QVFrameworkIdentifier = frameworkBundleIdentifier;

}
