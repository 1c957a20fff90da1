// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

/// What a view controller shown in a QVCameraReturnViewController may say about the bar above it. One that does not
/// adopt it gets the bar, and can be pulled down. Asked whenever the bar is updated, and for each pull, on the main
/// thread; after a change call setNeedsReturnBarAppearanceUpdate().
class VELMORA_EXPORT QVCCameraReturnViewControllerChild {
public:
    virtual ~QVCCameraReturnViewControllerChild() = default;
    virtual bool prefersCameraReturnBarHidden() = 0;
    /// Counts only while the bar is hidden: the view reaches up to the screen's edge.
    virtual bool prefersFullScreenWhenCameraReturnBarHidden() = 0;
    /// False: pulling the content down does not return to the camera.
    virtual bool allowsDragToDismiss() = 0;
};

}
