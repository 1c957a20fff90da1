// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

inline bool isCamera(const std::shared_ptr<AVCaptureDevice>& device)
{
    return device->hasMediaType(AVMediaTypeVideo);
}

inline bool isMicrophone(const std::shared_ptr<AVCaptureDevice>& device)
{
    return device->deviceDescription().mediaType == AVMediaTypeAudio;
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

}
