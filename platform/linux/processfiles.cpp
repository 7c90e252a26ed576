#include "platform/linux/processfiles.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <unistd.h>

#include <array>
#include <climits>

namespace processfiles
{
namespace
{
QString &rootFolder()
{
    static QString folder = QStringLiteral("/proc/");
    return folder;
}

QString pathOf(quint32 pid, const char *name)
{
    return root() + QString::number(pid) + QLatin1Char('/') + QLatin1StringView(name);
}

// These files have no size; they are read to their end.
QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString sandboxId(quint32 pid)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\[Application\]\n(?:(?!\[).*\n)*?name=(.+)$)"),
        QRegularExpression::MultilineOption);
    return pattern.match(textOf(pathOf(pid, "root/.flatpak-info"))).captured(1);
}

// A hyphen inside a part of a unit's name is written as \x2d.
QString unescaped(QString part)
{
    return part.replace(QLatin1StringView("\\x2d"), QLatin1StringView("-"));
}

// "app[-launcher]-ID-random.scope" or "app[-launcher]-ID[@random].service".
QString scopeId(quint32 pid)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(/app(?:-[^-/]+)?-([^-/@]+)(?:-[^-/]+\.scope|(?:@[^/]*)?\.service)\s*$)"),
        QRegularExpression::MultilineOption);
    return unescaped(pattern.match(textOf(pathOf(pid, "cgroup"))).captured(1));
}
} // namespace

QString root()
{
    return rootFolder();
}

void setRoot(const QString &folder)
{
    rootFolder() = folder;
}

bool exists(quint32 pid)
{
    return QDir(root() + QString::number(pid)).exists();
}

QString executable(quint32 pid)
{
    constexpr QLatin1StringView deleted{" (deleted)"};
    std::array<char, PATH_MAX> path;
    const ssize_t length =
        ::readlink(QFile::encodeName(pathOf(pid, "exe")).constData(), path.data(), path.size());
    if (length <= 0)
        return {};
    const QString text = QFile::decodeName(QByteArray(path.data(), length));
    return text.endsWith(deleted) ? text.chopped(deleted.size()) : text;
}

QString shortName(quint32 pid)
{
    QString name = textOf(pathOf(pid, "comm"));
    if (name.endsWith(QLatin1Char('\n')))
        name.chop(1);
    return name;
}

QString desktopId(quint32 pid)
{
    const QString id = sandboxId(pid);
    return id.isEmpty() ? scopeId(pid) : id;
}

QList<std::pair<quintptr, quintptr>> memoryRegions(quint32 pid)
{
    QList<std::pair<quintptr, quintptr>> result;
    QFile file(pathOf(pid, "maps"));
    if (!file.open(QIODevice::ReadOnly))
        return result;
    for (const QByteArray &line : file.readAll().split('\n')) {
        // "7f12a000-7f12b000 r--p ... /usr/lib/libc.so.6"
        const auto dash = line.indexOf('-');
        const auto blank = line.indexOf(' ');
        if (dash < 0 || blank < dash || line.endsWith("[vsyscall]"))
            continue;
        result.append({line.left(dash).toULongLong(nullptr, 16),
                       line.mid(dash + 1, blank - dash - 1).toULongLong(nullptr, 16)});
    }
    return result;
}

QList<quint32> all()
{
    QList<quint32> result;
    for (const QString &name : QDir(root()).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isNumber = false;
        const quint32 pid = name.toUInt(&isNumber);
        if (isNumber)
            result.append(pid);
    }
    return result;
}
} // namespace processfiles
