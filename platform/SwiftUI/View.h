// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/UIKit/UIView.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <typeinfo>
#include <utility>

namespace velmora {

class AnyView;

/// What a description makes of itself on the screen. Main thread only.
class VELMORA_EXPORT ViewContent {
public:
    virtual ~ViewContent() = default;
    /// Two contents of one kind: a view of the one can be updated to show the other.
    virtual const std::type_info& kind() const = 0;
    /// Empty where nothing is to stand.
    virtual std::shared_ptr<UIView> makeView() const = 0;
    /// `view` was made by a content of the same kind; answers the one that shows this, which may be another.
    virtual std::shared_ptr<UIView> updateView(const std::shared_ptr<UIView>& view) const = 0;
    virtual void dismantleView(const std::shared_ptr<UIView>& view) const = 0;
};

/// Hosts a view of the interface's own kind: a value with `makeUIView()`, `updateUIView(view)` and, where there is
/// something to undo, `dismantleUIView(view)`.
template <class T>
concept UIViewRepresentable = requires(const T& value, const std::shared_ptr<UIView>& view)
{
    {
        value.makeUIView()
        } -> std::convertible_to<std::shared_ptr<UIView>>;
    value.updateUIView(view);
};

/// A description that is made of others: a value with a `body()`.
template <class T>
concept CompositeView = requires(const T& value)
{
    {
        value.body()
        } -> std::convertible_to<AnyView>;
};

/// A change to a description: a value with a `body(content)`.
template <class T>
concept ViewModifier = requires(const T& value, const AnyView& content)
{
    {
        value.body(content)
        } -> std::convertible_to<AnyView>;
};

/// Where a smaller thing stands in a larger one.
enum class Alignment : std::uint8_t { Center, Leading, Trailing, Top, Bottom };

/// A description of what stands on the screen, of any kind; no view at all where it was made of nothing. A value.
class VELMORA_EXPORT AnyView {
public:
    AnyView() = default;
    template <UIViewRepresentable T>
    AnyView(T value) // NOLINT(google-explicit-constructor): any description is a view
        : content_(std::make_shared<Representing<T>>(std::move(value)))
    {
    }
    template <class T>
    requires CompositeView<T> AnyView(const T& value) // NOLINT(google-explicit-constructor)
        : AnyView(value.body())
    {
    }
    explicit AnyView(std::shared_ptr<const ViewContent> content)
        : content_(std::move(content))
    {
    }

    template <ViewModifier T> AnyView modifier(const T& change) const { return change.body(*this); }
    /// `behind` lies beneath this view and is as large.
    AnyView background(const AnyView& behind, Alignment alignment = Alignment::Center) const;

    bool isEmpty() const { return !content_; }
    const std::shared_ptr<const ViewContent>& content() const { return content_; }

private:
    template <UIViewRepresentable T> class Representing final : public ViewContent {
    public:
        explicit Representing(T value)
            : value_(std::move(value))
        {
        }
        const std::type_info& kind() const override { return typeid(T); }
        std::shared_ptr<UIView> makeView() const override
        {
            const std::shared_ptr<UIView> view = value_.makeUIView();
            value_.updateUIView(view);
            return view;
        }
        std::shared_ptr<UIView> updateView(const std::shared_ptr<UIView>& view) const override
        {
            value_.updateUIView(view);
            return view;
        }
        void dismantleView(const std::shared_ptr<UIView>& view) const override
        {
            if constexpr (requires { value_.dismantleUIView(view); })
                value_.dismantleUIView(view);
        }

    private:
        const T value_;
    };

    std::shared_ptr<const ViewContent> content_;
};

/// Moves what shows `from` on to show `to`: `view` itself where the kinds are the same, else a new one, or none; `view`
/// may be empty.
std::shared_ptr<UIView> moved(const AnyView& from, const std::shared_ptr<UIView>& view, const AnyView& to);

}
