#include "platform/pipewire/serverwatch.h"

#include <pipewire/pipewire.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace
{
/// Where libpipewire looks for the socket, by its own rules.
std::filesystem::path socketPath()
{
    const char *remote = std::getenv("PIPEWIRE_REMOTE");
    std::filesystem::path name = remote && *remote ? remote : PW_DEFAULT_REMOTE;
    if (name.is_absolute())
        return name;
    for (const char *variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "HOME"})
        if (const char *folder = std::getenv(variable); folder && *folder)
            return std::filesystem::path(folder) / name;
    return {};
}
} // namespace

ServerWatch::ServerWatch(pw_loop *loop, std::function<void()> appeared)
    : loop(loop), appeared(std::move(appeared))
{
    const std::filesystem::path path = socketPath();
    if (path.empty())
        return;
    socketName = path.filename();
    const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0)
        return;
    inotify_add_watch(descriptor, path.parent_path().c_str(), IN_CREATE | IN_MOVED_TO);
    const auto onReadable = [](void *data, int fd, uint32_t) {
        static_cast<ServerWatch *>(data)->readEvents(fd);
    };
    source = pw_loop_add_io(loop, descriptor, SPA_IO_IN, true, onReadable, this);
}

ServerWatch::~ServerWatch()
{
    if (source)
        pw_loop_destroy_source(loop, source);
}

void ServerWatch::readEvents(int descriptor)
{
    alignas(inotify_event) char buffer[4096];
    bool seen = false;
    for (ssize_t size; (size = read(descriptor, buffer, sizeof buffer)) > 0;) {
        for (ssize_t offset = 0; offset < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            seen = seen || (event->len > 0 && event->name == std::string_view(socketName));
            offset += ssize_t(sizeof *event) + event->len;
        }
    }
    if (seen)
        appeared();
}
