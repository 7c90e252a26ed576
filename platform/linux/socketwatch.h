// Tells when a local audio server may have appeared, without asking again and again.
#pragma once

#include <pulse/mainloop-api.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace pulse
{
/// The sockets of the server and of the graph behind it, as the environment names them:
/// PULSE_SERVER, else PULSE_RUNTIME_PATH, else XDG_RUNTIME_DIR; PIPEWIRE_REMOTE,
/// PIPEWIRE_RUNTIME_DIR. Empty when the server is on another machine.
[[nodiscard]] std::vector<std::filesystem::path> serverSockets();

/// Watches the folders of sockets, or as much of their paths as exists. Runs on the main loop's
/// thread; wakes it only when a folder that counts changes, and never while it is off.
class SocketWatch
{
public:
    /// `appeared` is called when one of the sockets was made or touched; it may call on and off.
    SocketWatch(pa_mainloop_api *api, std::vector<std::filesystem::path> sockets,
                std::function<void()> appeared);
    ~SocketWatch();

    void on();
    void off();

    /// Whether there is any socket that could be watched.
    [[nodiscard]] bool canWatch() const { return !sockets.empty(); }
    /// Whether one of the sockets stands there now, living or left behind.
    [[nodiscard]] bool anySocket() const;

private:
    void watch(const std::filesystem::path &socket);
    void onReadable();
    [[nodiscard]] bool drain();

    pa_mainloop_api *api;
    const std::vector<std::filesystem::path> sockets;
    const std::function<void()> appeared;
    int descriptor = -1; ///< of inotify
    pa_io_event *io = nullptr;
    std::map<int, std::set<std::string>> awaited; ///< by watch: the names that count in it
};
} // namespace pulse
