// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Microphone.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Foundation/Scheduler.h"

#include "drivers/pipewire/Description.h"
#include "drivers/pipewire/Pods.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace velmora::drivers::pipewire {

namespace {

constexpr std::int32_t fineTimescale = 1000000000;
constexpr std::int32_t samplesPerSecond = 48000;

double clockNow()
{
    return Scheduler::current().clock().now();
}

}

Microphone::Microphone(std::shared_ptr<Daemon> daemon, std::string identity)
    : daemon_(std::move(daemon))
    , identity_(std::move(identity))
    , queue_("org.velmora.pipewire." + identity_)
{
    description_.uniqueID = identity_;
    const std::lock_guard guard(*daemon_);
    away_ = daemon_->timer([this] {
        if (std::exchange(interrupted_, false))
            tell([error = gone("was unplugged")](const CaptureDeviceEvents& events) {
                if (events.failed)
                    events.failed(error);
            });
    });
}

Microphone::~Microphone()
{
    const std::lock_guard guard(*daemon_);
    endStream();
    away_.reset();
}

NSError Microphone::gone(const std::string& why) const
{
    return { AVFoundationErrorDomain, AVErrorDeviceNotConnected, "The microphone \"" + identity_ + "\" " + why + "." };
}

void Microphone::tell(std::function<void(const CaptureDeviceEvents&)> call)
{
    std::shared_ptr<const CaptureDeviceEvents> events;
    {
        const std::lock_guard lock(mutex_);
        events = events_;
    }
    queue_.async([events, call = std::move(call)] { call(*events); });
}

CaptureDeviceDescription Microphone::description() const
{
    const std::lock_guard lock(mutex_);
    return description_;
}

void Microphone::setEvents(CaptureDeviceEvents events)
{
    const std::lock_guard lock(mutex_);
    events_ = std::make_shared<const CaptureDeviceEvents>(std::move(events));
}

std::pair<bool, std::optional<NSError>> Microphone::open()
{
    const std::lock_guard guard(*daemon_);
    if (node_)
        return { true, std::nullopt };
    return { false, gone("is not plugged in") };
}

void Microphone::apply(const CaptureSettings&, const std::string&, std::function<void(CMTime)> tookEffect)
{
    if (tookEffect)
        queue_.async([call = std::move(tookEffect)] { call(CMTimeMakeWithSeconds(clockNow(), fineTimescale)); });
}

void Microphone::appeared(const std::shared_ptr<Node>& node)
{
    node_ = node;
    {
        const std::lock_guard lock(mutex_);
        description_ = describe(*node, daemon_->wish().deviceTree);
    }
    away_->stop();
    if (std::exchange(interrupted_, false))
        tell([](const CaptureDeviceEvents& events) {
            if (events.interruptionEnded)
                events.interruptionEnded();
        });
}

void Microphone::vanished(const std::string& why, bool waits)
{
    node_ = nullptr;
    if (!wanted_ || interrupted_)
        return;
    endStream();
    interrupted_ = true;
    if (waits)
        away_->once(daemon_->wish().returnWithin);
    tell([error = gone(why)](const CaptureDeviceEvents& events) {
        if (events.interrupted)
            events.interrupted(error);
    });
}

void Microphone::waitForReturn()
{
    if (interrupted_)
        away_->once(daemon_->wish().returnWithin);
}

void Microphone::givenUp()
{
    if (interrupted_)
        away_->once(0);
}

std::optional<NSError> Microphone::start(
    const StreamRequest&, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
{
    const std::lock_guard guard(*daemon_);
    daemon_->catchUp();
    if (!node_)
        return gone("is not plugged in, so it cannot start");
    endStream();
    const std::string target = node_->property(PW_KEY_OBJECT_SERIAL);
    stream_ = pw_stream_new(daemon_->core(), "velmora",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
            PW_KEY_TARGET_OBJECT, target.c_str(), "node.dont-reconnect", "true", nullptr));
    if (!stream_)
        return gone("does not start: the daemon refuses the stream");
    static const pw_stream_events streamEvents {
        .version = PW_VERSION_STREAM_EVENTS,
        .param_changed =
            [](void* self, std::uint32_t id, const spa_pod* param) {
                if (id == SPA_PARAM_Format && param)
                    static_cast<Microphone*>(self)->chooseFormat(param);
            },
        .process = [](void* self) { static_cast<Microphone*>(self)->process(); },
    };
    pw_stream_add_listener(stream_, &hook_, &streamEvents, this);
    PodBuilder wish;
    wish.begin(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    wish.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_audio);
    wish.id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
    wish.id(SPA_FORMAT_AUDIO_format, SPA_AUDIO_FORMAT_F32);
    wish.integer(SPA_FORMAT_AUDIO_rate, samplesPerSecond);
    wish.range(SPA_FORMAT_AUDIO_channels, 2, 1, 2);
    std::array<const spa_pod*, 1> wishes { wish.end() };
    const auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT | PW_STREAM_FLAG_MAP_BUFFERS);
    if (pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, wishes.data(), wishes.size()) < 0) {
        endStream();
        return gone("does not start: the daemon refuses the stream");
    }
    deliver_ = std::move(deliver);
    wanted_ = true;
    interrupted_ = false;
    return std::nullopt;
}

void Microphone::chooseFormat(const spa_pod* format)
{
    spa_audio_info_raw info {};
    if (spa_format_audio_raw_parse(format, &info) < 0)
        return;
    channels_ = static_cast<std::int32_t>(info.channels);
    rate_ = info.rate;
}

void Microphone::process()
{
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
    if (!buffer)
        return;
    const spa_data& data = buffer->buffer->datas[0];
    const std::uint32_t offset = std::min(data.chunk->offset, data.maxsize);
    const std::size_t bytes = std::min(data.chunk->size, data.maxsize - offset);
    if (data.data && deliver_ && channels_ > 0 && rate_ > 0 && bytes >= sizeof(float)) {
        auto sound = std::make_shared<CMAudioSamples>();
        sound->channels = channels_;
        sound->sampleRate = rate_;
        sound->samples.resize(
            bytes / sizeof(float) / static_cast<std::size_t>(channels_) * static_cast<std::size_t>(channels_));
        std::memcpy(sound->samples.data(), static_cast<const std::uint8_t*>(data.data) + offset,
            sound->samples.size() * sizeof(float));
        // The graph's time is even, this thread's is not.
        pw_time graph {};
        double age = 0;
        const double now = cameras::steadySeconds();
        if (pw_stream_get_time_n(stream_, &graph, sizeof graph) == 0 && graph.now > 0 && graph.rate.denom > 0) {
            const double delay = static_cast<double>(graph.delay) * graph.rate.num / graph.rate.denom;
            age = now - static_cast<double>(graph.now) * 1e-9 + std::max(0.0, delay);
        }
        constexpr double oddest = 1; // seconds
        if (age < 0 || age > oddest)
            age = 0;
        const double length = static_cast<double>(sound->samples.size()) / channels_ / rate_;
        const CMTime time = CMTimeMakeWithSeconds(clockNow() - age - length, fineTimescale);
        deliver_(make<CMSampleBuffer>(std::shared_ptr<const CMAudioSamples>(std::move(sound)), time, ++sequence_));
    }
    pw_stream_queue_buffer(stream_, buffer);
}

void Microphone::endStream()
{
    if (!stream_)
        return;
    spa_hook_remove(&hook_);
    daemon_->bury(std::exchange(stream_, nullptr));
    channels_ = 0;
}

void Microphone::stop()
{
    std::function<void(std::shared_ptr<CMSampleBuffer>)> released; // its destructor may call back
    const std::lock_guard guard(*daemon_);
    endStream();
    released = std::move(deliver_);
    deliver_ = nullptr;
    if (!interrupted_)
        wanted_ = false;
}

void Microphone::captureStill(const StillRequest&, StillEvents events)
{
    constexpr int unsupported = -11877;
    queue_.async([done = std::move(events.done)] {
        if (done)
            done(false, NSError(AVFoundationErrorDomain, unsupported, "A microphone takes no pictures; ask a camera."));
    });
}

}
