// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Completion.h"

#include "platform/Foundation/NSLog.h"

#include <string>

namespace velmora::detail {

void stopForCompletion(const char* what, const std::source_location& madeAt)
{
    fatalError(std::string("[Completion] The completion made in ") + madeAt.function_name() + " (" + madeAt.file_name()
        + ":" + std::to_string(madeAt.line()) + ") " + what + ".");
}

}
