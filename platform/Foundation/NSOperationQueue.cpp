// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSOperationQueue.h"

#include <utility>

namespace velmora {

NSOperationQueue::NSOperationQueue(DispatchQueue queue)
    : queue_(std::move(queue))
{
}

const ClassInfo& NSOperationQueue::staticClass()
{
    static constexpr auto classMethods = methodTable(classMethod<&NSOperationQueue::mainQueue>("mainQueue"));
    static const ClassInfo info { "Velmora.NSOperationQueue", &NSObject::staticClass(), {}, classMethods };
    return info;
}

std::shared_ptr<NSOperationQueue> NSOperationQueue::mainQueue()
{
    static auto* queue = new std::shared_ptr<NSOperationQueue>(make<NSOperationQueue>(DispatchQueue::main()));
    return *queue;
}

}
