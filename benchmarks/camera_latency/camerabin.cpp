// SPDX-License-Identifier: Apache-2.0
// The peer: GStreamer's camerabin on the same camera. `camerabin FOLDER`, where photos are written.
#include <gst/gst.h>

#include <mutex>
#include <string>

#include "benchmarks/camera_latency/Measured.h"

namespace {

struct Peer {
    std::mutex mutex;
    measured::Result result;
    std::uint64_t begun = 0, asked = 0;
};

bool seesFrame(GstPadProbeInfo* info, double& age)
{
    GstMapInfo map;
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!buffer || !gst_buffer_map(buffer, &map, GST_MAP_READ))
        return false;
    age = measured::age(map.data);
    gst_buffer_unmap(buffer, &map);
    return true;
}

GstPadProbeReturn viewed(GstPad*, GstPadProbeInfo* info, gpointer data)
{
    auto& peer = *static_cast<Peer*>(data);
    double age = 0;
    if (!seesFrame(info, age))
        return GST_PAD_PROBE_OK;
    const std::lock_guard lock(peer.mutex);
    if (peer.result.ages.empty())
        peer.result.firstFrame = measured::millisecondsSince(peer.begun);
    if (peer.result.ages.size() < measured::frames)
        peer.result.ages.push_back(age);
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn photographed(GstPad*, GstPadProbeInfo*, gpointer data)
{
    auto& peer = *static_cast<Peer*>(data);
    const std::lock_guard lock(peer.mutex);
    if (peer.result.pictures.size() == peer.result.files.size())
        peer.result.pictures.push_back(measured::millisecondsSince(peer.asked));
    return GST_PAD_PROBE_OK;
}

void watch(GstElement* element, const char* name, GstPadProbeCallback callback, Peer& peer)
{
    GstPad* pad = gst_element_get_static_pad(element, name);
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, callback, &peer, nullptr);
    gst_object_unref(pad);
}

/// False when it failed, or nothing came for long.
bool waitFor(GstBus* bus, const char* element)
{
    for (;;) {
        GstMessage* message = gst_bus_timed_pop_filtered(
            bus, 10 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_ELEMENT | GST_MESSAGE_ERROR));
        if (!message)
            return false;
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
            GError* error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            std::fprintf(stderr, "camerabin: %s\n", error->message);
            g_error_free(error);
            gst_message_unref(message);
            return false;
        }
        const bool isIt = gst_message_has_name(message, element);
        gst_message_unref(message);
        if (isIt)
            return true;
    }
}

}

int main(int argc, char** argv)
{
    gst_init(&argc, &argv);
    const std::string folder = argc > 1 ? argv[1] : ".";
    GstElement* camera = gst_element_factory_make("camerabin", nullptr);
    GstElement* wrapper = gst_element_factory_make("wrappercamerabinsrc", nullptr);
    GstElement* source = gst_element_factory_make("pipewiresrc", nullptr);
    GstElement* finder = gst_element_factory_make("fakesink", nullptr);
    if (!camera || !wrapper || !source || !finder)
        return 1;
    g_object_set(source, "target-object", "source", nullptr);
    g_object_set(finder, "sync", FALSE, nullptr);
    g_object_set(wrapper, "video-source", source, nullptr);
    g_object_set(camera, "camera-source", wrapper, "viewfinder-sink", finder, "location",
        (folder + "/photo_%d.jpg").c_str(), nullptr);
    GstCaps* caps = gst_caps_from_string("video/x-raw,format=NV12");
    g_object_set(camera, "viewfinder-caps", caps, "image-capture-caps", caps, nullptr);
    gst_caps_unref(caps);
    Peer peer;
    watch(finder, "sink", viewed, peer);
    watch(wrapper, "imgsrc", photographed, peer);
    GstBus* bus = gst_element_get_bus(camera);
    peer.begun = measured::nanoseconds();
    gst_element_set_state(camera, GST_STATE_PLAYING);
    for (bool enough = false; !enough;) {
        g_usleep(10000);
        const std::lock_guard lock(peer.mutex);
        enough = peer.result.ages.size() >= measured::frames || measured::millisecondsSince(peer.begun) > 10000;
    }
    for (std::size_t i = 0; i < measured::photos; ++i) {
        for (gboolean ready = FALSE; !ready;) {
            g_object_get(wrapper, "ready-for-capture", &ready, nullptr);
            if (!ready)
                g_usleep(200);
        }
        {
            const std::lock_guard lock(peer.mutex);
            peer.asked = measured::nanoseconds();
        }
        g_signal_emit_by_name(camera, "start-capture", nullptr);
        if (!waitFor(bus, "image-done"))
            return 1;
        const std::lock_guard lock(peer.mutex);
        peer.result.files.push_back(measured::millisecondsSince(peer.asked));
    }
    peer.result.print();
    std::fflush(stdout);
    gst_element_set_state(camera, GST_STATE_NULL); // pipewiresrc 0.3.65 may die of it
}
