// SPDX-License-Identifier: Apache-2.0
#include "platform/Combine/ObservableObject.h"

namespace velmora {

ObservableObject::ObservableObject() = default;

ObservableObject::~ObservableObject() = default;

}
