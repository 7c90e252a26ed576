// Applications that use sound, as the program tells of their sessions.
#pragma once

#include "client/endpoint.h"

/// One session: an application on an endpoint.
struct Application
{
    QString name;
    int processId;
    Endpoint endpoint;
    /// "playing" (or "recording"), "silent" or "expired".
    QString state;
};

/// The sessions of an answer to getAudioSessionInfos, by name; those on other endpoints than these
/// are left out.
[[nodiscard]] QList<Application> applicationsOf(const QJsonObject &payload,
                                                const QList<Endpoint> &endpoints);

/// What the user's text means: those whose process ID it is; else those whose name; else those
/// whose name it is in another case; else those whose name begins so.
[[nodiscard]] QList<Application> matches(const QList<Application> &applications,
                                         const QString &text);

/// One line for each, in columns.
[[nodiscard]] QStringList tableOf(const QList<Application> &applications);
