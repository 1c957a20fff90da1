// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSObject.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tests {

enum LampColor : std::uint8_t { LampColorWhite = 1, LampColorAmber = 2 };

/// What lamps can be asked by name although it is no class of objects.
class Dimmable {
public:
    virtual ~Dimmable() = default;
    virtual double level() const { return 1; }
};

/// An observable object of the tests.
class Lamp : public NSObject, public Dimmable {
public:
    using Handler = std::function<void(double)>;

    explicit Lamp(double brightness = 0)
        : brightness_(brightness)
    {
    }
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    double brightness() const { return brightness_; }
    void setBrightness(double brightness)
    {
        ChangeOfValue change(*this, "brightness");
        brightness_ = brightness;
    }
    bool isLit() const { return brightness_ > 0; }
    LampColor color() const { return color_; }
    void setColor(LampColor color) { color_ = color; }
    std::string name() const { return name_; }
    void setName(const std::string& name) { name_ = name; }
    std::optional<double> timeout() const { return timeout_; }
    void setTimeout(std::optional<double> seconds) { timeout_ = seconds; }
    void setBrightness(double brightness, bool twice) { setBrightness(twice ? brightness * 2 : brightness); }

    std::shared_ptr<Lamp> neighbour() const { return neighbour_.lock(); }
    void setNeighbour(const std::weak_ptr<Lamp>& lamp) { neighbour_ = lamp; }
    double brightnessOf(const Lamp& lamp) const { return lamp.brightness(); }
    double brightnessOrZero(const Lamp* lamp) const { return lamp ? lamp->brightness() : 0; }
    void report(const Handler& handler) const
    {
        if (handler)
            handler(brightness_);
    }
    std::string codeOf(const std::optional<NSError>& error) const;
    virtual std::string kind() const { return "lamp"; }
    void hear(const NSNotification& notification) { heard.push_back(notification.name); }
    void hearNothing() { heard.emplace_back("nothing"); }

    std::vector<std::string> heard;

private:
    std::atomic<double> brightness_;
    LampColor color_ = LampColorWhite;
    std::string name_;
    std::optional<double> timeout_;
    std::weak_ptr<Lamp> neighbour_;
};

/// Overrides one operation natively and lists nothing of its own.
class NightLamp : public Lamp {
public:
    using Lamp::Lamp;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    std::string kind() const override { return "night lamp"; }
};

}
