#include "platform/pipewire/approutes.h"

#include "platform/pipewire/endpointid.h"

#include <QDir>
#include <QSettings>

#include <mutex>

namespace approutes
{
namespace
{
constexpr QLatin1StringView longPrefix{R"(\\?\SWD#MMDEVAPI#)"};
constexpr QLatin1StringView volume{R"(\Device\HarddiskVolume1)"};

/// One application: its names, and its endpoints by "00F_00R".
struct Entry
{
    QStringList names;
    QMap<QString, QString> endpoints;
};

struct Store
{
    std::mutex mutex;
    bool isRead = false;
    QMap<QString, Entry> entries; ///< by executable
};

Store &store()
{
    static Store &instance = *new Store;
    return instance;
}

QString keyOf(EDataFlow flow, ERole role)
{
    return QStringLiteral("%1_%2")
        .arg(int(flow), 3, 10, QLatin1Char('0'))
        .arg(int(role), 3, 10, QLatin1Char('0'));
}

EDataFlow flowOf(const QString &key)
{
    return key.startsWith(QLatin1StringView("001")) ? eCapture : eRender;
}

QString filePath()
{
    QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    if (folder.isEmpty())
        folder = QDir::homePath() + QLatin1StringView("/.local/state");
    return folder + QLatin1StringView("/quorvane/app-routes.ini");
}

// Paths hold slashes, which would part groups: they are values.
void read(Store &store)
{
    if (std::exchange(store.isRead, true))
        return;
    QSettings file(filePath(), QSettings::IniFormat);
    const int count = file.beginReadArray(QStringLiteral("applications"));
    for (int index = 0; index < count; ++index) {
        file.setArrayIndex(index);
        Entry &entry = store.entries[file.value("executable").toString()];
        entry.names = file.value("names").toStringList();
        file.beginGroup(QStringLiteral("endpoints"));
        for (const QString &key : file.childKeys())
            entry.endpoints.insert(key, file.value(key).toString());
        file.endGroup();
    }
}

void write(const Store &store)
{
    QDir().mkpath(QFileInfo(filePath()).path());
    QSettings file(filePath(), QSettings::IniFormat);
    file.clear();
    file.beginWriteArray(QStringLiteral("applications"), int(store.entries.size()));
    int index = 0;
    for (auto entry = store.entries.cbegin(); entry != store.entries.cend(); ++entry) {
        file.setArrayIndex(index++);
        file.setValue("executable", entry.key());
        file.setValue("names", entry->names);
        for (auto each = entry->endpoints.cbegin(); each != entry->endpoints.cend(); ++each)
            file.setValue(QLatin1StringView("endpoints/") + each.key(), each.value());
    }
    file.endArray();
}

/// The application's path as the registry would have it, and one for each other name.
QStringList registryPaths(const QString &executable, const QStringList &names)
{
    QString path = volume + executable;
    path.replace(QLatin1Char('/'), QLatin1Char('\\'));
    QStringList result{path};
    for (const QString &name : names) {
        if (!path.endsWith(name, Qt::CaseInsensitive))
            result.append(path + QLatin1Char('\\') + name);
    }
    return result;
}
} // namespace

QString route(const QString &executable, EDataFlow flow, ERole role)
{
    const std::lock_guard lock(store().mutex);
    read(store());
    return store().entries.value(executable).endpoints.value(keyOf(flow, role));
}

void setRoute(const Application &application, EDataFlow flow, ERole role, const QString &endpointId)
{
    const std::lock_guard lock(store().mutex);
    read(store());
    Entry &entry = store().entries[application.executable];
    entry.names = application.names;
    entry.endpoints.insert(keyOf(flow, role), endpointId);
    write(store());
}

QMap<QString, QVariant> settings()
{
    const std::lock_guard lock(store().mutex);
    read(store());
    QMap<QString, QVariant> values;
    for (auto entry = store().entries.cbegin(); entry != store().entries.cend(); ++entry) {
        for (const QString &path : registryPaths(entry.key(), entry->names)) {
            const QString group = endpointGuid(path) + QLatin1Char('/');
            values.insert(group + QLatin1Char('.'), path);
            for (auto each = entry->endpoints.cbegin(); each != entry->endpoints.cend(); ++each)
                values.insert(group + each.key(), longForm(each.value(), flowOf(each.key())));
        }
    }
    return values;
}

QString longForm(const QString &endpointId, EDataFlow flow)
{
    if (endpointId.isEmpty())
        return {};
    return longPrefix + endpointId + QLatin1Char('#') + interfaceClassOf(flow);
}

QString endpointOfLongForm(const QString &text)
{
    return text.startsWith(longPrefix) ? text.section(QLatin1Char('#'), 2, 2) : QString();
}

void reload()
{
    const std::lock_guard lock(store().mutex);
    store().isRead = false;
    store().entries.clear();
}
} // namespace approutes
