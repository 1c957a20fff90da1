// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace velmora {

/// Posted on the main thread by whoever runs the application.
inline constexpr const char* UIApplicationWillResignActiveNotification = "UIApplicationWillResignActiveNotification";
inline constexpr const char* UIApplicationDidBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";
/// Midnight, another time zone, or a clock that was set.
inline constexpr const char* UIApplicationSignificantTimeChangeNotification
    = "UIApplicationSignificantTimeChangeNotification";

}
