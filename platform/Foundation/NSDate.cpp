// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSDate.h"

#include "platform/Foundation/Clock.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace velmora {

namespace {
/// Beyond these the C library has no calendar: about the years -3 million and 3 million.
constexpr double calendarSeconds = 1e14;
}

NSDate::NSDate(double timeIntervalSinceReferenceDate)
    : seconds_(timeIntervalSinceReferenceDate)
{
}

std::shared_ptr<NSDate> NSDate::date()
{
    return make<NSDate>(CFAbsoluteTimeGetCurrent());
}

const ClassInfo& NSDate::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&NSDate::timeIntervalSinceReferenceDate>("timeIntervalSinceReferenceDate"),
            method<&NSDate::timeIntervalSince1970>("timeIntervalSince1970"));
    static constexpr auto classMethods = methodTable(
        classMethod<&NSDate::date>("date"), initialiser<NSDate, double>("initWithTimeIntervalSinceReferenceDate:"));
    static const ClassInfo info { "Velmora.NSDate", &NSObject::staticClass(), methods, classMethods };
    return info;
}

double NSDate::timeIntervalSince1970() const
{
    return seconds_ + NSTimeIntervalSince1970;
}

bool NSDate::isEqual(const NSObject* other) const
{
    const auto* date = dynamic_cast<const NSDate*>(other);
    return date && date->seconds_ == seconds_;
}

std::string NSDate::description() const
{
    std::array<char, 64> text {};
    if (!(std::abs(seconds_) < calendarSeconds)) {
        std::snprintf(text.data(), text.size(), "%g seconds since 2001-01-01 00:00:00 +0000", seconds_);
        return text.data();
    }

    const auto whole = static_cast<std::time_t>(std::floor(timeIntervalSince1970()));
    std::tm parts {};
    gmtime_r(&whole, &parts);
    std::snprintf(text.data(), text.size(), "%04lld-%02d-%02d %02d:%02d:%02d +0000", parts.tm_year + 1900LL,
        parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text.data();
}

}
