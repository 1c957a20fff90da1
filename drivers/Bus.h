// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace velmora::drivers {

struct BusValue;
using BusDictionary = std::map<std::string, BusValue>;
using BusList = std::vector<BusValue>;

/// What travels on a message bus. Whole numbers of all widths are one kind; a variant is what it holds; a file
/// descriptor is a number that the receiver closes.
struct BusValue {
    std::variant<std::monostate, bool, std::int64_t, double, std::string, std::shared_ptr<BusDictionary>,
        std::shared_ptr<BusList>>
        held;

    const std::string* text() const { return std::get_if<std::string>(&held); }
    /// Of a number of any kind; `otherwise` of anything else.
    double number(double otherwise) const;
    bool isTrue() const { return std::get_if<bool>(&held) && std::get<bool>(held); }
    const BusDictionary& dictionary() const; ///< empty of anything else
};

/// An argument, with the bus's letter for its type: b i u s o d; v for a variant of text or a whole number that is
/// unsigned; "a{sv}" as 'D', of texts and yes-or-no.
struct BusArgument {
    char type = 's';
    BusValue value;
};

/// Whom one asks.
struct BusObject {
    std::string name, path, interface;
};

/// A connection to a message bus, and the thread that listens to it. From any thread.
class Bus {
public:
    enum class Kind : std::uint8_t { System, Session };
    /// Empty when there is no such bus.
    static std::shared_ptr<Bus> open(Kind kind);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Waits for the answer, at most so many seconds. Throws NSError whose domain is the name of the bus's error.
    BusList call(const BusObject& object, const std::string& operation, const std::vector<BusArgument>& arguments = {},
        double seconds = 5) const;
    BusDictionary properties(const BusObject& object) const;
    void setProperty(const BusObject& object, const std::string& property, const BusValue& value) const;
    /// Calls `handler` on the bus's thread with what the signal carries, until the token ends.
    [[nodiscard]] Cancellable listen(
        const BusObject& object, const std::string& signal, std::function<void(const BusList&)> handler) const;
    /// Whether somebody has this name, or would be started for it.
    bool knows(const std::string& name) const;
    /// This connection's own name: ":1.42".
    std::string ownName() const;

private:
    struct Connection;
    explicit Bus(std::shared_ptr<Connection> connection);

    const std::shared_ptr<Connection> connection_;
};

}
