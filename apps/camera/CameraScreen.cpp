// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/CameraScreen.h"

#include "velmora/capture/QVCameraController.h"
#include "velmora/library/QVLastShotImageView.h"
#include "velmora/navigation/QVCameraReturnViewController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"
#include "velmora/ui/QVCaptureButton.h"
#include "velmora/ui/QVSlider.h"
#include "velmora/ui/QVViewfinderView.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/SwiftUI/UIHostingView.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "apps/camera/AlbumPhotos.h"
#include "apps/camera/PhotoGrid.h"
#include "apps/camera/Texts.h"
#include "apps/camera/Words.h"

namespace velmora::camera {

namespace {

// Points.
constexpr double margin = 16, buttonSize = 72, sliderThickness = 44, lineHeight = 22, textSize = 15, lastShotSize = 52;

constexpr float highestZoomOffered = 10;
constexpr float widestBiasOffered = 3; // stops

std::shared_ptr<UILabel> makeLabel(NSTextAlignment alignment)
{
    const auto label = make<UILabel>(CGRectZero);
    label->setTextColor(UIColor::whiteColor());
    label->setFont(UIFont::systemFontOfSize(textSize));
    label->setTextAlignment(alignment);
    return label;
}

template <class... Args> std::string printed(const char* format, Args... args)
{
    std::array<char, 32> text {};
    std::snprintf(text.data(), text.size(), format, args...);
    return text.data();
}

std::shared_ptr<QVSlider> makeSlider(QVSliderOrientation orientation, QVSlider::ValueFormatter formatter)
{
    const auto slider = make<QVSlider>(CGRectZero);
    slider->setSliderOrientation(orientation);
    slider->setInactiveColor(UIColor::colorWithWhite(0.85));
    slider->setValueFormatter(std::move(formatter));
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
    slider->setInvoked(true);
    return slider;
}

}

CameraScreen::CameraScreen(std::shared_ptr<QVCameraHardware> model, std::shared_ptr<PHAssetCollection> album,
    Taken taken, PhotoPager::Share share)
    : model_(std::move(model))
    , album_(std::move(album))
    , taken_(std::move(taken))
    , share_(std::move(share))
{
}

void CameraScreen::loadView()
{
    const auto root = make<UIView>(UIScreen::mainScreen()->bounds());
    root->setBackgroundColor(UIColor::blackColor());
    root->setTintColor(UIColor::whiteColor());
    setView(root);

    const auto viewfinder = make<QVViewfinderView>(root->bounds());
    viewfinder->setClipsToBounds(true);
    viewfinder->setBackgroundColor(UIColor::blackColor());
    viewfinder->setShutterColor(UIColor::colorWithWhite(0.12));
    viewfinder->setOverlayView(make<QVViewfinderOverlayView>());
    viewfinder->setOverlays(QVViewfinderOverlayCornerMarks | QVViewfinderOverlayCrosshair);
    viewfinder->setOverlayColor(UIColor::colorWithWhite(1, 0.7));
    viewfinder->setClosed(true); // it opens when the camera runs
    setViewfinderView(viewfinder);

    const auto button = make<QVCaptureButton>(CGRectMake(0, 0, buttonSize, buttonSize));
    button->setDisabledColor(UIColor::lightGrayColor());
    setCaptureButton(button);

    makeLastShot();
    iso_ = makeLabel(NSTextAlignmentLeft);
    shutter_ = makeLabel(NSTextAlignmentRight);
    message_ = makeLabel(NSTextAlignmentCenter);
    message_->setNumberOfLines(2);
    makeSliders();
    const auto self = std::weak_ptr(std::static_pointer_cast<CameraScreen>(sharedFromThis(*this)));
    buttons_ = make<UIHostingView>(captureHardwareButtons(AnyView(), [self] {
        if (const auto alive = self.lock(); alive && !alive->presentedViewController())
            alive->capturePhoto(nullptr);
    }));
    buttons_->setUserInteractionEnabled(false);
    for (const std::shared_ptr<UIView>& each : std::initializer_list<std::shared_ptr<UIView>> {
             buttons_, viewfinder, iso_, shutter_, zoom_, bias_, button, lastShot_, message_ })
        root->addSubview(each);
}

void CameraScreen::makeSliders()
{
    zoom_ = makeSlider(QVSliderOrientationHorizontal, [](float value) { return printed("%.1fx", value); });
    bias_ = makeSlider(QVSliderOrientationVertical, [](float value) { return printed("%+.1f EV", value); });
    const auto controller = hardwareCameraController();
    observations_.push_back(zoom_->addAction(UIControlEventValueChanged,
        [zoom = zoom_.get(), controller] { controller->setZoomScale(zoom->currentValue()); }));
    observations_.push_back(bias_->addAction(UIControlEventValueChanged,
        [bias = bias_.get(), controller] { controller->setExposureBias(bias->currentValue(), nullptr); }));
}

void CameraScreen::makeLastShot()
{
    lastShot_ = make<QVLastShotImageView>(CGRectMake(0, 0, lastShotSize, lastShotSize));
    lastShot_->setBackgroundColor(UIColor::colorWithWhite(0.2));
    lastShot_->setMonitoredAssetCollection(album_);
    observations_.push_back(lastShot_->addAction(UIControlEventTouchUpInside, [this] { showPhotos(); }));
}

void CameraScreen::showPhotos()
{
    presentViewController(make<QVCameraReturnViewController>(make<PhotoGrid>(AlbumPhotos::of(album_), share_)), true);
}

void CameraScreen::viewDidLoad()
{
    QVCameraViewController::viewDidLoad();
    followCamera();
    makeLensMenu();
}

void CameraScreen::followCamera()
{
    const auto controller = hardwareCameraController();
    if (const auto device = controller->currentVideoCaptureDevice()) {
        zoom_->setMinimumValue(1);
        zoom_->setMaximumValue(std::min(highestZoomOffered, static_cast<float>(controller->maximumZoomScale())));
        zoom_->setCurrentValue(static_cast<float>(device->videoZoomFactor()));
        bias_->setMinimumValue(std::max(-widestBiasOffered, device->minExposureTargetBias()));
        bias_->setMaximumValue(std::min(widestBiasOffered, device->maxExposureTargetBias()));
        bias_->setPointPositions({ { 0 } });
        bias_->setCurrentValue(device->exposureTargetBias());
    } else {
        zoom_->setEnabled(false);
        bias_->setEnabled(false);
        captureButton()->setEnabled(false);
        showMessage(textFor("NO_CAMERA"));
    }
    observations_.push_back(model_->statsPublisher().sink([iso = iso_, shutter = shutter_](const auto& stats) {
        iso->setText("ISO " + stats.displayISO());
        shutter->setText(stats.displayShutterSpeed() + " s");
    }));
}

/// The lenses at the back, on a button of the housing that shows menus.
void CameraScreen::makeLensMenu()
{
    const auto controller = hardwareCameraController();
    std::vector<QVLensType> types;
    std::vector<std::string> words;
    for (const auto& lens : lensWords)
        if (controller->hasLensTypeInCurrentDevicePosition(lens.value)) {
            types.push_back(lens.value);
            words.push_back(lens.word);
        }
    if (types.size() < 2)
        return;
    lensMenu_ = make<QVHardwareButtons::CameraButtonDelegate>();
    lensMenu_->controlSelectedMenuIndex = [types, weak = std::weak_ptr(controller)](std::int64_t index) {
        // Not on the queue on which the selection comes: changing the lens waits for that one.
        DispatchQueue::main().async([types, weak, index] {
            const auto alive = weak.lock();
            if (alive && index >= 0 && static_cast<std::size_t>(index) < types.size())
                alive->setLensType(types[static_cast<std::size_t>(index)]);
        });
    };
    controller->setCaptureControlMenuWithLocalizedTitle(textFor("LENS"), "camera", words, lensMenu_);
}

void CameraScreen::viewDidLayoutSubviews()
{
    const CGSize size = view()->bounds().size;
    const bool landscape = size.width > size.height;
    if (landscape)
        layOutLandscape(size);
    else
        layOutPortrait(size);
    if (const auto connection = hardwareCameraController()->previewLayer()->connection())
        connection->setVideoOrientation(
            landscape ? AVCaptureVideoOrientationLandscapeRight : AVCaptureVideoOrientationPortrait);
    QVCameraViewController::viewDidLayoutSubviews();
}

void CameraScreen::layOutPortrait(CGSize size)
{
    const double bottom = margin + buttonSize + margin + sliderThickness + margin;
    const double top = margin + lineHeight + margin / 2;
    const double height = std::min(size.width * 4 / 3, std::max(0.0, size.height - top - bottom));
    const CGRect picture
        = CGRectMake(0, top + std::max(0.0, (size.height - top - bottom - height) / 2), size.width, height);
    viewfinderView()->setFrame(picture);
    iso_->setFrame(CGRectMake(margin, margin, size.width / 2 - margin, lineHeight));
    shutter_->setFrame(CGRectMake(size.width / 2, margin, size.width / 2 - margin, lineHeight));
    message_->setFrame(
        CGRectMake(margin, CGRectGetMaxY(picture) - 3 * lineHeight, size.width - 2 * margin, 2 * lineHeight));
    bias_->setFrame(
        CGRectMake(size.width - margin - sliderThickness, picture.origin.y + height / 4, sliderThickness, height / 2));
    captureButton()->setFrame(
        CGRectMake((size.width - buttonSize) / 2, size.height - margin - buttonSize, buttonSize, buttonSize));
    // Left of the button, smaller where there is little room.
    const double room = (size.width - buttonSize) / 2, side = std::min(lastShotSize, room - margin);
    lastShot_->setFrame(
        CGRectMake(std::min(margin, (room - side) / 2), size.height - margin - (buttonSize + side) / 2, side, side));
    zoom_->setFrame(CGRectMake(
        2 * margin, size.height - 2 * margin - buttonSize - sliderThickness, size.width - 4 * margin, sliderThickness));
}

void CameraScreen::layOutLandscape(CGSize size)
{
    const double right = margin + buttonSize + margin;
    const double bottom = sliderThickness;
    const double width = std::min(size.height * 4 / 3, std::max(0.0, size.width - right - right));
    const CGRect picture
        = CGRectMake(right + std::max(0.0, (size.width - 2 * right - width) / 2), 0, width, size.height);
    viewfinderView()->setFrame(picture);
    iso_->setFrame(CGRectMake(margin, margin, right, lineHeight));
    shutter_->setFrame(CGRectMake(margin, margin + lineHeight, right, lineHeight));
    shutter_->setTextAlignment(NSTextAlignmentLeft);
    message_->setFrame(CGRectMake(picture.origin.x + margin, margin, width - 2 * margin, 2 * lineHeight));
    bias_->setFrame(CGRectMake(
        CGRectGetMaxX(picture) - sliderThickness - margin, size.height / 4, sliderThickness, size.height / 2));
    captureButton()->setFrame(
        CGRectMake(size.width - margin - buttonSize, (size.height - buttonSize) / 2, buttonSize, buttonSize));
    lastShot_->setFrame(CGRectMake(size.width - margin - (buttonSize + lastShotSize) / 2,
        size.height - margin - lastShotSize, lastShotSize, lastShotSize));
    zoom_->setFrame(
        CGRectMake(picture.origin.x + 2 * margin, size.height - bottom - margin, width - 4 * margin, sliderThickness));
}

void CameraScreen::willCapturePhoto()
{
    message_->setText(std::nullopt);
    const auto viewfinder = viewfinderView();
    viewfinder->setClosedAnimated(true, [viewfinder](bool) { viewfinder->setClosed(false, true); });
}

void CameraScreen::didCapturePhoto(
    const std::shared_ptr<QVPhotoCaptureOutput>& output, const std::optional<NSError>& error)
{
    if (output && taken_)
        taken_(output);
    else if (error)
        showMessage(error->localizedDescription());
}

void CameraScreen::showMessage(const std::string& text)
{
    message_->setText(text);
}

}
