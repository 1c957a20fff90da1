// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/FaceFinder.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

bool contains(const std::vector<std::string>& types, const std::string& type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

std::shared_ptr<AVMetadataObject> objectFor(const CaptureMetadataObject& found)
{
    const CGRect bounds = CGRectMake(found.x, found.y, found.width, found.height);
    const CMTime time = CMTimeMakeWithSeconds(found.time, 1000000000);
    if (found.type == AVMetadataObjectTypeFace)
        return make<AVMetadataFaceObject>(bounds, time, found.faceID);
    return make<AVMetadataObject>(found.type, bounds, time);
}

}

std::shared_ptr<AVCaptureMetadataOutput> AVCaptureMetadataOutput::init()
{
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canCreateOutput("metadata") ? make<AVCaptureMetadataOutput>() : nullptr;
}

const ClassInfo& AVCaptureMetadataOutput::staticClass()
{
    using Self = AVCaptureMetadataOutput;
    static constexpr auto methods
        = methodTable(method<&Self::availableMetadataObjectTypes>("availableMetadataObjectTypes"),
            method<&Self::metadataObjectTypes>("metadataObjectTypes"),
            method<&Self::setMetadataObjectTypes>("setMetadataObjectTypes:"),
            method<&Self::setMetadataObjectsDelegate>("setMetadataObjectsDelegate:queue:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::init>("init"));
    static const ClassInfo info { "Velmora.AVCaptureMetadataOutput", &AVCaptureOutput::staticClass(), methods,
        classMethods };
    return info;
}

std::vector<std::string> AVCaptureMetadataOutput::availableMetadataObjectTypes() const
{
    const auto device = camera();
    if (!device)
        return {};
    auto types = device->deviceDescription().metadataTypes;
    if (!contains(types, AVMetadataObjectTypeFace))
        if (const auto detector = FaceDetector::installed(); detector && detector->isAvailable())
            types.emplace_back(AVMetadataObjectTypeFace);
    return types;
}

std::vector<std::string> AVCaptureMetadataOutput::metadataObjectTypes() const
{
    const std::lock_guard lock(mutex_);
    return types_;
}

void AVCaptureMetadataOutput::setMetadataObjectTypes(const std::vector<std::string>& types)
{
    const std::lock_guard lock(mutex_);
    types_ = types;
}

void AVCaptureMetadataOutput::setMetadataObjectsDelegate(
    const std::weak_ptr<AVCaptureMetadataOutputObjectsDelegate>& delegate, const std::optional<DispatchQueue>& queue)
{
    const std::lock_guard lock(mutex_);
    delegate_ = delegate;
    queue_ = queue;
}

std::shared_ptr<AVCaptureMetadataOutputObjectsDelegate> AVCaptureMetadataOutput::metadataObjectsDelegate() const
{
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
}

std::optional<DispatchQueue> AVCaptureMetadataOutput::metadataObjectsCallbackQueue() const
{
    const std::lock_guard lock(mutex_);
    return queue_;
}

std::vector<std::string> AVCaptureMetadataOutput::connectionTypesFor(const std::string& mediaType) const
{
    return mediaType == AVMediaTypeVideo ? std::vector<std::string> { AVMediaTypeMetadataObject }
                                         : std::vector<std::string> {};
}

void AVCaptureMetadataOutput::cameraChanged()
{
    const std::lock_guard lock(mutex_);
    finder_ = nullptr;
    cameraFindsFaces_ = false;
}

void AVCaptureMetadataOutput::see(const CMSampleBuffer& frame, const std::shared_ptr<AVCaptureConnection>& connection)
{
    std::shared_ptr<FaceFinder> finder;
    {
        const std::lock_guard lock(mutex_);
        if (cameraFindsFaces_ || !queue_ || !contains(types_, AVMetadataObjectTypeFace))
            return;
        if (!finder_) {
            auto detector = FaceDetector::installed();
            if (!detector)
                return;
            const auto found = [weak = weakFromThis(*this), to = std::weak_ptr(connection)](
                                   const std::vector<CaptureMetadataObject>& faces) {
                const auto self = weak.lock();
                const auto alive = to.lock();
                if (self && alive)
                    self->deliver(faces, alive);
            };
            finder_ = std::make_shared<FaceFinder>(
                std::move(detector), connection->device()->deviceDescription().sensorRotation, found);
        }
        finder = finder_;
    }
    finder->look(frame);
}

void AVCaptureMetadataOutput::receiveMetadata(
    const std::vector<CaptureMetadataObject>& found, const std::shared_ptr<AVCaptureConnection>& connection)
{
    {
        const std::lock_guard lock(mutex_);
        cameraFindsFaces_ = true;
        finder_ = nullptr;
    }
    deliver(found, connection);
}

void AVCaptureMetadataOutput::deliver(
    const std::vector<CaptureMetadataObject>& found, const std::shared_ptr<AVCaptureConnection>& connection)
{
    AVCaptureMetadataOutputObjectsDelegate::Objects objects;
    std::optional<DispatchQueue> queue;
    {
        const std::lock_guard lock(mutex_);
        if (!queue_ || delegate_.expired() || types_.empty())
            return;
        for (const auto& each : found)
            if (contains(types_, each.type))
                objects.push_back(objectFor(each));
        queue = queue_;
    }
    queue->async([self = sharedFromThis(*this), objects = std::move(objects), connection] {
        if (const auto delegate = self->metadataObjectsDelegate())
            delegate->captureOutput(self, objects, connection);
    });
}

}
