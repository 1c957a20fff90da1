// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Footage.h"

#include "platform/AVFoundation/MovieWriter.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSLog.h"
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/phone/DrawnScene.h"
#include "drivers/phone/Scaling.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <utility>

namespace velmora::drivers::phone {

namespace {

constexpr double momentsASecond = 1e6; // finer than any two frames

bool isPicture(const std::string& file)
{
    constexpr std::array<unsigned char, 3> jpeg { 0xFF, 0xD8, 0xFF };
    constexpr std::array<unsigned char, 4> png { 0x89, 'P', 'N', 'G' };
    std::array<char, 4> begin {};
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream.is_open())
        throw errorFromErrno(errno ? errno : EIO, "The footage " + file + " cannot be opened");
    stream.read(begin.data(), begin.size());
    const auto begins = [&](const auto& signature) {
        return std::equal(signature.begin(), signature.end(), begin.begin(),
            [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); });
    };
    return begins(jpeg) || begins(png);
}

NSError cannotRead(const std::string& file, const char* reader)
{
    constexpr int featureUnsupported = 3328;
    return NSError(NSCocoaErrorDomain, featureUnsupported,
        "The footage " + file + " cannot be read, because no " + reader
            + " is installed; call drivers::installDefaults() before the phone is made.");
}

Picture pictureOfBGRA(const CVPixelBuffer& pixels)
{
    Picture picture { { pixels.width(), pixels.height() }, { pixels.width(), pixels.height() },
        { pixels.width(), pixels.height() } };
    const auto& plane = pixels.planes()[0];
    constexpr int half = 1 << 15;
    for (int y = 0; y < pixels.height(); ++y) {
        const std::uint8_t* source = plane.data + static_cast<std::size_t>(y) * plane.stride;
        std::uint8_t *luma = picture.luma.row(y), *blueness = picture.blueness.row(y),
                     *redness = picture.redness.row(y);
        for (int x = 0; x < pixels.width(); ++x) {
            const int blue = source[4 * x], green = source[4 * x + 1], red = source[4 * x + 2];
            constexpr int middle = (128 << 16) + half - 1; // the extremes round to 255, not to 256
            luma[x] = static_cast<std::uint8_t>((19595 * red + 38470 * green + 7471 * blue + half) >> 16);
            blueness[x] = static_cast<std::uint8_t>((-11059 * red - 21709 * green + 32768 * blue + middle) >> 16);
            redness[x] = static_cast<std::uint8_t>((32768 * red - 27439 * green - 5329 * blue + middle) >> 16);
        }
    }
    return picture;
}

Picture pictureOf420(const CVPixelBuffer& pixels)
{
    const auto& luma = pixels.planes()[0];
    const auto& colour = pixels.planes()[1];
    Picture picture { { luma.width, luma.height }, { colour.width, colour.height }, { colour.width, colour.height } };
    for (int y = 0; y < luma.height; ++y)
        std::copy_n(luma.data + static_cast<std::size_t>(y) * luma.stride, luma.width, picture.luma.row(y));
    for (int y = 0; y < colour.height; ++y) {
        const std::uint8_t* source = colour.data + static_cast<std::size_t>(y) * colour.stride;
        for (int x = 0; x < colour.width; ++x) {
            picture.blueness.row(y)[x] = source[2 * x];
            picture.redness.row(y)[x] = source[2 * x + 1];
        }
    }
    return picture;
}

/// The part of `width` x `height` footage that fills the view, around the centre.
Part visible(int width, int height, const Scene::View& view)
{
    const double enlarged
        = std::max(static_cast<double>(view.width) / width, static_cast<double>(view.height) / height);
    const double factor = enlarged * view.zoom;
    Part part { 0, 0, view.width / factor, view.height / factor };
    part.x = (width - part.width) / 2;
    part.y = (height - part.height) / 2;
    if (factor == 1) { // sample for sample, not half a sample off
        part.x = std::floor(part.x);
        part.y = std::floor(part.y);
    }
    return part;
}

}

std::shared_ptr<Scene> Scene::open(const std::string& footage)
{
    if (footage.empty())
        return std::make_shared<DrawnScene>();
    return std::make_shared<Footage>(footage);
}

Footage::Footage(const std::string& file)
    : file_(file)
{
    if (isPicture(file)) {
        const auto decoder = ImageDecoder::installed();
        if (!decoder)
            throw cannotRead(file, "image decoder");
        take(*decoder->decodeFile(file));
        return;
    }
    const auto reader = MovieReader::installed();
    if (!reader)
        throw cannotRead(file, "movie reader");
    movie_ = reader->open(file);
    duration_ = movie_->duration();
    const auto first = movie_->nextFrame();
    if (!first)
        throw NSError(NSCocoaErrorDomain, 259,
            "The footage " + file + " has no picture in it; take a JPEG, a PNG or a movie with pictures.");
    take(*first->imageBuffer());
    next_ = movie_->nextFrame();
}

Footage::~Footage() = default;

void Footage::take(const CVPixelBuffer& frame)
{
    const bool is420 = frame.pixelFormat() == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
    upright_ = std::make_shared<const Picture>(is420 ? pictureOf420(frame) : pictureOfBGRA(frame));
    turned_ = nullptr;
    turnedBy_.reset();
}

/// A movie's moment is the round, and the time of the frame in it, in microseconds.
std::uint64_t Footage::moment(double time)
{
    if (!movie_)
        return 0;
    const std::lock_guard lock(mutex_);
    moveTo(static_cast<std::uint64_t>(std::max(0.0, time) * momentsASecond + 0.5));
    return shown_;
}

/// Frames of a damaged rest are not there: the round begins again.
void Footage::moveTo(std::uint64_t moment)
{
    const double length = duration_ > 0 ? duration_ : 1;
    const double time = static_cast<double>(moment) / momentsASecond;
    const double round = std::floor(time / length + 1e-9);
    const double within = time - round * length;
    const auto at = [&](double seconds) {
        return static_cast<std::uint64_t>(std::llround((round * length + seconds) * momentsASecond));
    };
    try {
        if (at(0) > shown_ || moment < shown_) {
            movie_->rewind();
            next_ = movie_->nextFrame();
            shown_ = at(0);
        }
        std::shared_ptr<CMSampleBuffer> reached;
        while (next_ && CMTimeGetSeconds(next_->presentationTimeStamp()) <= within + 1e-6) {
            reached = std::move(next_);
            next_ = movie_->nextFrame();
        }
        if (!reached)
            return;
        take(*reached->imageBuffer());
        shown_ = at(CMTimeGetSeconds(reached->presentationTimeStamp()));
    } catch (const NSError& error) {
        NSLog("[VirtualPhone] The footage %@ ends early: %@", file_, error);
        next_ = nullptr;
    }
}

std::shared_ptr<const Picture> Footage::pictureTurned(Turn turn, std::uint64_t moment)
{
    const std::lock_guard lock(mutex_);
    if (movie_ && moment != shown_)
        moveTo(moment);
    if (turn == Turn::None)
        return upright_;
    if (turnedBy_ != turn) {
        turned_ = std::make_shared<const Picture>(Picture { phone::turned(upright_->luma, turn),
            phone::turned(upright_->blueness, turn), phone::turned(upright_->redness, turn) });
        turnedBy_ = turn;
    }
    return turned_;
}

void Footage::paint(const View& view, const Canvas& luma, const Canvas& blueness, const Canvas& redness)
{
    const auto picture = pictureTurned(view.turn, view.moment);
    const Part part = visible(picture->luma.width, picture->luma.height, view);
    scale(picture->luma, part, luma);
    const auto colour = [&](const Channel& channel, const Canvas& canvas) {
        const double x = static_cast<double>(channel.width) / picture->luma.width;
        const double y = static_cast<double>(channel.height) / picture->luma.height;
        scale(channel, { part.x * x, part.y * y, part.width * x, part.height * y }, canvas);
    };
    colour(picture->blueness, blueness);
    colour(picture->redness, redness);
}

std::shared_ptr<const CMAudioSamples> Footage::audio()
{
    const std::lock_guard lock(mutex_);
    if (!movie_ || soundIsRead_)
        return sound_;
    soundIsRead_ = true;
    const auto track = movie_->audio();
    if (!track || track->samples.empty())
        return nullptr;
    // As long as the pictures, or the two would drift apart with each round.
    auto sound = std::make_shared<CMAudioSamples>(*track);
    const auto length = static_cast<std::size_t>(std::llround(duration_ * sound->sampleRate));
    sound->samples.resize(std::max<std::size_t>(1, length) * static_cast<std::size_t>(std::max(1, sound->channels)));
    sound_ = std::move(sound);
    return sound_;
}

}
