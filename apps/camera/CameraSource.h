// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "apps/camera/Options.h"

namespace velmora::drivers::phone {
struct PhoneDescription;
class VirtualPhone;
}

namespace velmora::camera {

/// The virtual phone that the options describe. Throws Refusal.
drivers::phone::PhoneDescription phoneOf(const Options& options);

/// Where the cameras come from: this machine's, or a virtual phone that lives as long as this.
class CameraSource {
public:
    /// Whether a machine without a camera is refused, or just has none.
    enum Need : bool { MayBeNone, MustBeThere };
    /// Installs the drivers that the options ask for. Throws Refusal when there is no such camera.
    explicit CameraSource(const Options& options, Need need = MustBeThere);
    ~CameraSource();
    CameraSource(const CameraSource&) = delete;
    CameraSource& operator=(const CameraSource&) = delete;

    /// A place is to be expected soon.
    bool hasPlace() const { return hasPlace_; }

private:
    void plugIn(const std::string& driver, Need need);
    void plugInVirtualPhone(const Options& options);

    std::unique_ptr<drivers::phone::VirtualPhone> phone_;
    bool hasPlace_ = false;
};

}
