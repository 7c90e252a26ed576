// The payload keys of commands, each with the conversion that its type asks for.
#pragma once

#include "common/channels.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// Reads as `fallback` when missing or of another type.
struct TextKey
{
    const char *name;
    const char *fallback = nullptr;

    [[nodiscard]] QString read(const QJsonObject &payload) const
    {
        const QJsonValue value = payload.value(QLatin1StringView(name));
        return value.toString(QString::fromLatin1(fallback));
    }
};

/// Reads as 0 when missing, of another type, not whole or beyond 32 bits.
struct IntegerKey
{
    const char *name;

    [[nodiscard]] int read(const QJsonObject &payload) const
    {
        return payload.value(QLatin1StringView(name)).toInt(0);
    }
};

/// An integer handed on by its bits: a negative number arrives as a large one.
struct UnsignedKey
{
    const char *name;

    [[nodiscard]] uint read(const QJsonObject &payload) const
    {
        return uint(IntegerKey{name}.read(payload));
    }
};

/// Reads as false when missing or of another type.
struct BooleanKey
{
    const char *name;

    [[nodiscard]] bool read(const QJsonObject &payload) const
    {
        return payload.value(QLatin1StringView(name)).toBool(false);
    }
};

/// Reads as an empty object when missing or of another type.
struct ObjectKey
{
    const char *name;

    [[nodiscard]] QJsonObject read(const QJsonObject &payload) const
    {
        return payload.value(QLatin1StringView(name)).toObject();
    }
};

/// Reads as an empty array when missing or of another type.
struct ArrayKey
{
    const char *name;

    [[nodiscard]] QJsonArray read(const QJsonObject &payload) const
    {
        return payload.value(QLatin1StringView(name)).toArray();
    }
};

/// A channel by its full name; any other text reads as `tavoriNoDevice`.
struct RouteKey
{
    const char *name;

    [[nodiscard]] tavoriDeviceType read(const QJsonObject &payload) const
    {
        const Channel *channel = channelOfFullName(TextKey{name}.read(payload));
        return channel == nullptr ? tavoriNoDevice : channel->type;
    }
};
