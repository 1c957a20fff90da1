// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CAAnimation.h"
#include "platform/QuartzCore/CATransaction.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class CALayer;

/// Animations that were started together and whose end somebody waits for. Main thread only.
class AnimationBatch : public std::enable_shared_from_this<AnimationBatch> {
public:
    using Completion = std::function<void(bool finished)>;

    void setCompletion(Completion completion) { completion_ = std::move(completion); }
    void added() { ++running_; }
    /// `finished`: it came to its end. The last of them ends the batch, unless it is held open or has a time of its
    /// own.
    void ended(bool finished);
    /// All that belongs to it was added; with none, or when all have ended already, it completes soon.
    void close();
    /// A block's time: whoever still runs after `seconds` is ended then, and the block completes. Infinity: never.
    void closeWithDuration(double seconds);

private:
    void complete();
    void completeSoon();

    Completion completion_;
    int running_ = 0;
    bool finished_ = true, closed_ = false, completed_ = false, timed_ = false;
    friend class LayerAnimations;
    std::vector<std::pair<std::weak_ptr<CALayer>, std::uint64_t>> members_; // of a timed batch
};

/// One property's way in a block, along the block's curve.
class BlockAnimation final : public CABasicAnimation {
public:
    BlockAnimation(std::string keyPath, const CABlockAnimation& block);
    std::shared_ptr<CAAnimation> copy() const override;
    bool beginsFromCurrentState() const { return fromCurrent_; }

protected:
    double curveAt(double seconds) const override;

private:
    CACurve curve_;
    CASpringMotion spring_; // for a spring, made once
    bool fromCurrent_;
};

/// The animations of one layer, in the order of adding. Main thread only.
class LayerAnimations {
public:
    explicit LayerAnimations(CALayer& layer);
    ~LayerAnimations();
    LayerAnimations(const LayerAnimations&) = delete;
    LayerAnimations& operator=(const LayerAnimations&) = delete;

    /// Takes the animation itself; the caller has copied it.
    void add(const std::shared_ptr<CAAnimation>& animation, const std::string& key);
    std::shared_ptr<CAAnimation> find(const std::string& key) const;
    std::vector<std::string> keys() const;
    void remove(const std::string& key);
    void removeAll();
    bool isMoving() const; ///< one that shows something is under way, or will be
    bool isEmpty() const { return running_.empty(); }
    /// Writes what they show at this moment into a copy of the layer.
    void showOn(CALayer& copy) const;

private:
    friend class AnimationBatch;
    struct Running {
        std::uint64_t token;
        std::string key;
        std::shared_ptr<CAAnimation> animation;
        double begin; // seconds, by the clock in force
        std::shared_ptr<AnimationBatch> batch;
        bool stopped = false; // it has ended and stays for its fill mode
    };
    bool goesOnWith(const std::shared_ptr<CAAnimation>& animation, const std::string& key);
    void end(std::uint64_t token, bool finished);
    void stop(Running running, bool finished);

    CALayer& layer_;
    std::vector<Running> running_;
};

/// What transactions know on this thread, for layers.
struct TransactionState {
    /// The batch that animations started now belong to; empty when nobody waits for them.
    static std::shared_ptr<AnimationBatch> batch();
    /// Empty where a change is not animated. Otherwise without values yet.
    static std::shared_ptr<CAAnimation> actionFor(CALayer& layer, const std::string& key, bool seen);
};

}
