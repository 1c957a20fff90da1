// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureSession.h"

#include "platform/AVFoundation/AVCaptureControl.h"
#include "platform/AVFoundation/AVCaptureSessionControlsDelegate.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureControlsDriver.h"
#include "platform/AVFoundation/SessionStreams.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/Foundation/SteppedScheduler.h"

#include <algorithm>
#include <condition_variable>
#include <utility>

namespace velmora {

namespace {

std::shared_ptr<AVCaptureDevice> deviceOf(const std::shared_ptr<AVCaptureInput>& input)
{
    const auto deviceInput = std::dynamic_pointer_cast<AVCaptureDeviceInput>(input);
    return deviceInput ? deviceInput->device() : nullptr;
}

/// AVCaptureSessionPresetHigh asks for the best that a camera has: every one has something.
bool suits(const std::shared_ptr<AVCaptureDevice>& device, const std::string& preset)
{
    return !isCamera(device) || preset == AVCaptureSessionPresetHigh || device->supportsAVCaptureSessionPreset(preset);
}

/// Holds the caller for `seconds` of the clock in force.
void wait(double seconds)
{
    struct Alarm {
        std::mutex mutex;
        std::condition_variable changed;
        bool rang = false;
    };
    const auto alarm = std::make_shared<Alarm>();
    DispatchQueue("org.velmora.captureSession.start").after(seconds, [alarm] {
        const std::lock_guard lock(alarm->mutex);
        alarm->rang = true;
        alarm->changed.notify_all();
    });
    const auto rang = [&] {
        const std::lock_guard lock(alarm->mutex);
        return alarm->rang;
    };
    // Time that is moved by hand passes on this very thread.
    if (dynamic_cast<SteppedScheduler*>(&Scheduler::current())) {
        Scheduler::current().runUntil(rang);
        return;
    }
    std::unique_lock lock(alarm->mutex);
    alarm->changed.wait(lock, [&] { return alarm->rang; });
}

}

AVCaptureSession::AVCaptureSession()
    : events_("org.velmora.captureSession.events")
    , sinks_(std::make_shared<Sinks>())
{
}

AVCaptureSession::~AVCaptureSession()
{
    stop();
    sinks_->set({});
    for (const auto& device : devices())
        device->removeListener(listener_.get());
    for (const auto& output : outputs_)
        output->setConnections({});
}

void AVCaptureSession::didConstruct()
{
    NSObject::didConstruct();
    listener_ = std::make_shared<Listener>(weakFromThis(*this), events_, sinks_);
    if (const auto driver = CaptureControlsDriver::installed())
        controls_ = driver->controlsOfOthers();
}

const ClassInfo& AVCaptureSession::staticClass()
{
    using Self = AVCaptureSession;
    static constexpr auto methods = methodTable(method<&Self::beginConfiguration>("beginConfiguration"),
        method<&Self::commitConfiguration>("commitConfiguration"), method<&Self::canAddInput>("canAddInput:"),
        method<&Self::addInput>("addInput:"), method<&Self::removeInput>("removeInput:"),
        method<&Self::inputs>("inputs"), method<&Self::canAddOutput>("canAddOutput:"),
        method<&Self::addOutput>("addOutput:"), method<&Self::removeOutput>("removeOutput:"),
        method<&Self::outputs>("outputs"), method<&Self::canSetSessionPreset>("canSetSessionPreset:"),
        method<&Self::setSessionPreset>("setSessionPreset:"), method<&Self::sessionPreset>("sessionPreset"),
        method<&Self::startRunning>("startRunning"), method<&Self::stopRunning>("stopRunning"),
        method<&Self::isRunning>("isRunning"), method<&Self::isInterrupted>("isInterrupted"),
        method<&Self::supportsControls>("supportsControls"), method<&Self::controls>("controls"),
        method<&Self::canAddControl>("canAddControl:"), method<&Self::addControl>("addControl:"),
        method<&Self::removeControl>("removeControl:"),
        method<&Self::setControlsDelegate>("setControlsDelegate:queue:"),
        method<&Self::controlsDelegate>("controlsDelegate"));
    static constexpr auto classMethods
        = methodTable(initialiser<AVCaptureSession>("init"), initialiser<AVCaptureSession>("new"));
    static const ClassInfo info { "Velmora.AVCaptureSession", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void AVCaptureSession::beginConfiguration()
{
    const std::lock_guard lock(mutex_);
    if (configurationDepth_++ == 0)
        configurationBegan_ = AVCaptureDevice::configurationMoment();
}

void AVCaptureSession::commitConfiguration()
{
    {
        const std::lock_guard lock(mutex_);
        if (configurationDepth_ == 0 || --configurationDepth_ > 0 || !std::exchange(changed_, false))
            return;
    }
    reconfigure();
}

bool AVCaptureSession::canAddInput(const std::shared_ptr<AVCaptureInput>& input) const
{
    const auto device = deviceOf(input);
    if (!device || (isCamera(device) && camera()))
        return false;
    const auto present = devices();
    const std::string preset = sessionPreset();
    if (std::find(present.begin(), present.end(), device) != present.end() || !suits(device, preset))
        return false;
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canAddInput(device->uniqueID(), preset);
}

void AVCaptureSession::addInput(const std::shared_ptr<AVCaptureInput>& input)
{
    if (!canAddInput(input))
        return;
    const auto device = deviceOf(input);
    {
        const std::lock_guard lock(mutex_);
        inputs_.push_back(input);
    }
    device->addListener(listener_);
    for (const auto& output : outputs())
        connect(*output, device);
    for (const auto& layer : layers())
        connect(*layer, device);
    if (isCamera(device)) {
        choosePresetFormat(device);
        for (const auto& output : outputs())
            output->cameraChanged();
    }
    changed();
}

void AVCaptureSession::removeInput(const std::shared_ptr<AVCaptureInput>& input)
{
    {
        const std::lock_guard lock(mutex_);
        if (std::erase(inputs_, input) == 0)
            return;
    }
    const auto device = deviceOf(input);
    device->removeListener(listener_.get());
    for (const auto& output : outputs()) {
        auto left = output->connections();
        std::erase_if(left, [&](const auto& connection) { return connection->device() == device; });
        output->setConnections(std::move(left));
        if (isCamera(device))
            output->cameraChanged();
    }
    for (const auto& layer : layers())
        if (const auto connection = layer->connection(); connection && connection->device() == device)
            layer->setConnection(nullptr);
    changed();
}

std::vector<std::shared_ptr<AVCaptureInput>> AVCaptureSession::inputs() const
{
    const std::lock_guard lock(mutex_);
    return inputs_;
}

bool AVCaptureSession::canAddOutput(const std::shared_ptr<AVCaptureOutput>& output) const
{
    return output && !output->session();
}

void AVCaptureSession::addOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    if (!canAddOutput(output))
        return;
    {
        const std::lock_guard lock(mutex_);
        outputs_.push_back(output);
    }
    output->setSession(weakFromThis(*this));
    for (const auto& device : devices())
        connect(*output, device);
    output->cameraChanged();
    changed();
}

void AVCaptureSession::removeOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    {
        const std::lock_guard lock(mutex_);
        if (std::erase(outputs_, output) == 0)
            return;
    }
    output->setConnections({});
    output->setSession({});
    output->cameraChanged();
    changed();
}

std::vector<std::shared_ptr<AVCaptureOutput>> AVCaptureSession::outputs() const
{
    const std::lock_guard lock(mutex_);
    return outputs_;
}

bool AVCaptureSession::canSetSessionPreset(const std::string& preset) const
{
    const auto present = devices();
    if (!std::all_of(present.begin(), present.end(), [&](const Device& device) { return suits(device, preset); }))
        return false;
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canSetPreset(preset);
}

void AVCaptureSession::setSessionPreset(const std::string& preset)
{
    if (!canSetSessionPreset(preset)) {
        if (const auto driver = CaptureDriver::installed())
            driver->note("refused sessionPreset " + preset, {});
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        preset_ = preset;
    }
    if (const auto device = camera())
        choosePresetFormat(device);
    changed();
}

std::string AVCaptureSession::sessionPreset() const
{
    const std::lock_guard lock(mutex_);
    return preset_;
}

void AVCaptureSession::choosePresetFormat(const Device& device) const
{
    std::uint64_t began = UINT64_MAX; // outside a pair nobody's choice is in the way
    {
        const std::lock_guard lock(mutex_);
        if (configurationDepth_ > 0)
            began = configurationBegan_;
    }
    if (device->formatSetMoment() < began)
        device->useFormatForPreset(sessionPreset());
}

void AVCaptureSession::startRunning()
{
    const std::lock_guard serial(runMutex_);
    wanted_ = true;
    if (isRunning() && hasItsDevices())
        return;
    const auto driver = CaptureDriver::installed();
    if (const auto delay = driver ? driver->startDelay() : std::nullopt) {
        if (*delay < 0)
            return;
        wait(*delay);
    }
    setRunning(wanted_ && start());
}

void AVCaptureSession::stopRunning()
{
    {
        const std::lock_guard serial(runMutex_);
        wanted_ = false;
        stop();
        setRunning(false);
        const std::lock_guard lock(mutex_);
        taken_ = false;
    }
    for (const auto& output : outputs())
        output->sessionStopped();
}

bool AVCaptureSession::isRunning() const
{
    const std::lock_guard lock(mutex_);
    return running_;
}

bool AVCaptureSession::isInterrupted() const
{
    const std::lock_guard lock(mutex_);
    return interrupted_ || taken_;
}

void AVCaptureSession::setRunning(bool running)
{
    if (isRunning() == running)
        return;
    const ChangeOfValue change(*this, "running");
    const std::lock_guard lock(mutex_);
    running_ = running;
}

std::shared_ptr<AVCaptureDevice> AVCaptureSession::camera() const
{
    for (const auto& device : devices())
        if (isCamera(device))
            return device;
    return nullptr;
}

std::vector<AVCaptureSession::Device> AVCaptureSession::devices() const
{
    std::vector<Device> found;
    for (const auto& input : inputs())
        found.push_back(deviceOf(input));
    return found;
}

void AVCaptureSession::addPreviewLayer(const std::shared_ptr<AVCaptureVideoPreviewLayer>& layer)
{
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(layers_, [](const auto& each) { return each.expired(); });
        layers_.push_back(layer);
    }
    if (const auto device = camera()) {
        connect(*layer, device);
        publishSinks();
    }
}

std::vector<std::shared_ptr<AVCaptureVideoPreviewLayer>> AVCaptureSession::layers() const
{
    std::vector<std::shared_ptr<AVCaptureVideoPreviewLayer>> found;
    const std::lock_guard lock(mutex_);
    for (const auto& each : layers_)
        if (auto layer = each.lock())
            found.push_back(std::move(layer));
    return found;
}

void AVCaptureSession::connect(AVCaptureOutput& output, const Device& device)
{
    const auto shared = sharedFromThis(output);
    auto connections = output.connections();
    for (const auto& mediaType : output.connectionTypesFor(device->deviceDescription().mediaType))
        connections.push_back(make<AVCaptureConnection>(mediaType, device, shared, weakFromThis(*this)));
    output.setConnections(std::move(connections));
}

void AVCaptureSession::connect(AVCaptureVideoPreviewLayer& layer, const Device& device)
{
    const auto driver = CaptureDriver::installed();
    if (isCamera(device) && (!driver || driver->previewConnection()))
        layer.setConnection(
            make<AVCaptureConnection>(AVMediaTypeVideo, device, std::weak_ptr<AVCaptureOutput>(), weakFromThis(*this)));
}

bool AVCaptureSession::hasMicrophone() const
{
    const auto all = devices();
    return std::any_of(all.begin(), all.end(), isMicrophone);
}

void AVCaptureSession::streamRequestChanged()
{
    changed();
}

void AVCaptureSession::changed()
{
    publishSinks();
    {
        const std::lock_guard lock(mutex_);
        if (configurationDepth_ > 0) {
            changed_ = true;
            return;
        }
    }
    reconfigure();
}

}
