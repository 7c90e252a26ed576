// Endpoints as the program tells of them, and how a user's words find one.
#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

enum class Direction
{
    Output,
    Input,
};

/// The program's word for a direction, as its "deviceType" keys hold it.
[[nodiscard]] QString deviceType(Direction direction);

struct Endpoint
{
    Direction direction;
    QString name;
    QString id;
    /// Whole percent.
    int volume;
    bool isMuted;
    bool isDefault;

    /// The one word of a virtual endpoint, as "Gaming"; empty for a real one.
    [[nodiscard]] QString channel() const;
    /// The keys by which a command names this endpoint.
    [[nodiscard]] QJsonObject address() const;
};

/// The endpoints of an answer to getOutputDeviceInfos or getInputDeviceInfos.
[[nodiscard]] QList<Endpoint> endpointsOf(const QJsonObject &payload, Direction direction);

/// What the user's text means: those whose ID it is; else those whose name; else those whose name
/// or channel word it is in another case; else those whose name, channel word or ID begins so.
[[nodiscard]] QList<Endpoint> matches(const QList<Endpoint> &endpoints, const QString &text);

/// One line for each, for a message that lists candidates.
[[nodiscard]] QString describe(const QList<Endpoint> &endpoints);
