// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::drivers::phone {

/// One value of a JSON text with its place, for clear complaints: every problem throws an NSError of one sentence.
class JSONValue {
public:
    JSONValue(const nlohmann::json& value, std::string place, const std::string& file)
        : value_(&value)
        , place_(std::move(place))
        , file_(&file)
    {
    }

    const nlohmann::json& json() const { return *value_; }
    const std::string& place() const { return place_; }
    /// "FILE: PLACE is WHAT IT IS; ACCEPTED."
    [[noreturn]] void refuse(const std::string& accepted) const;

    bool boolean() const;
    std::string text() const;
    double number(double least, double most) const;
    std::int64_t whole(std::int64_t least, std::int64_t most) const;
    std::vector<JSONValue> list(
        std::size_t least = 0, std::size_t most = std::numeric_limits<std::size_t>::max()) const;
    /// The index of the text among these.
    std::size_t oneOf(std::span<const std::string_view> names) const;

private:
    friend class JSONObject;
    const nlohmann::json* value_;
    std::string place_;
    const std::string* file_;
};

/// An object whose members are asked for by name; a member that nobody asked for is a mistake.
class JSONObject {
public:
    explicit JSONObject(const JSONValue& value);

    /// Calls `read` with the member, when it is there.
    template <class Read> void member(const std::string& key, Read read)
    {
        known_.insert(key);
        if (const auto found = value_.json().find(key); found != value_.json().end())
            read(at(key, *found));
    }
    JSONValue required(const std::string& key);
    /// Complains of the first member that was not asked for.
    void end() const;

private:
    JSONValue at(const std::string& key, const nlohmann::json& value) const;

    JSONValue value_;
    std::set<std::string> known_;
};

}
