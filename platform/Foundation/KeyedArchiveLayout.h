// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ClassInfo.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// What the writer and the reader of keyed archives agree upon.
namespace keyedArchive {

inline constexpr std::string_view archiver = "NSKeyedArchiver";
inline constexpr std::int64_t version = 100000;
/// Stands first among the objects; its UID, 0, is nil.
inline constexpr std::string_view null = "$null";
/// Levels of objects within objects; deeper ones are refused in both directions.
inline constexpr std::size_t deepest = 200;

/// A class as archives name it: Foundation's own stand there as every reader of archives knows them.
inline std::string_view className(const ClassInfo& info)
{
    static constexpr std::string_view module = "Velmora.";
    return info.name.starts_with("Velmora.NS") ? info.name.substr(module.size()) : info.name;
}

/// Keys that begin with "$" belong to the layout; those of an object are told apart by another "$".
inline std::string fieldKey(std::string_view key)
{
    return key.starts_with('$') ? "$" + std::string(key) : std::string(key);
}

/// The way to the value that is in hand, for messages: "root.userInfo.list[3]".
class Path {
public:
    /// One step deeper while it lives.
    class Step {
    public:
        Step(Path& path, std::string name)
            : path_(path)
        {
            path_.names_.push_back(std::move(name));
        }
        ~Step() { path_.names_.pop_back(); }
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;

    private:
        Path& path_;
    };

    std::size_t depth() const { return names_.size(); }
    std::string text() const
    {
        std::string text = "root";
        for (const std::string& name : names_)
            text += name.starts_with('[') ? name : "." + name;
        return text;
    }

private:
    std::vector<std::string> names_;
};

}

}
