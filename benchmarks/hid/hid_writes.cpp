// What the way through the program costs a client that writes to a HID device: bytes a second
// through the controller's own body of the command, next to hidapi called directly, on the same
// scripted device in one run.
//
// The device takes one report each 125 µs, as an endpoint on a high-speed bus with the shortest
// interval does. Exits with 1 if the ratio is below 0.9.
#include "VXLibrary/src/vxgeneraldevice.h"
#include "platform/hid.h"
#include "platform/simulated/simulated.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QTextStream>

#include <algorithm>
#include <vector>

namespace
{
constexpr int reportLength = 64;
constexpr int reportsInAWrite = 16;
constexpr int writes = 250;
constexpr int rounds = 5;
constexpr double leastRatio = 0.9;

double bytesInASecond(const QElapsedTimer &timer)
{
    return double(reportLength) * reportsInAWrite * writes / (double(timer.nsecsElapsed()) / 1e9);
}

double direct()
{
    hid_device *device = hid_open_path("bench");
    std::vector<unsigned char> buffer(reportLength + 1, 7);
    buffer[0] = 0;
    QElapsedTimer timer;
    timer.start();
    for (int report = 0; report < writes * reportsInAWrite; ++report)
        hid_write(device, buffer.data(), buffer.size());
    const double speed = bytesInASecond(timer);
    hid_close(device);
    return speed;
}

/// What the command does with its data: numbers become bytes, bytes reports, and the result a
/// signal.
double throughTheProgram()
{
    VXGeneralDevice device;
    device.openDevice(false, 0x1234, 0x5678, {}, -1, -1, 0);
    QJsonArray numbers;
    for (int place = 0; place < reportLength * reportsInAWrite; ++place)
        numbers.append(7);
    QElapsedTimer timer;
    timer.start();
    for (int round = 0; round < writes; ++round) {
        QByteArray bytes;
        for (const QJsonValue &number : std::as_const(numbers))
            bytes.append(char(number.toInt(0)));
        device.writeData(bytes, VXHidOutput, false);
    }
    return bytesInASecond(timer);
}

double medianRatio(int intervalUs)
{
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        simulated::reset();
        simulated::addHidDevice({.path = "bench", .writeIntervalUs = intervalUs});
        const double first = direct();
        ratios.push_back(throughTheProgram() / first);
    }
    std::sort(ratios.begin(), ratios.end());
    return ratios[ratios.size() / 2];
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QTextStream out(stdout);
    const double ratio = medianRatio(125);
    out << "a report each 125 us: " << ratio << " of hidapi's own speed (at least " << leastRatio
        << ")\n";
    out << "a device without an interval: " << medianRatio(0) << " (for the record)" << Qt::endl;
    return ratio >= leastRatio ? 0 : 1;
}
