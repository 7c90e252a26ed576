// Finds out when the connection no longer tells what the server's defaults are, and tells it then.
#pragma once

#include "platform/linux/defaultscontext.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace pulse
{
/// The names of the default sink and of the default source. Empty for none, and nothing while the
/// server, whose default has vanished, has not chosen the next.
using DefaultNames = std::array<std::optional<QString>, 2>;

/// While a client gets the session manager's settings, the server (PipeWire 0.3.65) tells what
/// changes in them to that client alone. All that were there before know the old defaults from
/// then on, and hear nothing when the defaults become the old ones again.
///
/// A moment after a client has come, a new connection is therefore asked for the defaults. It stays
/// for another moment, since a change may have been told to itself alone. When two in a row say the
/// same that is not believed, the second one is kept, and it tells the changes instead of the
/// lasting connection. Runs on the main loop's thread or under its lock.
class DefaultsWitness
{
public:
    struct Callbacks
    {
        /// What is believed.
        std::function<DefaultNames()> believed;
        std::function<DefaultNames(const pa_server_info &)> namesIn;
        /// What is to be believed from now on.
        std::function<void(const DefaultNames &)> told;
    };

    DefaultsWitness(pa_mainloop_api *api, Callbacks callbacks);
    ~DefaultsWitness();
    DefaultsWitness(const DefaultsWitness &) = delete;
    DefaultsWitness &operator=(const DefaultsWitness &) = delete;

    /// The lasting connection stands, to this server; clients count from now on. Calling it again
    /// does nothing.
    void begin(const char *server);
    /// It is gone: so is every other.
    void end();

    /// To be called for every client that comes.
    void clientCame(quint32 index);
    /// Whether what the lasting connection tells is not to be believed.
    [[nodiscard]] bool isTelling() const { return kept != nullptr; }
    /// The lasting connection knows the defaults again.
    void dismiss();

private:
    using Clock = std::chrono::steady_clock;

    void request();
    [[nodiscard]] std::chrono::milliseconds nextDelay();
    void arm(std::chrono::milliseconds delay, pa_time_event_cb_t call);
    void look();
    void lookConnected(quint32 index);
    void onTold(DefaultsContext &context, const pa_server_info &info);
    void lookTold(DefaultNames names);
    void linger();
    void onLost(DefaultsContext &context);
    void lookFailed();
    void finishLook();
    [[nodiscard]] bool isOwn(quint32 index) const;

    pa_mainloop_api *api;
    const Callbacks callbacks;
    bool isOn = false;
    QByteArray server;
    pa_time_event *timer = nullptr;           ///< while a look is to come, or to end
    std::unique_ptr<DefaultsContext> looking; ///< while a look is under way
    std::unique_ptr<DefaultsContext> kept;
    std::optional<DefaultNames> doubted; ///< by the last look
    std::chrono::milliseconds delay{0};  ///< grows while looks follow each other
    Clock::time_point lastLook;          ///< its end
    Clock::time_point lastRequest;
    int failures = 0; ///< of looks, in a row
    bool again = false;
    bool isConnected = false;            ///< the look that is under way
    std::array<quint32, 8> ownIndexes{}; ///< clients of the last looks
    std::size_t looks = 0;
    std::vector<quint32> cameMeanwhile; ///< while the look does not know its own index
};
} // namespace pulse
