// One level of an endpoint, the server's truth and our own requests for it.
#pragma once

#include "platform/coreaudio.h"

#include <chrono>
#include <deque>
#include <optional>

namespace pulse
{
/// A volume (0.0 to 1.0) or a mute state (0.0 or 1.0). A request is read back at once, and its
/// context is given to the change that the server reports because of it. What the server reports
/// is matched by value: it may join several changes into one report, and others change it too.
/// Not thread-safe.
class TrackedLevel
{
public:
    using Clock = std::chrono::steady_clock;
    using Ticket = quint64;

    /// How long a request that the server took may stay without effect before it is forgotten.
    static constexpr std::chrono::seconds patience{1};

    /// Starts anew with what the server first told; forgets all requests.
    void reset(float value);

    /// The level as it will be once the server has followed.
    [[nodiscard]] float value(Clock::time_point now) const;

    /// The level as the server last told it.
    [[nodiscard]] float reported() const { return confirmed; }

    /// Remembers a request. Tickets rise from request to request.
    void request(Ticket ticket, float value, const GUID &context);

    /// The server answered a request. A refused one is forgotten; one that it took may be seen in
    /// reports that are asked for from now on, and perhaps already was.
    void answered(Ticket ticket, bool taken, Clock::time_point now);

    /// The server tells its level. The context of the change, GUID_NULL for anybody else's;
    /// nothing if it is none.
    [[nodiscard]] std::optional<GUID> report(float value, Clock::time_point now);

private:
    struct Request
    {
        Ticket ticket;
        float value;
        GUID context;
        std::optional<Clock::time_point> deadline; ///< set once the server took it
    };

    void forgetExpired(Clock::time_point now);
    [[nodiscard]] std::optional<GUID> reportUnchanged();
    [[nodiscard]] GUID reportChanged(float value);

    float confirmed = 0.0f;
    std::deque<Request> requests; ///< in the order in which the server gets them
};
} // namespace pulse
