// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Completion.h"

#include "platform/Foundation/NSLog.h"

#include <string>

namespace velmora::detail {

void stopForCompletion(const char* what, const char* name)
{
    fatalError(std::string("[Completion] The completion \"") + name + "\" " + what + ".");
}

}
