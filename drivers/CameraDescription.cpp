// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraDescription.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace velmora::drivers::cameras {

namespace {

constexpr double smooth = 24; // frames a second, for a preview and for movies
constexpr std::int64_t pixelsOfPreview = std::int64_t { 1920 } * 1440;

std::int64_t area(CMVideoDimensions size)
{
    return std::int64_t { size.width } * size.height;
}

bool haveOneShape(CMVideoDimensions a, CMVideoDimensions b)
{
    constexpr double tolerance = 0.02; // 1366x768 is 16:9
    const double ratio = static_cast<double>(a.width) * b.height / (static_cast<double>(b.width) * a.height);
    return std::abs(ratio - 1) < tolerance;
}

CMTime frameOf(const Rate& rate)
{
    constexpr auto most = static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
    return CMTimeMake(rate.denom, static_cast<std::int32_t>(std::min(rate.num, most)));
}

void addRates(std::vector<CaptureFrameRateRange>& ranges, const Offer& offer)
{
    const auto add = [&](const Rate& least, const Rate& most) {
        const bool there = std::any_of(ranges.begin(), ranges.end(), [&](const CaptureFrameRateRange& each) {
            return each.minFrameRate == least.value() && each.maxFrameRate == most.value();
        });
        if (!there)
            ranges.push_back({ least.value(), most.value(), frameOf(most), frameOf(least) });
    };
    if (offer.between)
        add(offer.between->first, offer.between->second);
    else
        for (const Rate& rate : offer.rates)
            add(rate, rate);
}

/// What an ordinary picture can be made of: sensors' own samples only when there is nothing else.
std::vector<Offer> ordinaryOffers(const std::vector<Offer>& offers)
{
    auto ordinary = offers;
    std::erase_if(ordinary, [](const Offer& offer) { return isBayer(offer.layout); });
    return ordinary.empty() ? offers : ordinary;
}

std::vector<CaptureFormat> formatsOf(const std::vector<Offer>& offers)
{
    std::vector<CaptureFormat> formats;
    for (const Offer& offer : offers) {
        auto found = std::find_if(
            formats.begin(), formats.end(), [&](const CaptureFormat& each) { return each.dimensions == offer.size; });
        if (found == formats.end()) {
            formats.emplace_back();
            found = formats.end() - 1;
            found->dimensions = offer.size;
        }
        addRates(found->frameRates, offer);
    }
    for (CaptureFormat& format : formats) {
        format.highResolutionStill = format.dimensions;
        for (const CaptureFormat& other : formats)
            if (haveOneShape(other.dimensions, format.dimensions)
                && area(other.dimensions) > area(format.highResolutionStill))
                format.highResolutionStill = other.dimensions;
        if (format.frameRates.empty())
            format.frameRates = { { 30, 30, CMTimeMake(1, 30), CMTimeMake(1, 30) } };
        // A camera that tells nothing of its exposure exposes for a frame at most.
        format.minExposureDuration = format.maxExposureDuration = format.frameRates.front().maxFrameDuration;
    }
    return formats;
}

double fastest(const CaptureFormat& format)
{
    double rate = 0;
    for (const auto& each : format.frameRates)
        rate = std::max(rate, each.maxFrameRate);
    return rate;
}

/// The largest of those that a preview can be made of; the smallest of all where none is small enough.
template <class Suits> std::size_t previewFormat(const std::vector<CaptureFormat>& formats, Suits suits)
{
    const auto score = [&](const CaptureFormat& format) {
        const bool good = fastest(format) >= smooth && area(format.dimensions) <= pixelsOfPreview;
        return !suits(format) ? std::numeric_limits<std::int64_t>::min()
            : good            ? area(format.dimensions)
                              : -area(format.dimensions);
    };
    const auto best = std::max_element(formats.begin(), formats.end(),
        [&](const CaptureFormat& a, const CaptureFormat& b) { return score(a) < score(b); });
    return static_cast<std::size_t>(best - formats.begin());
}

/// High is for movies; Photo has the shape of the largest picture, and that picture as its still.
void choosePresets(CaptureDeviceDescription& description)
{
    const auto& formats = description.formats;
    if (formats.empty())
        return;
    const auto largest = std::max_element(formats.begin(), formats.end(),
        [](const CaptureFormat& a, const CaptureFormat& b) { return area(a.dimensions) < area(b.dimensions); });
    const std::size_t high = previewFormat(formats, [](const CaptureFormat&) { return true; });
    const std::size_t photo = previewFormat(
        formats, [&](const CaptureFormat& format) { return haveOneShape(format.dimensions, largest->dimensions); });
    description.presets = { { AVCaptureSessionPresetHigh, high }, { AVCaptureSessionPresetPhoto, photo } };
    description.activeFormat = high;
}

int mostAutomatic(const std::vector<int>& modes)
{
    for (const int mode : { 2, 1 })
        if (std::find(modes.begin(), modes.end(), mode) != modes.end())
            return mode;
    return 0;
}

}

CaptureDeviceDescription describe(
    const CameraNames& names, const Placement& placement, const std::vector<Offer>& offers, const Controls& controls)
{
    CaptureDeviceDescription result;
    result.uniqueID = names.identity;
    result.name = names.name.empty() ? names.identity : names.name;
    result.make = names.make;
    result.model = names.model.empty() ? result.name : names.model;
    result.lensModel = result.name;
    result.position = placement.position;
    result.deviceType = placement.deviceType;
    result.sensorRotation = placement.sensorRotation;
    result.formats = formatsOf(ordinaryOffers(offers));
    choosePresets(result);
    result.flashModes = result.torchModes = result.stabilizationModes = { 0 };
    controls.describe(result);
    result.previewFormats = { kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, kCVPixelFormatType_32BGRA };
    if (std::any_of(offers.begin(), offers.end(), [](const Offer& each) { return isBayer(each.layout); }))
        result.rawFormats = { kCVPixelFormatType_14Bayer_BGGR };
    result.livePhoto = true;
    return result;
}

CaptureSettings settingsAsDescribed(const CaptureDeviceDescription& description)
{
    CaptureSettings settings;
    settings.activeFormat = description.activeFormat;
    settings.focusMode = mostAutomatic(description.focusModes);
    settings.exposureMode = mostAutomatic(description.exposureModes);
    settings.whiteBalanceMode = mostAutomatic(description.whiteBalanceModes);
    if (settings.activeFormat < description.formats.size())
        settings.minFrameDuration = settings.maxFrameDuration
            = description.formats[settings.activeFormat].frameRates.front().minFrameDuration;
    return settings;
}

}
