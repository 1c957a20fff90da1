// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Clock.h"

#include "drivers/phone/PhoneDescription.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::phone {

/// What all parts of one phone share: its description, its journal, its faults and its time. From any thread.
class PhoneState {
public:
    PhoneState(PhoneDescription description, std::shared_ptr<const Clock> clock);

    /// As of now; it does not change under the reader.
    std::shared_ptr<const PhoneDescription> description() const;
    void change(const std::function<void(PhoneDescription&)>& edit);

    const Clock& clock() const { return *clock_; }
    double now() const { return clock_->now() - beginning_; } ///< seconds on the phone's clock

    void note(const std::string& what, const std::string& device);
    std::vector<JournalEntry> journal() const;

    /// Throws NSException (NSInvalidArgumentException) for an outcome that the step does not have.
    void fail(Fault fault);
    /// One call at this step: the fault that strikes it, among those with one of these outcomes.
    std::optional<Fault> strike(Step step, std::initializer_list<Outcome> outcomes, const std::string& camera);

private:
    struct Armed {
        Fault fault;
        int seen = 0, struck = 0;
    };

    const std::shared_ptr<const Clock> clock_;
    const double beginning_;
    std::mutex changing_; // one edit at a time; held while it runs
    mutable std::mutex mutex_;
    std::shared_ptr<const PhoneDescription> description_;
    std::vector<JournalEntry> journal_;
    std::vector<Armed> armed_;
};

/// The error that a fault asks for, or one that names its step.
NSError errorOf(const Fault& fault);

}
