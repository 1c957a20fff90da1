// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/DisplayDriver.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct SDL_Surface;
struct SDL_Window;
union SDL_Event;

namespace velmora::drivers::sdl {

/// A window on an X11 desktop. Fingers and the mouse's main button are touches.
///
/// A thread of its own owns the window: it sleeps in SDL until something happens, and hands what happened to the main
/// queue. The main run loop so waits as it always does, and nobody looks again and again.
class SDLDisplay final : public DisplayDriver, public std::enable_shared_from_this<SDLDisplay> {
public:
    /// Throws NSError when there is no desktop or it gives no window.
    static std::shared_ptr<SDLDisplay> open(const std::string& title, CGSize points, double scale);
    ~SDLDisplay() override;

    DisplayMode mode() const override;
    void setEvents(DisplayEvents events) override;
    DisplayPixels beginFrame() override;
    void present(std::span<const DisplayRect> damage) override;

private:
    explicit SDLDisplay(double scale);
    void run(const std::string& title, CGSize points);
    bool openWindow(const std::string& title, CGSize points);
    void closeWindow();
    void takeSurface();
    void handle(const SDL_Event& event);
    void handleWindow(const SDL_Event& event);
    void handleMouse(const SDL_Event& event);
    void handleFinger(const SDL_Event& event);
    void handleKey(const SDL_Event& event);
    void touch(std::int64_t id, DisplayTouchPhase phase, CGPoint point);
    void tell(std::function<void(const DisplayEvents&)> what);
    void onWindowThread(const std::function<void()>& what);

    const double scale_;
    DisplayEvents events_; // main thread only
    std::thread thread_;
    std::uint32_t request_ = 0; // the event by which other threads ask for something

    mutable std::mutex mutex_; // what follows
    std::condition_variable changed_;
    bool opened_ = false, failed_ = false;
    std::string failure_;
    DisplayMode mode_;
    DisplayPixels pixels_; // nothing when the window must be asked again
    const std::function<void()>* asked_ = nullptr; // the caller waits until it is done

    // The window thread's own.
    SDL_Window* window_ = nullptr;
    SDL_Surface* surface_ = nullptr;
    bool mouseDown_ = false, ends_ = false;
};

}
