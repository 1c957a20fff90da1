// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/ConstraintSolver.h"

#include "platform/Foundation/NSLog.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UILayoutGuide.h"
#include "platform/UIKit/UIView.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

namespace velmora {

namespace {

constexpr double nothing = 1e-9;

enum Unknown : std::size_t { MinX, MinY, Width, Height, UnknownCount };

/// A sum of unknowns and a number.
struct Sum {
    std::map<std::size_t, double> terms; // by unknown
    double constant = 0;

    Sum& add(const Sum& other, double factor = 1)
    {
        constant += factor * other.constant;
        for (const auto& [unknown, coefficient] : other.terms)
            if (std::abs(terms[unknown] += factor * coefficient) < nothing)
                terms.erase(unknown);
        return *this;
    }
};

/// Equations that are added one after the other, each cleared of what the earlier ones settle.
class Equations {
public:
    enum class Answer { New, Follows, Contradicts };
    /// `sum` is zero.
    Answer add(Sum sum)
    {
        for (const auto& [pivot, solved] : solved_)
            substitute(sum, pivot, solved);
        if (sum.terms.empty())
            return std::abs(sum.constant) < 1e-6 ? Answer::Follows : Answer::Contradicts;
        const auto [pivot, coefficient] = *sum.terms.begin();
        Sum solved; // the pivot, by the others
        solved.add(sum, -1 / coefficient).terms.erase(pivot);
        for (auto& [other, earlier] : solved_)
            substitute(earlier, pivot, solved);
        solved_[pivot] = std::move(solved);
        return Answer::New;
    }
    double value(std::size_t unknown) const { return solved_.at(unknown).constant; } // when nothing is open any more

private:
    static void substitute(Sum& sum, std::size_t unknown, const Sum& by)
    {
        const auto found = sum.terms.find(unknown);
        if (found == sum.terms.end())
            return;
        const double factor = found->second;
        sum.terms.erase(found);
        sum.add(by, factor);
    }

    std::map<std::size_t, Sum> solved_; // each unknown is the sum of those that are open
};

class Solver {
public:
    explicit Solver(UIView& host)
        : host_(host)
    {
        collect(host);
    }

    void solve()
    {
        if (views_.empty())
            return;
        for (const auto& constraint : constraints_)
            addConstraint(*constraint);
        // What is left open: sizes by the content, then everything as it is.
        for (std::size_t view = 0; view < views_.size(); ++view) {
            const CGSize content = views_[view]->intrinsicContentSize();
            if (content.width >= 0)
                addValue(view, Width, content.width);
            if (content.height >= 0)
                addValue(view, Height, content.height);
        }
        for (std::size_t view = 0; view < views_.size(); ++view) {
            addValue(view, Width, views_[view]->bounds().size.width);
            addValue(view, Height, views_[view]->bounds().size.height);
            addValue(view, MinX, views_[view]->frame().origin.x);
            addValue(view, MinY, views_[view]->frame().origin.y);
        }
        for (std::size_t view = 0; view < views_.size(); ++view)
            place(view);
    }

private:
    void collect(UIView& view)
    {
        constraints_.insert(constraints_.end(), view.constraints().begin(), view.constraints().end());
        for (const auto& subview : view.subviews()) {
            if (!subview->translatesAutoresizingMaskIntoConstraints()) {
                indices_[subview.get()] = views_.size();
                views_.push_back(subview);
            }
            collect(*subview);
        }
    }

    void addConstraint(const NSLayoutConstraint& constraint)
    {
        const auto second = constraint.secondItem();
        if (constraint.secondAttribute() != NSLayoutAttributeNotAnAttribute && !second)
            return; // the other view has gone
        auto sum = valueOf(constraint.firstItem(), constraint.firstAttribute());
        std::optional<Sum> other = Sum {};
        if (second)
            other = valueOf(second, constraint.secondAttribute());
        if (!sum || !other)
            return; // outside the host
        sum->add(*other, -constraint.multiplier());
        sum->constant -= constraint.constant();
        if (sum->terms.empty())
            return; // among views that are placed otherwise
        if (equations_.add(*sum) == Equations::Answer::Contradicts)
            NSLog("[NSLayoutConstraint] Constraints contradict each other; %@ is left out (%@).", constraint,
                *constraint.firstItem());
    }

    void addValue(std::size_t view, Unknown which, double value)
    {
        Sum sum = unknown(view, which);
        sum.constant = -value;
        equations_.add(std::move(sum));
    }

    static Sum unknown(std::size_t view, Unknown which) { return { { { view * UnknownCount + which, 1 } }, 0 }; }

    std::optional<Sum> valueOf(const std::shared_ptr<NSObject>& item, NSLayoutAttribute attribute) const
    {
        const auto view = viewOfItem(item);
        if (!view || !view->isDescendantOfView(host_))
            return std::nullopt;
        UIEdgeInsets insets;
        if (std::dynamic_pointer_cast<UILayoutGuide>(item))
            insets = view->safeAreaInsets();
        Sum left = edge(*view, true), top = edge(*view, false);
        Sum width = length(*view, true), height = length(*view, false);
        left.constant += insets.left;
        top.constant += insets.top;
        width.constant -= insets.left + insets.right;
        height.constant -= insets.top + insets.bottom;
        switch (attribute) {
        case NSLayoutAttributeLeft:
        case NSLayoutAttributeLeading:
            return left;
        case NSLayoutAttributeRight:
        case NSLayoutAttributeTrailing:
            return left.add(width);
        case NSLayoutAttributeTop:
            return top;
        case NSLayoutAttributeBottom:
            return top.add(height);
        case NSLayoutAttributeWidth:
            return width;
        case NSLayoutAttributeHeight:
            return height;
        case NSLayoutAttributeCenterX:
            return left.add(width, 0.5);
        case NSLayoutAttributeCenterY:
            return top.add(height, 0.5);
        case NSLayoutAttributeNotAnAttribute:
            break;
        }
        return std::nullopt;
    }

    /// The left or top edge, in the host's coordinates.
    Sum edge(const UIView& view, bool horizontal) const
    {
        const CGRect bounds = view.bounds();
        if (&view == &host_)
            return { {}, horizontal ? bounds.origin.x : bounds.origin.y };
        const auto above = view.superview();
        Sum sum = edge(*above, horizontal);
        if (above.get() != &host_) // from its corner to its coordinates; the host's own are those of the sums
            sum.constant -= horizontal ? above->bounds().origin.x : above->bounds().origin.y;
        else
            sum = {};
        if (const auto found = indices_.find(&view); found != indices_.end())
            return sum.add(unknown(found->second, horizontal ? MinX : MinY));
        sum.constant += horizontal ? view.frame().origin.x : view.frame().origin.y;
        return sum;
    }

    Sum length(const UIView& view, bool horizontal) const
    {
        if (const auto found = indices_.find(&view); found != indices_.end())
            return unknown(found->second, horizontal ? Width : Height);
        const CGSize size = &view == &host_ ? view.bounds().size : view.frame().size;
        return { {}, horizontal ? size.width : size.height };
    }

    void place(std::size_t view) const
    {
        const auto value = [&](Unknown which) { return equations_.value(view * UnknownCount + which); };
        const double width = std::max(0.0, value(Width)), height = std::max(0.0, value(Height));
        UIView& placed = *views_[view];
        const CGPoint anchor = placed.layer()->anchorPoint();
        const CGRect bounds { placed.bounds().origin, { width, height } };
        if (placed.bounds() != bounds)
            placed.setBounds(bounds);
        const CGPoint center { value(MinX) + anchor.x * width, value(MinY) + anchor.y * height };
        if (placed.center() != center)
            placed.setCenter(center);
    }

    UIView& host_;
    std::vector<std::shared_ptr<UIView>> views_;
    std::map<const UIView*, std::size_t> indices_;
    std::vector<std::shared_ptr<NSLayoutConstraint>> constraints_;
    Equations equations_;
};

}

std::shared_ptr<UIView> viewOfItem(const std::shared_ptr<NSObject>& item)
{
    if (const auto guide = std::dynamic_pointer_cast<UILayoutGuide>(item))
        return guide->owningView();
    return std::dynamic_pointer_cast<UIView>(item);
}

void solveConstraints(UIView& host)
{
    const auto& views = host.subviews();
    const bool places = std::any_of(views.begin(), views.end(),
        [](const auto& view) { return !view->translatesAutoresizingMaskIntoConstraints(); });
    if (!places && host.constraints().empty())
        return; // most views
    Solver(host).solve();
}

}
