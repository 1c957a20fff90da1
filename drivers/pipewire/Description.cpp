// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Description.h"

#include "drivers/CameraDescription.h"

namespace velmora::drivers::pipewire {

CaptureDeviceDescription describe(const Node& node, const std::string& deviceTree)
{
    const cameras::CameraNames names { node.identity, node.property(PW_KEY_NODE_DESCRIPTION),
        node.property(PW_KEY_DEVICE_VENDOR_NAME), node.property(PW_KEY_DEVICE_PRODUCT_NAME) };
    if (!node.isMicrophone)
        return cameras::describe(names, cameras::placementOf(node.properties, deviceTree), node.offers, node.controls);
    CaptureDeviceDescription result;
    result.uniqueID = names.identity;
    result.name = names.name.empty() ? names.identity : names.name;
    result.make = names.make;
    result.model = names.model.empty() ? result.name : names.model;
    result.lensModel = result.name;
    result.mediaType = AVMediaTypeAudio;
    result.deviceType = AVCaptureDeviceTypeBuiltInMicrophone;
    return result;
}

}
