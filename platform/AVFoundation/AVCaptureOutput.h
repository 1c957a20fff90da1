// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora {

/// Something that a session delivers to. From any thread.
class VELMORA_EXPORT AVCaptureOutput : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Empty when there is none.
    std::shared_ptr<AVCaptureConnection> connectionWithMediaType(const std::string& mediaType) const;
    /// In order; empty outside a session and without an input that fits.
    std::vector<std::shared_ptr<AVCaptureConnection>> connections() const;

    // What a session asks and tells its outputs.
    /// The media types of the connections that it wants to an input of `mediaType`, in order.
    virtual std::vector<std::string> connectionTypesFor(const std::string& mediaType) const = 0;
    void setConnections(std::vector<std::shared_ptr<AVCaptureConnection>> connections);
    /// The camera is another one now, or none.
    virtual void cameraChanged() { }
    /// Whether it takes the sound of the session's microphones although it has no connection to them.
    virtual bool hearsSound() const { return false; }
    /// Changes what the session asks of the camera, where the output cares.
    virtual void shape(StreamRequest&) const { }
    /// A frame or a piece of sound, on the driver's thread, which waits.
    virtual void receive(const std::shared_ptr<CMSampleBuffer>&, const std::shared_ptr<AVCaptureConnection>&) { }
    /// A frame of the camera whose metadata the connection carries, on the driver's thread, which waits.
    virtual void see(const CMSampleBuffer&, const std::shared_ptr<AVCaptureConnection>&) { }
    virtual void receiveMetadata(const std::vector<CaptureMetadataObject>&, const std::shared_ptr<AVCaptureConnection>&)
    {
    }
    /// Nothing more comes until the session starts again.
    virtual void sessionStopped() { }
    /// The camera is gone: nothing that was asked of it will be answered.
    virtual void cameraFailed(const NSError&) { }
    std::shared_ptr<AVCaptureSession> session() const;
    void setSession(const std::weak_ptr<AVCaptureSession>& session);

protected:
    /// The camera of the first video connection; empty without one.
    std::shared_ptr<AVCaptureDevice> camera() const;

private:
    mutable std::mutex connectionsMutex_;
    std::vector<std::shared_ptr<AVCaptureConnection>> connections_;
    std::weak_ptr<AVCaptureSession> session_;
};

}
