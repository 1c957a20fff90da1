// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UINib.h"

#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSCoder.h"
#include "platform/Foundation/NSException.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UILayoutGuide.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIVisualEffectView.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

namespace velmora {

namespace {

constexpr const char* fileType = "nib.xml";

struct KnownClasses {
    KnownClasses()
    {
        for (const ClassInfo* each : { &UIView::staticClass(), &UIControl::staticClass(), &UILabel::staticClass(),
                 &UIImageView::staticClass(), &UIButton::staticClass(), &UIVisualEffectView::staticClass(),
                 &UIScrollView::staticClass(), &UINavigationBar::staticClass() })
            byName[std::string(each->name)] = each;
    }
    std::mutex mutex;
    std::map<std::string, const ClassInfo*> byName;
};

KnownClasses& knownClasses()
{
    static auto* classes = new KnownClasses;
    return *classes;
}

/// The attributes of an element, as what a view is made of.
class AttributeCoder final : public NSCoder {
public:
    explicit AttributeCoder(pugi::xml_node element)
        : element_(element)
    {
    }
    void encodeObject(ArchiveValue, std::string_view) override
    {
        throw NSException(NSInvalidArgumentException, "Interface files are only read");
    }
    ArchiveValue decodeObjectForKey(std::string_view key) const override
    {
        const auto attribute = element_.attribute(std::string(key).c_str());
        return attribute ? ArchiveValue(std::string(attribute.value())) : ArchiveValue();
    }

private:
    const pugi::xml_node element_;
};

NSLayoutAttribute attributeNamed(const std::string& name)
{
    static constexpr std::array names { "", "left", "right", "top", "bottom", "leading", "trailing", "width", "height",
        "centerX", "centerY" };
    const auto found = std::find(names.begin() + 1, names.end(), name);
    return found == names.end() ? NSLayoutAttributeNotAnAttribute
                                : static_cast<NSLayoutAttribute>(found - names.begin());
}

/// Makes the objects of one file.
class Builder {
public:
    Builder(const std::string& name, const std::shared_ptr<NSObject>& owner)
        : name_(name)
        , owner_(owner)
    {
    }

    std::vector<std::shared_ptr<UIView>> build(pugi::xml_node nib)
    {
        std::vector<std::shared_ptr<UIView>> outermost;
        for (const pugi::xml_node element : nib.children())
            if (std::string_view(element.name()) == "view")
                outermost.push_back(makeView(element));
            else
                fail("<" + std::string(element.name()) + "> stands where only <view> may");
        for (const pugi::xml_node element : constraints_)
            makeConstraint(element);
        for (const auto& [outlet, object] : outlets_)
            connect(outlet, object);
        for (const auto& view : views_)
            view->awakeFromNib();
        return outermost;
    }

private:
    [[noreturn]] void fail(const std::string& why) const
    {
        throw NSException(NSInvalidArgumentException, "The interface file " + name_ + " does not fit: " + why);
    }

    std::shared_ptr<UIView> makeView(pugi::xml_node element)
    {
        const std::string className = element.attribute("class").as_string("Velmora.UIView");
        const ClassInfo* found = nullptr;
        {
            const std::lock_guard lock(knownClasses().mutex);
            const auto entry = knownClasses().byName.find(className);
            found = entry == knownClasses().byName.end() ? nullptr : entry->second;
        }
        if (!found)
            fail("the class " + className + " is unknown; name it with UINib::registerClasses");
        const std::shared_ptr<NSCoder> coder = std::make_shared<AttributeCoder>(element);
        const auto view = unbox<std::shared_ptr<UIView>>(found->performSelector("initWithCoder:", coder));
        views_.push_back(view);
        note(element, view);
        if (std::string_view(element.attribute("translatesAutoresizingMaskIntoConstraints").value()) == "NO")
            view->setTranslatesAutoresizingMaskIntoConstraints(false);
        for (const pugi::xml_node inside : element.children())
            addTo(view, inside);
        return view;
    }

    void addTo(const std::shared_ptr<UIView>& view, pugi::xml_node element)
    {
        const std::string_view kind = element.name();
        if (kind == "view") {
            const auto effect = std::dynamic_pointer_cast<UIVisualEffectView>(view);
            (effect ? effect->contentView() : view)->addSubview(makeView(element));
        } else if (kind == "constraint") {
            constraints_.push_back(element);
        } else if (kind == "action") {
            connectAction(view, element);
        } else if (element.type() == pugi::node_element) {
            fail("<" + std::string(kind) + "> is not known");
        }
    }

    void note(pugi::xml_node element, const std::shared_ptr<NSObject>& object)
    {
        if (const std::string id = element.attribute("id").value(); !id.empty())
            if (!byID_.emplace(id, object).second)
                fail("two objects have the id \"" + id + "\"");
        if (const std::string outlet = element.attribute("outlet").value(); !outlet.empty())
            outlets_.emplace_back(outlet, object);
    }

    void connectAction(const std::shared_ptr<UIView>& view, pugi::xml_node element)
    {
        const auto control = std::dynamic_pointer_cast<UIControl>(view);
        const std::string selector = element.attribute("selector").value();
        const auto events = element.attribute("events").as_uint();
        if (!control)
            fail("the action " + selector + " stands in a view that is no control");
        if (!owner_ || !owner_->respondsToSelector(selector))
            fail("its owner knows no action " + selector);
        control->addTarget(owner_, selector, static_cast<UIControlEvents>(events));
    }

    std::shared_ptr<NSObject> item(const std::string& id) const
    {
        constexpr std::string_view guide = ".safeArea";
        const bool isGuide = id.size() > guide.size() && id.ends_with(guide);
        const auto found = byID_.find(isGuide ? id.substr(0, id.size() - guide.size()) : id);
        if (found == byID_.end())
            fail("a constraint names \"" + id + "\", and no view has that id");
        const auto view = std::dynamic_pointer_cast<UIView>(found->second);
        return isGuide && view ? std::static_pointer_cast<NSObject>(view->safeAreaLayoutGuide()) : found->second;
    }

    void makeConstraint(pugi::xml_node element)
    {
        const auto first = item(element.attribute("item").value());
        const std::string otherID = element.attribute("toItem").value();
        const auto second = otherID.empty() ? nullptr : item(otherID);
        const auto attribute = attributeNamed(element.attribute("attribute").value());
        const auto other = attributeNamed(element.attribute("toAttribute").value());
        if (attribute == NSLayoutAttributeNotAnAttribute || (second && other == NSLayoutAttributeNotAnAttribute))
            fail("a constraint of \"" + std::string(element.attribute("item").value()) + "\" lacks an attribute");
        const auto constraint = make<NSLayoutConstraint>(first, attribute, second, other,
            element.attribute("multiplier").as_double(1), element.attribute("constant").as_double(0));
        constraint->setActive(true);
        note(element, constraint);
    }

    void connect(const std::string& outlet, const std::shared_ptr<NSObject>& object) const
    {
        if (!owner_)
            fail("the outlet \"" + outlet + "\" has no owner");
        try {
            owner_->setValueForKey(box(object), outlet);
        } catch (const NSException& why) {
            fail("the outlet \"" + outlet + "\" cannot be set on " + owner_->description() + ": " + why.reason());
        }
    }

    const std::string& name_;
    const std::shared_ptr<NSObject> owner_;
    std::vector<std::shared_ptr<UIView>> views_;
    std::map<std::string, std::shared_ptr<NSObject>> byID_;
    std::vector<std::pair<std::string, std::shared_ptr<NSObject>>> outlets_;
    std::vector<pugi::xml_node> constraints_;
};

}

struct UINib::Document {
    pugi::xml_document xml;
};

UINib::UINib() = default;

UINib::~UINib() = default;

const ClassInfo& UINib::staticClass()
{
    static constexpr auto methods = methodTable(method<&UINib::instantiateWithOwner>("instantiateWithOwner:"));
    static constexpr auto classMethods = methodTable(classMethod<&UINib::nibWithNibName>("nibWithNibName:bundle:"));
    static const ClassInfo info { "Velmora.UINib", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UINib> UINib::nibWithNibName(const std::string& name, const std::shared_ptr<NSBundle>& bundle)
{
    const auto source = bundle ? bundle : NSBundle::mainBundle();
    const auto path = source ? source->pathForResource(name, fileType) : std::nullopt;
    if (!path)
        throw NSException(NSInvalidArgumentException,
            "There is no interface file " + name + "." + fileType + " in "
                + (source ? source->bundlePath() : std::string("the bundle that is not there")));
    std::ifstream file(*path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return nibWithText(text.str(), *path);
}

std::shared_ptr<UINib> UINib::nibWithText(const std::string& text, const std::string& name)
{
    auto document = std::make_unique<Document>();
    const auto result = document->xml.load_buffer(text.data(), text.size());
    if (!result || !document->xml.child("nib")) {
        const auto end = text.begin() + std::min<std::ptrdiff_t>(result.offset, std::ssize(text));
        const auto line = std::count(text.begin(), end, '\n') + 1;
        throw NSException(NSInvalidArgumentException,
            name + " is no interface file: line " + std::to_string(line) + ": "
                + (result ? "the outermost element is not <nib>" : result.description()));
    }
    auto nib = make<UINib>();
    nib->document_ = std::move(document);
    nib->name_ = name;
    return nib;
}

std::vector<std::shared_ptr<UIView>> UINib::instantiateWithOwner(const std::shared_ptr<NSObject>& owner) const
{
    return Builder(name_, owner).build(document_->xml.child("nib"));
}

void UINib::registerClasses(const std::vector<const ClassInfo*>& classes)
{
    const std::lock_guard lock(knownClasses().mutex);
    for (const ClassInfo* each : classes)
        knownClasses().byName[std::string(each->name)] = each;
}

}
