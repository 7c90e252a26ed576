// A scripted HID device, and an open handle on it.
#pragma once

#include "VXLibrary/src/hidhandle.h"
#include "platform/simulated/simulated.h"

#include <QStringList>

inline const QByteArray hidPath = QByteArrayLiteral("/dev/hid0");
constexpr int patience = 30'000;

/// The world with one device in it.
inline void plugIn(const simulated::HidDevice &device = {.path = hidPath})
{
    simulated::reset();
    simulated::addHidDevice(device);
}

inline HidHandle openHandle(const QByteArray &path = hidPath)
{
    return std::make_shared<OpenHidDevice>(hid_open_path(path.constData()));
}

/// The calls of these functions so far, in order, without their arguments.
inline QStringList callsOf(const QStringList &functions)
{
    QStringList found;
    for (const QString &call : simulated::calls()) {
        const QString name = call.section(' ', 0, 0);
        if (functions.contains(name))
            found.append(name);
    }
    return found;
}

/// `count` bytes: 1, 2, 3 and so on.
inline QByteArray counted(int count)
{
    QByteArray bytes;
    for (int place = 1; place <= count; ++place)
        bytes.append(char(place));
    return bytes;
}
