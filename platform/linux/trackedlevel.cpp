#include "platform/linux/trackedlevel.h"

#include <algorithm>
#include <cmath>

namespace pulse
{
namespace
{
// The server keeps volumes as floats on another curve: they come back one unit off.
constexpr float roundingError = 2.0f / 65536.0f;
// Hardware has steps: within half a percent, what the server set is what we asked for.
constexpr float hardwareStep = 0.005f;

bool isSame(float left, float right)
{
    return std::fabs(left - right) <= roundingError;
}

bool isMatch(float left, float right)
{
    return std::fabs(left - right) <= hardwareStep;
}
} // namespace

void TrackedLevel::reset(float value)
{
    confirmed = value;
    requests.clear();
}

float TrackedLevel::value(Clock::time_point now) const
{
    const auto live = std::find_if(requests.rbegin(), requests.rend(), [now](const Request &each) {
        return !each.deadline || now < *each.deadline;
    });
    return live == requests.rend() ? confirmed : live->value;
}

void TrackedLevel::request(Ticket ticket, float value, const GUID &context)
{
    requests.push_back({ticket, value, context, std::nullopt});
}

void TrackedLevel::answered(Ticket ticket, bool taken, Clock::time_point now)
{
    const auto found =
        std::find_if(requests.begin(), requests.end(),
                     [ticket](const Request &each) { return each.ticket == ticket; });
    if (found == requests.end())
        return;
    if (taken)
        found->deadline = now + patience;
    else
        requests.erase(found);
}

std::optional<GUID> TrackedLevel::report(float value, Clock::time_point now)
{
    forgetExpired(now);
    if (isSame(value, confirmed))
        return reportUnchanged();
    return reportChanged(value);
}

void TrackedLevel::forgetExpired(Clock::time_point now)
{
    std::erase_if(requests,
                  [now](const Request &each) { return each.deadline && now >= *each.deadline; });
}

// An unchanged level says nothing about requests that the server has not answered yet. Of those
// that it took, one for this very level has been followed: it made no difference.
std::optional<GUID> TrackedLevel::reportUnchanged()
{
    const auto followed =
        std::find_if(requests.rbegin(), requests.rend(), [this](const Request &each) {
            return each.deadline && isSame(each.value, confirmed);
        });
    if (followed != requests.rend()) {
        confirmed = followed->value;
        requests.erase(requests.begin(), followed.base());
    }
    return std::nullopt;
}

// The earliest match, so that of two requests for the same level the later stays open. Without
// a match somebody else was here, after whatever the server had already taken from us.
GUID TrackedLevel::reportChanged(float value)
{
    const auto match = std::find_if(requests.begin(), requests.end(), [value](const Request &each) {
        return isMatch(each.value, value);
    });
    if (match == requests.end()) {
        confirmed = value;
        std::erase_if(requests, [](const Request &each) { return each.deadline.has_value(); });
        return GUID_NULL;
    }
    const GUID context = match->context;
    confirmed = isSame(match->value, value) ? match->value : value;
    requests.erase(requests.begin(), match + 1);
    return context;
}
} // namespace pulse
