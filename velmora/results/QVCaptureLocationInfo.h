// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora {

class CLLocation;
class CLPlacemark;
class QVLocationProvider;

/// Where one capture was taken. Travels in archives with its capture.
class VELMORA_EXPORT QVCaptureLocationInfo : public NSObject, public NSCoding {
public:
    QVCaptureLocationInfo() = delete;
    /// Throws NSException (NSInvalidArgumentException) for nil.
    explicit QVCaptureLocationInfo(std::shared_ptr<CLLocation> location);
    /// What the provider knows at this moment; nil when it has no location.
    static std::shared_ptr<QVCaptureLocationInfo> initWithLocationProvider(
        const std::shared_ptr<QVLocationProvider>& provider);
    /// Nil when the archive has no location; whatever else is missing or of another type stays nil.
    static std::shared_ptr<QVCaptureLocationInfo> initWithCoder(const NSCoder& coder);
    static void nameArchivableClasses(); ///< registerArchivableClasses(), for the unarchiver
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Never nil; the setter throws NSException (NSInvalidArgumentException) for nil.
    const std::shared_ptr<CLLocation>& location() const { return location_; }
    void setLocation(std::shared_ptr<CLLocation> location);
    const std::shared_ptr<CLPlacemark>& placemark() const { return placemark_; }
    void setPlacemark(std::shared_ptr<CLPlacemark> placemark);
    /// The most detailed name that was known.
    const std::optional<std::string>& landmarkName() const { return landmarkName_; }
    void setLandmarkName(std::optional<std::string> name);
    /// Made from a provider it holds the landmark's name too.
    const std::optional<std::string>& localeName() const { return localeName_; }
    void setLocaleName(std::optional<std::string> name);

    void encodeWithCoder(NSCoder& coder) const override;

protected:
    void didConstruct() override;

private:
    static std::shared_ptr<QVCaptureLocationInfo> initOfClass(
        const ClassInfo& receiver, const std::shared_ptr<QVLocationProvider>& provider);

    std::shared_ptr<CLLocation> location_;
    std::shared_ptr<CLPlacemark> placemark_;
    std::optional<std::string> landmarkName_, localeName_;
};

}
