// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/DescriptionReader.h"

#include <cmath>

namespace velmora::drivers::phone {

namespace {

constexpr int corrupt = 3840; // of NSCocoaErrorDomain: the text is not what it should be

/// What a value is, short enough for a message.
std::string shown(const nlohmann::json& value)
{
    constexpr std::size_t enough = 60;
    if (value.is_object())
        return "an object";
    if (value.is_array())
        return value.size() == 1 ? "a list of one" : "a list of " + std::to_string(value.size());
    std::string text = value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
    return text.size() <= enough ? text : text.substr(0, enough) + "...";
}

std::string inWords(double number)
{
    return shown(nlohmann::json(number == std::round(number) && std::abs(number) < 1e15
            ? nlohmann::json(static_cast<std::int64_t>(number))
            : nlohmann::json(number)));
}

}

void JSONValue::refuse(const std::string& accepted) const
{
    throw NSError(
        NSCocoaErrorDomain, corrupt, *file_ + ": " + place_ + " is " + shown(*value_) + "; " + accepted + ".");
}

bool JSONValue::boolean() const
{
    if (!value_->is_boolean())
        refuse("it must be true or false");
    return value_->get<bool>();
}

std::string JSONValue::text() const
{
    if (!value_->is_string())
        refuse("it must be a text in quotation marks");
    return value_->get<std::string>();
}

double JSONValue::number(double least, double most) const
{
    const std::string wanted = "it must be a number from " + inWords(least) + " to " + inWords(most);
    if (!value_->is_number())
        refuse(wanted);
    const double number = value_->get<double>();
    if (!(number >= least && number <= most))
        refuse(wanted);
    return number;
}

std::int64_t JSONValue::whole(std::int64_t least, std::int64_t most) const
{
    const std::string wanted
        = "it must be a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    if (!value_->is_number_integer())
        refuse(wanted);
    if (value_->is_number_unsigned() && value_->get<std::uint64_t>() > std::uint64_t { 1 } << 62)
        refuse(wanted);
    const auto number = value_->get<std::int64_t>();
    if (number < least || number > most)
        refuse(wanted);
    return number;
}

std::vector<JSONValue> JSONValue::list(std::size_t least, std::size_t most) const
{
    if (!value_->is_array())
        refuse("it must be a list in square brackets");
    if (value_->size() < least || value_->size() > most)
        refuse(least == most ? "it must have " + std::to_string(least) + " entries"
                             : "it must have at least " + std::to_string(least) + " entries");
    std::vector<JSONValue> all;
    for (std::size_t i = 0; i < value_->size(); ++i)
        all.emplace_back((*value_)[i], place_ + "[" + std::to_string(i) + "]", *file_);
    return all;
}

std::size_t JSONValue::oneOf(std::span<const std::string_view> names) const
{
    std::string wanted;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (value_->is_string() && value_->get_ref<const std::string&>() == names[i])
            return i;
        wanted += (i == 0 ? "it must be \"" : i + 1 == names.size() ? " or \"" : ", \"") + std::string(names[i]) + "\"";
    }
    refuse(wanted);
}

JSONObject::JSONObject(const JSONValue& value)
    : value_(value)
{
    if (!value.json().is_object())
        value.refuse("it must be an object in braces");
}

JSONValue JSONObject::at(const std::string& key, const nlohmann::json& value) const
{
    const bool top = value_.place_ == "the description";
    return { value, top ? key : value_.place_ + "." + key, *value_.file_ };
}

JSONValue JSONObject::required(const std::string& key)
{
    known_.insert(key);
    const auto found = value_.json().find(key);
    if (found == value_.json().end())
        throw NSError(NSCocoaErrorDomain, corrupt,
            *value_.file_ + ": " + value_.place_ + " has no \"" + key + "\", which it must have.");
    return at(key, *found);
}

void JSONObject::end() const
{
    for (const auto& [key, value] : value_.json().items()) {
        if (known_.contains(key))
            continue;
        std::string accepted;
        for (const auto& name : known_)
            accepted += (accepted.empty() ? "" : ", ") + name;
        throw NSError(NSCocoaErrorDomain, corrupt,
            *value_.file_ + ": " + value_.place_ + " has an unknown key " + shown(nlohmann::json(key)) + "; known are "
                + accepted + ".");
    }
}

}
