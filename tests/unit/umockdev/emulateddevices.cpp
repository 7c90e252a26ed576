// Emulated devices for a program under test, which runs beside this one.
//
// Prints the environment that shows them to a program, "NAME=VALUE" a line, and an empty line. Then
// answers each line of its input with one line, and ends with the input. Of any device, whose PATH
// begins below /sys:
//
//   device DESCRIPTION              in the words of umockdev-record, hexadecimal; nothing is told
//   property PATH NAME [VALUE]
//   tell PATH ACTION                "add", "change" or "remove", as udev does
//
// Of HID devices that a program can open, each under the index of its "hid":
//
//   hid VID PID SERIAL DESCRIPTOR [deaf]   hexadecimal but for the serial number
//   send INDEX REPORT               an input report
//   input REPORT                    what devices answer when they are asked for one
//   writes INDEX                    the reports written to it so far, separated by blanks
//   begun INDEX                     "yes" if a write to a deaf device has begun, or "no"
//   drain INDEX                     lets the writes of a deaf device go on
//   unplug INDEX
#include "hidbed.h"

#include <QTextStream>

#include <unistd.h>

namespace
{
QString answer(HidBed &bed, const QStringList &words)
{
    const auto index = [&] { return words.at(1).toInt(); };
    const auto bytes = [&](int place) { return QByteArray::fromHex(words.at(place).toLatin1()); };
    const auto sysPath = [&] { return "/sys" + words.at(1).toUtf8(); };
    const QString &verb = words.at(0);
    if (verb == "device") {
        bed.devices().add(bytes(1));
    } else if (verb == "property") {
        bed.devices().setProperty(sysPath().constData(), words.at(2).toUtf8().constData(),
                                  words.value(3).toUtf8().constData());
    } else if (verb == "tell") {
        bed.devices().tell(sysPath().constData(), words.at(2).toUtf8().constData());
    } else if (verb == "hid") {
        bed.add({words.at(1).toLatin1(), words.at(2).toLatin1(), words.at(3).toLatin1(), bytes(4),
                 words.value(5) == "deaf"});
    } else if (verb == "send") {
        bed.sendReport(index(), bytes(2));
    } else if (verb == "input") {
        bed.setInputReport(bytes(1));
    } else if (verb == "writes") {
        QStringList reports;
        for (const QByteArray &report : bed.writes(index()))
            reports.append(QString::fromLatin1(report.toHex()));
        return reports.join(' ');
    } else if (verb == "begun") {
        return bed.isWrittenTo(index()) ? QStringLiteral("yes") : QStringLiteral("no");
    } else if (verb == "drain") {
        bed.drain(index());
    } else if (verb == "unplug") {
        bed.unplug(index());
    } else {
        qFatal("no such order: %s", qPrintable(verb));
    }
    return QStringLiteral("done");
}
} // namespace

int main(int, char **arguments)
{
    // udev's library finds the emulated devices only behind the other one, here too.
    if (!qEnvironmentVariableIsSet("LD_PRELOAD")) {
        qputenv("LD_PRELOAD", EMULATION_PRELOAD);
        ::execv("/proc/self/exe", arguments);
        qFatal("the emulation cannot begin");
    }
    HidBed bed;
    QTextStream in(stdin);
    QTextStream out(stdout);
    out << "UMOCKDEV_DIR=" << qgetenv("UMOCKDEV_DIR") << Qt::endl;
    out << "LD_PRELOAD=" << EMULATION_PRELOAD << Qt::endl;
    out << Qt::endl;
    for (QString line; in.readLineInto(&line);)
        out << answer(bed, line.split(' ')) << Qt::endl;
    return 0;
}
