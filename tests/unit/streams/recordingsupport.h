// Where recordings go in a test, and how they are looked at.
#pragma once

#include "streams/wavheader.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

#include <array>

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
    WorkingDirectory() : before(QDir::currentPath()), temporaryBefore(qgetenv("TMPDIR"))
    {
        QDir::setCurrent(directory.path());
        QDir().mkdir("temporary");
        qputenv("TMPDIR", directory.filePath("temporary").toLocal8Bit());
    }
    ~WorkingDirectory()
    {
        QDir::setCurrent(before);
        if (temporaryBefore.isNull())
            qunsetenv("TMPDIR");
        else
            qputenv("TMPDIR", temporaryBefore);
    }
    WorkingDirectory(const WorkingDirectory &) = delete;
    WorkingDirectory &operator=(const WorkingDirectory &) = delete;

    [[nodiscard]] static QStringList recordings() { return QDir().entryList(QDir::Files); }
    /// The sizes of the temporary files, which have no name in the directory.
    [[nodiscard]] QList<qint64> temporaries() const
    {
        const QString place = QDir(directory.filePath("temporary")).canonicalPath() + '/';
        QList<qint64> sizes;
        QDirIterator open("/proc/self/fd", QDir::Files | QDir::System);
        while (open.hasNext()) {
            const QByteArray link = open.next().toLocal8Bit();
            std::array<char, 4096> target{};
            struct stat status;
            if (readlink(link.constData(), target.data(), target.size() - 1) > 0 &&
                QString::fromLocal8Bit(target.data()).startsWith(place) &&
                stat(link.constData(), &status) == 0)
                sizes.append(status.st_size);
        }
        return sizes;
    }

private:
    QTemporaryDir directory;
    QString before;
    QByteArray temporaryBefore;
};
