// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVCaptureLocationInfo.h"

#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/archivableClasses.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/NSException.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<CLLocation> required(std::shared_ptr<CLLocation> location)
{
    if (!location)
        throw NSException(NSInvalidArgumentException, "QVCaptureLocationInfo: the location must not be nil");
    return location;
}

}

QVCaptureLocationInfo::QVCaptureLocationInfo(std::shared_ptr<CLLocation> location)
    : location_(required(std::move(location)))
{
}

void QVCaptureLocationInfo::didConstruct()
{
    NSObject::didConstruct();
    nameArchivableClasses();
}

void QVCaptureLocationInfo::nameArchivableClasses()
{
    registerArchivableClasses();
}

const ClassInfo& QVCaptureLocationInfo::staticClass()
{
    static constexpr auto methods = methodTable(method<&QVCaptureLocationInfo::location>("location"),
        method<&QVCaptureLocationInfo::setLocation>("setLocation:"),
        method<&QVCaptureLocationInfo::placemark>("placemark"),
        method<&QVCaptureLocationInfo::setPlacemark>("setPlacemark:"),
        method<&QVCaptureLocationInfo::landmarkName>("landmarkName"),
        method<&QVCaptureLocationInfo::setLandmarkName>("setLandmarkName:"),
        method<&QVCaptureLocationInfo::localeName>("localeName"),
        method<&QVCaptureLocationInfo::setLocaleName>("setLocaleName:"),
        method<&QVCaptureLocationInfo::encodeWithCoder>("encodeWithCoder:"));
    static constexpr auto classMethods
        = methodTable(initialiser<QVCaptureLocationInfo, std::shared_ptr<CLLocation>>("initWithLocation:"),
            classMethod<&QVCaptureLocationInfo::initOfClass>("initWithLocationProvider:"),
            classMethod<&QVCaptureLocationInfo::initWithCoder>("initWithCoder:"), unavailableInitialiser());
    static const ClassInfo info { "Velmora.QVCaptureLocationInfo", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<QVCaptureLocationInfo> QVCaptureLocationInfo::initWithLocationProvider(
    const std::shared_ptr<QVLocationProvider>& provider)
{
    return initOfClass(staticClass(), provider);
}

std::shared_ptr<QVCaptureLocationInfo> QVCaptureLocationInfo::initOfClass(
    const ClassInfo& receiver, const std::shared_ptr<QVLocationProvider>& provider)
{
    const auto location = provider ? provider->currentLocation() : nullptr;
    if (!location)
        return nullptr;

    // Sent to the class, so that a subclass is made by its own initialiser.
    auto info = unbox<std::shared_ptr<QVCaptureLocationInfo>>(receiver.performSelector("initWithLocation:", location));
    if (!info)
        return nullptr;
    info->setLandmarkName(provider->currentLandmarkName());
    info->setLocaleName(provider->currentLandmarkName()); // the landmark's name here too: applications show either
    info->setPlacemark(provider->currentPlacemark());
    return info;
}

std::shared_ptr<QVCaptureLocationInfo> QVCaptureLocationInfo::initWithCoder(const NSCoder& coder)
{
    auto location = decodedObject<CLLocation>(coder, "location");
    if (!location)
        return nullptr;

    auto info = make<QVCaptureLocationInfo>(std::move(location));
    info->landmarkName_ = decoded<std::string>(coder, "landmarkName");
    info->localeName_ = decoded<std::string>(coder, "localeName");
    info->placemark_ = decodedObject<CLPlacemark>(coder, "placemark");
    return info;
}

void QVCaptureLocationInfo::setLocation(std::shared_ptr<CLLocation> location)
{
    location_ = required(std::move(location));
}

void QVCaptureLocationInfo::setPlacemark(std::shared_ptr<CLPlacemark> placemark)
{
    placemark_ = std::move(placemark);
}

void QVCaptureLocationInfo::setLandmarkName(std::optional<std::string> name)
{
    landmarkName_ = std::move(name);
}

void QVCaptureLocationInfo::setLocaleName(std::optional<std::string> name)
{
    localeName_ = std::move(name);
}

void QVCaptureLocationInfo::encodeWithCoder(NSCoder& coder) const
{
    coder.encodeObject(location_, "location");
    coder.encodeObject(landmarkName_, "landmarkName");
    coder.encodeObject(localeName_, "localeName");
    coder.encodeObject(placemark_, "placemark");
}

}
