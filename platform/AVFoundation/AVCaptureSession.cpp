// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureSession.h"

#include "platform/AVFoundation/AVCaptureControl.h"
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCaptureSessionControlsDelegate.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureControlsDriver.h"
#include "platform/Foundation/NSNotificationCenter.h"
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

bool isCamera(const std::shared_ptr<AVCaptureDevice>& device)
{
    return device->hasMediaType(AVMediaTypeVideo);
}

bool isMicrophone(const std::shared_ptr<AVCaptureDevice>& device)
{
    return device->deviceDescription().mediaType == AVMediaTypeAudio;
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

struct AVCaptureSession::Stream {
    std::shared_ptr<AVCaptureDevice> device;
    StreamRequest request;

    bool operator==(const Stream& other) const
    {
        return device == other.device && request.pixelFormat == other.request.pixelFormat
            && request.stabilizationMode == other.request.stabilizationMode;
    }
};

/// Who gets what a device delivers. Drivers' threads read it while the session changes it.
struct AVCaptureSession::Sinks {
    struct Sink {
        std::shared_ptr<AVCaptureOutput> output;
        std::shared_ptr<AVCaptureConnection> connection;
    };
    struct Screen {
        std::weak_ptr<AVCaptureVideoPreviewLayer> layer;
        std::shared_ptr<AVCaptureConnection> connection;
    };
    struct List {
        std::vector<Sink> outputs;
        std::vector<Screen> screens;
    };

    void set(List list)
    {
        auto next = std::make_shared<const List>(std::move(list));
        const std::lock_guard lock(mutex);
        all.swap(next);
    }
    std::shared_ptr<const List> get()
    {
        const std::lock_guard lock(mutex);
        return all;
    }
    void deliver(const AVCaptureDevice* device, const std::shared_ptr<CMSampleBuffer>& buffer)
    {
        const std::string mediaType = buffer->mediaType();
        const auto list = get();
        for (const auto& [weak, connection] : list->screens)
            if (const auto layer = weak.lock(); layer && connection->device().get() == device)
                layer->receive(buffer);
        const AVCaptureOutput* served = nullptr; // once each, whatever the number of its connections
        for (const auto& [output, connection] : list->outputs) {
            if (connection->device().get() != device)
                continue;
            if (connection->mediaType() == AVMediaTypeMetadataObject && buffer->imageBuffer())
                output->see(*buffer, connection);
            if (connection->mediaType() != mediaType || output.get() == served)
                continue;
            served = output.get();
            output->receive(buffer, connection);
        }
    }
    void found(const std::vector<CaptureMetadataObject>& objects)
    {
        const auto list = get();
        for (const auto& [output, connection] : list->outputs)
            output->receiveMetadata(objects, connection);
    }

    std::mutex mutex;
    std::shared_ptr<const List> all = std::make_shared<const List>();
};

/// What the devices talk to: it takes no part in the session's life, so that no driver's thread ever ends a session.
class AVCaptureSession::Listener : public AVCaptureDeviceListener {
public:
    Listener(std::weak_ptr<AVCaptureSession> session, DispatchQueue events, std::shared_ptr<Sinks> sinks)
        : session_(std::move(session))
        , events_(std::move(events))
        , sinks_(std::move(sinks))
    {
    }
    void deviceFailed(const NSError& error) override
    {
        later([error](AVCaptureSession& session) { session.deviceFailed(error); });
    }
    void deviceInterrupted(const std::optional<NSError>& error) override
    {
        later([error](AVCaptureSession& session) { session.deviceInterrupted(error); });
    }
    void deviceInterruptionEnded() override
    {
        later([](AVCaptureSession& session) { session.deviceInterruptionEnded(); });
    }
    void deviceFound(const std::vector<CaptureMetadataObject>& objects) override { sinks_->found(objects); }
    void deviceTaken() override
    {
        later([](AVCaptureSession& session) { session.deviceTaken(); });
    }
    void deviceReleased() override
    {
        later([](AVCaptureSession& session) { session.deviceReleased(); });
    }

private:
    void later(std::function<void(AVCaptureSession&)> call)
    {
        events_.async([weak = session_, call = std::move(call)] {
            if (const auto session = weak.lock())
                call(*session);
        });
    }
    const std::weak_ptr<AVCaptureSession> session_;
    const DispatchQueue events_;
    const std::shared_ptr<Sinks> sinks_;
};

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

void AVCaptureSession::publishSinks()
{
    const std::lock_guard serial(runMutex_); // the later list is the one that stays
    Sinks::List list;
    for (const auto& output : outputs()) {
        for (const auto& connection : output->connections())
            list.outputs.push_back({ output, connection });
        if (!output->hearsSound())
            continue;
        for (const auto& device : devices())
            if (isMicrophone(device))
                list.outputs.push_back(
                    { output, make<AVCaptureConnection>(AVMediaTypeAudio, device, output, weakFromThis(*this)) });
    }
    for (const auto& layer : layers())
        if (const auto connection = layer->connection())
            list.screens.push_back({ layer, connection });
    sinks_->set(std::move(list));
}

void AVCaptureSession::reconfigure()
{
    if (const auto driver = CaptureDriver::installed())
        driver->note("reconfigured", {});
    const std::lock_guard serial(runMutex_);
    if (isRunning() && hasItsDevices() && !start())
        setRunning(false);
}

std::vector<AVCaptureSession::Stream> AVCaptureSession::wantedStreams() const
{
    const auto outputs = this->outputs();
    StreamRequest request;
    for (const auto& output : outputs)
        output->shape(request);

    // A microphone that nobody listens to stays off; a camera is always seen, if only by the preview.
    const auto isHeard = [&](const Device& device) {
        return std::any_of(outputs.begin(), outputs.end(), [&](const auto& output) {
            const auto connections = output->connections();
            return output->hearsSound()
                || std::any_of(connections.begin(), connections.end(),
                    [&](const auto& connection) { return connection->device() == device; });
        });
    };
    std::vector<Stream> wanted;
    for (const auto& device : devices())
        if (isCamera(device) || isHeard(device))
            wanted.push_back({ device, request });
    return wanted;
}

/// False from when another session takes one until this one has heard of it.
bool AVCaptureSession::hasItsDevices() const
{
    return std::all_of(streams_.begin(), streams_.end(),
        [this](const Stream& stream) { return stream.device->streamUser() == listener_; });
}

bool AVCaptureSession::start()
{
    const auto wanted = wantedStreams();
    std::erase_if(streams_, [&](const Stream& stream) {
        if (std::find(wanted.begin(), wanted.end(), stream) != wanted.end() && stream.device->streamUser() == listener_)
            return false;
        stream.device->stopStream(listener_);
        return true;
    });
    for (const Stream& stream : wanted) {
        if (std::find(streams_.begin(), streams_.end(), stream) != streams_.end())
            continue;
        const auto error = stream.device->startStream(listener_, stream.request,
            [sinks = sinks_, device = stream.device.get()](
                const std::shared_ptr<CMSampleBuffer>& buffer) { sinks->deliver(device, buffer); });
        if (error) {
            stop();
            postLater(AVCaptureSessionRuntimeErrorNotification, error);
            return false;
        }
        streams_.push_back(stream);
    }
    const std::lock_guard lock(mutex_);
    if (std::exchange(taken_, false))
        postLater(AVCaptureSessionInterruptionEndedNotification, std::nullopt);
    return true;
}

void AVCaptureSession::stop()
{
    for (const Stream& stream : std::exchange(streams_, {}))
        stream.device->stopStream(listener_);
}

void AVCaptureSession::deviceFailed(const NSError& error)
{
    {
        const std::lock_guard serial(runMutex_);
        stop();
        setRunning(false);
    }
    for (const auto& output : outputs())
        output->cameraFailed(error);
    post(AVCaptureSessionRuntimeErrorNotification, error);
}

void AVCaptureSession::deviceInterrupted(const std::optional<NSError>& error)
{
    {
        const std::lock_guard serial(runMutex_);
        stop();
        setRunning(false);
        const std::lock_guard lock(mutex_);
        interrupted_ = true;
    }
    const NSError wasInterrupted(AVFoundationErrorDomain, AVErrorSessionWasInterrupted,
        "The camera was taken away for a while; what was recorded before is in the file.");
    for (const auto& output : outputs())
        output->cameraFailed(error.value_or(wasInterrupted));
    post(AVCaptureSessionWasInterruptedNotification, error);
}

void AVCaptureSession::deviceInterruptionEnded()
{
    {
        const std::lock_guard serial(runMutex_);
        {
            const std::lock_guard lock(mutex_);
            interrupted_ = false;
        }
        if (wanted_ && !isRunning() && start())
            setRunning(true);
    }
    post(AVCaptureSessionInterruptionEndedNotification, std::nullopt);
}

void AVCaptureSession::deviceTaken()
{
    {
        const std::lock_guard serial(runMutex_);
        if (hasItsDevices())
            return; // taken back, or stopped, meanwhile
        stop();
        setRunning(false);
        const std::lock_guard lock(mutex_);
        taken_ = true;
    }
    post(AVCaptureSessionWasInterruptedNotification, std::nullopt);
}

void AVCaptureSession::deviceReleased()
{
    const std::lock_guard serial(runMutex_);
    {
        const std::lock_guard lock(mutex_);
        if (!taken_)
            return;
    }
    const auto wanted = wantedStreams();
    const bool free = std::none_of(
        wanted.begin(), wanted.end(), [](const Stream& stream) { return stream.device->streamUser() != nullptr; });
    if (free && start())
        setRunning(true);
}

void AVCaptureSession::postLater(const char* name, const std::optional<NSError>& error)
{
    events_.async([weak = weakFromThis(*this), name, error] {
        if (const auto session = weak.lock())
            session->post(name, error);
    });
}

void AVCaptureSession::post(const char* name, const std::optional<NSError>& error)
{
    std::map<std::string, Value> userInfo;
    if (error)
        userInfo[AVCaptureSessionErrorKey] = box(make<NSError>(*error));
    NSNotificationCenter::defaultCenter().postNotificationName(name, sharedFromThis(*this), std::move(userInfo));
}

}
