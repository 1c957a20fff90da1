// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneState.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSException.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmora::drivers::phone {

namespace {

constexpr Outcome opening[] { Outcome::Error, Outcome::ErrorWithResult, Outcome::Nothing };

const char* name(Step step)
{
    switch (step) {
    case Step::Lock:
        return "Lock";
    case Step::OpenVideoInput:
        return "OpenVideoInput";
    case Step::OpenAudioInput:
        return "OpenAudioInput";
    case Step::Start:
        return "Start";
    case Step::CreateVideoOutput:
        return "CreateVideoOutput";
    case Step::CreateAudioOutput:
        return "CreateAudioOutput";
    case Step::SettingTakesEffect:
        return "SettingTakesEffect";
    case Step::AddControl:
        return "AddControl";
    case Step::Record:
        return "Record";
    case Step::LibraryChange:
        return "LibraryChange";
    case Step::Placeholder:
        return "Placeholder";
    case Step::FetchAfterChange:
        return "FetchAfterChange";
    case Step::FolderChangeRequest:
        return "FolderChangeRequest";
    }
    return "?";
}

bool has(Step step, Outcome outcome)
{
    switch (step) {
    case Step::Lock:
    case Step::Record:
    case Step::LibraryChange:
        return outcome == Outcome::Error;
    case Step::OpenVideoInput:
    case Step::OpenAudioInput:
        return std::find(std::begin(opening), std::end(opening), outcome) != std::end(opening);
    case Step::Start:
        return outcome == Outcome::Error || outcome == Outcome::Late || outcome == Outcome::Never;
    case Step::CreateVideoOutput:
    case Step::CreateAudioOutput:
    case Step::AddControl:
    case Step::Placeholder:
    case Step::FetchAfterChange:
    case Step::FolderChangeRequest:
        return outcome == Outcome::Nothing;
    case Step::SettingTakesEffect:
        return outcome == Outcome::Late || outcome == Outcome::Never;
    }
    return false;
}

}

PhoneState::PhoneState(PhoneDescription description, std::shared_ptr<const Clock> clock)
    : clock_(std::move(clock))
    , beginning_(clock_->now())
    , description_(std::make_shared<const PhoneDescription>(std::move(description)))
{
}

std::shared_ptr<const PhoneDescription> PhoneState::description() const
{
    const std::lock_guard lock(mutex_);
    return description_;
}

void PhoneState::change(const std::function<void(PhoneDescription&)>& edit)
{
    const std::lock_guard changing(changing_);
    auto edited = std::make_shared<PhoneDescription>(*description());
    edit(*edited);
    const std::lock_guard lock(mutex_);
    description_ = std::move(edited);
}

void PhoneState::note(const std::string& what, const std::string& device)
{
    JournalEntry entry { what, device, DispatchQueue::currentLabel(), now() };
    const std::lock_guard lock(mutex_);
    journal_.push_back(std::move(entry));
}

std::vector<JournalEntry> PhoneState::journal() const
{
    const std::lock_guard lock(mutex_);
    return journal_;
}

void PhoneState::fail(Fault fault)
{
    if (!has(fault.step, fault.outcome))
        throw NSException(NSInvalidArgumentException,
            std::string("[VirtualPhone] The step ") + name(fault.step)
                + " cannot end this way; see Step for the outcomes that it has.");
    const std::lock_guard lock(mutex_);
    armed_.push_back({ std::move(fault) });
}

std::optional<Fault> PhoneState::strike(Step step, std::initializer_list<Outcome> outcomes, const std::string& camera)
{
    const std::lock_guard lock(mutex_);
    std::optional<Fault> striking;
    for (auto& armed : armed_) {
        const Fault& fault = armed.fault;
        if (fault.step != step || (!fault.camera.empty() && fault.camera != camera)
            || std::find(outcomes.begin(), outcomes.end(), fault.outcome) == outcomes.end())
            continue;
        const bool due = ++armed.seen >= fault.call && (fault.times == 0 || armed.struck < fault.times);
        if (!due || striking)
            continue;
        ++armed.struck;
        striking = fault;
    }
    return striking;
}

NSError errorOf(const Fault& fault)
{
    constexpr int unknown = -11800;
    if (fault.error)
        return *fault.error;
    return NSError(AVFoundationErrorDomain, unknown,
        std::string("The virtual phone was told to fail at the step ") + name(fault.step) + ".");
}

}
