// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMSampleBuffer.h"

#include "drivers/phone/Picture.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmora::drivers::phone {

/// What the cameras see: the upright world, painted as a sensor sees it. From any thread.
class Scene {
public:
    struct View {
        std::uint64_t moment = 0;
        Turn turn = Turn::None;
        double zoom = 1;
        int width = 0, height = 0; ///< of the sensor's picture, pixels
    };

    virtual ~Scene() = default;
    /// The same number as long as the world looks the same; `time` is on the phone's clock, from 0.
    virtual std::uint64_t moment(double time) = 0;
    /// Fills the field of view's shape and crops around the centre. The colour channels may be smaller canvases.
    virtual void paint(const View& view, const Canvas& luma, const Canvas& blueness, const Canvas& redness) = 0;
    /// The sound of the world, in a loop; empty when it is silent.
    virtual std::shared_ptr<const CMAudioSamples> audio() { return nullptr; }

    /// A picture or a movie; a drawn world for an empty name. Throws NSError when it cannot be read.
    static std::shared_ptr<Scene> open(const std::string& footage);
};

}
