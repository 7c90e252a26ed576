// What passes to a device file, as tests write it down.
#pragma once

#include <QByteArray>
#include <QString>

#include <initializer_list>

[[nodiscard]] inline QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result.append(static_cast<char>(value));
    return result;
}

/// A path as a log line shows it: one quoted string with its backslashes doubled.
[[nodiscard]] inline QString quoted(QString path)
{
    return path.replace('\\', "\\\\");
}
