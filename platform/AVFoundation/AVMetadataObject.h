// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSObject.h"

#include <string>

namespace velmora {

/// Something that was found in the picture. Immutable.
class VELMORA_EXPORT AVMetadataObject : public NSObject {
public:
    AVMetadataObject(std::string type, CGRect bounds, CMTime time);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& type() const { return type_; } ///< AVMetadataObjectTypeFace, or any other text
    CGRect bounds() const { return bounds_; } ///< 0 to 1 in the sensor's picture
    CMTime time() const { return time_; }

private:
    std::string type_;
    CGRect bounds_;
    CMTime time_;
};

/// A face.
class VELMORA_EXPORT AVMetadataFaceObject : public AVMetadataObject {
public:
    AVMetadataFaceObject(CGRect bounds, CMTime time, std::int64_t faceID = 0);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::int64_t faceID() const { return faceID_; } ///< The same while the face stays in the picture.

private:
    std::int64_t faceID_;
};

}
