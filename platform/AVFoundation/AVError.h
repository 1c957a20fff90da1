// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora {

/// Codes of errors in AVFoundationErrorDomain.
enum AVError : std::int64_t {
    AVErrorUnknown = -11800,
    AVErrorSessionNotRunning = -11803,
    AVErrorDeviceAlreadyUsedByAnotherSession = -11804,
    AVErrorNoDataCaptured = -11805,
    AVErrorSessionConfigurationChanged = -11806,
    AVErrorDiskFull = -11807,
    AVErrorDeviceNotConnected = -11814,
    AVErrorSessionWasInterrupted = -11818,
    AVErrorFileAlreadyExists = -11823,
    AVErrorEncoderNotFound = -11834,
};

}
