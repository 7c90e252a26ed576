#include "client/channel.h"

#include "client/session.h"

#include <QSet>

#include <algorithm>
#include <iterator>

namespace
{
/// The channel endpoints, one for each name: two have an output side and an input side.
QList<Endpoint> channelsOf(const QList<Endpoint> &endpoints)
{
    QSet<QString> seen;
    QList<Endpoint> channels;
    std::copy_if(endpoints.begin(), endpoints.end(), std::back_inserter(channels),
                 [&](const Endpoint &endpoint) {
                     if (endpoint.channel().isEmpty() || seen.contains(endpoint.name))
                         return false;
                     seen.insert(endpoint.name);
                     return true;
                 });
    return channels;
}
} // namespace

Result<Endpoint> findChannel(const QList<Endpoint> &endpoints, const QString &text)
{
    const QList<Endpoint> channels = channelsOf(endpoints);
    QStringList words;
    for (const Endpoint &channel : channels)
        words.append(channel.channel());
    const QList<Endpoint> found = matches(channels, text);
    if (found.isEmpty()) {
        return fail(Exit::NoSuchEndpoint,
                    QStringLiteral("no channel \"%1\" is shown now; there are: %2")
                        .arg(text, words.isEmpty() ? "none" : words.join(", ")));
    }
    if (found.size() > 1) {
        return fail(Exit::Ambiguous,
                    QStringLiteral("\"%1\" may mean:%2").arg(text, describe(found)));
    }
    return found.first();
}
