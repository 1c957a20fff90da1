// SPDX-License-Identifier: Apache-2.0
#include "drivers/Bus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

namespace velmora::drivers {

namespace {

BusValue readValue(sd_bus_message* message);

BusValue readContainer(sd_bus_message* message, char type, const char* contents)
{
    const std::string inside = contents ? contents : "";
    if (sd_bus_message_enter_container(message, type, contents) < 0)
        return {};
    BusValue result;
    if (type == SD_BUS_TYPE_VARIANT)
        result = readValue(message);
    else if (inside.starts_with("{s")) {
        auto dictionary = std::make_shared<BusDictionary>();
        while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, nullptr) > 0) {
            const BusValue key = readValue(message);
            BusValue value = readValue(message);
            if (key.text())
                (*dictionary)[*key.text()] = std::move(value);
            sd_bus_message_exit_container(message);
        }
        result.held = std::move(dictionary);
    } else {
        auto list = std::make_shared<BusList>();
        while (sd_bus_message_at_end(message, 0) == 0)
            list->push_back(readValue(message));
        result.held = std::move(list);
    }
    sd_bus_message_exit_container(message);
    return result;
}

template <class T> T basic(sd_bus_message* message, char type)
{
    T value {};
    sd_bus_message_read_basic(message, type, &value);
    return value;
}

BusValue readValue(sd_bus_message* message)
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0)
        return {};
    switch (type) {
    case SD_BUS_TYPE_BOOLEAN:
        return { basic<int>(message, type) != 0 };
    case SD_BUS_TYPE_BYTE:
        return { std::int64_t { basic<std::uint8_t>(message, type) } };
    case SD_BUS_TYPE_INT16:
        return { std::int64_t { basic<std::int16_t>(message, type) } };
    case SD_BUS_TYPE_UINT16:
        return { std::int64_t { basic<std::uint16_t>(message, type) } };
    case SD_BUS_TYPE_INT32:
        return { std::int64_t { basic<std::int32_t>(message, type) } };
    case SD_BUS_TYPE_UINT32:
        return { std::int64_t { basic<std::uint32_t>(message, type) } };
    case SD_BUS_TYPE_INT64:
        return { basic<std::int64_t>(message, type) };
    case SD_BUS_TYPE_UINT64:
        return { static_cast<std::int64_t>(basic<std::uint64_t>(message, type)) };
    case SD_BUS_TYPE_DOUBLE:
        return { basic<double>(message, type) };
    case SD_BUS_TYPE_UNIX_FD: // the message's own is closed with it
        return { std::int64_t { fcntl(basic<int>(message, type), F_DUPFD_CLOEXEC, 3) } };
    case SD_BUS_TYPE_STRING:
    case SD_BUS_TYPE_OBJECT_PATH:
    case SD_BUS_TYPE_SIGNATURE: {
        const char* text = basic<const char*>(message, type);
        return { std::string(text ? text : "") };
    }
    default: {
        const std::string inside = contents ? contents : "";
        return readContainer(message, type, inside.c_str());
    }
    }
}

BusList readAll(sd_bus_message* message)
{
    BusList all;
    while (sd_bus_message_at_end(message, 1) == 0)
        all.push_back(readValue(message));
    return all;
}

void appendVariant(sd_bus_message* message, const BusValue& value)
{
    if (value.text())
        sd_bus_message_append(message, "v", "s", value.text()->c_str());
    else if (std::holds_alternative<bool>(value.held))
        sd_bus_message_append(message, "v", "b", value.isTrue() ? 1 : 0);
    else
        sd_bus_message_append(message, "v", "u", static_cast<std::uint32_t>(value.number(0)));
}

void append(sd_bus_message* message, const BusArgument& argument)
{
    const BusValue& value = argument.value;
    switch (argument.type) {
    case 's':
    case 'o':
        sd_bus_message_append_basic(message, argument.type, value.text() ? value.text()->c_str() : "");
        break;
    case 'b': {
        const int yes = value.isTrue() ? 1 : 0;
        sd_bus_message_append_basic(message, 'b', &yes);
        break;
    }
    case 'd': {
        const double number = value.number(0);
        sd_bus_message_append_basic(message, 'd', &number);
        break;
    }
    case 'v':
        appendVariant(message, value);
        break;
    case 'D':
        sd_bus_message_open_container(message, 'a', "{sv}");
        for (const auto& [key, each] : value.dictionary()) {
            sd_bus_message_open_container(message, 'e', "sv");
            sd_bus_message_append_basic(message, 's', key.c_str());
            appendVariant(message, each);
            sd_bus_message_close_container(message);
        }
        sd_bus_message_close_container(message);
        break;
    default: {
        const auto whole = static_cast<std::uint32_t>(value.number(0));
        sd_bus_message_append_basic(message, argument.type, &whole);
    }
    }
}

}

double BusValue::number(double otherwise) const
{
    if (const auto* whole = std::get_if<std::int64_t>(&held))
        return static_cast<double>(*whole);
    if (const auto* real = std::get_if<double>(&held))
        return *real;
    return otherwise;
}

const BusDictionary& BusValue::dictionary() const
{
    static const BusDictionary none;
    const auto* found = std::get_if<std::shared_ptr<BusDictionary>>(&held);
    return found && *found ? **found : none;
}

/// The library's connection is one thread's at a time.
struct Bus::Connection : std::enable_shared_from_this<Bus::Connection> {
    struct Listener {
        std::function<void(const BusList&)> handler;
        sd_bus_slot* slot = nullptr;
    };

    std::recursive_mutex mutex;
    sd_bus* bus = nullptr;
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    bool over = false;
    std::uint64_t last = 0;
    std::map<std::uint64_t, std::shared_ptr<Listener>> listeners;
    std::thread thread;

    Connection() = default;
    ~Connection()
    {
        for (const auto& [id, listener] : listeners)
            sd_bus_slot_unref(listener->slot);
        sd_bus_flush_close_unref(bus);
        close(wake);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void rouse() const
    {
        const std::uint64_t one = 1;
        if (write(wake, &one, sizeof one) < 0)
            return; // it is awake
    }
    void serve()
    {
        for (;;) {
            int descriptor = -1;
            short wanted = 0;
            {
                const std::lock_guard lock(mutex);
                while (!over && sd_bus_process(bus, nullptr) > 0) { }
                if (over || sd_bus_is_open(bus) <= 0)
                    return;
                descriptor = sd_bus_get_fd(bus);
                wanted = static_cast<short>(sd_bus_get_events(bus));
            }
            std::array<pollfd, 2> both { pollfd { wake, POLLIN, 0 }, pollfd { descriptor, wanted, 0 } };
            poll(both.data(), both.size(), -1);
            std::uint64_t ignored = 0;
            if (read(wake, &ignored, sizeof ignored) < 0)
                continue; // the bus woke it
        }
    }
};

std::shared_ptr<Bus> Bus::open(Kind kind)
{
    auto connection = std::make_shared<Connection>();
    const int result = kind == Kind::System ? sd_bus_open_system(&connection->bus) : sd_bus_open_user(&connection->bus);
    if (result < 0)
        return nullptr;
    return std::shared_ptr<Bus>(new Bus(std::move(connection)));
}

Bus::Bus(std::shared_ptr<Connection> connection)
    : connection_(std::move(connection))
{
    connection_->thread = std::thread([served = connection_] { served->serve(); });
}

Bus::~Bus()
{
    {
        const std::lock_guard lock(connection_->mutex);
        connection_->over = true;
    }
    connection_->rouse();
    if (connection_->thread.get_id() == std::this_thread::get_id())
        connection_->thread.detach(); // one of its own handlers let it go
    else
        connection_->thread.join();
}

BusList Bus::call(const BusObject& object, const std::string& operation, const std::vector<BusArgument>& arguments,
    double seconds) const
{
    constexpr double microseconds = 1e6;
    const std::lock_guard lock(connection_->mutex);
    sd_bus_message *question = nullptr, *answer = nullptr;
    int result = sd_bus_message_new_method_call(connection_->bus, &question, object.name.c_str(), object.path.c_str(),
        object.interface.c_str(), operation.c_str());
    if (result < 0)
        throw errorFromErrno(-result, operation + " cannot be asked for");
    for (const BusArgument& argument : arguments)
        append(question, argument);
    sd_bus_error error {};
    result
        = sd_bus_call(connection_->bus, question, static_cast<std::uint64_t>(seconds * microseconds), &error, &answer);
    sd_bus_message_unref(question);
    connection_->rouse(); // signals may have come meanwhile
    if (result < 0) {
        const NSError problem(error.name ? error.name : NSPOSIXErrorDomain, -result,
            operation + " of " + object.name + " failed: " + (error.message ? error.message : std::strerror(-result)));
        sd_bus_error_free(&error);
        throw problem;
    }
    auto values = readAll(answer);
    sd_bus_message_unref(answer);
    return values;
}

BusDictionary Bus::properties(const BusObject& object) const
{
    const auto answer = call(
        { object.name, object.path, "org.freedesktop.DBus.Properties" }, "GetAll", { { 's', { object.interface } } });
    return answer.empty() ? BusDictionary {} : answer.front().dictionary();
}

void Bus::setProperty(const BusObject& object, const std::string& property, const BusValue& value) const
{
    call({ object.name, object.path, "org.freedesktop.DBus.Properties" }, "Set",
        { { 's', { object.interface } }, { 's', { property } }, { 'v', value } });
}

Cancellable Bus::listen(
    const BusObject& object, const std::string& signal, std::function<void(const BusList&)> handler) const
{
    const std::lock_guard lock(connection_->mutex);
    auto listener = std::make_shared<Connection::Listener>();
    listener->handler = std::move(handler);
    const auto tell = [](sd_bus_message* message, void* data, sd_bus_error*) {
        const auto call = static_cast<Connection::Listener*>(data)->handler; // it may end the listener
        call(readAll(message));
        return 0;
    };
    sd_bus_match_signal(connection_->bus, &listener->slot, object.name.empty() ? nullptr : object.name.c_str(),
        object.path.empty() ? nullptr : object.path.c_str(), object.interface.c_str(), signal.c_str(), tell,
        listener.get());
    const std::uint64_t id = ++connection_->last;
    connection_->listeners[id] = std::move(listener);
    connection_->rouse();
    return Cancellable([weak = std::weak_ptr(connection_), id] {
        const auto connection = weak.lock();
        if (!connection)
            return;
        const std::lock_guard guard(connection->mutex);
        const auto found = connection->listeners.find(id);
        if (found == connection->listeners.end())
            return;
        sd_bus_slot_unref(found->second->slot);
        connection->listeners.erase(found);
    });
}

bool Bus::knows(const std::string& name) const
{
    const BusObject bus { "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus" };
    try {
        if (const auto has = call(bus, "NameHasOwner", { { 's', { name } } }); !has.empty() && has.front().isTrue())
            return true;
        const auto names = call(bus, "ListActivatableNames");
        const auto* list = names.empty() ? nullptr : std::get_if<std::shared_ptr<BusList>>(&names.front().held);
        return list && std::any_of((*list)->begin(), (*list)->end(), [&](const BusValue& each) {
            return each.text() && *each.text() == name;
        });
    } catch (const NSError&) {
        return false; // a bus without a daemon knows nobody
    }
}

std::string Bus::ownName() const
{
    const std::lock_guard lock(connection_->mutex);
    const char* name = nullptr;
    sd_bus_get_unique_name(connection_->bus, &name);
    return name ? name : "";
}

}
