// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class NSBundle;
class UIView;

/// Views and constraints that an interface file describes, "NAME.nib.xml" in a bundle:
///
///     <nib owner="Velmora.QVCameraReturnViewController">
///       <view class="Velmora.UIView" id="root" outlet="view" frame="{{0, 0}, {320, 480}}" backgroundColor="#000000">
///         <view class="Velmora.UIButton" id="back" outlet="backToCameraButton" title="Camera">
///           <action selector="dismiss:" events="64"/>
///         </view>
///         <constraint outlet="barViewHeightConstraint" item="back" attribute="height" constant="20"/>
///         <constraint item="back" attribute="top" toItem="root" toAttribute="top" multiplier="1" constant="0"/>
///       </view>
///     </nib>
///
/// A view is made by its class's initWithCoder:, which reads the attributes; views with constraints do not keep their
/// frames (translatesAutoresizingMaskIntoConstraints="NO"). An outlet is set on the owner by its key, an action has the
/// owner as target; in the end every object is sent awakeFromNib. Immutable.
class VELMORA_EXPORT UINib : public NSObject {
public:
    /// Throws NSException, saying where it was sought, when the file is missing, and with the line when it is no
    /// interface file. The main bundle when none is given.
    static std::shared_ptr<UINib> nibWithNibName(const std::string& name, const std::shared_ptr<NSBundle>& bundle);
    /// The same from a text; `name` is for messages.
    static std::shared_ptr<UINib> nibWithText(const std::string& text, const std::string& name);
    UINib(); ///< use one of the two above
    ~UINib() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Makes the objects, connects them and answers the outermost views. Throws NSException, naming the file, for an
    /// unknown class, for an outlet that the owner has no setter for, and for a constraint between unknown views.
    std::vector<std::shared_ptr<UIView>> instantiateWithOwner(const std::shared_ptr<NSObject>& owner) const;

    /// Classes that interface files name, besides those of this folder.
    static void registerClasses(const std::vector<const ClassInfo*>& classes);

private:
    struct Document;
    std::unique_ptr<const Document> document_;
    std::string name_;
};

}
