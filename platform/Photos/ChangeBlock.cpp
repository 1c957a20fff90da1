// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/ChangeBlock.h"

#include "platform/Foundation/NSException.h"
#include "platform/Photos/PhotoStore.h"
#include "platform/Photos/RandomIdentifier.h"

namespace velmora {

namespace {

thread_local ChangeBlock* running = nullptr;

constexpr const char* NSInternalInconsistencyException = "NSInternalInconsistencyException";

}

ChangeBlock::ChangeBlock(std::shared_ptr<PhotoStore> store)
    : store_(std::move(store))
{
    if (running)
        throw NSException(NSInternalInconsistencyException,
            "[PHPhotoLibrary] A change block cannot perform changes; make its requests in the outer one.");
    running = this;
}

ChangeBlock::~ChangeBlock()
{
    running = nullptr;
}

ChangeBlock& ChangeBlock::current(const char* request)
{
    if (!running)
        throw NSException(NSInternalInconsistencyException,
            std::string("[") + request
                + "] This can only be asked for from inside of -[PHPhotoLibrary performChanges:completionHandler:] or "
                  "-[PHPhotoLibrary performChangesAndWait:error:].");
    return *running;
}

std::vector<PhotoStep> ChangeBlock::finish() const
{
    std::vector<PhotoStep> steps;
    steps.reserve(steps_.size());
    for (const auto& step : steps_)
        steps.push_back(*step);
    return steps;
}

NewIdentifier NewIdentifier::of(PhotoStore& store)
{
    if (auto known = store.newIdentifier())
        return { std::move(*known), true };
    return { randomIdentifier(), false };
}

}
