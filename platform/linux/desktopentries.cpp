#include "platform/linux/desktopentries.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <mutex>

namespace desktopentries
{
namespace
{
constexpr QLatin1StringView suffix{".desktop"};
/// A folder's time does not tell two changes within a tick of the clock apart: what has changed so
/// recently is read again.
constexpr qint64 settlingMs = 1000;

/// The user's own folder first, then the system's, then those of sandboxed applications.
QStringList folders()
{
    QStringList result = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    result += QDir::homePath() + "/.local/share/flatpak/exports/share/applications";
    result += QStringLiteral("/var/lib/flatpak/exports/share/applications");
    result.removeDuplicates();
    return result;
}

using Keys = QMap<QString, QString>;

/// The keys of the main group.
Keys keysOf(const QString &path)
{
    QFile file(path);
    Keys keys;
    if (!file.open(QIODevice::ReadOnly))
        return keys;
    bool isMain = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            isMain = line == QLatin1StringView("[Desktop Entry]");
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (isMain && equals > 0 && !line.startsWith(QLatin1Char('#')))
            keys.insert(line.left(equals).trimmed(), line.mid(equals + 1).trimmed());
    }
    return keys;
}

QString localized(const Keys &keys, const QString &key)
{
    const QString language = QLocale::system().name(); // "de_AT"
    for (const QString &each : {language, language.section(QLatin1Char('_'), 0, 0)}) {
        QString text = keys.value(QStringLiteral("%1[%2]").arg(key, each));
        if (!text.isEmpty())
            return text;
    }
    return keys.value(key);
}

/// Understands what Exec starts. An interpreter or a launcher, which is told in an argument what
/// to start, is nobody's executable.
void readExec(const QString &exec, DesktopEntry &entry)
{
    QStringList words = QProcess::splitCommand(exec);
    if (words.isEmpty())
        return;
    const QString program = words.takeFirst();
    for (const QString &word : words) {
        const bool isField = word.startsWith(QLatin1Char('%'));
        if (!isField && !word.startsWith(QLatin1Char('-')))
            return;
        entry.options += isField ? 0 : 1;
    }
    const QString path =
        program.startsWith(QLatin1Char('/')) ? program : QStandardPaths::findExecutable(program);
    entry.executable = QFileInfo(path).canonicalFilePath();
}

DesktopEntry readEntry(const QString &file, const QString &id)
{
    const Keys keys = keysOf(file);
    DesktopEntry entry;
    entry.id = id;
    entry.file = file;
    entry.name = localized(keys, QStringLiteral("Name"));
    entry.genericName = localized(keys, QStringLiteral("GenericName"));
    readExec(keys.value(QStringLiteral("Exec")), entry);
    return entry;
}

/// All entries, by ID.
class Index
{
public:
    static Index &instance()
    {
        static Index &index = *new Index;
        return index;
    }

    std::optional<DesktopEntry> byId(const QString &id)
    {
        const std::lock_guard lock(mutex);
        refresh();
        const auto found = entries.constFind(id);
        return found == entries.cend() ? std::nullopt : std::optional(*found);
    }

    std::optional<DesktopEntry> byFile(const QString &file)
    {
        const std::lock_guard lock(mutex);
        refresh();
        for (const DesktopEntry &entry : std::as_const(entries)) {
            if (entry.file == file)
                return entry;
        }
        return std::nullopt;
    }

    std::optional<DesktopEntry> byExecutable(const QString &path)
    {
        const std::lock_guard lock(mutex);
        refresh();
        std::optional<DesktopEntry> best;
        for (const DesktopEntry &entry : std::as_const(entries)) {
            if (!entry.executable.isEmpty() && entry.executable == path &&
                (!best || entry.options < best->options))
                best = entry;
        }
        return best;
    }

private:
    void refresh()
    {
        QMap<QString, QDateTime> now;
        for (const QString &folder : folders())
            now.insert(folder, QFileInfo(folder).lastModified());
        if (now == times && isSettled)
            return;
        times = now;
        const QDateTime settled = QDateTime::currentDateTime().addMSecs(-settlingMs);
        isSettled = std::none_of(now.cbegin(), now.cend(),
                                 [&](const auto &time) { return time > settled; });
        entries.clear();
        for (const QString &folder : folders())
            readFolder(folder);
    }

    // The first folder that has an ID wins.
    void readFolder(const QString &folder)
    {
        QDirIterator files(folder, {QLatin1Char('*') + suffix}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString file = files.next();
            QString id = QDir(folder).relativeFilePath(file).chopped(suffix.size());
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            if (!entries.contains(id))
                entries.insert(id, readEntry(file, id));
        }
    }

    std::mutex mutex;
    QMap<QString, QDateTime> times;
    bool isSettled = false;
    QMap<QString, DesktopEntry> entries;
};
} // namespace

std::optional<DesktopEntry> byId(const QString &id)
{
    return Index::instance().byId(id);
}

std::optional<DesktopEntry> byFile(const QString &file)
{
    return Index::instance().byFile(file);
}

std::optional<DesktopEntry> byExecutable(const QString &path)
{
    return Index::instance().byExecutable(path);
}
} // namespace desktopentries
