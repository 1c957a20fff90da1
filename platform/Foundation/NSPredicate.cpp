// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSPredicate.h"

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSException.h"

#include <array>
#include <charconv>
#include <compare>
#include <optional>
#include <string>
#include <utility>

namespace velmora {

namespace {

enum class Relation : std::uint8_t {
    Equal,
    Unequal,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    BeginsWith,
    EndsWith,
    Contains
};

/// A constant, or a key to read.
struct Operand {
    std::optional<std::string> key;
    Value constant;

    Value of(const NSObject& object) const { return key ? object.valueForKey(*key) : constant; }
};

std::optional<double> numberIn(const Value& value)
{
    if (const auto* truth = std::any_cast<bool>(&value))
        return *truth ? 1 : 0;
    if (const auto* whole = std::any_cast<std::int64_t>(&value))
        return static_cast<double>(*whole);
    if (const auto* real = std::any_cast<double>(&value))
        return *real;
    if (const auto* object = std::any_cast<std::shared_ptr<NSObject>>(&value))
        if (const auto date = std::dynamic_pointer_cast<NSDate>(*object))
            return date->timeIntervalSinceReferenceDate();
    return std::nullopt;
}

std::partial_ordering compare(const Value& a, const Value& b)
{
    if (isNil(a) || isNil(b))
        return isNil(a) && isNil(b) ? std::partial_ordering::equivalent : std::partial_ordering::unordered;
    const auto *textA = std::any_cast<std::string>(&a), *textB = std::any_cast<std::string>(&b);
    if (textA && textB)
        return textA->compare(*textB) <=> 0;
    const auto numberA = numberIn(a), numberB = numberIn(b);
    if (numberA && numberB)
        return *numberA <=> *numberB;
    const auto *objectA = std::any_cast<std::shared_ptr<NSObject>>(&a),
               *objectB = std::any_cast<std::shared_ptr<NSObject>>(&b);
    if (objectA && objectB && (*objectA)->isEqual(objectB->get()))
        return std::partial_ordering::equivalent;
    return std::partial_ordering::unordered;
}

bool holds(Relation relation, const Value& a, const Value& b)
{
    const auto *text = std::any_cast<std::string>(&a), *part = std::any_cast<std::string>(&b);
    switch (relation) {
    case Relation::Equal:
        return compare(a, b) == 0;
    case Relation::Unequal:
        return compare(a, b) != 0;
    case Relation::Less:
        return compare(a, b) < 0;
    case Relation::LessOrEqual:
        return compare(a, b) <= 0;
    case Relation::Greater:
        return compare(a, b) > 0;
    case Relation::GreaterOrEqual:
        return compare(a, b) >= 0;
    case Relation::BeginsWith:
        return text && part && text->starts_with(*part);
    case Relation::EndsWith:
        return text && part && text->ends_with(*part);
    case Relation::Contains:
        return text && part && text->find(*part) != std::string::npos;
    }
    return false;
}

}

struct NSPredicate::Condition {
    enum class Kind : std::uint8_t { Comparison, And, Or, Not } kind = Kind::Comparison;
    Relation relation = Relation::Equal;
    Operand left {}, right {};
    std::shared_ptr<const Condition> first {}, second {};

    bool holdsFor(const NSObject& object) const
    {
        switch (kind) {
        case Kind::Comparison:
            return holds(relation, left.of(object), right.of(object));
        case Kind::And:
            return first->holdsFor(object) && second->holdsFor(object);
        case Kind::Or:
            return first->holdsFor(object) || second->holdsFor(object);
        case Kind::Not:
            return !first->holdsFor(object);
        }
        return false;
    }
};

namespace {

using Condition = NSPredicate::Condition;
using Conditions = std::shared_ptr<const Condition>;

bool isWordCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.';
}

bool equalsIgnoringCase(std::string_view a, std::string_view upper)
{
    if (a.size() != upper.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if ((a[i] >= 'a' && a[i] <= 'z' ? static_cast<char>(a[i] - 'a' + 'A') : a[i]) != upper[i])
            return false;
    return true;
}

/// Reads a format once, from left to right.
class Parser {
public:
    Parser(std::string_view format, const std::vector<Value>& arguments)
        : format_(format)
        , arguments_(arguments)
    {
    }

    Conditions parse()
    {
        auto whole = disjunction(0);
        skipSpace();
        if (at_ != format_.size())
            fail("something stands behind its end");
        if (argument_ != arguments_.size())
            fail("there are more arguments than places for them");
        return whole;
    }

private:
    static constexpr int deepest = 64;

    [[noreturn]] void fail(const char* why) const
    {
        throw NSException(NSInvalidArgumentException,
            "Unable to parse the format string \"" + std::string(format_) + "\" at character " + std::to_string(at_)
                + ": " + why + ".");
    }

    void skipSpace()
    {
        while (at_ < format_.size() && (format_[at_] == ' ' || format_[at_] == '\t' || format_[at_] == '\n'))
            ++at_;
    }

    bool takeSign(std::string_view sign)
    {
        skipSpace();
        if (!format_.substr(at_).starts_with(sign))
            return false;
        at_ += sign.size();
        return true;
    }

    std::string_view nextWord()
    {
        skipSpace();
        std::size_t end = at_;
        while (end < format_.size() && isWordCharacter(format_[end]))
            ++end;
        return format_.substr(at_, end - at_);
    }

    bool takeWord(std::string_view upper)
    {
        const auto word = nextWord();
        if (!equalsIgnoringCase(word, upper))
            return false;
        at_ += word.size();
        return true;
    }

    Conditions disjunction(int depth)
    {
        auto left = conjunction(depth);
        while (takeSign("||") || takeWord("OR"))
            left = joined(Condition::Kind::Or, std::move(left), conjunction(depth));
        return left;
    }

    Conditions conjunction(int depth)
    {
        auto left = negation(depth);
        while (takeSign("&&") || takeWord("AND"))
            left = joined(Condition::Kind::And, std::move(left), negation(depth));
        return left;
    }

    Conditions negation(int depth)
    {
        if (depth > deepest)
            fail("it is nested too deeply");
        if (takeWord("NOT") || takeSign("!"))
            return joined(Condition::Kind::Not, negation(depth + 1), nullptr);
        if (takeSign("(")) {
            auto inner = disjunction(depth + 1);
            if (!takeSign(")"))
                fail("a parenthesis is not closed");
            return inner;
        }
        return comparison();
    }

    static Conditions joined(Condition::Kind kind, Conditions first, Conditions second)
    {
        Condition condition;
        condition.kind = kind;
        condition.first = std::move(first);
        condition.second = std::move(second);
        return std::make_shared<const Condition>(std::move(condition));
    }

    Conditions comparison()
    {
        Condition condition;
        condition.left = operand();
        condition.relation = relation();
        condition.right = operand();
        return std::make_shared<const Condition>(std::move(condition));
    }

    Relation relation()
    {
        constexpr std::array<std::pair<std::string_view, Relation>, 8> signs { { { "==", Relation::Equal },
            { "!=", Relation::Unequal }, { "<>", Relation::Unequal }, { "<=", Relation::LessOrEqual },
            { ">=", Relation::GreaterOrEqual }, { "=", Relation::Equal }, { "<", Relation::Less },
            { ">", Relation::Greater } } };
        constexpr std::array<std::pair<std::string_view, Relation>, 3> words { { { "BEGINSWITH", Relation::BeginsWith },
            { "ENDSWITH", Relation::EndsWith }, { "CONTAINS", Relation::Contains } } };
        for (const auto& [sign, meaning] : signs)
            if (takeSign(sign))
                return meaning;
        for (const auto& [word, meaning] : words)
            if (takeWord(word))
                return meaning;
        fail("a comparison is missing");
    }

    const Value& nextArgument()
    {
        if (argument_ == arguments_.size())
            fail("there are fewer arguments than places for them");
        return arguments_[argument_++];
    }

    Operand operand()
    {
        if (takeSign("%@"))
            return { {}, nextArgument() };
        if (takeSign("%K")) {
            const auto* key = std::any_cast<std::string>(&nextArgument());
            if (!key)
                fail("%K takes the name of a key");
            return { *key, {} };
        }
        skipSpace();
        if (at_ < format_.size() && (format_[at_] == '\'' || format_[at_] == '"'))
            return { {}, quoted() };
        if (auto number = takeNumber())
            return { {}, *number };
        for (const auto* truth : { "TRUE", "YES" })
            if (takeWord(truth))
                return { {}, true };
        for (const auto* untruth : { "FALSE", "NO" })
            if (takeWord(untruth))
                return { {}, false };
        if (takeWord("NIL") || takeWord("NULL"))
            return { {}, std::monostate {} };
        const auto word = nextWord();
        if (word.empty())
            fail("a key or a value is missing");
        at_ += word.size();
        return { std::string(word), {} };
    }

    std::string quoted()
    {
        const char mark = format_[at_];
        const auto end = format_.find(mark, at_ + 1);
        if (end == std::string_view::npos)
            fail("a text is not closed");
        std::string text(format_.substr(at_ + 1, end - at_ - 1));
        at_ = end + 1;
        return text;
    }

    std::optional<double> takeNumber()
    {
        double number = 0;
        const char* first = format_.data() + at_;
        if (at_ == format_.size() || !(*first == '-' || *first == '.' || (*first >= '0' && *first <= '9')))
            return std::nullopt;
        const auto [end, error] = std::from_chars(first, format_.data() + format_.size(), number);
        if (error != std::errc())
            fail("this is no number");
        at_ += static_cast<std::size_t>(end - first);
        return number;
    }

    std::string_view format_;
    const std::vector<Value>& arguments_;
    std::size_t at_ = 0, argument_ = 0;
};

std::shared_ptr<NSPredicate> predicateWithFormatAlone(const std::string& format)
{
    return NSPredicate::predicateWithFormatArguments(format, {});
}

}

NSPredicate::NSPredicate(std::shared_ptr<const Condition> condition)
    : condition_(std::move(condition))
{
}

std::shared_ptr<NSPredicate> NSPredicate::predicateWithFormatArguments(
    std::string_view format, const std::vector<Value>& arguments)
{
    return make<NSPredicate>(Parser(format, arguments).parse());
}

const ClassInfo& NSPredicate::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSPredicate::evaluateWithObject>("evaluateWithObject:"));
    static constexpr auto classMethods = methodTable(classMethod<&predicateWithFormatAlone>("predicateWithFormat:"));
    static const ClassInfo info { "Velmora.NSPredicate", &NSObject::staticClass(), methods, classMethods };
    return info;
}

bool NSPredicate::evaluateWithObject(const NSObject& object) const
{
    return condition_->holdsFor(object);
}

}
