// SPDX-License-Identifier: Apache-2.0
#include "drivers/sdl/SDLDisplay.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"

#include <SDL.h>

#include <cmath>
#include <cstddef>
#include <utility>

namespace velmora::drivers::sdl {

namespace {

constexpr std::int64_t mouse = 0; // the id of its touches; fingers follow

/// What must be said before SDL begins.
void prepare()
{
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0"); // else the window's pixels go through a graphics library
    SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0"); // else a pointer comes twice, as finger and as mouse
    SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
    SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1"); // else the tap that wakes a window is lost
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
}

}

SDLDisplay::SDLDisplay(double scale)
    : scale_(scale)
{
}

std::shared_ptr<SDLDisplay> SDLDisplay::open(const std::string& title, CGSize points, double scale)
{
    const std::shared_ptr<SDLDisplay> display(new SDLDisplay(scale));
    display->thread_ = std::thread([self = display.get(), title, points] { self->run(title, points); });
    std::unique_lock lock(display->mutex_);
    display->changed_.wait(lock, [&] { return display->opened_ || display->failed_; });
    if (display->failed_)
        throw NSError("org.velmora.display", 2,
            "No window could be opened: " + display->failure_
                + ". Set DISPLAY to a desktop that runs, or draw without a window.");
    return display;
}

SDLDisplay::~SDLDisplay()
{
    bool opened = false;
    {
        const std::lock_guard lock(mutex_);
        opened = opened_;
    }
    if (opened)
        onWindowThread([this] { ends_ = true; });
    if (thread_.joinable())
        thread_.join();
}

void SDLDisplay::run(const std::string& title, CGSize points)
{
    const bool opened = openWindow(title, points);
    {
        const std::lock_guard lock(mutex_);
        (opened ? opened_ : failed_) = true;
        if (!opened)
            failure_ = SDL_GetError();
    }
    changed_.notify_all();
    SDL_Event event;
    while (opened && !ends_ && SDL_WaitEvent(&event) != 0)
        handle(event);
    closeWindow();
}

bool SDLDisplay::openWindow(const std::string& title, CGSize points)
{
    prepare();
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0)
        return false;
    request_ = SDL_RegisterEvents(1);
    window_ = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
        static_cast<int>(std::lround(points.width * scale_)), static_cast<int>(std::lround(points.height * scale_)),
        SDL_WINDOW_RESIZABLE);
    if (!window_)
        return false;
    takeSurface();
    if (surface_ && surface_->format->format != SDL_PIXELFORMAT_RGB888) {
        SDL_SetError("the desktop shows no pixels of 24 bits");
        return false;
    }
    return surface_ != nullptr;
}

void SDLDisplay::closeWindow()
{
    if (window_)
        SDL_DestroyWindow(window_);
    window_ = nullptr;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

/// The window's own pixels: of a new size when the window has one.
void SDLDisplay::takeSurface()
{
    surface_ = SDL_GetWindowSurface(window_);
    const std::lock_guard lock(mutex_);
    if (!surface_)
        return;
    mode_ = { surface_->w, surface_->h, scale_ };
    pixels_ = { static_cast<std::uint8_t*>(surface_->pixels), static_cast<std::size_t>(surface_->pitch), mode_, false };
}

void SDLDisplay::onWindowThread(const std::function<void()>& what)
{
    std::unique_lock lock(mutex_);
    asked_ = &what;
    SDL_Event event {};
    event.type = request_;
    SDL_PushEvent(&event); // wakes the thread
    changed_.wait(lock, [this] { return !asked_; });
}

void SDLDisplay::tell(std::function<void(const DisplayEvents&)> what)
{
    NSRunLoop::mainRunLoop().perform([weak = weak_from_this(), what = std::move(what)] {
        if (const auto self = weak.lock())
            what(DisplayEvents(self->events_)); // a copy: a handler may set others
    });
}

void SDLDisplay::handle(const SDL_Event& event)
{
    if (event.type == request_) {
        const std::function<void()>* asked = nullptr;
        {
            const std::lock_guard lock(mutex_);
            asked = asked_;
        }
        if (asked)
            (*asked)();
        const std::lock_guard lock(mutex_);
        asked_ = nullptr;
        changed_.notify_all();
        return;
    }
    switch (event.type) {
    case SDL_WINDOWEVENT:
        handleWindow(event);
        break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
    case SDL_MOUSEMOTION:
        handleMouse(event);
        break;
    case SDL_FINGERDOWN:
    case SDL_FINGERUP:
    case SDL_FINGERMOTION:
        handleFinger(event);
        break;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        handleKey(event);
        break;
    default:
        break;
    }
}

void SDLDisplay::handleWindow(const SDL_Event& event)
{
    switch (event.window.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED: {
        const DisplayMode changed { event.window.data1, event.window.data2, scale_ };
        {
            const std::lock_guard lock(mutex_);
            if (mode_ == changed)
                return;
            mode_ = changed;
            pixels_ = {}; // the old memory stays until somebody asks for the new one
        }
        tell([changed](const DisplayEvents& events) {
            if (events.modeChanged)
                events.modeChanged(changed);
        });
        break;
    }
    case SDL_WINDOWEVENT_EXPOSED:
        tell([](const DisplayEvents& events) {
            if (events.exposed)
                events.exposed();
        });
        break;
    case SDL_WINDOWEVENT_CLOSE:
        tell([](const DisplayEvents& events) {
            if (events.closed)
                events.closed();
        });
        break;
    case SDL_WINDOWEVENT_FOCUS_LOST:
        if (std::exchange(mouseDown_, false))
            touch(mouse, DisplayTouchPhase::Cancelled, {});
        break;
    default:
        break;
    }
}

void SDLDisplay::touch(std::int64_t id, DisplayTouchPhase phase, CGPoint point)
{
    const DisplayTouch touch { id, phase, point, Scheduler::current().clock().now() };
    tell([touch](const DisplayEvents& events) {
        if (events.touch)
            events.touch(touch);
    });
}

void SDLDisplay::handleMouse(const SDL_Event& event)
{
    if (event.type == SDL_MOUSEMOTION) {
        if (mouseDown_)
            touch(mouse, DisplayTouchPhase::Moved, { event.motion.x / scale_, event.motion.y / scale_ });
        return;
    }
    if (event.button.button != SDL_BUTTON_LEFT)
        return;
    const bool down = event.type == SDL_MOUSEBUTTONDOWN;
    if (mouseDown_ == down)
        return;
    mouseDown_ = down;
    SDL_CaptureMouse(down ? SDL_TRUE : SDL_FALSE); // a touch that leaves the window still ends
    touch(mouse, down ? DisplayTouchPhase::Began : DisplayTouchPhase::Ended,
        { event.button.x / scale_, event.button.y / scale_ });
}

void SDLDisplay::handleFinger(const SDL_Event& event)
{
    const DisplayMode mode = this->mode();
    const CGPoint point { static_cast<double>(event.tfinger.x) * mode.width / scale_,
        static_cast<double>(event.tfinger.y) * mode.height / scale_ };
    const auto phase = event.type == SDL_FINGERDOWN ? DisplayTouchPhase::Began
        : event.type == SDL_FINGERUP                ? DisplayTouchPhase::Ended
                                                    : DisplayTouchPhase::Moved;
    touch(event.tfinger.fingerId + 1, phase, point);
}

void SDLDisplay::handleKey(const SDL_Event& event)
{
    if (event.key.repeat != 0)
        return;
    const DisplayKey key { SDL_GetKeyName(event.key.keysym.sym),
        event.type == SDL_KEYDOWN ? DisplayKeyPhase::Pressed : DisplayKeyPhase::Released,
        Scheduler::current().clock().now() };
    tell([key](const DisplayEvents& events) {
        if (events.key)
            events.key(key);
    });
}

DisplayMode SDLDisplay::mode() const
{
    const std::lock_guard lock(mutex_);
    return mode_;
}

void SDLDisplay::setEvents(DisplayEvents events)
{
    events_ = std::move(events);
}

DisplayPixels SDLDisplay::beginFrame()
{
    bool known = false;
    {
        const std::lock_guard lock(mutex_);
        known = pixels_.data != nullptr;
    }
    if (!known)
        onWindowThread([this] { takeSurface(); });
    const std::lock_guard lock(mutex_);
    return pixels_;
}

void SDLDisplay::present(std::span<const DisplayRect> damage)
{
    std::vector<SDL_Rect> rects;
    for (const DisplayRect& rect : damage)
        rects.push_back({ rect.x, rect.y, rect.width, rect.height });
    onWindowThread([&] {
        const bool shown = SDL_UpdateWindowSurfaceRects(window_, rects.data(), static_cast<int>(rects.size())) == 0;
        const std::lock_guard lock(mutex_);
        pixels_.holdsLastFrame = shown;
        if (!shown)
            pixels_ = {}; // the window has another size meanwhile
    });
}

}
