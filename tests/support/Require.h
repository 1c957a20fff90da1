// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmora::tests {

/// Whether an outside program is here. When it is not, the running test is skipped, or fails when the environment asks
/// for the program: VELMORA_REQUIRE=exiv2,djpeg. `name` is what stands there, `command` what is looked for.
///
///     if (!requireTool("exiv2"))
///         return;
[[nodiscard]] bool requireTool(const std::string& name, const std::string& command);
[[nodiscard]] bool requireTool(const std::string& name);
/// The same for what is no program: a library or its data, of which the caller knows whether it `isHere`.
[[nodiscard]] bool requirePart(const std::string& name, bool isHere);

}
