// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/Foundation/DispatchQueue.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureControl;
class AVCaptureSessionControlsDelegate;
class AVCaptureVideoPreviewLayer;

/// Posted with the session as object, on a queue of the session's own; the error, when there is one, is in the user
/// information.
inline constexpr const char* AVCaptureSessionRuntimeErrorNotification = "AVCaptureSessionRuntimeErrorNotification";
inline constexpr const char* AVCaptureSessionWasInterruptedNotification = "AVCaptureSessionWasInterruptedNotification";
inline constexpr const char* AVCaptureSessionInterruptionEndedNotification
    = "AVCaptureSessionInterruptionEndedNotification";
inline constexpr const char* AVCaptureSessionErrorKey = "AVCaptureSessionErrorKey";

/// Moves frames and sound from its inputs to its outputs. Made by make<AVCaptureSession>(), stopped and empty.
///
/// From any thread. `running` is observable, on the thread that starts or stops.
class VELMORA_EXPORT AVCaptureSession : public NSObject {
public:
    AVCaptureSession();
    ~AVCaptureSession() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Pairs nest; devices are stopped and started by the outer commit. Without a pair every change is its own.
    void beginConfiguration();
    void commitConfiguration();

    /// False for an input that is there, a second camera, a camera that cannot do the preset, and by the driver.
    bool canAddInput(const std::shared_ptr<AVCaptureInput>& input) const;
    /// Connects it to every output and preview layer at once; does nothing when it cannot be added.
    void addInput(const std::shared_ptr<AVCaptureInput>& input);
    void removeInput(const std::shared_ptr<AVCaptureInput>& input);
    std::vector<std::shared_ptr<AVCaptureInput>> inputs() const;

    bool canAddOutput(const std::shared_ptr<AVCaptureOutput>& output) const;
    /// Does nothing when it is there already, or in another session.
    void addOutput(const std::shared_ptr<AVCaptureOutput>& output);
    void removeOutput(const std::shared_ptr<AVCaptureOutput>& output);
    std::vector<std::shared_ptr<AVCaptureOutput>> outputs() const; ///< In order of addition.

    /// AVCaptureSessionPresetHigh suits every camera; the others suit those that list them.
    bool canSetSessionPreset(const std::string& preset) const;
    /// Chooses the camera's format where the camera names one for it and nobody has set one in the open pair. A preset
    /// that cannot be set is ignored.
    void setSessionPreset(const std::string& preset);
    std::string sessionPreset() const; ///< AVCaptureSessionPresetHigh at first

    /// Returns when the session runs: a slow device holds the caller. With a device that never starts it returns and
    /// does not run. Harmless when it runs. A device that another session streams from is taken: that session is
    /// interrupted until this one lets the device go.
    void startRunning();
    void stopRunning();
    bool isRunning() const;
    bool isInterrupted() const; ///< Stopped by the devices or by another session, not by its owner.

    /// Whether people have a camera button, or a menu, that shows controls.
    bool supportsControls() const;
    /// In order of addition; others may have put theirs there.
    std::vector<std::shared_ptr<AVCaptureControl>> controls() const;
    /// False without support, for one that is there, and by the driver.
    bool canAddControl(const std::shared_ptr<AVCaptureControl>& control) const;
    void addControl(const std::shared_ptr<AVCaptureControl>& control);
    void removeControl(const std::shared_ptr<AVCaptureControl>& control);
    /// Called on `queue`; held weakly. No queue ends it.
    void setControlsDelegate(
        const std::weak_ptr<AVCaptureSessionControlsDelegate>& delegate, const std::optional<DispatchQueue>& queue);
    std::shared_ptr<AVCaptureSessionControlsDelegate> controlsDelegate() const;

    // For the driver that shows the controls, from any thread.
    void controlsDidBecomeActive();
    void controlsWillEnterFullscreenAppearance();
    void controlsWillExitFullscreenAppearance();
    void controlsDidBecomeInactive();

    // For outputs, connections and preview layers.
    std::shared_ptr<AVCaptureDevice> camera() const; ///< Empty without one.
    void addPreviewLayer(const std::shared_ptr<AVCaptureVideoPreviewLayer>& layer);
    /// An output or a connection asks for other frames.
    void streamRequestChanged();
    bool hasMicrophone() const; ///< Whether one of the inputs is a microphone.

protected:
    void didConstruct() override;

private:
    struct Stream;
    struct Sinks;
    class Listener;

    using Device = std::shared_ptr<AVCaptureDevice>;
    using ControlsEvent = void (AVCaptureSessionControlsDelegate::*)(const std::shared_ptr<AVCaptureSession>&);

    void deviceFailed(const NSError& error);
    void deviceInterrupted(const std::optional<NSError>& error);
    void deviceInterruptionEnded();
    void deviceTaken();
    void deviceReleased();

    void controlsChanged();
    void tellControlsDelegate(ControlsEvent event);

    void changed();
    void reconfigure();
    void connect(AVCaptureOutput& output, const Device& device);
    void connect(AVCaptureVideoPreviewLayer& layer, const Device& device);
    void publishSinks();
    void choosePresetFormat(const Device& device) const;
    std::vector<Device> devices() const;
    std::vector<std::shared_ptr<AVCaptureVideoPreviewLayer>> layers() const;
    std::vector<Stream> wantedStreams() const;
    bool hasItsDevices() const;
    bool start();
    void stop();
    void setRunning(bool running);
    void post(const char* name, const std::optional<NSError>& error);
    void postLater(const char* name, const std::optional<NSError>& error);

    const DispatchQueue events_; // what devices tell is taken up here, never on their own threads
    const std::shared_ptr<Sinks> sinks_;
    std::shared_ptr<Listener> listener_;

    std::recursive_mutex runMutex_; // one start, stop or reconfiguration of the devices at a time
    std::vector<Stream> streams_;
    bool wanted_ = false; // started and not stopped since, whatever the devices did

    mutable std::mutex mutex_; // what follows; never held while a driver or an observer is called
    std::vector<std::shared_ptr<AVCaptureInput>> inputs_;
    std::vector<std::shared_ptr<AVCaptureOutput>> outputs_;
    std::vector<std::weak_ptr<AVCaptureVideoPreviewLayer>> layers_;
    std::vector<std::shared_ptr<AVCaptureControl>> controls_;
    std::weak_ptr<AVCaptureSessionControlsDelegate> controlsDelegate_;
    std::optional<DispatchQueue> controlsQueue_;
    std::string preset_ = AVCaptureSessionPresetHigh;
    int configurationDepth_ = 0;
    std::uint64_t configurationBegan_ = 0;
    bool changed_ = false;
    bool running_ = false;
    bool interrupted_ = false;
    bool taken_ = false; // another session has a device of this one
};

}
