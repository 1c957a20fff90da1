// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/Scene.h"

namespace velmora::drivers::phone {

/// A sky over a meadow, with discs that float about: drawn at every size, so it is sharp at each.
class DrawnScene final : public Scene {
public:
    std::uint64_t moment(double time) override;
    void paint(const View& view, const Canvas& luma, const Canvas& blueness, const Canvas& redness) override;
};

}
