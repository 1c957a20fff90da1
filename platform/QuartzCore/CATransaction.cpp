// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CATransaction.h"

#include "platform/QuartzCore/CALayer.h"
#include "platform/QuartzCore/LayerAnimations.h"

#include <memory>
#include <utility>
#include <vector>

namespace velmora {

namespace {

constexpr double defaultDuration = 0.25; // seconds

struct Level {
    bool disableActions = false;
    double duration = defaultDuration;
    std::optional<CAMediaTimingFunction> timing;
    std::optional<CABlockAnimation> block;
    std::shared_ptr<AnimationBatch> batch; // of this level alone
};

/// The outermost level is the one of changes outside any transaction.
std::vector<Level>& levels()
{
    static thread_local std::vector<Level> all(1);
    return all;
}

Level& innermost()
{
    return levels().back();
}

/// A level for the time of a block's changes, also when they throw.
class Inside {
public:
    Inside(const CABlockAnimation& block, std::shared_ptr<AnimationBatch> batch)
    {
        Level level = innermost();
        level.block = block;
        level.batch = std::move(batch);
        levels().push_back(std::move(level));
    }
    ~Inside() { levels().pop_back(); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

}

void CATransaction::begin()
{
    Level level = innermost();
    level.batch = nullptr;
    levels().push_back(std::move(level));
}

void CATransaction::commit()
{
    if (levels().size() == 1)
        return;
    const auto batch = innermost().batch;
    levels().pop_back();
    if (batch)
        batch->close();
}

bool CATransaction::disableActions()
{
    return innermost().disableActions;
}

void CATransaction::setDisableActions(bool disable)
{
    innermost().disableActions = disable;
}

double CATransaction::animationDuration()
{
    return innermost().duration;
}

void CATransaction::setAnimationDuration(double seconds)
{
    innermost().duration = seconds;
}

std::optional<CAMediaTimingFunction> CATransaction::animationTimingFunction()
{
    return innermost().timing;
}

void CATransaction::setAnimationTimingFunction(const std::optional<CAMediaTimingFunction>& function)
{
    innermost().timing = function;
}

void CATransaction::setCompletionBlock(std::function<void()> completion)
{
    if (levels().size() == 1)
        return; // nothing would ever commit it
    auto& batch = innermost().batch;
    if (!batch)
        batch = std::make_shared<AnimationBatch>();
    batch->setCompletion([completion = std::move(completion)](bool) {
        if (completion)
            completion();
    });
}

void CATransaction::animateBlock(const CABlockAnimation& animation, const std::function<void()>& changes,
    std::function<void(bool finished)> completion)
{
    const auto batch = std::make_shared<AnimationBatch>();
    batch->setCompletion(std::move(completion));
    {
        const Inside inside(animation, batch);
        if (changes)
            changes();
    }
    const BlockAnimation timing({}, animation);
    batch->closeWithDuration(animation.duration > 0 ? timing.activeDuration() : timing.delay());
}

std::optional<CABlockAnimation> CATransaction::currentBlockAnimation()
{
    return innermost().block;
}

std::shared_ptr<AnimationBatch> TransactionState::batch()
{
    for (auto level = levels().rbegin(); level != levels().rend(); ++level)
        if (level->batch)
            return level->batch;
    return nullptr;
}

std::shared_ptr<CAAnimation> TransactionState::actionFor(CALayer& layer, const std::string& key, bool seen)
{
    const Level& level = innermost();
    if (level.disableActions)
        return nullptr;
    if (level.block)
        return make<BlockAnimation>(key, *level.block);
    if (const auto delegate = layer.delegate()) {
        auto action = delegate->actionForLayer(sharedFromThis(layer), key);
        if (action && action->duration() == 0)
            action->setDuration(level.duration);
        return action;
    }
    if (!seen || level.duration <= 0)
        return nullptr; // what nobody has seen yet does not move there
    const auto action = CABasicAnimation::animationWithKeyPath(key);
    action->setDuration(level.duration);
    action->setTimingFunction(level.timing.value_or(kCAMediaTimingFunctionDefault));
    return action;
}

}
