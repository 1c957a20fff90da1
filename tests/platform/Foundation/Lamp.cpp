// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

const ClassInfo& Lamp::staticClass()
{
    static constexpr auto methods = methodTable(method<&Lamp::brightness>("brightness"),
        method<overload<double>(&Lamp::setBrightness)>("setBrightness:"),
        method<overload<double, bool>(&Lamp::setBrightness)>("setBrightness:twice:"), method<&Lamp::isLit>("isLit"),
        method<&Lamp::color>("color"), method<&Lamp::setColor>("setColor:"), method<&Lamp::name>("name"),
        method<&Lamp::setName>("setName:"), method<&Lamp::timeout>("timeout"), method<&Lamp::setTimeout>("setTimeout:"),
        method<&Lamp::neighbour>("neighbour"), method<&Lamp::setNeighbour>("setNeighbour:"),
        method<&Lamp::brightnessOf>("brightnessOf:"), method<&Lamp::brightnessOrZero>("brightnessOrZero:"),
        method<&Lamp::report>("report:"), method<&Lamp::codeOf>("codeOf:"), method<&Lamp::kind>("kind"),
        method<&Lamp::hear>("hear:"), method<&Lamp::hearNothing>("hearNothing"), method<&Lamp::level>("level"));
    static constexpr auto classMethods
        = methodTable(initialiser<Lamp, double>("initWithBrightness:"), unavailableInitialiser());
    static const ClassInfo info { "Tests.Lamp", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::string Lamp::codeOf(const std::optional<NSError>& error) const
{
    return error ? std::to_string(error->code()) : "no error";
}

const ClassInfo& NightLamp::staticClass()
{
    static const ClassInfo info { "Tests.NightLamp", &Lamp::staticClass() };
    return info;
}

}
