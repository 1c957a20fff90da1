// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"

#include <algorithm>
#include <utility>

namespace velmora {

const ClassInfo& AVCaptureOutput::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&AVCaptureOutput::connectionWithMediaType>("connectionWithMediaType:"),
            method<&AVCaptureOutput::connections>("connections"));
    static const ClassInfo info { "Velmora.AVCaptureOutput", &NSObject::staticClass(), methods };
    return info;
}

std::shared_ptr<AVCaptureConnection> AVCaptureOutput::connectionWithMediaType(const std::string& mediaType) const
{
    const std::lock_guard lock(connectionsMutex_);
    const auto found = std::find_if(connections_.begin(), connections_.end(),
        [&](const auto& connection) { return connection->mediaType() == mediaType; });
    return found == connections_.end() ? nullptr : *found;
}

std::vector<std::shared_ptr<AVCaptureConnection>> AVCaptureOutput::connections() const
{
    const std::lock_guard lock(connectionsMutex_);
    return connections_;
}

void AVCaptureOutput::setConnections(std::vector<std::shared_ptr<AVCaptureConnection>> connections)
{
    const std::lock_guard lock(connectionsMutex_);
    connections_.swap(connections);
}

std::shared_ptr<AVCaptureSession> AVCaptureOutput::session() const
{
    const std::lock_guard lock(connectionsMutex_);
    return session_.lock();
}

void AVCaptureOutput::setSession(const std::weak_ptr<AVCaptureSession>& session)
{
    const std::lock_guard lock(connectionsMutex_);
    session_ = session;
}

std::shared_ptr<AVCaptureDevice> AVCaptureOutput::camera() const
{
    const auto session = this->session();
    return session ? session->camera() : nullptr;
}

}
