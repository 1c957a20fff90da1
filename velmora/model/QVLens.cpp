// SPDX-License-Identifier: Apache-2.0
#include "velmora/model/QVLens.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceDiscoverySession.h"
#include "platform/AVFoundation/AVCaptureDeviceFormat.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SystemVersion.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <string_view>

namespace velmora {

namespace {

struct KnownLens {
    std::string_view deviceType;
    QVLensType type;
    bool sinceThirteen;
};

/// In the order in which a device's type is looked up.
constexpr std::array knownLenses {
    KnownLens { AVCaptureDeviceTypeBuiltInWideAngleCamera, QVLensTypeWideAngle, false },
    KnownLens { AVCaptureDeviceTypeBuiltInTelephotoCamera, QVLensTypeTelephoto, false },
    KnownLens { AVCaptureDeviceTypeBuiltInDualCamera, QVLensTypeDual, false },
    KnownLens { AVCaptureDeviceTypeBuiltInTrueDepthCamera, QVLensTypeTrueDepth, false },
    KnownLens { AVCaptureDeviceTypeBuiltInDualWideCamera, QVLensTypeDualWide, true },
    KnownLens { AVCaptureDeviceTypeBuiltInTripleCamera, QVLensTypeTriple, true },
    KnownLens { AVCaptureDeviceTypeBuiltInUltraWideCamera, QVLensTypeUltraWide, true },
};

/// In the order in which devices are asked for: the triple camera comes before the dual wide one here, unlike in the
/// table above and in the numbering; both orders are relied on.
std::vector<std::string> typesToDiscover(bool thirteen)
{
    std::vector<std::string> types { AVCaptureDeviceTypeBuiltInWideAngleCamera,
        AVCaptureDeviceTypeBuiltInTelephotoCamera, AVCaptureDeviceTypeBuiltInDualCamera,
        AVCaptureDeviceTypeBuiltInTrueDepthCamera };
    if (thirteen)
        types.insert(types.end(),
            { AVCaptureDeviceTypeBuiltInTripleCamera, AVCaptureDeviceTypeBuiltInDualWideCamera,
                AVCaptureDeviceTypeBuiltInUltraWideCamera });
    return types;
}

std::optional<QVLensType> lensTypeOf(std::string_view deviceType, bool thirteen)
{
    for (const KnownLens& known : knownLenses)
        if (known.deviceType == deviceType && (thirteen || !known.sinceThirteen))
            return known.type;
    return std::nullopt;
}

}

/// The lenses of the process. A new virtual phone starts a fresh one.
class LensCatalogue {
public:
    static QVLens::Lenses lenses()
    {
        static auto* catalogue = [] {
            auto* made = new LensCatalogue;
            ProcessState::add([made] { made->forget(); });
            return made;
        }();
        const std::lock_guard lock(catalogue->mutex_);
        if (!catalogue->lenses_)
            catalogue->lenses_ = discover();
        return *catalogue->lenses_;
    }

private:
    static QVLens::Lenses discover()
    {
        const bool thirteen = SystemVersion::current() >= SystemVersion { 13, 0 };
        const auto types = typesToDiscover(thirteen);
        QVLens::Lenses lenses;
        for (const auto position : { AVCaptureDevicePositionFront, AVCaptureDevicePositionBack }) {
            const auto session
                = AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(types, AVMediaTypeVideo, position);
            for (const auto& device : session->devices())
                if (const auto type = lensTypeOf(device->deviceType(), thirteen))
                    lenses.push_back(make<QVLens>(QVLens::Key {}, device->position(), *type, device));
        }
        return lenses;
    }

    void forget()
    {
        const std::lock_guard lock(mutex_);
        lenses_.reset();
    }

    std::mutex mutex_;
    std::optional<QVLens::Lenses> lenses_;
};

namespace {

template <class Passes> QVLens::Lenses lensesThat(Passes passes)
{
    QVLens::Lenses found;
    const auto all = LensCatalogue::lenses();
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), passes);
    return found;
}

}

QVLens::QVLens(Key, AVCaptureDevicePosition position, QVLensType type, std::shared_ptr<AVCaptureDevice> device)
    : position_(position)
    , lensType_(type)
    , captureDevice_(std::move(device))
{
}

const ClassInfo& QVLens::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&QVLens::position>("position"), method<&QVLens::lensType>("lensType"));
    static constexpr auto classMethods = methodTable(unavailableInitialiser(),
        classMethod<static_cast<Lenses (*)()>(&QVLens::availableLenses)>("availableLenses"),
        classMethod<static_cast<Lenses (*)(AVCaptureDevicePosition)>(&QVLens::availableLenses)>(
            "availableLensesInDevicePosition:"),
        classMethod<static_cast<bool (*)(AVCaptureDevicePosition)>(&QVLens::hasAvailableLens)>(
            "hasAvailableLensInDevicePosition:"));
    static const ClassInfo info { "Velmora.QVLens", &NSObject::staticClass(), methods, classMethods };
    return info;
}

QVLens::Lenses QVLens::availableLenses()
{
    return LensCatalogue::lenses();
}

QVLens::Lenses QVLens::availableLenses(AVCaptureDevicePosition position)
{
    return lensesThat([=](const auto& lens) { return lens->position() == position; });
}

bool QVLens::hasAvailableLens(AVCaptureDevicePosition position)
{
    return !availableLenses(position).empty();
}

QVLens::Lenses QVLens::availableLenses(LensAttributes attributes)
{
    return lensesThat([=](const auto& lens) { return lens->attributes().contains(attributes); });
}

bool QVLens::hasAvailableLens(LensAttributes attributes)
{
    return !availableLenses(attributes).empty();
}

QVLens::Lenses QVLens::availableLenses(LensAttributes attributes, AVCaptureDevicePosition position)
{
    return lensesThat(
        [=](const auto& lens) { return lens->position() == position && lens->attributes().contains(attributes); });
}

bool QVLens::hasAvailableLens(LensAttributes attributes, AVCaptureDevicePosition position)
{
    return !availableLenses(attributes, position).empty();
}

QVLens::Lenses QVLens::availableLenses(LensAttributes attributes, AVCaptureDevicePosition position, QVLensType type)
{
    return lensesThat([=](const auto& lens) {
        return lens->position() == position && lens->attributes().contains(attributes) && lens->lensType() == type;
    });
}

bool QVLens::hasAvailableLens(LensAttributes attributes, AVCaptureDevicePosition position, QVLensType type)
{
    return !availableLenses(attributes, position, type).empty();
}

QVLens::LensAttributes QVLens::attributes() const
{
    const std::lock_guard lock(mutex_);
    if (!attributes_) {
        LensAttributes found;
        // Every format is asked, also after the first that has depth.
        for (const auto& format : captureDevice_->formats())
            if (!format->supportedDepthDataFormats().empty())
                found.formUnion(LensAttributes::depthCapture);
        attributes_ = found;
    }
    return *attributes_;
}

void QVLens::setAttributes(LensAttributes attributes)
{
    const std::lock_guard lock(mutex_);
    attributes_ = attributes;
}

}
