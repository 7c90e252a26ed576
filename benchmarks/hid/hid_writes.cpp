// What the way through the program costs a client that writes to a HID device: bytes a second
// through the controller's own body of the command, next to hidapi called directly, on the same
// scripted device in one run.
//
// The device takes one report each 125 µs, as an endpoint on a high-speed bus with the shortest
// interval does. Exits with 1 if the ratio is below 0.9. A device that takes a report at once is
// measured for the record: what remains then is the program's own work on each report.
#include "app/quorvanewidget.h"
#include "platform/hid.h"
#include "platform/simulated/simulated.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
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
const QByteArray path = "bench";

double bytesInASecond(const QElapsedTimer &timer)
{
    return double(reportLength) * reportsInAWrite * writes / (double(timer.nsecsElapsed()) / 1e9);
}

double direct()
{
    hid_device *device = hid_open_path(path.constData());
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

double throughTheProgram(QuorvaneWidget &program)
{
    const QJsonObject device{{"VID", 0x1234}, {"PID", 0x5678}, {"enableReadThread", false}};
    program.openHidDevice(device);
    QJsonArray data;
    for (int place = 0; place < reportLength * reportsInAWrite; ++place)
        data.append(7);
    QElapsedTimer timer;
    timer.start();
    for (int write = 0; write < writes; ++write)
        program.writeDataToHidDevice(device, data);
    const double speed = bytesInASecond(timer);
    program.closeHidDevice(device);
    return speed;
}

double medianRatio(QuorvaneWidget &program, int intervalUs)
{
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        simulated::removeHidDevice(path);
        simulated::addHidDevice({.path = path, .writeIntervalUs = intervalUs});
        const double first = direct();
        ratios.push_back(throughTheProgram(program) / first);
        if (simulated::hidWrites(path).size() != 2 * writes * reportsInAWrite)
            qFatal("a report is missing");
        simulated::clearCalls();
    }
    std::sort(ratios.begin(), ratios.end());
    return ratios[ratios.size() / 2];
}
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            QTextStream(stderr) << text << Qt::endl;
    });
    simulated::reset();
    QuorvaneWidget program;
    QTextStream out(stdout);
    const double ratio = medianRatio(program, 125);
    out << "a report each 125 us: " << ratio << " of hidapi's own speed (at least " << leastRatio
        << ")\n";
    out << "a device without an interval: " << medianRatio(program, 0) << " (for the record)"
        << Qt::endl;
    return ratio >= leastRatio ? 0 : 1;
}
