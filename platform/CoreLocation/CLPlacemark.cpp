// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLPlacemark.h"

#include "platform/CoreLocation/CLLocation.h"

#include <array>
#include <utility>

namespace velmora {

namespace {

using Names = CLPlacemark::Names;

struct NameField {
    std::string_view key;
    std::optional<std::string> Names::*field;
};
constexpr std::array nameFields {
    NameField { "name", &Names::name },
    NameField { "subLocality", &Names::subLocality },
    NameField { "locality", &Names::locality },
    NameField { "subAdministrativeArea", &Names::subAdministrativeArea },
    NameField { "administrativeArea", &Names::administrativeArea },
    NameField { "country", &Names::country },
    NameField { "isoCountryCode", &Names::isoCountryCode },
};

std::shared_ptr<NSArray> archived(const std::vector<std::optional<std::string>>& areas)
{
    std::vector<ArchiveValue> values;
    for (const auto& area : areas)
        values.push_back(area ? ArchiveValue(*area) : ArchiveValue());
    return make<NSArray>(std::move(values));
}

std::vector<std::optional<std::string>> unarchived(const NSArray& array)
{
    std::vector<std::optional<std::string>> areas;
    for (const auto& value : array.values()) {
        const auto* area = std::get_if<std::string>(&value);
        areas.push_back(area ? std::optional(*area) : std::nullopt);
    }
    return areas;
}

}

CLPlacemark::CLPlacemark(Names names, std::shared_ptr<CLLocation> location)
    : names_(std::move(names))
    , location_(std::move(location))
{
}

const ClassInfo& CLPlacemark::staticClass()
{
    static constexpr auto methods = methodTable(method<&CLPlacemark::name>("name"),
        method<&CLPlacemark::subLocality>("subLocality"), method<&CLPlacemark::locality>("locality"),
        method<&CLPlacemark::subAdministrativeArea>("subAdministrativeArea"),
        method<&CLPlacemark::administrativeArea>("administrativeArea"), method<&CLPlacemark::country>("country"),
        method<&CLPlacemark::isoCountryCode>("ISOcountryCode"),
        method<&CLPlacemark::areasOfInterest>("areasOfInterest"), method<&CLPlacemark::location>("location"),
        method<&CLPlacemark::encodeWithCoder>("encodeWithCoder:"));
    static constexpr auto classMethods = methodTable(classMethod<&CLPlacemark::initWithCoder>("initWithCoder:"));
    static const ClassInfo info { "Velmora.CLPlacemark", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<CLPlacemark> CLPlacemark::initWithCoder(const NSCoder& coder)
{
    Names names;
    for (const auto& [key, field] : nameFields)
        names.*field = decoded<std::string>(coder, key);
    if (const auto areas = decodedObject<NSArray>(coder, "areasOfInterest"))
        names.areasOfInterest = unarchived(*areas);
    return make<CLPlacemark>(std::move(names), decodedObject<CLLocation>(coder, "location"));
}

void CLPlacemark::encodeWithCoder(NSCoder& coder) const
{
    for (const auto& [key, field] : nameFields)
        coder.encodeObject(names_.*field, key);
    coder.encodeObject(names_.areasOfInterest ? archived(*names_.areasOfInterest) : nullptr, "areasOfInterest");
    coder.encodeObject(location_, "location");
}

bool CLPlacemark::isEqual(const NSObject* other) const
{
    if (this == other)
        return true;
    const auto* placemark = dynamic_cast<const CLPlacemark*>(other);
    if (!placemark || names_.areasOfInterest != placemark->names_.areasOfInterest)
        return false;
    for (const auto& [key, field] : nameFields)
        if (names_.*field != placemark->names_.*field)
            return false;
    return location_ ? location_->isEqual(placemark->location_.get()) : !placemark->location_;
}

std::string CLPlacemark::description() const
{
    std::string text;
    const auto add = [&text](const std::optional<std::string>& name) {
        if (name)
            text += (text.empty() ? "" : ", ") + *name;
    };
    if (names_.areasOfInterest && !names_.areasOfInterest->empty())
        add(names_.areasOfInterest->front());
    for (const auto& [key, field] : nameFields)
        if (field != &Names::isoCountryCode)
            add(names_.*field);
    return text + (location_ ? " @ " + location_->description() : "");
}

}
