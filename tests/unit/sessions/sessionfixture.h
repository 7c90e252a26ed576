// What the tests of sessions share.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"
#include "platform/simulated/simulated.h"
#include "sessions/audiosessionmanager.h"
#include "tests/support/logcapture.h"
#include "tests/support/threadqueue.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

#include <functional>

/// The prefix that stands where an icon could be.
inline const QString iconPrefix = "data:image/png;base64,";
inline const QString noGrouping = "0-0-0-00000000";
/// As long as anything under way may take to arrive.
inline constexpr int arrivalMs = 30000;

/// A simulated system with two outputs and a microphone, three known applications, and a log that
/// is caught.
class SessionFixture
{
public:
    SessionFixture();
    ~SessionFixture();
    SessionFixture(const SessionFixture &) = delete;
    SessionFixture &operator=(const SessionFixture &) = delete;

    /// Makes a process known by a name and the path of its executable.
    static void addApplication(DWORD processId, const QString &name, const QString &path);

    /// The control of the endpoint's session at an index, as the platform hands it out.
    [[nodiscard]] static ComPtr<IAudioSessionControl> controlOf(const QString &endpointId,
                                                                int index = 0);
    [[nodiscard]] static ComPtr<IAudioSessionManager2> managerOf(const QString &endpointId);

    QString speakers; ///< the default output
    QString headset;  ///< the other output
    QString microphone;
    LogCapture log;
};

// The known applications.
inline constexpr DWORD playerId = 101;
inline constexpr DWORD browserId = 202;
inline constexpr DWORD gameId = 303;

/// As the program makes and ends it.
inline QSharedPointer<AudioSessionManager> makeManager(bool useWorkerThread = true)
{
    return {new AudioSessionManager(useWorkerThread), &AudioSessionManager::end};
}

/// Gathers signals as texts, "sigName(argument, argument)": lists and objects by their size.
class SignalLog : public QObject
{
    Q_OBJECT

public:
    template <typename Sender, typename Signal>
    void listen(const Sender &sender, const char *name, Signal signal)
    {
        connect(&sender, signal, this, [this, name](const auto &...arguments) {
            QStringList words;
            (words.append(textOf(arguments)), ...);
            texts.append(QStringLiteral("%1(%2)").arg(QLatin1String(name), words.join(", ")));
        });
    }

    /// Waits until that many have come, then gives all of them.
    [[nodiscard]] QStringList take(qsizetype count);
    /// What has come so far, when everything under way has arrived.
    [[nodiscard]] QStringList takeSettled(QObject &source);

private:
    static QString textOf(const QString &text) { return text; }
    static QString textOf(int number) { return QString::number(number); }
    static QString textOf(bool truth) { return truth ? "true" : "false"; }
    static QString textOf(const QJsonArray &list) { return QString("[%1]").arg(list.size()); }
    static QString textOf(const QJsonObject &object) { return QString("{%1}").arg(object.size()); }
    template <typename Pointer>
    static QString textOf(Pointer *pointer)
    {
        return pointer ? "object" : "null";
    }

    QStringList texts;
};

/// The class's own signals and slots, in the order of their declaration.
[[nodiscard]] QStringList signaturesOf(const QMetaObject &type);

/// Returns when what the platform has announced has passed through the threads of both objects.
void settle(QObject &source);

/// Listens to every event signal that sessions, their endpoints and the manager have in common.
template <typename Source>
void listenToEvents(SignalLog &log, const Source &source)
{
    log.listen(source, "sigAudioSessionInfoChanged", &Source::sigAudioSessionInfoChanged);
    log.listen(source, "sigDisplayNameChanged", &Source::sigDisplayNameChanged);
    log.listen(source, "sigIconPathChanged", &Source::sigIconPathChanged);
    log.listen(source, "sigGroupingParamChanged", &Source::sigGroupingParamChanged);
    log.listen(source, "sigAudioSessionStateActive", &Source::sigAudioSessionStateActive);
    log.listen(source, "sigAudioSessionStateInactive", &Source::sigAudioSessionStateInactive);
    log.listen(source, "sigAudioSessionStateExpired", &Source::sigAudioSessionStateExpired);
    log.listen(source, "sigAudioSessionDisconnected", &Source::sigAudioSessionDisconnected);
}
