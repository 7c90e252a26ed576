// The program's log lines, caught where the message handler would get them.
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <utility>

/// Catches what any thread logs during its lifetime, one instance at a time. A line reads as
/// its level's word, a colon, a blank and the text: "Critical: CoCreateInstance faild!".
class LogCapture
{
public:
    LogCapture()
    {
        const QMutexLocker locker(&guard());
        current() = this;
        previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(previous);
        const QMutexLocker locker(&guard());
        current() = nullptr;
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// All lines so far, in a list of its own: with a shared one the reader would still be at the
    /// memory that another thread appends to.
    [[nodiscard]] QStringList lines() const
    {
        const QMutexLocker locker(&guard());
        return {caught.begin(), caught.end()};
    }
    /// All lines since the last call.
    [[nodiscard]] QStringList take()
    {
        const QMutexLocker locker(&guard());
        return std::exchange(caught, {});
    }
    void clear()
    {
        const QMutexLocker locker(&guard());
        caught.clear();
    }
    /// The lines of one level, as "Critical".
    [[nodiscard]] QStringList linesOf(const QString &level) const
    {
        return lines().filter(QRegularExpression("^" + level + ": "));
    }

private:
    static QMutex &guard()
    {
        static QMutex mutex;
        return mutex;
    }
    static LogCapture *&current()
    {
        static LogCapture *instance = nullptr;
        return instance;
    }
    static const char *word(QtMsgType type)
    {
        switch (type) {
        case QtDebugMsg:
            return "Debug: ";
        case QtInfoMsg:
            return "Info: ";
        case QtWarningMsg:
            return "Warning: ";
        case QtCriticalMsg:
            return "Critical: ";
        case QtFatalMsg:
            return "Fatal: ";
        }
        return "";
    }
    static void handle(QtMsgType type, const QMessageLogContext &, const QString &text)
    {
        const QMutexLocker locker(&guard());
        if (current())
            current()->caught.append(word(type) + text);
    }

    QStringList caught;
    QtMessageHandler previous = nullptr;
};
