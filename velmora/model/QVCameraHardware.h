// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraCaptureIntent.h"

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Combine/Published.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIOrientation.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureDevice;
class QVCameraController;

/// A camera as a user interface watches it: what it does and what it reads, as published values.
///
/// Make it by make<QVCameraHardware>(...) on the main thread and drive the camera through `controller`. All values are
/// those of the main thread: they change, and announce it, when the main run loop turns. Nothing polls. The model holds
/// on to itself: it and its controller live until the process ends.
class VELMORA_EXPORT QVCameraHardware : public ObservableObject, public std::enable_shared_from_this<QVCameraHardware> {
public:
    /// What the camera reads; the defaults are shown until the first reading arrives.
    struct VELMORA_EXPORT Stats {
        float preciseISO = 123.0F;
        float aperture = 4.5F; ///< f-number
        CMTime exposureDuration = CMTimeMake(1, 543);
        float exposureOffset = 0.0F; ///< stops from the exposure that the camera aims at
        float exposureBias = 0.0F; ///< stops
        float focussedDistance = 0.5F; ///< 0 nearest to 1 farthest

        /// The smallest full stop from 5 to 12000 that is not below the ISO, as "200"; beyond the last, "100". An ISO
        /// that is not a number stops the process.
        std::string displayISO() const;
        /// The smallest full stop from 1 to 2000 that is not below the exposure's denominator, as "1/750"; beyond the
        /// last, "1/125"; empty without a valid time. An exposure of zero seconds stops the process.
        std::string displayShutterSpeed() const;
    };

    /// No preset: the controller's own. The session is not started.
    QVCameraHardware(AVCaptureDevicePosition position, QVCameraCaptureIntent intent,
        std::optional<std::string> captureSessionPreset);

    const std::shared_ptr<QVCameraController>& controller() const { return controller_; }

    const Stats& stats() const { return stats_.value(); }
    bool isRunning() const { return isRunning_.value(); }
    UIDeviceOrientation deviceOrientation() const { return deviceOrientation_.value(); }
    AVCaptureFocusMode focusMode() const { return focusMode_.value(); }
    bool isAdjustingFocus() const { return isAdjustingFocus_.value(); }
    AVCaptureExposureMode exposureMode() const { return exposureMode_.value(); }
    bool isAdjustingExposure() const { return isAdjustingExposure_.value(); }
    AVCaptureFlashMode flashMode() const { return flashMode_.value(); }

    /// The present value on subscription, then each new one. A camera that becomes current gives six of `stats`, one
    /// for each field.
    Publisher<Stats> statsPublisher() const { return stats_.publisher(); }
    Publisher<bool> isRunningPublisher() const { return isRunning_.publisher(); }
    Publisher<UIDeviceOrientation> deviceOrientationPublisher() const { return deviceOrientation_.publisher(); }
    Publisher<AVCaptureFocusMode> focusModePublisher() const { return focusMode_.publisher(); }
    Publisher<bool> isAdjustingFocusPublisher() const { return isAdjustingFocus_.publisher(); }
    Publisher<AVCaptureExposureMode> exposureModePublisher() const { return exposureMode_.publisher(); }
    Publisher<bool> isAdjustingExposurePublisher() const { return isAdjustingExposure_.publisher(); }
    Publisher<AVCaptureFlashMode> flashModePublisher() const { return flashMode_.publisher(); }

protected:
    friend struct Construction;
    virtual void didConstruct();

private:
    void followController();
    void followDevice(std::shared_ptr<AVCaptureDevice> device);
    void copyReadings(const AVCaptureDevice& device);
    void observeReadings(const std::shared_ptr<AVCaptureDevice>& device);
    template <class Owner, class T, class Write>
    void follow(
        const std::shared_ptr<Owner>& object, Property<Owner, T> property, std::vector<Cancellable>& bag, Write write);

    const AVCaptureDevicePosition position_;
    const QVCameraCaptureIntent intent_;
    const std::optional<std::string> captureSessionPreset_;

    std::shared_ptr<QVCameraController> controller_;
    Published<Stats> stats_ { *this, {} };
    Published<bool> isRunning_ { *this, false };
    Published<UIDeviceOrientation> deviceOrientation_ { *this, UIDeviceOrientationUnknown };
    Published<AVCaptureFocusMode> focusMode_ { *this, AVCaptureFocusModeContinuousAutoFocus };
    Published<bool> isAdjustingFocus_ { *this, false };
    Published<AVCaptureExposureMode> exposureMode_ { *this, AVCaptureExposureModeContinuousAutoExposure };
    Published<bool> isAdjustingExposure_ { *this, false };
    Published<AVCaptureFlashMode> flashMode_ { *this, AVCaptureFlashModeAuto };
    std::vector<Cancellable> generalObservations_;
    std::vector<Cancellable> currentCaptureDeviceObservations_;
};

}
