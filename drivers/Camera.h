// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/CameraLight.h"
#include "drivers/CameraSource.h"

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::cameras {

/// What a family's cameras have in common.
struct CameraFamily {
    std::string name; ///< for the log: "PipeWire"
    double returnWithin = 3; ///< seconds that a camera in use may be away, with its session interrupted
    KernelFolders folders; ///< where its light is looked for
};

/// One real camera. It keeps its identity, and who uses it, while it is unplugged and comes back.
class VELMORA_EXPORT Camera final : public CaptureDeviceDriver {
public:
    Camera(std::shared_ptr<EventLoop> loop, std::shared_ptr<PictureCounters> counters, CameraFamily family,
        std::string identity);
    ~Camera() override;

    CaptureDeviceDescription description() const override;
    void setEvents(CaptureDeviceEvents events) override;
    std::pair<bool, std::optional<NSError>> open() override;
    std::optional<NSError> lock() override;
    void unlock() override { }
    void apply(
        const CaptureSettings& settings, const std::string& what, std::function<void(CMTime)> tookEffect) override;
    std::optional<NSError> start(
        const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver) override;
    void stop() override;
    void captureStill(const StillRequest& request, StillEvents events) override;

    // News of it, with the loop locked.
    void appeared(const std::shared_ptr<CameraSource>& source);
    /// It is away. It has failed when it does not come back in time; that begins now, or with `waitForReturn` when all
    /// cameras went together.
    void vanished(const std::string& why, bool waits = true);
    void valuesChanged();
    void waitForReturn();
    void givenUp();

private:
    /// A change that somebody waits for.
    struct Effect {
        std::map<std::uint32_t, double> values;
        std::function<void(CMTime)> tookEffect;
        double since = 0; ///< a frame that was taken later shows it, once the camera has confirmed it
        bool confirmed = false;
        int silentFrames = 0; ///< of a camera that tells nothing
    };
    struct Still {
        StillRequest request;
        StillEvents events;
        bool largest = false, raw = false; ///< which still has to be taken in a format of its own
        bool flash = false; ///< it wants light
        std::optional<double> lit; ///< since when it has it, by the steady clock
        CapturedStill processed;
        std::optional<CapturedStill> rawPicture;
    };
    using StillPointer = std::shared_ptr<Still>;
    static constexpr int dark = 0, lit = 1, asNeeded = 2; // modes of flash and torch

    CMVideoDimensions activeSize() const;
    double wantedRate() const;
    std::optional<NSError> restart();
    StreamEvents streamEvents();
    void stopStreaming(const NSError& error);
    void frameArrived(const StreamFrame& frame);
    void deliver(const StreamFrame& frame);
    void noteEffects(double taken, double time);
    void watch();
    /// Tries again, and gives up at the third time.
    void tryAgain(const std::string& why);
    std::shared_ptr<CVPixelBuffer> pixelsOf(const StreamFrame& frame, std::uint32_t pixelFormat);
    NSError error(int code, const std::string& what) const;

    const Offer* largestOffer() const;
    const Offer* rawOffer() const;
    void takeNewest(const StillPointer& still);
    void beginGrab();
    void streamStill();
    void streamBroke(const std::string& why);
    void streamAgain();
    void streamNow();
    void buffersAreStale();
    void grabAfterAFrame(const std::string& why);
    void grabbed(const StreamFrame& frame);
    void endGrab();
    void grabFailed(const std::string& why);
    ExposureInfo exposureAt(double time) const;
    void shutter(const StillPointer& still);
    void finish(const StillPointer& still);
    void fail(const StillPointer& still, const NSError& error);
    void failStills(const NSError& error);
    /// Whether a picture that was taken then has the light that it wants; lights up for it.
    bool isLit(const StillPointer& still, double taken);
    void darken(const StillPointer& still);
    bool wantsFlash(int mode) const;
    void setTorch(int mode);

    void tell(std::function<void(const CaptureDeviceEvents&)> call);
    /// Soon, outside the loop's callbacks: a stream cannot be ended in its own.
    void soon(std::function<void()> call, double seconds = 0);
    /// Whether these frames are of the size that was asked for; otherwise it is asked for once more, a few times, for a
    /// camera keeps its format until the stream before is quite gone.
    bool fits(CMVideoDimensions got, CMVideoDimensions wanted);

    const std::shared_ptr<EventLoop> loop_;
    const std::shared_ptr<PictureCounters> counters_;
    const CameraFamily family_;
    const std::string identity_;
    const DispatchQueue queue_; // what is told, and stills

    mutable std::mutex mutex_; // these two
    CaptureDeviceDescription description_;
    std::shared_ptr<const CaptureDeviceEvents> events_ = std::make_shared<const CaptureDeviceEvents>();

    // With the loop locked.
    std::shared_ptr<CameraSource> source_; // null while it is away
    std::shared_ptr<Light> light_;
    bool torch_ = false; // it is on
    CaptureSettings settings_;
    bool isSetUp_ = false; // its switches were set once
    bool wanted_ = false; // between start and stop
    bool interrupted_ = false; // it went while it was wanted
    StreamRequest request_;
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver_;
    std::unique_ptr<CameraStream> stream_;
    std::optional<Negotiated> format_;
    std::list<Effect> effects_;
    std::shared_ptr<CVPixelBuffer> newest_; // the last that was delivered
    double newestTaken_ = 0, newestTime_ = 0; // by the steady clock; by the one in force
    double changedAt_ = 0, lastFrame_ = 0; // steady clock
    std::uint64_t sequence_ = 0, cameraSequence_ = 0;
    bool hadFrame_ = false; // from this stream
    bool newestUsed_ = true; // a still was made of it, or it is older than the settings
    int stalls_ = 0;
    std::optional<double> misfitSince_, refusedSince_; // seconds on the steady clock
    bool changing_ = false; // the format is asked for once more in a moment
    bool between_ = false; // two streams
    int rounds_ = 0; // that a grab has made
    CMVideoDimensions wantedSize_; // of the stream's frames
    std::deque<StillPointer> waiting_; // for the next frame
    std::deque<StillPointer> grabs_; // for a format of their own; the first is at work
    double grabBegan_ = 0;
    bool grabbing_ = false;
    std::vector<std::function<void()>> soon_;
    std::unique_ptr<LoopTimer> watchdog_, away_, soonTimer_;
};

}
