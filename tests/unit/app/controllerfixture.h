// A controller on the simulated platform, with the virtual card, two real outputs and a microphone.
#pragma once

#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "tests/support/logcapture.h"
#include "tests/support/portlock.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QWebSocket>

#include <memory>

/// The simulated world is made anew by the constructor; `start` makes the controller and connects
/// a client to it.
class ControllerFixture
{
public:
    ControllerFixture();
    ~ControllerFixture();

    void start();
    /// Ends as the program does: the quit handler, then the destructor.
    void quit();

    /// Sends a command and returns at once.
    void send(const QString &event, const QJsonObject &payload = {});
    /// Returns when all commands sent before have been handled and their answers are here.
    void settle();
    /// The payload of the next event of this name; empty when it does not come in time.
    [[nodiscard]] QJsonObject waitForEvent(const QString &event);
    /// All events that came and were not waited for.
    [[nodiscard]] QStringList pendingEvents() const;
    void clearEvents() { events.clear(); }

    [[nodiscard]] static QString renderId(tavoriDeviceType type);
    [[nodiscard]] static QString captureId(tavoriDeviceType type);
    /// Waits until a line that holds the text is logged.
    [[nodiscard]] bool waitForLog(const QString &text) const;

    QString speakers;
    QString headset;
    QString microphone;
    LogCapture log;
    std::unique_ptr<QuorvaneWidget> widget;

private:
    PortLock portLock;
    QWebSocket client;
    QList<QJsonObject> events;
};
