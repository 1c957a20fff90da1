// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Daemon.h"

#include "platform/Foundation/NSLog.h"

#include "drivers/pipewire/Pods.h"

#include <spa/param/props.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

namespace velmora::drivers::pipewire {

namespace {

constexpr double quickRetry = 0.05, slowRetry = 1; // seconds
constexpr double quickFor = 3; // seconds after the loss
constexpr int roundsUntilKnown = 3; // globals, their information, their parameters

constexpr int noAnswer = 1, noDaemon = 2; // codes of our errors

std::string textIn(const spa_dict* properties, const char* key)
{
    const char* text = properties ? spa_dict_lookup(properties, key) : nullptr;
    return text ? text : "";
}

void initialiseOnce()
{
    static const bool done = [] {
        if (!std::getenv("PIPEWIRE_DEBUG"))
            setenv("PIPEWIRE_DEBUG", "0", 0); // what matters of its log we say ourselves
        pw_init(nullptr, nullptr);
        return true;
    }();
    static_cast<void>(done);
}

}

std::string Node::property(const char* key) const
{
    const auto found = properties.find(key);
    return found == properties.end() ? std::string() : found->second;
}

LoopTimer::LoopTimer(Daemon& daemon, std::function<void()> fire)
    : loop_(daemon.loop())
    , fire_(std::move(fire))
    , source_(pw_loop_add_timer(
          loop_,
          [](void* timer, std::uint64_t) {
              const auto call = static_cast<LoopTimer*>(timer)->fire_; // it may end the timer
              call();
          },
          this))
{
}

LoopTimer::~LoopTimer()
{
    pw_loop_destroy_source(loop_, source_);
}

void LoopTimer::once(double seconds)
{
    set(std::max(seconds, 1e-9), 0); // nothing at all would stop it
}

void LoopTimer::every(double seconds)
{
    set(seconds, seconds);
}

void LoopTimer::stop()
{
    set(0, 0);
}

void LoopTimer::set(double first, double then)
{
    const auto asTime = [](double seconds) {
        const double whole = std::floor(seconds);
        return timespec { static_cast<time_t>(whole), std::lround((seconds - whole) * 1e9) };
    };
    timespec value = asTime(first), interval = asTime(then);
    pw_loop_update_timer(loop_, source_, &value, &interval, false);
}

std::unique_ptr<cameras::LoopTimer> Daemon::timer(std::function<void()> fire)
{
    return std::make_unique<LoopTimer>(*this, std::move(fire));
}

/// A node that we listen to, from the moment that the registry names it.
struct Daemon::Bound {
    Daemon& daemon;
    std::shared_ptr<Node> node = std::make_shared<Node>();
    pw_proxy* proxy = nullptr;
    spa_hook hook {};
    bool asked = false, known = false;
    int sync = 0;

    explicit Bound(Daemon& owner)
        : daemon(owner)
    {
    }
    ~Bound()
    {
        if (!proxy)
            return;
        spa_hook_remove(&hook);
        pw_proxy_destroy(proxy);
    }
    Bound(const Bound&) = delete;
    Bound& operator=(const Bound&) = delete;

    void listen()
    {
        static const pw_node_events events {
            .version = PW_VERSION_NODE_EVENTS,
            .info = [](void* data, const pw_node_info* info) { static_cast<Bound*>(data)->information(info); },
            .param = [](void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                         const spa_pod* param) { static_cast<Bound*>(data)->parameter(id, param); },
        };
        pw_node_add_listener(reinterpret_cast<pw_node*>(proxy), &hook, &events, this);
    }

    void information(const pw_node_info* info)
    {
        if (info->change_mask & PW_NODE_CHANGE_MASK_PROPS) {
            const spa_dict_item* item = nullptr;
            spa_dict_for_each(item, info->props) node->properties[item->key] = item->value ? item->value : "";
        }
        if (!(info->change_mask & PW_NODE_CHANGE_MASK_PARAMS) || std::exchange(asked, true))
            return;
        auto* remote = reinterpret_cast<pw_node*>(proxy);
        const auto reads = [info](std::uint32_t id) {
            return std::any_of(info->params, info->params + info->n_params,
                [id](const spa_param_info& each) { return each.id == id && (each.flags & SPA_PARAM_INFO_READ) != 0; });
        };
        if (!node->isMicrophone) {
            for (const std::uint32_t id : { SPA_PARAM_PropInfo, SPA_PARAM_EnumFormat })
                if (reads(id))
                    pw_node_enum_params(remote, 0, id, 0, UINT32_MAX, nullptr);
            std::uint32_t values = SPA_PARAM_Props;
            if (reads(values))
                pw_node_subscribe_params(remote, &values, 1);
        }
        sync = pw_core_sync(daemon.core_, PW_ID_CORE, 0);
    }

    void parameter(std::uint32_t id, const spa_pod* param)
    {
        if (!param)
            return;
        if (id == SPA_PARAM_EnumFormat) {
            const auto offers = offersIn(param, node->properties);
            node->offers.insert(node->offers.end(), offers.begin(), offers.end());
        } else if (id == SPA_PARAM_PropInfo)
            addProperty(node->controls, param);
        else if (id == SPA_PARAM_Props) {
            readProperties(node->controls, param);
            if (known && daemon.events_.valuesChanged)
                daemon.events_.valuesChanged(node);
        }
    }
};

Daemon::Daemon(DaemonWish wish)
    : wish_(std::move(wish))
{
    initialiseOnce();
    thread_ = pw_thread_loop_new("velmora-pipewire", nullptr);
    context_ = thread_ ? pw_context_new(pw_thread_loop_get_loop(thread_), nullptr, 0) : nullptr;
    if (!context_ || pw_thread_loop_start(thread_) != 0) {
        end();
        throw errorFromErrno(errno, "PipeWire's thread cannot be started");
    }
    bool answered = false, connected = false;
    {
        const std::lock_guard guard(*this);
        retryTimer_ = std::make_unique<LoopTimer>(*this, [this] { retry(); });
        funeral_ = pw_loop_add_event(
            loop(), [](void* self, std::uint64_t) { static_cast<Daemon*>(self)->buryAll(); }, this);
        connected = connect();
        answered = connected && waitUntilKnown();
    }
    if (answered)
        return;
    end();
    throw NSError("org.velmora.pipewire", connected ? noAnswer : noDaemon,
        connected ? "The PipeWire daemon does not answer; restart it, and try again."
                  : "No PipeWire daemon runs here; start pipewire and wireplumber, and try again.");
}

Daemon::~Daemon()
{
    end();
}

void Daemon::end()
{
    if (!thread_)
        return;
    if (pw_thread_loop_in_thread(thread_)) {
        // The last one who knew it let it go on its own thread, which cannot wait for itself.
        events_ = {};
        retryTimer_.reset();
        buryAll();
        if (funeral_)
            pw_loop_destroy_source(loop(), funeral_);
        disconnect();
        std::thread([thread = std::exchange(thread_, nullptr), context = std::exchange(context_, nullptr)] {
            pw_thread_loop_stop(thread);
            pw_context_destroy(context);
            pw_thread_loop_destroy(thread);
        }).detach();
        return;
    }
    pw_thread_loop_stop(thread_);
    events_ = {};
    retryTimer_.reset();
    for (pw_stream* stream : std::exchange(dead_, {}))
        pw_stream_destroy(stream);
    if (funeral_)
        pw_loop_destroy_source(loop(), funeral_);
    disconnect();
    if (context_)
        pw_context_destroy(std::exchange(context_, nullptr));
    pw_thread_loop_destroy(std::exchange(thread_, nullptr));
}

void Daemon::bury(pw_stream* stream)
{
    pw_stream_disconnect(stream);
    dead_.push_back(stream);
    pw_loop_signal_event(loop(), funeral_);
}

/// On the daemon's thread, where an empty call runs all that were left before it.
void Daemon::buryAll()
{
    if (dead_.empty())
        return;
    pw_loop_invoke(loop(), nullptr, 0, nullptr, 0, false, nullptr);
    for (pw_stream* stream : std::exchange(dead_, {}))
        pw_stream_destroy(stream);
}

bool Daemon::connect()
{
    if (wish_.fileDescriptor >= 0) {
        if (std::exchange(usedDescriptor_, true))
            return false;
        core_ = pw_context_connect_fd(context_, wish_.fileDescriptor, nullptr, 0);
    } else {
        pw_properties* properties = pw_properties_new(nullptr, nullptr);
        if (!wish_.socket.empty())
            pw_properties_set(properties, PW_KEY_REMOTE_NAME, wish_.socket.c_str());
        core_ = pw_context_connect(context_, properties, 0);
    }
    if (!core_)
        return false;
    static const pw_core_events coreEvents {
        .version = PW_VERSION_CORE_EVENTS,
        .done = [](void* data, std::uint32_t id, int sequence) { static_cast<Daemon*>(data)->done(id, sequence); },
        .error = [](void* data, std::uint32_t id, int, int result,
                     const char* message) { static_cast<Daemon*>(data)->failed(id, result, message); },
    };
    static const pw_registry_events registryEvents {
        .version = PW_VERSION_REGISTRY_EVENTS,
        .global = [](void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                      const spa_dict* properties) { static_cast<Daemon*>(data)->globalAdded(id, type, properties); },
        .global_remove = [](void* data, std::uint32_t id) { static_cast<Daemon*>(data)->globalRemoved(id); },
    };
    coreHook_ = registryHook_ = {};
    pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
    enumerate();
    return true;
}

void Daemon::enumerate()
{
    enumeration_ = roundsUntilKnown;
    enumerationSync_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

bool Daemon::waitUntilKnown()
{
    timespec limit {};
    pw_thread_loop_get_time(thread_, &limit, static_cast<std::int64_t>(wish_.answerWithin * 1e9));
    while (enumeration_ > 0 && pw_thread_loop_timed_wait_full(thread_, &limit) == 0) { }
    return enumeration_ == 0;
}

void Daemon::disconnect()
{
    bound_.clear();
    if (registry_) {
        spa_hook_remove(&registryHook_);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(std::exchange(registry_, nullptr)));
    }
    if (core_) {
        spa_hook_remove(&coreHook_);
        pw_core_disconnect(std::exchange(core_, nullptr));
    }
}

void Daemon::failed(std::uint32_t id, int result, const char* message)
{
    if (id != PW_ID_CORE || result != -EPIPE) // an unknown resource, when a node goes while it is asked
        return;
    NSLog("[PipeWire] The daemon is gone (%@); looking for it again.", message ? message : "");
    lostAt_ = cameras::steadySeconds();
    givenUp_ = false;
    restoring_ = true;
    enumeration_ = -1;
    retryTimer_->once(0); // not in here: the connection that calls cannot be destroyed
    pw_thread_loop_signal(thread_, false);
}

void Daemon::retry()
{
    if (core_ && enumeration_ < 0) {
        if (events_.lost)
            events_.lost();
        buryAll();
        disconnect();
    }
    if (core_)
        return;
    if (!connect())
        scheduleRetry();
}

void Daemon::scheduleRetry()
{
    const double gone = cameras::steadySeconds() - lostAt_;
    if (gone < wish_.daemonWithin && wish_.fileDescriptor < 0) {
        retryTimer_->once(gone < quickFor ? quickRetry : slowRetry);
        return;
    }
    givenUp_ = true;
    NSLog("[PipeWire] The daemon did not come back within %f s.", wish_.daemonWithin);
    if (events_.givenUp)
        events_.givenUp();
}

void Daemon::catchUp()
{
    if (!core_ && givenUp_ && connect())
        givenUp_ = false;
    if (!core_ || enumeration_ < 0 || pw_thread_loop_in_thread(thread_))
        return;
    enumerate();
    waitUntilKnown();
}

void Daemon::done(std::uint32_t id, int sequence)
{
    if (id != PW_ID_CORE)
        return;
    std::vector<std::shared_ptr<Node>> appeared;
    for (auto& [nodeID, bound] : bound_)
        if (!bound->known && bound->asked && bound->sync == sequence) {
            bound->known = true;
            nameIdentity(*bound->node);
            appeared.push_back(bound->node);
        }
    for (const auto& node : appeared)
        if (events_.appeared)
            events_.appeared(node);
    if (enumeration_ <= 0 || sequence != enumerationSync_)
        return;
    if (--enumeration_ > 0) {
        enumerationSync_ = pw_core_sync(core_, PW_ID_CORE, 0);
        return;
    }
    pw_thread_loop_signal(thread_, false);
    if (std::exchange(restoring_, false) && events_.restored)
        events_.restored();
}

/// The session manager names nodes after the place where they are plugged in; should two have one name, they count.
void Daemon::nameIdentity(Node& node) const
{
    std::string name = node.property(PW_KEY_NODE_NAME);
    if (name.empty())
        name = node.property(PW_KEY_OBJECT_PATH);
    if (name.empty())
        name = node.property(PW_KEY_NODE_DESCRIPTION);
    int count = 1;
    const auto taken = [&](const std::string& identity) {
        return std::any_of(bound_.begin(), bound_.end(), [&](const auto& each) {
            return each.second->node.get() != &node && each.second->known && each.second->node->identity == identity;
        });
    };
    node.identity = name;
    while (taken(node.identity))
        node.identity = name + "#" + std::to_string(++count);
}

void Daemon::globalAdded(std::uint32_t id, const char* type, const spa_dict* properties)
{
    if (std::strcmp(type, PW_TYPE_INTERFACE_Node) != 0)
        return;
    const std::string mediaClass = textIn(properties, PW_KEY_MEDIA_CLASS);
    if (mediaClass != "Video/Source" && mediaClass != "Audio/Source")
        return;
    auto bound = std::make_unique<Bound>(*this);
    bound->node->id = id;
    bound->node->isMicrophone = mediaClass == "Audio/Source";
    const spa_dict_item* item = nullptr;
    spa_dict_for_each(item, properties) bound->node->properties[item->key] = item->value ? item->value : "";
    bound->proxy = static_cast<pw_proxy*>(pw_registry_bind(registry_, id, type, PW_VERSION_NODE, 0));
    if (!bound->proxy)
        return;
    bound->listen();
    bound_[id] = std::move(bound);
}

void Daemon::globalRemoved(std::uint32_t id)
{
    const auto found = bound_.find(id);
    if (found == bound_.end())
        return;
    const auto bound = std::move(found->second);
    bound_.erase(found);
    if (bound->known && events_.vanished)
        events_.vanished(bound->node);
}

std::vector<std::shared_ptr<Node>> Daemon::nodes() const
{
    std::vector<std::shared_ptr<Node>> all;
    for (const auto& [id, bound] : bound_)
        if (bound->known)
            all.push_back(bound->node);
    const auto serial = [](const std::shared_ptr<Node>& node) {
        return std::strtoull(node->property(PW_KEY_OBJECT_SERIAL).c_str(), nullptr, 10);
    };
    std::stable_sort(all.begin(), all.end(), [&](const auto& a, const auto& b) { return serial(a) < serial(b); });
    return all;
}

void Daemon::set(const Node& node, const std::map<std::uint32_t, double>& values)
{
    const auto found = bound_.find(node.id);
    if (values.empty() || found == bound_.end() || found->second->node.get() != &node)
        return;
    std::vector<std::uint8_t> memory;
    pw_node_set_param(
        reinterpret_cast<pw_node*>(found->second->proxy), SPA_PARAM_Props, 0, propsFor(node.controls, values, memory));
}

}
