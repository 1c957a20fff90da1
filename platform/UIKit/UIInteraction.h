// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <memory>

namespace velmora {

class UIView;

/// Something besides touches that a view lets a person do, while the view holds it. Main thread only.
class VELMORA_EXPORT UIInteraction {
public:
    virtual ~UIInteraction() = default;
    virtual std::shared_ptr<UIView> view() const = 0;
    // Around joining a view (null: leaving it).
    virtual void willMoveToView(const std::shared_ptr<UIView>& view) = 0;
    virtual void didMoveToView(const std::shared_ptr<UIView>& view) = 0;
};

}
