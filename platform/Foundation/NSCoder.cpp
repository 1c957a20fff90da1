// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSCoder.h"

namespace velmora {

NSCoder::~NSCoder() = default;

}
