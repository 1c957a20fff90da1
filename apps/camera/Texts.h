// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSBundle.h"

#include <string>

namespace velmora::camera {

/// The program's text under `key`, in the person's language.
inline std::string textFor(const std::string& key)
{
    return NSBundle::mainBundle()->localizedStringForKey(key);
}

}
