// SPDX-License-Identifier: Apache-2.0
#include "tests/support/PipeWireDaemon.h"

#include "drivers/pipewire/openPipeWire.h"

#include "tests/support/Require.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>

namespace velmora::tests {

namespace {

/// What cameras need, and nothing that looks for the machine's own devices or buses.
constexpr const char* daemonConfiguration = R"(
context.properties = { core.daemon = true core.name = pipewire-0 support.dbus = false }
context.spa-libs = { audio.convert.* = audioconvert/libspa-audioconvert support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-metadata }
  { name = libpipewire-module-spa-node-factory }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-client-device }
  { name = libpipewire-module-access args = { } }
  { name = libpipewire-module-adapter }
  { name = libpipewire-module-link-factory }
  { name = libpipewire-module-session-manager }
]
context.objects = [
  { factory = spa-node-factory args = { factory.name = support.node.driver node.name = Dummy-Driver node.group = pipewire.dummy priority.driver = 20000 } }
  { factory = spa-node-factory args = { factory.name = support.node.driver node.name = Freewheel-Driver priority.driver = 19000 node.group = pipewire.freewheel node.freewheel = true } }
]
)";

/// The session manager's own rules, without its search for devices, portals and buses.
constexpr const char* sessionConfiguration = R"(
load_module("metadata")
default_access.properties["enable-flatpak-portal"] = false
default_access.enable()
device_defaults.enable()
)";

void write(const std::string& path, const std::string& text)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || ::write(file, text.data(), text.size()) < 0)
        std::abort();
    close(file);
}

/// A socket that takes connections before anybody serves them, so that nobody has to wait for its file.
int listeningSocket(const std::string& path)
{
    unlink(path.c_str());
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(made, 16) != 0)
        std::abort();
    return made;
}

bool isInstalled(const char* program)
{
    return access((std::string("/usr/bin/") + program).c_str(), X_OK) == 0;
}

}

PipeWireDaemon::PipeWireDaemon()
    : socket_(folder_.file("pipewire-0"))
{
    for (const char* name : { "config", "state", "cache", "home" })
        std::filesystem::create_directory(folder_.file(name));
    std::filesystem::permissions(folder_.path(), std::filesystem::perms::owner_all);
    write(folder_.file("config/velmora.conf"), daemonConfiguration);
    for (const char* part : { "main", "bluetooth" }) {
        const std::string path = folder_.file(std::string("config/wireplumber/") + part + ".lua.d");
        std::filesystem::create_directories(path);
        write(path + "/90-enable-all.lua", std::string(part) == "main" ? sessionConfiguration : "");
    }
    start();
}

PipeWireDaemon::~PipeWireDaemon()
{
    sessionManager_.reset();
    daemon_.reset();
}

bool PipeWireDaemon::isHere()
{
    const bool here = isInstalled("pipewire") && isInstalled("wireplumber") && drivers::pipewire::isBuilt();
    return requirePart("pipewire", here);
}

std::vector<std::string> PipeWireDaemon::environment() const
{
    return { "XDG_RUNTIME_DIR=" + folder_.path(), "PIPEWIRE_RUNTIME_DIR=" + folder_.path(),
        "XDG_CONFIG_HOME=" + folder_.file("config"), "XDG_STATE_HOME=" + folder_.file("state"),
        "XDG_CACHE_HOME=" + folder_.file("cache"), "HOME=" + folder_.file("home"),
        "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder_.file("no-bus"),
        "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder_.file("no-bus"), "PIPEWIRE_DEBUG=0" };
}

void PipeWireDaemon::start()
{
    const int listening = listeningSocket(socket_);
    auto environment = this->environment();
    environment.push_back("LISTEN_FDS=1");
    daemon_ = std::make_unique<Child>(
        std::vector<std::string> { "pipewire", "-c", folder_.file("config/velmora.conf") }, environment, [listening] {
            constexpr int firstGiven = 3;
            if (listening == firstGiven)
                fcntl(listening, F_SETFD, 0);
            else
                dup2(listening, firstGiven);
            setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
        });
    close(listening);
    startSessionManager();
}

void PipeWireDaemon::startSessionManager()
{
    sessionManager_ = std::make_unique<Child>(std::vector<std::string> { "wireplumber" }, environment());
}

void PipeWireDaemon::kill()
{
    sessionManager_->end(SIGKILL);
    daemon_->end(SIGKILL);
}

void PipeWireDaemon::killSessionManager()
{
    sessionManager_->end(SIGKILL);
}

std::unique_ptr<Child> PipeWireDaemon::camera(const std::string& name, const std::vector<std::string>& options) const
{
    std::vector<std::string> command { VELMORA_TEST_CAMERA, socket_, name };
    command.insert(command.end(), options.begin(), options.end());
    auto child = std::make_unique<Child>(command, environment());
    child->readUntil("ready");
    return child;
}

std::unique_ptr<Child> PipeWireDaemon::microphone(const std::string& name) const
{
    return camera(name, { "kind=microphone" });
}

}
