// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSObject.h"

#include "platform/Foundation/KeyValueObservers.h"
#include "platform/Foundation/NSException.h"

#include <array>
#include <cctype>
#include <cstdio>

namespace velmora {

namespace {

std::string capitalised(std::string_view key)
{
    std::string text(key);
    if (!text.empty())
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

const Method* getter(const ClassInfo& info, std::string_view key)
{
    if (const Method* plain = info.find(key))
        return plain;
    return info.find("is" + capitalised(key));
}

[[noreturn]] void throwUnknownKey(const ClassInfo& info, std::string_view key)
{
    throw NSException("NSUnknownKeyException", std::string(info.name) + " has no key \"" + std::string(key) + "\"");
}

}

NSObject::NSObject(const NSObject& other)
    : std::enable_shared_from_this<NSObject>(other)
{
}

NSObject& NSObject::operator=(const NSObject&)
{
    return *this;
}

NSObject::~NSObject()
{
    delete observers_.load(std::memory_order_acquire);
}

const ClassInfo& NSObject::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSObject::description>("description"));
    static const ClassInfo info { "Velmora.NSObject", nullptr, methods };
    return info;
}

std::string NSObject::description() const
{
    std::array<char, 24> address {};
    std::snprintf(address.data(), address.size(), "%p", static_cast<const void*>(this));
    return "<" + std::string(classInfo().name) + ": " + address.data() + ">";
}

Value NSObject::valueForKey(std::string_view key) const
{
    const Method* method = getter(classInfo(), key);
    if (!method)
        throwUnknownKey(classInfo(), key);
    return const_cast<NSObject&>(*this).send(method->selector, {}); // the table does not know which members are const
}

void NSObject::setValueForKey(const Value& value, std::string_view key)
{
    const std::string setter = "set" + capitalised(key) + ":";
    if (!respondsToSelector(setter))
        throwUnknownKey(classInfo(), key);
    send(setter, { &value, 1 });
}

std::shared_ptr<KeyValueObservers> NSObject::observers() const
{
    const auto* holder = observers_.load(std::memory_order_acquire);
    return holder ? *holder : nullptr;
}

void NSObject::willChangeValueForKey(std::string_view key)
{
    if (const auto list = observers())
        list->willChange(*this, key);
}

void NSObject::didChangeValueForKey(std::string_view key)
{
    if (const auto list = observers())
        list->didChange(*this, key);
}

Cancellable NSObject::observe(
    std::string_view key, NSKeyValueObservingOptions options, std::function<void(const NSKeyValueChange&)> changed)
{
    const Method* read = getter(classInfo(), key);
    if (!read)
        throwUnknownKey(classInfo(), key);

    if (!wasObserved()) {
        // Two threads may observe for the first time at once: the list that came second is thrown away.
        auto made = std::make_unique<std::shared_ptr<KeyValueObservers>>(std::make_shared<KeyValueObservers>());
        std::shared_ptr<KeyValueObservers>* none = nullptr;
        if (observers_.compare_exchange_strong(none, made.get()))
            static_cast<void>(made.release());
    }
    return observers()->add(*this, key, *read, options, std::move(changed));
}

}
