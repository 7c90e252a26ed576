// Where recordings go in a test, and how they are looked at.
#pragma once

#include "streams/wavheader.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

[[nodiscard]] inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// What the speaker records from a block to a recorder's WAV.
[[nodiscard]] inline QByteArray wavOf(const QByteArray &data)
{
    return wavHeader(2, 16, 48000, data.size()) + data;
}

/// The working directory and the place of temporary files, for the length of a test.
class WorkingDirectory
{
public:
    WorkingDirectory() : before(QDir::currentPath()), temporaryBefore(QDir::tempPath())
    {
        QDir::setCurrent(directory.path());
        QDir().mkdir("temporary");
        putTemporaries(directory.filePath("temporary"));
    }
    ~WorkingDirectory()
    {
        QDir::setCurrent(before);
        putTemporaries(temporaryBefore);
    }
    WorkingDirectory(const WorkingDirectory &) = delete;
    WorkingDirectory &operator=(const WorkingDirectory &) = delete;

    [[nodiscard]] static QStringList recordings() { return QDir().entryList(QDir::Files); }
    /// The sizes of the temporary files. On Linux they have no name in the directory.
    [[nodiscard]] QList<qint64> temporaries() const
    {
        const QDir place(directory.filePath("temporary"));
        const QString beginning = place.canonicalPath() + '/';
        QList<qint64> sizes;
        for (const QFileInfo &named : place.entryInfoList(QDir::Files))
            sizes.append(named.size());
        QDirIterator open("/proc/self/fd", QDir::Files | QDir::System);
        while (open.hasNext()) {
            const QFileInfo link(open.next());
            if (link.symLinkTarget().startsWith(beginning) &&
                !QFileInfo::exists(link.symLinkTarget()))
                sizes.append(link.size());
        }
        return sizes;
    }
    /// Where temporary files go from now on.
    static void putTemporaries(const QString &path)
    {
        for (const char *name : {"TMPDIR", "TMP", "TEMP"})
            qputenv(name, QDir::toNativeSeparators(path).toLocal8Bit());
    }

private:
    QTemporaryDir directory;
    QString before;
    QString temporaryBefore;
};
