// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMTime.h"

#include <optional>
#include <string>

namespace velmora::drivers::media {

/// Turns a movie of fragments into an ordinary one, in place: one index is written behind the fragments, and at the end
/// sixteen bytes turn everything before it into plain media data. Until those are written the file plays as it did,
/// after that as any other movie; nothing is copied, so it takes neither time nor space to speak of. A fragment that
/// was cut off is left out. A movie that is ordinary already stays as it is.
///
/// With a `stillImageTime`, a track of metadata marks that time. Answers the length of the movie. Throws NSError for a
/// file that is no such movie, holds no picture, or cannot be written.
CMTime indexMovie(const std::string& path, std::optional<CMTime> stillImageTime);

/// Whether the movie has no fragments. Throws as `indexMovie` does.
bool isOrdinaryMovie(const std::string& path);

}
