// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>
#include <vector>

namespace velmora {

/// Completes the movies in a folder that recordings of processes which crashed left there: files of this user with
/// these beginnings and endings of their names. What a running process still records stays alone. Each is told of in
/// the log, those that cannot be completed too. Answers the paths of the completed ones. On any thread; takes
/// milliseconds a movie.
VELMORA_EXPORT std::vector<std::string> recoverMovies(
    const std::string& folder, const std::string& beginning, const std::string& ending);

}
