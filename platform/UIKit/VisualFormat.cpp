// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSException.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIView.h"

#include <cctype>
#include <charconv>
#include <string_view>

namespace velmora {

namespace {

constexpr double betweenViews = 8, toTheEdge = 20; // points that a lone hyphen stands for

/// Reads a format from the left, making a constraint for every distance and length.
class FormatReader {
public:
    FormatReader(
        const std::string& format, const NSLayoutConstraint::Metrics& metrics, const NSLayoutConstraint::Views& views)
        : format_(format)
        , metrics_(metrics)
        , views_(views)
    {
    }

    std::vector<std::shared_ptr<NSLayoutConstraint>> read()
    {
        if (take("V:"))
            vertical_ = true;
        else
            take("H:");
        bool atEdge = take("|");
        double distance = atEdge ? readDistance(true) : 0;
        while (place_ < format_.size()) {
            const auto view = readView();
            if (atEdge)
                add(view, startAttribute(), superviewOf(view), startAttribute(), distance);
            else if (last_)
                add(view, startAttribute(), last_, endAttribute(), distance);
            atEdge = false;
            last_ = view;
            if (place_ == format_.size())
                break;
            distance = readDistance(format_.find('[', place_) == std::string::npos);
            if (take("|")) {
                add(superviewOf(view), endAttribute(), view, endAttribute(), distance);
                if (place_ != format_.size())
                    fail("nothing comes behind the last edge");
            }
        }
        if (!last_)
            fail("there is no view in it");
        return std::move(made_);
    }

private:
    [[noreturn]] void fail(const std::string& why) const
    {
        throw NSException(NSInvalidArgumentException,
            "The layout format \"" + format_ + "\" cannot be read at character " + std::to_string(place_ + 1) + ": "
                + why);
    }
    bool take(std::string_view text)
    {
        if (format_.compare(place_, text.size(), text) != 0)
            return false;
        place_ += text.size();
        return true;
    }
    NSLayoutAttribute startAttribute() const { return vertical_ ? NSLayoutAttributeTop : NSLayoutAttributeLeading; }
    NSLayoutAttribute endAttribute() const { return vertical_ ? NSLayoutAttributeBottom : NSLayoutAttributeTrailing; }
    std::shared_ptr<UIView> superviewOf(const std::shared_ptr<UIView>& view) const
    {
        auto above = view->superview();
        if (!above)
            fail("the view beside the edge has no superview");
        return above;
    }
    void add(const std::shared_ptr<UIView>& view, NSLayoutAttribute attribute, const std::shared_ptr<UIView>& other,
        NSLayoutAttribute otherAttribute, double constant)
    {
        made_.push_back(make<NSLayoutConstraint>(view, attribute, other, otherAttribute, 1.0, constant));
    }
    std::string readName()
    {
        std::string name;
        while (place_ < format_.size()
            && (std::isalnum(static_cast<unsigned char>(format_[place_])) || format_[place_] == '_'
                || format_[place_] == '.'))
            name += format_[place_++];
        if (name.empty())
            fail("a name or a number is missing");
        return name;
    }
    double number(const std::string& name) const
    {
        double value = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), value);
        if (error == std::errc() && end == name.data() + name.size())
            return value;
        const auto found = metrics_.find(name);
        if (found == metrics_.end())
            fail("\"" + name + "\" is neither a number nor a metric");
        return found->second;
    }
    double readDistance(bool edge)
    {
        if (!take("-"))
            return 0;
        if (place_ < format_.size() && (format_[place_] == '[' || format_[place_] == '|'))
            return edge ? toTheEdge : betweenViews;
        const bool inBrackets = take("(");
        const double distance = take("-") ? -number(readName()) : number(readName());
        if ((inBrackets && !take(")")) || !take("-"))
            fail("the distance does not end in a hyphen");
        return distance;
    }
    std::shared_ptr<UIView> viewNamed(const std::string& name) const
    {
        const auto found = views_.find(name);
        if (found == views_.end() || !found->second)
            fail("no view is called \"" + name + "\"");
        return found->second;
    }
    std::shared_ptr<UIView> readView()
    {
        if (!take("["))
            fail("a view in square brackets is missing");
        const auto view = viewNamed(readName());
        const auto length = vertical_ ? NSLayoutAttributeHeight : NSLayoutAttributeWidth;
        if (take("(")) {
            take("==");
            if (format_.compare(place_, 1, "<") == 0 || format_.compare(place_, 1, ">") == 0)
                fail("only equalities are read");
            const std::string name = readName();
            if (views_.contains(name))
                add(view, length, viewNamed(name), length, 0);
            else
                add(view, length, nullptr, NSLayoutAttributeNotAnAttribute, number(name));
            if (!take(")"))
                fail("the length does not end in a bracket");
        }
        if (!take("]"))
            fail("the view does not end in a bracket");
        return view;
    }

    const std::string& format_;
    const NSLayoutConstraint::Metrics& metrics_;
    const NSLayoutConstraint::Views& views_;
    std::size_t place_ = 0;
    bool vertical_ = false;
    std::shared_ptr<UIView> last_;
    std::vector<std::shared_ptr<NSLayoutConstraint>> made_;
};

}

std::vector<std::shared_ptr<NSLayoutConstraint>> NSLayoutConstraint::constraintsWithVisualFormat(
    const std::string& format, const Metrics& metrics, const Views& views)
{
    return FormatReader(format, metrics, views).read();
}

}
