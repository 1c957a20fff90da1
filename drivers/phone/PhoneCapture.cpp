// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneCapture.h"

#include "platform/Foundation/NSException.h"

#include <algorithm>
#include <utility>

namespace velmora::drivers::phone {

PhoneCapture::PhoneCapture(std::shared_ptr<PhoneWorld> world)
    : world_(std::move(world))
    , microphone_(std::make_shared<PhoneMicrophone>(world_))
{
}

PhoneCapture::~PhoneCapture() = default;

std::shared_ptr<PhoneCamera> PhoneCapture::made(const std::string& id)
{
    const std::lock_guard lock(mutex_);
    auto& camera = cameras_[id];
    if (!camera)
        camera = std::make_shared<PhoneCamera>(world_, id, [weak = weak_from_this(), id] {
            if (const auto self = weak.lock())
                self->tellPresence(id, false);
        });
    return camera;
}

void PhoneCapture::setDevicePresence(DevicePresence told)
{
    const std::lock_guard lock(mutex_);
    presence_ = std::move(told);
}

void PhoneCapture::tellPresence(const std::string& id, bool isThere)
{
    DevicePresence told;
    {
        const std::lock_guard lock(mutex_);
        told = presence_;
    }
    if (!told)
        return;
    if (id == "microphone")
        told(microphone_, isThere);
    else
        told(made(id), isThere);
}

std::vector<std::shared_ptr<CaptureDeviceDriver>> PhoneCapture::devices()
{
    world_->state().note("discover", "");
    const auto phone = world_->description();
    std::vector<std::shared_ptr<CaptureDeviceDriver>> all;
    for (const auto& camera : phone->cameras)
        if (const auto device = made(camera.id); !device->isUnplugged())
            all.push_back(device);
    if (phone->microphone)
        all.push_back(microphone_);
    return all;
}

std::shared_ptr<CaptureDeviceDriver> PhoneCapture::defaultDevice(const std::string& mediaType)
{
    const auto phone = world_->description();
    if (mediaType == AVMediaTypeAudio)
        return phone->microphone ? microphone_ : nullptr;
    for (const auto& camera : phone->cameras) {
        const bool chosen = phone->defaultCamera ? camera.id == *phone->defaultCamera
                                                 : camera.type == AVCaptureDeviceTypeBuiltInWideAngleCamera;
        if (!chosen)
            continue;
        if (const auto device = made(camera.id); !device->isUnplugged())
            return device;
    }
    return nullptr;
}

AVAuthorizationStatus PhoneCapture::authorizationStatus(const std::string& mediaType)
{
    if (mediaType == AVMediaTypeAudio)
        return AVAuthorizationStatusAuthorized;
    return static_cast<AVAuthorizationStatus>(world_->description()->permissions.camera);
}

void PhoneCapture::requestAccess(const std::string& mediaType, std::function<void(bool)> answer)
{
    world_->state().note("requestAccess " + mediaType, "");
    const AVAuthorizationStatus status = authorizationStatus(mediaType);
    if (status == AVAuthorizationStatusNotDetermined) {
        const std::lock_guard lock(mutex_);
        questions_.push_back(std::move(answer));
        return;
    }
    queue_.async([answer = std::move(answer), status] { answer(status == AVAuthorizationStatusAuthorized); });
}

void PhoneCapture::cameraPermissionChanged(int status)
{
    if (status == AVAuthorizationStatusNotDetermined)
        return;
    std::vector<std::function<void(bool)>> questions;
    {
        const std::lock_guard lock(mutex_);
        questions.swap(questions_);
    }
    for (auto& answer : questions)
        queue_.async([answer = std::move(answer), status] { answer(status == AVAuthorizationStatusAuthorized); });
}

bool PhoneCapture::canAddInput(const std::string& uniqueID, const std::string& preset)
{
    const auto phone = world_->description();
    return std::none_of(phone->refusedInputs.begin(), phone->refusedInputs.end(), [&](const RefusedInput& refused) {
        return refused.camera == uniqueID && (refused.preset.empty() || refused.preset == preset);
    });
}

bool PhoneCapture::canSetPreset(const std::string& preset)
{
    const auto phone = world_->description();
    return std::find(phone->refusedPresets.begin(), phone->refusedPresets.end(), preset) == phone->refusedPresets.end();
}

std::optional<double> PhoneCapture::startDelay()
{
    const auto fault = world_->state().strike(Step::Start, { Outcome::Late, Outcome::Never }, "");
    if (!fault)
        return std::nullopt;
    return fault->outcome == Outcome::Never ? -1 : fault->delay;
}

bool PhoneCapture::canCreateOutput(const std::string& kind)
{
    if (kind != "video" && kind != "audio")
        return true;
    const Step step = kind == "video" ? Step::CreateVideoOutput : Step::CreateAudioOutput;
    return !world_->state().strike(step, { Outcome::Nothing }, "");
}

std::vector<std::string> PhoneCapture::photoConnections()
{
    return world_->description()->photoConnections;
}

bool PhoneCapture::previewConnection()
{
    return world_->description()->previewConnection;
}

std::optional<NSError> PhoneCapture::recorded(std::uint64_t bytes)
{
    if (const auto fault = world_->state().strike(Step::Record, { Outcome::Error }, ""))
        return errorOf(*fault);
    return world_->store(bytes);
}

void PhoneCapture::note(const std::string& what, const std::string& device)
{
    world_->state().note(what, device);
}

std::shared_ptr<PhoneCamera> PhoneCapture::camera(const std::string& id)
{
    const auto phone = world_->description();
    if (!world_->find(*phone, id))
        throw NSException(
            NSInvalidArgumentException, "[VirtualPhone] There is no camera \"" + id + "\" in this phone.");
    return made(id);
}

std::vector<std::shared_ptr<PhoneCamera>> PhoneCapture::started()
{
    const std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<PhoneCamera>> running;
    for (const auto& [id, camera] : cameras_)
        if (camera->isStarted())
            running.push_back(camera);
    return running;
}

std::vector<std::shared_ptr<PhoneCamera>> PhoneCapture::used()
{
    const std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<PhoneCamera>> all;
    for (const auto& [id, camera] : cameras_)
        all.push_back(camera);
    return all;
}

std::vector<std::shared_ptr<PhoneCamera>> PhoneCapture::inUse()
{
    auto running = started();
    if (!running.empty())
        return running;
    const std::lock_guard lock(mutex_);
    for (const auto& [id, camera] : cameras_)
        if (camera->isOpened())
            running.push_back(camera);
    return running;
}

}
