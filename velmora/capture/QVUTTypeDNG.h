// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace velmora {

/// The type identifier under which an application stores the RAW data of a photo.
inline constexpr const char* kQVUTTypeDNG = "com.adobe.raw-image";

}
