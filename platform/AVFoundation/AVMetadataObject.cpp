// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVMetadataObject.h"

#include "platform/AVFoundation/AVMediaTypes.h"

#include <utility>

namespace velmora {

AVMetadataObject::AVMetadataObject(std::string type, CGRect bounds, CMTime time)
    : type_(std::move(type))
    , bounds_(bounds)
    , time_(time)
{
}

const ClassInfo& AVMetadataObject::staticClass()
{
    static constexpr auto methods = methodTable(method<&AVMetadataObject::type>("type"),
        method<&AVMetadataObject::bounds>("bounds"), method<&AVMetadataObject::time>("time"));
    static const ClassInfo info { "Velmora.AVMetadataObject", &NSObject::staticClass(), methods };
    return info;
}

AVMetadataFaceObject::AVMetadataFaceObject(CGRect bounds, CMTime time, std::int64_t faceID)
    : AVMetadataObject(AVMetadataObjectTypeFace, bounds, time)
    , faceID_(faceID)
{
}

const ClassInfo& AVMetadataFaceObject::staticClass()
{
    static constexpr auto methods = methodTable(method<&AVMetadataFaceObject::faceID>("faceID"));
    static const ClassInfo info { "Velmora.AVMetadataFaceObject", &AVMetadataObject::staticClass(), methods };
    return info;
}

}
