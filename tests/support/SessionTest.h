// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDeviceDiscoverySession.h"
#include "platform/AVFoundation/AVCaptureSession.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tests {

/// A phone and a session of it, with what it takes to fill it.
class SessionTest : public PhoneTest {
protected:
    using PhoneTest::PhoneTest;
    ~SessionTest() override
    {
        session->stopRunning();
        settle();
    }

    /// Runs everything that waits on a queue; time stands still.
    void settle() { clock.advance(0); }

    std::shared_ptr<AVCaptureDevice> device(const std::string& id) const
    {
        for (const auto& each : AVCaptureDevice::allDevices())
            if (each->uniqueID() == id)
                return each;
        return nullptr;
    }
    std::shared_ptr<AVCaptureDeviceInput> input(const std::string& id) const
    {
        return AVCaptureDeviceInput::initWithDevice(device(id));
    }
    std::shared_ptr<AVCaptureDeviceInput> add(const std::string& id) const
    {
        const auto made = input(id);
        session->addInput(made);
        return made;
    }
    /// How often the journal holds an entry that begins so.
    std::size_t journalled(const std::string& beginning) const
    {
        std::size_t count = 0;
        for (const auto& entry : phone.journal())
            count += entry.what.starts_with(beginning) ? 1 : 0;
        return count;
    }

    CapturedLog log;
    std::shared_ptr<AVCaptureSession> session = make<AVCaptureSession>();
};

}
