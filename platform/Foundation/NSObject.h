// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/ClassInfo.h"
#include "platform/Foundation/OptionSet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

class KeyValueObservers;

enum NSKeyValueObservingOptions : std::uint64_t {
    NSKeyValueObservingOptionNew = 1,
    NSKeyValueObservingOptionOld = 2,
    NSKeyValueObservingOptionInitial = 4,
    NSKeyValueObservingOptionPrior = 8,
};
template <> inline constexpr bool isOptionSet<NSKeyValueObservingOptions> = true;

/// What changed: each value is present only when its option asked for it; nil is a value too.
struct NSKeyValueChange {
    Value newValue, oldValue;
    bool isPrior = false;
};

/// The root of all classes: reachable by selector, observable by key.
///
/// Make objects by make<T>(...). A copy is another object: observers, identity and weak references stay behind.
class VELMORA_EXPORT NSObject : public std::enable_shared_from_this<NSObject> {
public:
    NSObject() = default;
    NSObject(const NSObject&);
    NSObject& operator=(const NSObject&);
    virtual ~NSObject();

    static const ClassInfo& staticClass();
    virtual const ClassInfo& classInfo() const { return staticClass(); }

    bool respondsToSelector(std::string_view selector) const { return classInfo().find(selector) != nullptr; }
    bool isKindOfClass(const ClassInfo& other) const { return classInfo().isSubclassOf(other); }

    /// Throws NSException (NSInvalidArgumentException), naming class and selector, when the object does not respond
    /// or an argument does not fit.
    Value send(std::string_view selector, std::span<const Value> arguments);
    template <class... Args> Value performSelector(std::string_view selector, Args&&... arguments)
    {
        const std::array<Value, sizeof...(Args)> boxed { box(std::forward<Args>(arguments))... };
        return send(selector, boxed);
    }

    /// Identity, unless a class says more. Nothing equals nil.
    virtual bool isEqual(const NSObject* other) const { return this == other; }
    /// "<Velmora.Class: 0x...>", unless a class says more; what %@ prints.
    virtual std::string description() const;

    /// Reads by the getter `key` or `isKey`; throws NSException ("NSUnknownKeyException") when there is neither.
    Value valueForKey(std::string_view key) const;
    /// Writes by `setKey:`.
    void setValueForKey(const Value& value, std::string_view key);

    /// In pairs, the first before the change and the second after it, from any thread; the two ends of a pair may lie
    /// on different threads.
    void willChangeValueForKey(std::string_view key);
    void didChangeValueForKey(std::string_view key);
    /// Calls `changed` on the thread that changes the value, until the token ends; with the initial option also
    /// once before it returns, always first: a change that another thread makes meanwhile is delivered after it, by the
    /// observing thread. A call that another thread has begun may still run when the token has ended. An observer that
    /// is added between the two announcements hears of the change, without an old value. Throws NSException
    /// ("NSUnknownKeyException") for a key without a getter.
    [[nodiscard]] Cancellable observe(
        std::string_view key, NSKeyValueObservingOptions options, std::function<void(const NSKeyValueChange&)> changed);
    /// True from the first observation on: what a setter may ask before it announces.
    bool wasObserved() const { return observers_.load(std::memory_order_acquire) != nullptr; }

protected:
    /// Registers observers, targets and delegates; calls its superclass first. `make` calls it.
    virtual void didConstruct() { }

private:
    friend struct Construction;
    std::shared_ptr<KeyValueObservers> observers() const;

    std::atomic<std::shared_ptr<KeyValueObservers>*> observers_ { nullptr };
};

/// Wraps the change of one stored property in its announcements. Costs two tests while nobody ever observed.
class ChangeOfValue {
public:
    ChangeOfValue(NSObject& object, std::string_view key)
        : object_(object)
        , key_(key)
    {
        if (object_.wasObserved())
            object_.willChangeValueForKey(key_);
    }
    /// Asks again: who begins to observe between the two announcements has perhaps read the value before the change.
    ~ChangeOfValue()
    {
        if (object_.wasObserved())
            object_.didChangeValueForKey(key_);
    }
    ChangeOfValue(const ChangeOfValue&) = delete;
    ChangeOfValue& operator=(const ChangeOfValue&) = delete;

private:
    NSObject& object_;
    std::string_view key_; // of the setter's literal: outlives the change
};

/// A readable, observable property: the key as the platform spells it, and its getter.
template <class Owner, class T> struct Property {
    std::string_view key;
    T (Owner::*get)() const;
};
template <class Owner, class T> Property(std::string_view, T (Owner::*)() const) -> Property<Owner, T>;

/// The typed form over the same mechanism: `changed` receives what the getter answers.
template <class Owner, class T>
[[nodiscard]] Cancellable observe(Owner& owner, Property<Owner, T> property, NSKeyValueObservingOptions options,
    std::type_identity_t<std::function<void(T)>> changed)
{
    return owner.observe(property.key, options,
        [&owner, get = property.get, changed = std::move(changed)](const NSKeyValueChange& change) {
            if (!change.isPrior)
                changed((owner.*get)());
        });
}

/// Lets `make` reach the protected step of construction.
struct Construction {
    template <class T> static void finish(T& object)
    {
        if constexpr (std::derived_from<T, NSObject>)
            static_cast<NSObject&>(object).didConstruct();
        else if constexpr (requires { object.didConstruct(); })
            object.didConstruct();
    }
};

/// Constructs, then calls didConstruct() where the class has one. Applications' subclasses are made by it too.
template <class T, class... Args> std::shared_ptr<T> make(Args&&... arguments)
{
    auto object = std::make_shared<T>(std::forward<Args>(arguments)...);
    Construction::finish(*object);
    return object;
}

/// The object's own shared pointer, as its class.
template <class T> std::shared_ptr<T> sharedFromThis(T& object)
{
    return std::static_pointer_cast<T>(static_cast<NSObject&>(object).shared_from_this());
}
template <class T> std::weak_ptr<T> weakFromThis(T& object)
{
    return sharedFromThis(object);
}

}
