// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "velmora/capture/QVCameraButtonControlsDelegate.h"

#include "platform/AVFoundation/AVCaptureIndexPicker.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora {

void QVCameraController::setCaptureControl(
    const std::shared_ptr<AVCaptureControl>& control, const std::shared_ptr<QVCameraButtonControlsDelegate>& delegate)
{
    const auto session = captureSession();
    if (!session || !session->supportsControls())
        return;

    sessionQueue_.sync([&] {
        session->beginConfiguration();
        for (const auto& old : session->controls()) { // those of others too: the button is the camera's now
            session->removeControl(old);
            pickerMenu_.set(nullptr);
        }
        if (session->canAddControl(control))
            session->addControl(control);
        else
            NSLog("Unable to add control %@", control);
        // Also for a refused control: the delegate may watch the controls that others put there later.
        session->setControlsDelegate(delegate, DispatchQueue::main());
        session->commitConfiguration();
    });
}

void QVCameraController::setCaptureControlMenuWithLocalizedTitle(std::string title, std::string symbolName,
    std::vector<std::string> localizedOptions, const std::shared_ptr<QVCameraButtonControlsDelegate>& delegate)
{
    const auto picker
        = make<AVCaptureIndexPicker>(std::move(title), std::move(symbolName), std::move(localizedOptions));
    // The session holds its delegate weakly: the menu is what keeps it.
    picker->setActionQueue(sessionQueue_, [delegate](std::int64_t index) {
        if (delegate)
            delegate->controlDidSelectCaptureMenuIndex(index);
    });
    setCaptureControl(picker, delegate);
    pickerMenu_.set(picker); // last, for the installation forgets the one before
}

void QVCameraController::updateSelectedControlMenuIndex(std::int64_t index)
{
    sessionQueue_.async([weak = weakFromThis(*this), index] {
        const auto self = weak.lock();
        const auto picker = self ? std::dynamic_pointer_cast<AVCaptureIndexPicker>(self->pickerMenu_.get()) : nullptr;
        if (picker && index < picker->numberOfIndexes())
            picker->setSelectedIndex(index);
    });
}

}
