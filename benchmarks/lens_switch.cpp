// SPDX-License-Identifier: Apache-2.0
// What a change of the lens costs apart from the camera's own time: the phone's cameras start and stop at once here.
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/ManualClock.h"

#include "drivers/media/install.h"
#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace velmora {

namespace {

drivers::phone::PhoneDescription phoneWithTwoLenses()
{
    auto description = drivers::phone::triple();
    description.cameras.resize(2); // wide and tele
    return description;
}

/// The floor: one input for another in a session without outputs.
void inputOfABareSession(benchmark::State& state)
{
    drivers::phone::VirtualPhone phone(phoneWithTwoLenses());
    const auto devices = AVCaptureDevice::allDevices();
    const auto session = make<AVCaptureSession>();
    std::shared_ptr<AVCaptureDeviceInput> inputs[] = { AVCaptureDeviceInput::initWithDevice(devices.at(0), nullptr),
        AVCaptureDeviceInput::initWithDevice(devices.at(1), nullptr) };
    session->addInput(inputs[0]);
    std::size_t current = 0;
    for (auto _ : state) {
        session->beginConfiguration();
        session->removeInput(inputs[current]);
        current = 1 - current;
        session->addInput(inputs[current]);
        session->commitConfiguration();
    }
}

/// A whole change of the lens, with photo and video outputs, after `range` changes that went before.
void lensOfTheController(benchmark::State& state)
{
    drivers::media::install();
    drivers::phone::VirtualPhone phone(phoneWithTwoLenses());
    const auto controller = make<QVCameraController>(
        AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    bool tele = false;
    const auto change = [&] {
        tele = !tele;
        controller->setLensType(tele ? QVLensTypeTelephoto : QVLensTypeWideAngle);
    };
    for (std::int64_t i = 0; i < state.range(0); ++i)
        change();
    for (auto _ : state)
        change();
}

BENCHMARK(inputOfABareSession)->Unit(benchmark::kMicrosecond);
BENCHMARK(lensOfTheController)->Unit(benchmark::kMicrosecond)->Arg(1)->Arg(100)->Arg(1000);

}

}
