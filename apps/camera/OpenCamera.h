// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraController.h"

#include "platform/Foundation/Cancellable.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "apps/camera/Options.h"

namespace velmora {
class AVCaptureDevice;
class NSError;
}

namespace velmora::camera {

class CameraSource;
class Interruption;

/// A camera that runs as the command line asked for it. On the main thread, whose run loop it turns.
class OpenCamera {
public:
    /// Finds the camera and its lens; nothing runs yet. Without a preset it is the one for photos. Throws Refusal.
    OpenCamera(const Options& options, const Interruption& interruption, QVCameraCaptureIntent intent,
        std::optional<std::string> preset = {});
    /// Puts the lamp out and stops the session.
    ~OpenCamera();
    OpenCamera(const OpenCamera&) = delete;
    OpenCamera& operator=(const OpenCamera&) = delete;

    /// Starts the session; returns when the first frame with all settings is there. Throws Refusal, with the range that
    /// would be accepted for a setting that this camera cannot do.
    void start();

    const std::shared_ptr<QVCameraController>& controller() const { return controller_; }
    /// The camera failed, or somebody took it.
    bool hasFailed() const;
    /// A clause that says why: the session's error, else this one, else `otherwise`.
    std::string reason(const std::optional<NSError>& error, const char* otherwise) const;
    /// False when it lasted longer, in seconds. Throws Refusal when a signal comes.
    bool turnUntil(const std::function<bool()>& done, double seconds) const;
    /// The same, whatever signals come: for what must be completed.
    static bool finishUntil(const std::function<bool()>& done, double seconds);

private:
    struct Failure;
    using Setting = std::function<void(QVCameraController::DeviceSettingCompletion)>;

    void open(QVCameraCaptureIntent intent, std::optional<std::string> preset);
    void chooseLens();
    void checkSettings() const;
    void applySettings() const;
    void apply(const char* option, const Setting& setting) const;
    void waitForPlace() const;

    const Options& options_;
    const Interruption& interruption_;
    std::unique_ptr<CameraSource> source_; // outlives the controller
    std::shared_ptr<QVCameraController> controller_;
    std::shared_ptr<Failure> failure_;
    Cancellable failureObservation_;
};

}
