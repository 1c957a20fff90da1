// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/ui/QVSliderOrientation.h"

#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UIGestureRecognizer.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class QVSliderKnobView;
class QVSliderTrackView;
class UIColor;
class UIImage;
class UIImageView;
class UILabel;
class UIVisualEffectView;

/// When the value stands beside the knob.
enum QVSliderValueDisplayStyle : std::uint8_t {
    QVSliderValueDisplayStyleWhenIdle = 2, ///< while the slider is not invoked
    QVSliderValueDisplayStyleWhileTouching = 4, ///< while the knob is pressed or dragged
};
template <> inline constexpr bool isOptionSet<QVSliderValueDisplayStyle> = true;

/// A value that a knob on a track chooses: upright or level, with an idle look and an invoked one, with dots and end
/// images, any value between two bounds or one of some. Sends touch down when the knob is pressed, value changed with
/// every movement of a drag, and touch up inside at its end. Main thread only.
class VELMORA_EXPORT QVSlider : public UIControl, public UIGestureRecognizerDelegate {
public:
    using ValueFormatter = std::function<std::string(float value)>;

    explicit QVSlider(CGRect frame = CGRectZero);
    explicit QVSlider(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    float currentValue() const { return currentValue_; } ///< 0.5 at first
    /// Any value but NaN, which is ignored: neither the bounds nor the permitted values count. Sends no event.
    void setCurrentValue(float value) { setCurrentValue(value, false); }
    void setCurrentValue(float value, bool animated); ///< 0.25 s
    float minimumValue() const { return minimumValue_; } ///< 0 at first
    /// Forgets the permitted values. The knob moves at the next change of the value.
    void setMinimumValue(float value);
    float maximumValue() const { return maximumValue_; } ///< 1 at first
    void setMaximumValue(float value);
    /// Ascending; nothing: all values.
    const std::optional<std::vector<double>>& permittedValues() const { return permittedValues_; }
    /// The outermost become the bounds. Throws NSException with "Must have at least 2 permitted values" when the array
    /// that was set before has one element only.
    void setPermittedValues(std::optional<std::vector<double>> values);
    /// Where dots are drawn on the track: values. Their places are found now, and stay when the bounds change.
    const std::optional<std::vector<float>>& pointPositions() const { return pointPositions_; }
    void setPointPositions(std::optional<std::vector<float>> values);

    QVSliderOrientation sliderOrientation() const { return sliderOrientation_; } ///< vertical at first
    void setSliderOrientation(QVSliderOrientation orientation);
    bool isInvoked() const { return invoked_; } ///< not at first
    void setInvoked(bool invoked) { setInvoked(invoked, false); }
    void setInvoked(bool invoked, bool animated); ///< 0.25 s
    void setEnabled(bool enabled) override;

    QVSliderValueDisplayStyle valueDisplayStyle() const { return valueDisplayStyle_; } ///< never at first
    void setValueDisplayStyle(QVSliderValueDisplayStyle style) { valueDisplayStyle_ = style; }
    const ValueFormatter& valueFormatter() const { return valueFormatter_; } ///< without one there is no text
    void setValueFormatter(ValueFormatter formatter) { valueFormatter_ = std::move(formatter); }

    /// Of what is muted; light grey when none is set. Seen at the next change of look or tint.
    std::shared_ptr<UIColor> inactiveColor() const;
    void setInactiveColor(const std::shared_ptr<UIColor>& color) { inactiveColor_ = color; }
    /// Shown in the tint: at the right or lower end, and at the left or upper one.
    const std::shared_ptr<UIImage>& minimumImage() const { return minimumImage_; }
    void setMinimumImage(const std::shared_ptr<UIImage>& image);
    const std::shared_ptr<UIImage>& maximumImage() const { return maximumImage_; }
    void setMaximumImage(const std::shared_ptr<UIImage>& image);
    /// A name that the application keeps here.
    const std::string& localizedControlName() const { return localizedControlName_; }
    void setLocalizedControlName(std::string name) { localizedControlName_ = std::move(name); }

    void awakeFromNib() override;
    void layoutSubviews() override;
    void tintColorDidChange() override;
    bool shouldRecognizeSimultaneously(const std::shared_ptr<UIGestureRecognizer>& recognizer,
        const std::shared_ptr<UIGestureRecognizer>& other) override;

    void _pressKnob(const std::shared_ptr<UIGestureRecognizer>& press);
    void _panKnob(const std::shared_ptr<UIGestureRecognizer>& pan);
    void _updateKnobPosition();
    void _updateValueLabel();
    void _updateColors();
    void _setValueLabelVisible(bool visible);
    /// `point` is in the slider's coordinates; 0 without permitted values.
    float _permittedValueAtPosition(CGPoint point) const;

protected:
    void didConstruct() override;

private:
    void _initialize();
    void addRecognizers();
    void drag(CGPoint finger);
    void placeKnob(CGPoint center);
    void layOutEndImages();
    std::shared_ptr<UIImageView> showImage(const std::shared_ptr<UIImage>& image);
    bool isHorizontal() const { return sliderOrientation_ == QVSliderOrientationHorizontal; }
    bool isVertical() const { return sliderOrientation_ == QVSliderOrientationVertical; }
    double length() const;

    std::shared_ptr<UIVisualEffectView> effectsContainerView_;
    std::shared_ptr<QVSliderKnobView> knobView_;
    std::shared_ptr<UIView> knobDotView_;
    std::shared_ptr<QVSliderTrackView> trackView_;
    std::shared_ptr<UIImageView> minimumImageView_, maximumImageView_;
    std::shared_ptr<UILabel> valueLabel_;
    double leadingInset_ = 0, trailingInset_ = 0; // points that the knob's centre may not enter
    QVSliderOrientation sliderOrientation_ = QVSliderOrientationVertical;
    QVSliderValueDisplayStyle valueDisplayStyle_ {};
    bool invoked_ = false;
    float currentValue_ = 0.5F, minimumValue_ = 0, maximumValue_ = 1;
    std::shared_ptr<UIColor> inactiveColor_;
    std::optional<std::vector<double>> permittedValues_;
    std::optional<std::vector<float>> pointPositions_;
    std::string localizedControlName_;
    std::shared_ptr<UIImage> maximumImage_, minimumImage_;
    ValueFormatter valueFormatter_;
};

}
