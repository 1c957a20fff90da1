// SPDX-License-Identifier: Apache-2.0
// What an application of ours sees of a PipeWire camera: `ours FOLDER`, where photos are written.
#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/NSRunLoop.h"

#include "drivers/installDefaults.h"

#include <fstream>
#include <functional>
#include <mutex>
#include <string>

#include "benchmarks/camera_latency/Measured.h"

using namespace velmora;

namespace {

void turnUntil(const std::function<bool()>& done)
{
    constexpr double longestTurn = 0.01; // seconds
    while (!done())
        NSRunLoop::mainRunLoop().turn(longestTurn);
}

void measureFrames(measured::Result& result)
{
    const auto controller = make<QVCameraController>(AVCaptureDevicePositionBack, QVCameraCaptureIntentSampleBuffers);
    std::mutex mutex;
    std::vector<double> ages;
    const std::uint64_t begun = measured::nanoseconds();
    controller->beginReceivingVideoSampleBuffer([&](const std::shared_ptr<CMSampleBuffer>& buffer) {
        const std::lock_guard lock(mutex);
        if (ages.empty())
            result.firstFrame = measured::millisecondsSince(begun);
        ages.push_back(measured::age(buffer->imageBuffer()->planes()[0].data));
    });
    controller->startSession();
    turnUntil([&] {
        const std::lock_guard lock(mutex);
        return ages.size() >= measured::frames;
    });
    controller->endReceivingSampleBuffer();
    controller->stopSession();
    result.ages = std::move(ages);
}

}

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : ".";
    drivers::installDefaults();
    measured::Result result;
    measureFrames(result);
    const auto controller = make<QVCameraController>();
    controller->prepareToCaptureStillImage();
    controller->startSession();
    for (std::size_t i = 0; i < measured::photos; ++i) {
        bool finished = false;
        const std::uint64_t asked = measured::nanoseconds();
        controller->captureStillImage([&] { result.pictures.push_back(measured::millisecondsSince(asked)); },
            [&](const std::shared_ptr<QVPhotoCaptureOutput>& photo, const std::optional<NSError>&) {
                if (photo) {
                    const auto bytes = photo->jpgImageData()->bytes();
                    std::ofstream(folder + "/photo.jpg")
                        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
                    result.files.push_back(measured::millisecondsSince(asked));
                }
                finished = true;
            });
        turnUntil([&] { return finished; });
    }
    controller->stopSession();
    result.print();
}
