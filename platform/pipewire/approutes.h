// The endpoints of single applications: the store that remembers them.
#pragma once

#include "platform/coreaudio.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

/// Remembers each application's own endpoint, over the program's end too, in the user's state
/// folder. An application is known by its executable's path. Callable from any thread.
namespace approutes
{
struct Application
{
    QString executable; ///< full path
    QStringList names;  ///< other names that users know it by
};

/// The endpoint ID; empty for an application that follows the default.
[[nodiscard]] QString route(const QString &executable, EDataFlow flow, ERole role);
/// An empty ID ends the route.
void setRoute(const Application &application, EDataFlow flow, ERole role,
              const QString &endpointId);

/// All routes in the shape of the registry: a group for each name of each application, its value
/// "." the application and "00F_00R" the long form of its endpoint for flow F and role R.
[[nodiscard]] QMap<QString, QVariant> settings();

/// The long form of an endpoint, as policies and settings have it; empty for an empty ID.
[[nodiscard]] QString longForm(const QString &endpointId, EDataFlow flow);
/// The ID in a long form; empty for anything else.
[[nodiscard]] QString endpointOfLongForm(const QString &text);

/// Forgets what was read; the next call reads the file again.
void reload();
} // namespace approutes
