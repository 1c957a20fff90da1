// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

class PhotoStore;

/// The change block that runs on this thread: change requests add their steps to it. From its own thread.
class ChangeBlock {
public:
    /// Throws NSException when one runs already on this thread.
    explicit ChangeBlock(std::shared_ptr<PhotoStore> store);
    ~ChangeBlock();
    ChangeBlock(const ChangeBlock&) = delete;
    ChangeBlock& operator=(const ChangeBlock&) = delete;

    /// Throws NSException (NSInternalInconsistencyException), naming the request, outside any change block.
    static ChangeBlock& current(const char* request);

    PhotoStore& store() const { return *store_; }
    /// The step stays changeable until the block ends.
    template <class Step> std::shared_ptr<Step> add(Step step)
    {
        auto held = std::make_shared<PhotoStep>(std::move(step));
        steps_.push_back(held);
        return std::shared_ptr<Step>(held, &std::get<Step>(*held));
    }
    std::vector<PhotoStep> finish() const;

private:
    std::shared_ptr<PhotoStore> store_;
    std::vector<std::shared_ptr<PhotoStep>> steps_;
};

/// An identifier, and whether the store told it beforehand.
struct NewIdentifier {
    std::string text;
    bool isKnown = true;

    /// A fresh one even when the store tells none.
    static NewIdentifier of(PhotoStore& store);
};

}
