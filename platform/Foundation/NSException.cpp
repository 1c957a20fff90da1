// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSException.h"

#include <utility>

namespace velmora {

NSException::NSException(std::string name, std::string reason)
    : name_(std::move(name))
    , reason_(std::move(reason))
    , text_(name_ + ": " + reason_)
{
}

}
