// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>

namespace velmora::drivers::photos {

/// The user's pictures folder (XDG user directories, else ~/Pictures) and "Camera" in it; empty where HOME is not set.
VELMORA_EXPORT std::string cameraFolderOfUser();

}
