// A home of its own for a program under test: no file of the user's, no name of another test.
#pragma once

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A directory that vanishes with the object, and the environment that points a program there.
/// Local sockets stand in its TMPDIR; the path is short enough for their names.
class PrivateHome
{
public:
    PrivateHome() : root((isWindows ? QDir::tempPath() : QString("/tmp")) + "/qv-XXXXXX")
    {
        if (isWindows)
            QDir(applicationData()).removeRecursively();
        for (const char *name : {"home", "data", "config", "state", "cache", "run", "tmp"})
            QDir(root.path()).mkdir(name);
        QFile::setPermissions(path("run"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    [[nodiscard]] QString path(const QString &name) const { return root.filePath(name); }

    /// The environment of this process with all homes replaced and no display.
    [[nodiscard]] QProcessEnvironment environment() const
    {
        QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            result.remove(name);
        result.insert("HOME", path("home"));
        result.insert("XDG_DATA_HOME", path("data"));
        result.insert("XDG_CONFIG_HOME", path("config"));
        result.insert("XDG_STATE_HOME", path("state"));
        result.insert("XDG_CACHE_HOME", path("cache"));
        result.insert("XDG_RUNTIME_DIR", path("run"));
        result.insert("TMPDIR", path("tmp"));
        return result;
    }

    /// Where the program keeps its data. No environment tells it to a program for Windows: one
    /// under test must take Qt's place for tests, which is one for all.
    [[nodiscard]] QString applicationData() const
    {
        if (!isWindows)
            return path("data/tavori/Quorvane");
        QStandardPaths::setTestModeEnabled(true);
        return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)
                   .section("/qttest/", 0, 0) +
               "/qttest/tavori/Quorvane";
    }
    [[nodiscard]] QString cacheFile() const { return applicationData() + "/data/cache.ini"; }

    /// The log files of all runs, oldest first, with their paths.
    [[nodiscard]] QStringList logFiles() const
    {
        const QDir logs(applicationData() + "/logs");
        QStringList result;
        for (const QString &name : logs.entryList(QDir::Files, QDir::Name))
            result << logs.filePath(name);
        return result;
    }
    /// What the latest run has logged so far; null without a log file.
    [[nodiscard]] QByteArray log() const
    {
        const QStringList files = logFiles();
        if (files.isEmpty())
            return {};
        QFile file(files.last());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
#ifdef _WIN32
    static constexpr bool isWindows = true;
#else
    static constexpr bool isWindows = false;
#endif
    QTemporaryDir root;
};
