// SPDX-License-Identifier: Apache-2.0
// Which devices stream for a session, what is done with what they deliver, and what happens to them.
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/AVFoundation/SessionStreams.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <utility>

namespace velmora {

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
