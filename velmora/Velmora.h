// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Everything that an application needs.

#include "velmora/capture/QVCameraController.h"
#include "velmora/capture/QVHardwareButtons.h"
#include "velmora/capture/QVImageOrientation.h"
#include "velmora/capture/QVUTTypeDNG.h"
#include "velmora/capture/QVVideoStabilizationTitle.h"
#include "velmora/library/QVLastShotImageView.h"
#include "velmora/library/QVPersistentPhotoAlbum.h"
#include "velmora/library/QVPersistentPhotoCollectionList.h"
#include "velmora/model/QVCameraHardware.h"
#include "velmora/model/QVCameraViewController.h"
#include "velmora/model/QVLens.h"
#include "velmora/navigation/QVCCameraReturnViewControllerChild.h"
#include "velmora/navigation/QVCameraReturnViewController.h"
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCaptureOutput.h"
#include "velmora/ui/QVCaptureButton.h"
#include "velmora/ui/QVSlider.h"
#include "velmora/ui/QVViewfinderOverlayView.h"
#include "velmora/ui/QVViewfinderView.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSRunLoop.h"
