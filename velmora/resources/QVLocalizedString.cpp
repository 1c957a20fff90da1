// SPDX-License-Identifier: Apache-2.0
#include "velmora/resources/QVLocalizedString.h"

#include "velmora/resources/QVFrameworkIdentifier.h"

#include "platform/Foundation/NSBundle.h"

namespace velmora {

std::optional<std::string> QVLocalizedString(const std::string& key)
{
    const auto bundle = NSBundle::bundleWithIdentifier(QVFrameworkIdentifier);
    if (!bundle)
        return std::nullopt;
    return bundle->localizedStringForKey(key);
}

}
