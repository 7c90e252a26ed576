// Tells when a PipeWire server opens its socket.
#pragma once

#include <functional>
#include <string>

struct pw_loop;
struct spa_source;

/// Watches the folder in which the server's socket appears. Nothing polls.
class ServerWatch
{
public:
    /// `appeared` runs on the loop's thread each time the socket is made.
    ServerWatch(pw_loop *loop, std::function<void()> appeared);
    ~ServerWatch();
    ServerWatch(const ServerWatch &) = delete;
    ServerWatch &operator=(const ServerWatch &) = delete;

private:
    void readEvents(int descriptor);

    pw_loop *loop;
    std::function<void()> appeared;
    std::string socketName;
    spa_source *source = nullptr;
};
