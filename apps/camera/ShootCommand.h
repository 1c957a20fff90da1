// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"

#include <functional>
#include <memory>
#include <optional>

#include "apps/camera/Options.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Report.h"

namespace velmora {
class NSError;
class QVCameraController;
class QVPhotoCaptureOutput;
}

namespace velmora::camera {

class CameraSource;
class Interruption;

/// Takes photos and stores them. On the main thread, whose run loop it turns.
class ShootCommand {
public:
    ShootCommand(const Options& options, Report& report, const Interruption& interruption);
    ~ShootCommand();

    /// Throws Refusal; what was stored before stays.
    void run();

private:
    struct Shot;
    struct Failure;

    void openCamera();
    void chooseLens();
    void choosePhotoSettings();
    void startSession();
    void waitForPlace();
    Shot takePhoto();
    void store(const Shot& shot);
    std::string reason(const std::optional<NSError>& error, const char* otherwise) const;

    /// False when it lasted longer. Throws Refusal when a signal comes.
    bool turnUntil(const std::function<bool()>& done, double seconds) const;

    const Options& options_;
    Report& report_;
    const Interruption& interruption_;
    PictureFolder folder_;
    std::unique_ptr<CameraSource> source_; // outlives the controller
    std::shared_ptr<QVCameraController> controller_;
    std::shared_ptr<Failure> failure_;
    Cancellable failureObservation_;
};

}
