// SPDX-License-Identifier: Apache-2.0
// The floor: a PipeWire client that does nothing but this. `bare FOLDER`, where photos are written.
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <turbojpeg.h>

#include <array>
#include <string>

#include "benchmarks/camera_latency/Measured.h"

namespace {

struct Client {
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_hook hook {};
    std::string folder;
    measured::Result result;
    std::uint64_t begun = 0, asked = 0;
    int width = 0, height = 0;

    void arrived(const std::uint8_t* frame)
    {
        if (result.ages.empty())
            result.firstFrame = measured::millisecondsSince(begun);
        if (result.ages.size() < measured::frames) {
            result.ages.push_back(measured::age(frame));
            if (result.ages.size() == measured::frames)
                asked = measured::nanoseconds();
            return;
        }
        result.pictures.push_back(measured::millisecondsSince(asked));
        write(frame);
        result.files.push_back(measured::millisecondsSince(asked));
        if (result.files.size() == measured::photos)
            pw_main_loop_quit(loop);
        asked = measured::nanoseconds(); // the next photo is wanted when the one before is done
    }

    void write(const std::uint8_t* frame) const
    {
        constexpr int quality = 95;
        const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        std::vector<std::uint8_t> blue(pixels / 4), red(pixels / 4);
        for (std::size_t i = 0; i < pixels / 4; ++i) {
            blue[i] = frame[pixels + 2 * i];
            red[i] = frame[pixels + 2 * i + 1];
        }
        std::array<const unsigned char*, 3> planes { frame, blue.data(), red.data() };
        const std::array<int, 3> strides { width, width / 2, width / 2 };
        tjhandle compressor = tjInitCompress();
        unsigned char* file = nullptr;
        unsigned long size = 0;
        tjCompressFromYUVPlanes(
            compressor, planes.data(), width, strides.data(), height, TJSAMP_420, &file, &size, quality, 0);
        if (std::FILE* out = std::fopen((folder + "/photo.jpg").c_str(), "wb")) {
            std::fwrite(file, 1, size, out);
            std::fclose(out);
        }
        tjFree(file);
        tjDestroy(compressor);
    }
};

void process(void* data)
{
    auto& client = *static_cast<Client*>(data);
    pw_buffer* buffer = pw_stream_dequeue_buffer(client.stream);
    if (!buffer)
        return;
    if (const spa_data& piece = buffer->buffer->datas[0]; piece.data && piece.chunk->size > 0)
        client.arrived(static_cast<const std::uint8_t*>(piece.data));
    pw_stream_queue_buffer(client.stream, buffer);
}

void formatChanged(void* data, std::uint32_t id, const spa_pod* param)
{
    auto& client = *static_cast<Client*>(data);
    spa_video_info_raw info {};
    if (id != SPA_PARAM_Format || !param || spa_format_video_raw_parse(param, &info) < 0)
        return;
    client.width = static_cast<int>(info.size.width);
    client.height = static_cast<int>(info.size.height);
}

}

int main(int argc, char** argv)
{
    pw_init(&argc, &argv);
    Client client;
    client.folder = argc > 1 ? argv[1] : ".";
    client.loop = pw_main_loop_new(nullptr);
    client.begun = measured::nanoseconds();
    static const pw_stream_events events {
        .version = PW_VERSION_STREAM_EVENTS, .param_changed = formatChanged, .process = process
    };
    client.stream = pw_stream_new_simple(pw_main_loop_get_loop(client.loop), "bare",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
            PW_KEY_TARGET_OBJECT, "source", nullptr),
        &events, &client);
    if (!client.stream)
        return 1;
    std::array<std::uint8_t, 1024> room {};
    spa_pod_builder builder {};
    spa_pod_builder_init(&builder, room.data(), room.size());
    const spa_pod* wish = static_cast<const spa_pod*>(spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format,
        SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_NV12)));
    pw_stream_connect(client.stream, PW_DIRECTION_INPUT, PW_ID_ANY,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), &wish, 1);
    pw_main_loop_run(client.loop);
    client.result.print();
    pw_stream_destroy(client.stream);
    pw_main_loop_destroy(client.loop);
}
