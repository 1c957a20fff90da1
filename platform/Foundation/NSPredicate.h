// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string_view>
#include <vector>

namespace velmora {

/// A question about an object that is answered by its keys.
///
/// The format is made of comparisons (=, ==, !=, <>, <, <=, >, >=, BEGINSWITH, ENDSWITH, CONTAINS; texts by their
/// exact bytes) between keys, numbers, 'texts', "texts", TRUE, FALSE, NIL, and %@ for an argument or %K for a key that
/// is given as one; they are joined by AND, OR, NOT (or &&, ||, !) and parentheses. Does not change; from any thread.
class VELMORA_EXPORT NSPredicate : public NSObject {
public:
    /// Throws NSException (NSInvalidArgumentException) that says where the format is wrong.
    template <class... Args>
    static std::shared_ptr<NSPredicate> predicateWithFormat(std::string_view format, const Args&... arguments)
    {
        return predicateWithFormatArguments(format, { box(arguments)... });
    }
    static std::shared_ptr<NSPredicate> predicateWithFormatArguments(
        std::string_view format, const std::vector<Value>& arguments);

    struct Condition;
    explicit NSPredicate(std::shared_ptr<const Condition> condition);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Throws NSException ("NSUnknownKeyException") for a key that the object does not have. Values of different kinds
    /// are unequal, and none of them is less.
    bool evaluateWithObject(const NSObject& object) const;

private:
    std::shared_ptr<const Condition> condition_;
};

}
