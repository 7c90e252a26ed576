#include "platform/linux/socketwatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>

namespace fs = std::filesystem;

namespace pulse
{
namespace
{
constexpr uint32_t interesting =
    IN_CREATE | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

// "{machine}unix:/path", "unix:/path" or "/path"; anything else is no socket file.
fs::path socketOfServer(std::string server)
{
    if (const auto brace = server.find('}'); server.starts_with('{') && brace != std::string::npos)
        server.erase(0, brace + 1);
    if (server.starts_with("unix:"))
        server.erase(0, 5);
    return server.starts_with('/') ? fs::path(server) : fs::path();
}

std::vector<fs::path> pulseSockets()
{
    std::vector<fs::path> result;
    if (const std::string servers = variable("PULSE_SERVER"); !servers.empty()) {
        std::istringstream words(servers);
        for (std::string word; words >> word;) {
            if (fs::path socket = socketOfServer(word); !socket.empty())
                result.push_back(std::move(socket));
        }
        return result;
    }
    if (const std::string folder = variable("PULSE_RUNTIME_PATH"); !folder.empty())
        result.push_back(fs::path(folder) / "native");
    else if (const std::string runtime = variable("XDG_RUNTIME_DIR"); !runtime.empty())
        result.push_back(fs::path(runtime) / "pulse" / "native");
    result.emplace_back("/run/pulse/native"); // the system-wide server, tried last
    return result;
}

// The PulseAudio side of PipeWire answers before there is a graph, and refuses: then it is the
// graph's socket whose coming counts.
fs::path graphSocket()
{
    std::string name = variable("PIPEWIRE_REMOTE");
    if (name.empty())
        name = "pipewire-0";
    if (name.starts_with('/'))
        return name;
    std::string folder = variable("PIPEWIRE_RUNTIME_DIR");
    if (folder.empty())
        folder = variable("XDG_RUNTIME_DIR");
    return folder.empty() ? fs::path() : fs::path(folder) / name;
}
} // namespace

std::vector<fs::path> serverSockets()
{
    std::vector<fs::path> result = pulseSockets();
    if (fs::path graph = graphSocket(); !result.empty() && !graph.empty())
        result.push_back(std::move(graph));
    return result;
}

SocketWatch::SocketWatch(pa_mainloop_api *api, std::vector<fs::path> sockets,
                         std::function<void()> appeared)
    : api(api), sockets(std::move(sockets)), appeared(std::move(appeared))
{
}

SocketWatch::~SocketWatch()
{
    off();
}

void SocketWatch::on()
{
    off();
    if (!canWatch())
        return;
    descriptor = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (descriptor < 0)
        return;
    for (const fs::path &socket : sockets)
        watch(socket);
    io = api->io_new(
        api, descriptor, PA_IO_EVENT_INPUT,
        [](pa_mainloop_api *, pa_io_event *, int, pa_io_event_flags_t, void *watch) {
            static_cast<SocketWatch *>(watch)->onReadable();
        },
        this);
}

void SocketWatch::off()
{
    if (io)
        api->io_free(io);
    io = nullptr;
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
    awaited.clear();
}

bool SocketWatch::anySocket() const
{
    return std::any_of(sockets.begin(), sockets.end(), [](const fs::path &socket) {
        std::error_code ignored;
        return fs::exists(socket, ignored);
    });
}

// The deepest folder that exists is watched for the next name of the path.
void SocketWatch::watch(const fs::path &socket)
{
    fs::path name = socket;
    while (name.has_relative_path()) {
        const int number = ::inotify_add_watch(descriptor, name.parent_path().c_str(), interesting);
        if (number >= 0) {
            awaited[number].insert(name.filename());
            return;
        }
        name = name.parent_path();
    }
}

void SocketWatch::onReadable()
{
    if (!drain())
        return;
    on(); // the folders may reach further down now
    if (anySocket())
        appeared();
}

/// Whether an event was about a name that counts, or about a watched folder itself.
bool SocketWatch::drain()
{
    alignas(inotify_event) std::array<char, 4096> buffer;
    bool counts = false;
    ssize_t length = 0;
    while ((length = ::read(descriptor, buffer.data(), buffer.size())) > 0) {
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            const auto names = awaited.find(event->wd);
            const bool isAwaited =
                event->len > 0 && names != awaited.end() && names->second.contains(event->name);
            const bool isFolder = event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_Q_OVERFLOW);
            counts = counts || isAwaited || isFolder;
        }
    }
    return counts;
}
} // namespace pulse
