// SPDX-License-Identifier: Apache-2.0
// A camera, or a microphone, that a test publishes to a daemon: several formats, controls that act on the picture,
// times and sequence numbers. It is a process of its own, so that it can die.
//
//     TestCamera SOCKET NAME [KEY=VALUE]...
//
// Keys: `kind` camera (default) or microphone; `offers` a list of LAYOUT:WIDTHxHEIGHT:RATE[/RATE]...; `controls` plain
// (default), webcam or none; `stall` the number of frames after which it is silent, `unplug` after which it ends;
// `range` full or video; `stamp` yes writes the time of an NV12 frame (CLOCK_MONOTONIC, nanoseconds) over its first
// eight bytes; any other key is a property of its node. It writes a line for what happens: "ready", "format
// ...", "NAME VALUE" for a control that was set.
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Offer {
    std::string layout;
    std::uint32_t width = 0, height = 0;
    std::vector<std::uint32_t> rates;
};

struct TestControl {
    std::uint32_t id = 0;
    const char* name = "";
    std::uint32_t type = SPA_TYPE_Float;
    double value = 0, least = 0, most = 1;
};

/// What a pod is built in.
struct Room {
    std::array<std::uint8_t, 1024> memory {};
    spa_pod_builder builder {};
    Room() { spa_pod_builder_init(&builder, memory.data(), memory.size()); }
};

std::uint64_t nanoseconds()
{
    timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

void say(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class Device {
public:
    Device(pw_main_loop* loop, std::map<std::string, std::string> options)
        : loop_(loop)
        , options_(std::move(options))
    {
    }

    bool publish(const std::string& socket, const std::string& name);

private:
    std::string option(const std::string& key, const std::string& otherwise) const
    {
        const auto found = options_.find(key);
        return found == options_.end() ? otherwise : found->second;
    }
    bool isCamera() const { return option("kind", "camera") == "camera"; }
    void chooseControls();
    std::vector<Offer> offers() const;
    const spa_pod* formatPod(Room& room, const Offer& offer) const;
    const spa_pod* infoPod(Room& room, const TestControl& control) const;
    const spa_pod* propsPod(Room& room) const;
    void stateChanged(pw_stream_state before, pw_stream_state now, const char* error);
    void paramChanged(std::uint32_t id, const spa_pod* param);
    void setControls(const spa_pod* param);
    void chooseBuffers(const spa_pod* format);
    void process();
    void fill(pw_buffer& buffer);
    std::size_t draw(std::uint8_t* to, std::size_t room);
    void play(pw_buffer& buffer);
    double value(const char* name, double otherwise) const;

    pw_main_loop* loop_;
    const std::map<std::string, std::string> options_;
    std::vector<TestControl> controls_;
    pw_stream* stream_ = nullptr;
    spa_source* timer_ = nullptr;
    std::string layout_;
    std::uint32_t width_ = 0, height_ = 0, stride_ = 0;
    spa_fraction rate_ { 30, 1 };
    std::uint64_t sequence_ = 0;
    double phase_ = 0;
};

constexpr std::uint32_t custom = SPA_PROP_START_CUSTOM;

void Device::chooseControls()
{
    const std::string kind = option("controls", "plain");
    if (kind == "plain")
        controls_ = { { SPA_PROP_exposure, "Exposure (ms)", SPA_TYPE_Float, 10, 0.02, 1000 },
            { SPA_PROP_gain, "Gain", SPA_TYPE_Float, 1, 1, 16 },
            { custom + 1, "Lens position", SPA_TYPE_Float, 0, 0, 1 } };
    if (kind == "webcam") // as the kernel names them
        controls_ = { { custom + 1, "Auto Exposure", SPA_TYPE_Int, 3, 0, 3 },
            { custom + 2, "Exposure Time, Absolute", SPA_TYPE_Int, 157, 1, 5000 },
            { SPA_PROP_gain, "Gain", SPA_TYPE_Int, 0, 0, 100 },
            { custom + 3, "Focus, Automatic Continuous", SPA_TYPE_Bool, 1, 0, 1 },
            { custom + 4, "Focus, Absolute", SPA_TYPE_Int, 0, 0, 250 },
            { custom + 5, "White Balance, Automatic", SPA_TYPE_Bool, 1, 0, 1 },
            { custom + 6, "White Balance Temperature", SPA_TYPE_Int, 4600, 2800, 6500 },
            { custom + 7, "Zoom, Absolute", SPA_TYPE_Int, 100, 100, 400 },
            { SPA_PROP_brightness, "Brightness", SPA_TYPE_Int, 128, 0, 255 } };
}

double Device::value(const char* name, double otherwise) const
{
    for (const auto& control : controls_)
        if (std::strcmp(control.name, name) == 0)
            return control.value;
    return otherwise;
}

std::vector<Offer> Device::offers() const
{
    std::vector<Offer> all;
    std::istringstream list(option("offers", "NV12:1280x720:30/60 NV12:640x480:30/60/15"));
    for (std::string each; list >> each;) {
        Offer offer;
        const auto first = each.find(':'), second = each.find(':', first + 1);
        offer.layout = each.substr(0, first);
        std::sscanf(each.c_str() + first + 1, "%ux%u", &offer.width, &offer.height);
        std::istringstream rates(each.substr(second + 1));
        for (std::string rate; std::getline(rates, rate, '/');)
            offer.rates.push_back(static_cast<std::uint32_t>(std::stoul(rate)));
        all.push_back(offer);
    }
    return all;
}

std::uint32_t formatOf(const std::string& layout)
{
    return layout == "NV12" ? SPA_VIDEO_FORMAT_NV12
        : layout == "YUY2"  ? SPA_VIDEO_FORMAT_YUY2
        : layout == "I420"  ? SPA_VIDEO_FORMAT_I420
        : layout == "BGRx"  ? SPA_VIDEO_FORMAT_BGRx
                            : SPA_VIDEO_FORMAT_UNKNOWN;
}

std::string layoutOf(std::uint32_t format)
{
    for (const char* layout : { "NV12", "YUY2", "I420", "BGRx" })
        if (formatOf(layout) == format)
            return layout;
    return "unknown";
}

const spa_pod* Device::formatPod(Room& room, const Offer& offer) const
{
    auto* b = &room.builder;
    spa_pod_frame object {}, choice {};
    spa_pod_builder_push_object(b, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_prop(b, SPA_FORMAT_mediaType, 0);
    spa_pod_builder_id(b, SPA_MEDIA_TYPE_video);
    spa_pod_builder_prop(b, SPA_FORMAT_mediaSubtype, 0);
    const bool raw = formatOf(offer.layout) != SPA_VIDEO_FORMAT_UNKNOWN;
    spa_pod_builder_id(b,
        raw                          ? SPA_MEDIA_SUBTYPE_raw
            : offer.layout == "MJPG" ? SPA_MEDIA_SUBTYPE_mjpg
                                     : SPA_MEDIA_SUBTYPE_bayer);
    if (raw) {
        spa_pod_builder_prop(b, SPA_FORMAT_VIDEO_format, 0);
        spa_pod_builder_id(b, formatOf(offer.layout));
    }
    spa_pod_builder_prop(b, SPA_FORMAT_VIDEO_size, 0);
    spa_pod_builder_rectangle(b, offer.width, offer.height);
    spa_pod_builder_prop(b, SPA_FORMAT_VIDEO_framerate, 0);
    spa_pod_builder_push_choice(b, &choice, SPA_CHOICE_Enum, 0);
    spa_pod_builder_fraction(b, offer.rates.front(), 1);
    for (const auto rate : offer.rates)
        spa_pod_builder_fraction(b, rate, 1);
    spa_pod_builder_pop(b, &choice);
    if (const std::string range = option("range", ""); !range.empty() && raw) {
        spa_pod_builder_prop(b, SPA_FORMAT_VIDEO_colorRange, 0);
        spa_pod_builder_id(b, range == "video" ? SPA_VIDEO_COLOR_RANGE_16_235 : SPA_VIDEO_COLOR_RANGE_0_255);
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(b, &object));
}

void addValue(spa_pod_builder* b, std::uint32_t type, double value)
{
    if (type == SPA_TYPE_Bool)
        spa_pod_builder_bool(b, value != 0);
    else if (type == SPA_TYPE_Int)
        spa_pod_builder_int(b, static_cast<std::int32_t>(value));
    else
        spa_pod_builder_float(b, static_cast<float>(value));
}

const spa_pod* Device::infoPod(Room& room, const TestControl& control) const
{
    auto* b = &room.builder;
    spa_pod_frame object {}, choice {};
    spa_pod_builder_push_object(b, &object, SPA_TYPE_OBJECT_PropInfo, SPA_PARAM_PropInfo);
    spa_pod_builder_prop(b, SPA_PROP_INFO_id, 0);
    spa_pod_builder_id(b, control.id);
    spa_pod_builder_prop(b, SPA_PROP_INFO_description, 0);
    spa_pod_builder_string(b, control.name);
    spa_pod_builder_prop(b, SPA_PROP_INFO_type, 0);
    spa_pod_builder_push_choice(b, &choice, control.type == SPA_TYPE_Bool ? SPA_CHOICE_Enum : SPA_CHOICE_Range, 0);
    for (const double value : { control.value, control.least, control.most })
        addValue(b, control.type, value);
    spa_pod_builder_pop(b, &choice);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(b, &object));
}

const spa_pod* Device::propsPod(Room& room) const
{
    auto* b = &room.builder;
    spa_pod_frame object {};
    spa_pod_builder_push_object(b, &object, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    for (const auto& control : controls_) {
        spa_pod_builder_prop(b, control.id, 0);
        addValue(b, control.type, control.value);
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(b, &object));
}

bool Device::publish(const std::string& socket, const std::string& name)
{
    pw_properties* properties = pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), PW_KEY_MEDIA_CLASS,
        isCamera() ? "Video/Source" : "Audio/Source", PW_KEY_NODE_NAME, name.c_str(), PW_KEY_NODE_DESCRIPTION,
        name.c_str(), PW_KEY_MEDIA_ROLE, isCamera() ? "Camera" : "", nullptr);
    for (const auto& [key, text] : options_)
        if (key.find('.') != std::string::npos)
            pw_properties_set(properties, key.c_str(), text.c_str());
    static const pw_stream_events events {
        .version = PW_VERSION_STREAM_EVENTS,
        .state_changed = [](void* self, pw_stream_state before, pw_stream_state now,
                             const char* error) { static_cast<Device*>(self)->stateChanged(before, now, error); },
        .param_changed = [](void* self, std::uint32_t id,
                             const spa_pod* param) { static_cast<Device*>(self)->paramChanged(id, param); },
        .process = [](void* self) { static_cast<Device*>(self)->process(); },
    };
    auto* loop = pw_main_loop_get_loop(loop_);
    stream_ = pw_stream_new_simple(loop, name.c_str(), properties, &events, this);
    timer_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) { pw_stream_trigger_process(static_cast<Device*>(self)->stream_); }, this);
    std::vector<std::unique_ptr<Room>> rooms;
    std::vector<const spa_pod*> params;
    const auto room = [&]() -> Room& { return *rooms.emplace_back(std::make_unique<Room>()); };
    if (isCamera()) {
        chooseControls();
        for (const auto& offer : offers())
            params.push_back(formatPod(room(), offer));
        for (const auto& control : controls_)
            params.push_back(infoPod(room(), control));
        if (!controls_.empty())
            params.push_back(propsPod(room()));
    } else {
        spa_audio_info_raw sound {};
        sound.format = SPA_AUDIO_FORMAT_F32;
        sound.rate = 48000;
        sound.channels = 2;
        sound.position[0] = SPA_AUDIO_CHANNEL_FL;
        sound.position[1] = SPA_AUDIO_CHANNEL_FR;
        params.push_back(spa_format_audio_raw_build(&room().builder, SPA_PARAM_EnumFormat, &sound));
    }
    const int flags = PW_STREAM_FLAG_MAP_BUFFERS | (isCamera() ? PW_STREAM_FLAG_DRIVER : 0);
    return pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, static_cast<pw_stream_flags>(flags),
               params.data(), static_cast<std::uint32_t>(params.size()))
        >= 0;
}

void Device::stateChanged(pw_stream_state before, pw_stream_state now, const char* error)
{
    if (before == PW_STREAM_STATE_CONNECTING && now == PW_STREAM_STATE_PAUSED)
        say("ready");
    if (now == PW_STREAM_STATE_ERROR || now == PW_STREAM_STATE_UNCONNECTED)
        say("ends " + std::string(error ? error : ""));
    if (now == PW_STREAM_STATE_ERROR || (now == PW_STREAM_STATE_UNCONNECTED && before != now))
        pw_main_loop_quit(loop_); // the daemon is gone
    if (!isCamera())
        return;
    timespec first {}, interval {};
    if (now == PW_STREAM_STATE_STREAMING) {
        first.tv_nsec = 1;
        interval.tv_nsec = static_cast<long>(1000000000ULL * rate_.denom / rate_.num);
    }
    pw_loop_update_timer(pw_main_loop_get_loop(loop_), timer_, &first, &interval, false);
}

void Device::paramChanged(std::uint32_t id, const spa_pod* param)
{
    if (id == SPA_PARAM_Props && param)
        setControls(param);
    if (id == SPA_PARAM_Format && param && isCamera())
        chooseBuffers(param);
}

void Device::setControls(const spa_pod* param)
{
    for (auto& control : controls_) {
        const spa_pod_prop* property = spa_pod_find_prop(param, nullptr, control.id);
        if (!property)
            continue;
        float real = 0;
        std::int32_t whole = 0;
        bool yes = false;
        if (spa_pod_get_float(&property->value, &real) == 0)
            control.value = static_cast<double>(real);
        else if (spa_pod_get_int(&property->value, &whole) == 0)
            control.value = whole;
        else if (spa_pod_get_bool(&property->value, &yes) == 0)
            control.value = yes ? 1 : 0;
        std::array<char, 32> text {};
        std::snprintf(text.data(), text.size(), "%g", control.value);
        say(std::string(control.name) + " " + text.data());
    }
    Room room;
    const spa_pod* props = propsPod(room);
    pw_stream_update_params(stream_, &props, 1);
}

void Device::chooseBuffers(const spa_pod* format)
{
    std::uint32_t type = 0, subtype = 0;
    spa_format_parse(format, &type, &subtype);
    spa_video_info_raw info {};
    if (subtype == SPA_MEDIA_SUBTYPE_raw) {
        spa_format_video_raw_parse(format, &info);
        layout_ = layoutOf(info.format);
    } else {
        layout_ = subtype == SPA_MEDIA_SUBTYPE_mjpg ? "MJPG" : "bayer";
        spa_video_info_mjpg other {};
        spa_format_video_mjpg_parse(format, &other);
        info.size = other.size;
        info.framerate = other.framerate;
    }
    width_ = info.size.width;
    height_ = info.size.height;
    rate_ = info.framerate.num > 0 ? info.framerate : spa_fraction { 30, 1 };
    stride_ = layout_ == "YUY2" ? 2 * width_ : layout_ == "BGRx" ? 4 * width_ : layout_ == "MJPG" ? 0 : width_;
    const std::uint32_t bytes = layout_ == "NV12" || layout_ == "I420" ? width_ * height_ * 3 / 2
        : layout_ == "MJPG"                                            ? width_ * height_ * 2
                                                                       : stride_ * height_;
    say("format " + layout_ + " " + std::to_string(width_) + "x" + std::to_string(height_) + " "
        + std::to_string(rate_.num / rate_.denom));
    Room buffers, header;
    spa_pod_frame frame {}, choice {};
    auto* b = &buffers.builder;
    spa_pod_builder_push_object(b, &frame, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    spa_pod_builder_prop(b, SPA_PARAM_BUFFERS_buffers, 0);
    spa_pod_builder_push_choice(b, &choice, SPA_CHOICE_Range, 0);
    for (const int count : { 8, 4, 16 })
        spa_pod_builder_int(b, count);
    spa_pod_builder_pop(b, &choice);
    for (const auto& [key, number] :
        { std::pair { SPA_PARAM_BUFFERS_blocks, 1 }, std::pair { SPA_PARAM_BUFFERS_size, static_cast<int>(bytes) },
            std::pair { SPA_PARAM_BUFFERS_stride, static_cast<int>(stride_) } }) {
        spa_pod_builder_prop(b, static_cast<std::uint32_t>(key), 0);
        spa_pod_builder_int(b, number);
    }
    spa_pod_builder_prop(b, SPA_PARAM_BUFFERS_dataType, 0);
    spa_pod_builder_push_choice(b, &choice, SPA_CHOICE_Flags, 0);
    spa_pod_builder_int(b, 1 << SPA_DATA_MemFd);
    spa_pod_builder_pop(b, &choice);
    std::array<const spa_pod*, 2> params { static_cast<const spa_pod*>(spa_pod_builder_pop(b, &frame)), nullptr };
    auto* h = &header.builder;
    spa_pod_builder_push_object(h, &frame, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    spa_pod_builder_prop(h, SPA_PARAM_META_type, 0);
    spa_pod_builder_id(h, SPA_META_Header);
    spa_pod_builder_prop(h, SPA_PARAM_META_size, 0);
    spa_pod_builder_int(h, sizeof(spa_meta_header));
    params[1] = static_cast<const spa_pod*>(spa_pod_builder_pop(h, &frame));
    pw_stream_update_params(stream_, params.data(), 2);
}

void Device::process()
{
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
    for (int tries = 0; !buffer && errno == EBUSY && tries < 16; ++tries) // somebody still reads that one
        buffer = pw_stream_dequeue_buffer(stream_);
    if (!isCamera()) {
        if (buffer)
            play(*buffer);
        return;
    }
    ++sequence_;
    const std::string stall = option("stall", "");
    const bool silent = !stall.empty() && sequence_ > std::stoul(stall);
    if (sequence_ > std::stoul(option("unplug", "1000000000")))
        return static_cast<void>(pw_main_loop_quit(loop_));
    if (!buffer)
        return; // nobody gives any back: the frame is lost
    fill(*buffer);
    if (silent)
        buffer->buffer->datas[0].chunk->size = 0;
    pw_stream_queue_buffer(stream_, buffer);
}

void Device::fill(pw_buffer& buffer)
{
    spa_data& data = buffer.buffer->datas[0];
    if (!data.data)
        return;
    auto* header = static_cast<spa_meta_header*>(
        spa_buffer_find_meta_data(buffer.buffer, SPA_META_Header, sizeof(spa_meta_header)));
    if (header)
        *header = { 0, 0, static_cast<std::int64_t>(nanoseconds()), 0, sequence_ };
    data.chunk->offset = 0;
    data.chunk->stride = static_cast<std::int32_t>(stride_);
    data.chunk->flags = 0;
    data.chunk->size = static_cast<std::uint32_t>(draw(static_cast<std::uint8_t*>(data.data), data.maxsize));
}

/// One colour: luma grows with the gain, and colours are those of `colour` (Cb-Cr-free grey by default).
std::size_t Device::draw(std::uint8_t* to, std::size_t room)
{
    const auto luma = static_cast<std::uint8_t>(std::clamp(40 * value("Gain", 1), 0.0, 255.0));
    const std::size_t pixels = std::size_t { width_ } * height_;
    const std::size_t bytes = layout_ == "NV12" || layout_ == "I420" ? pixels * 3 / 2
        : layout_ == "YUY2"                                          ? 2 * pixels
        : layout_ == "BGRx"                                          ? 4 * pixels
        : layout_ == "bayer"                                         ? pixels
                                                                     : 0;
    if (bytes > room) { // the buffer is still one of the format before
        std::memset(to, luma, room);
        return room;
    }
    if (layout_ == "NV12" || layout_ == "I420") {
        std::memset(to, luma, pixels);
        std::memset(to + pixels, 128, pixels / 2);
        if (const std::uint64_t now = nanoseconds(); option("stamp", "") == "yes")
            std::memcpy(to, &now, sizeof now);
        return pixels * 3 / 2;
    }
    if (layout_ == "YUY2") {
        for (std::size_t i = 0; i < 2 * pixels; i += 2) {
            to[i] = luma;
            to[i + 1] = 128;
        }
        return 2 * pixels;
    }
    if (layout_ == "BGRx") {
        for (std::size_t i = 0; i < pixels; ++i) {
            const std::array<std::uint8_t, 4> orange { 0, 128, 255, 255 };
            std::memcpy(to + 4 * i, orange.data(), 4);
        }
        return 4 * pixels;
    }
    if (layout_ == "bayer") { // BGGR: blue 40, green 80, red 120
        for (std::uint32_t y = 0; y < height_; ++y)
            for (std::uint32_t x = 0; x < width_; ++x)
                to[y * width_ + x] = static_cast<std::uint8_t>(40 * (1 + (x & 1) + (y & 1)));
        return pixels;
    }
    std::vector<std::uint8_t> grey(pixels, 100);
    tjhandle compressor = tjInitCompress();
    unsigned long size = tjBufSize(static_cast<int>(width_), static_cast<int>(height_), TJSAMP_420);
    std::vector<std::uint8_t> file(size);
    unsigned char* where = file.data();
    tjCompress2(compressor, grey.data(), static_cast<int>(width_), 0, static_cast<int>(height_), TJPF_GRAY, &where,
        &size, TJSAMP_GRAY, 90, TJFLAG_NOREALLOC);
    tjDestroy(compressor);
    if (size > room)
        return 0;
    std::memcpy(to, file.data(), size);
    return size;
}

/// A tone of 440 Hz at half loudness, the same in both channels.
void Device::play(pw_buffer& buffer)
{
    spa_data& data = buffer.buffer->datas[0];
    constexpr std::uint32_t frame = 2 * sizeof(float);
    std::uint32_t count = data.maxsize / frame;
    if (buffer.requested > 0)
        count = std::min(count, static_cast<std::uint32_t>(buffer.requested));
    auto* to = static_cast<float*>(data.data);
    for (std::uint32_t i = 0; i < count; ++i) {
        to[2 * i] = to[2 * i + 1] = static_cast<float>(0.5 * std::sin(phase_));
        phase_ += 2 * M_PI * 440 / 48000;
    }
    data.chunk->offset = 0;
    data.chunk->stride = frame;
    data.chunk->size = count * frame;
    pw_stream_queue_buffer(stream_, &buffer);
}

}

int main(int count, char** arguments)
{
    pw_init(&count, &arguments);
    if (count < 3)
        return 2;
    std::map<std::string, std::string> options;
    for (int i = 3; i < count; ++i) {
        const std::string each = arguments[i];
        const auto sign = each.find('=');
        options[each.substr(0, sign)] = each.substr(sign + 1);
    }
    pw_main_loop* loop = pw_main_loop_new(nullptr);
    const auto quit = [](void* data, int) { pw_main_loop_quit(static_cast<pw_main_loop*>(data)); };
    pw_loop_add_signal(pw_main_loop_get_loop(loop), SIGTERM, quit, loop);
    Device device(loop, options);
    if (!device.publish(arguments[1], arguments[2]))
        return 1;
    return pw_main_loop_run(loop);
}
