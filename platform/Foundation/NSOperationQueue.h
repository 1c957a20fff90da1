// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

/// A queue of operations, as sensors deliver to.
class VELMORA_EXPORT NSOperationQueue : public NSObject {
public:
    /// The main queue's.
    static std::shared_ptr<NSOperationQueue> mainQueue();

    explicit NSOperationQueue(DispatchQueue queue = DispatchQueue("org.velmora.operations"));
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    void addOperation(Block operation) const { queue_.async(std::move(operation)); }
    const DispatchQueue& underlyingQueue() const { return queue_; }

private:
    DispatchQueue queue_;
};

}
