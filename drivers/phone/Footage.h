// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/Scene.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace velmora {
class CVPixelBuffer;
class MovieSource;
}

namespace velmora::drivers::phone {

/// A picture that stands still, or a movie in a loop, as the world.
class Footage final : public Scene {
public:
    /// Throws NSError when the file cannot be read, or when nothing was installed that reads it.
    explicit Footage(const std::string& file);
    ~Footage() override;

    std::uint64_t moment(double time) override;
    void paint(const View& view, const Canvas& luma, const Canvas& blueness, const Canvas& redness) override;
    std::shared_ptr<const CMAudioSamples> audio() override;

private:
    std::shared_ptr<const Picture> pictureTurned(Turn turn, std::uint64_t moment);
    void moveTo(std::uint64_t moment);
    void take(const CVPixelBuffer& frame);

    const std::string file_;
    std::mutex mutex_;
    std::shared_ptr<const Picture> upright_, turned_;
    std::optional<Turn> turnedBy_;

    std::unique_ptr<MovieSource> movie_; // empty for a picture
    std::shared_ptr<CMSampleBuffer> next_; // the frame after the present one; empty at the end
    std::uint64_t shown_ = 0; // the moment of the present frame
    double duration_ = 0; // seconds of one round
    std::shared_ptr<const CMAudioSamples> sound_;
    bool soundIsRead_ = false;
};

}
