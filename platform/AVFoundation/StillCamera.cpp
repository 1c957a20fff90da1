// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/StillCamera.h"

#include "platform/Foundation/ProcessState.h"

#include <mutex>

namespace velmora {

namespace {

struct InUse {
    std::mutex mutex;
    std::weak_ptr<AVCaptureDevice> camera;

    void set(const std::shared_ptr<AVCaptureDevice>& now)
    {
        const std::lock_guard lock(mutex);
        camera = now;
    }
};

InUse& state()
{
    static auto* state = [] {
        auto* made = new InUse;
        ProcessState::add([made] { made->set(nullptr); });
        return made;
    }();
    return *state;
}

}

std::shared_ptr<AVCaptureDevice> StillCamera::inUse()
{
    const std::lock_guard lock(state().mutex);
    return state().camera.lock();
}

void StillCamera::use(const std::shared_ptr<AVCaptureDevice>& camera)
{
    state().set(camera);
}

}
