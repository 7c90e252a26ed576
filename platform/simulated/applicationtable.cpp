#include "platform/simulated/applicationtable.h"

#include "platform/coreaudio.h"
#include "platform/simulated/immortal.h"

#include <QMap>

#include <algorithm>
#include <mutex>

namespace simulated
{

namespace
{

// A process can always open itself.
QMap<DWORD, Application> ownProcessOnly()
{
    Application self;
    self.processId = GetCurrentProcessId();
    return {{self.processId, self}};
}

struct Tables
{
    std::mutex mutex;
    QMap<DWORD, Application> applications = ownProcessOnly();
    QMap<QString, Package> packages;
    QMap<QString, QString> indirectStrings;
    UINT translationBytes = 4;
};

Tables &tables()
{
    return immortal<Tables>();
}

template <typename Map>
std::optional<typename Map::mapped_type> valueAt(const Map &map, const typename Map::key_type &key)
{
    const auto found = map.constFind(key);
    return found == map.cend() ? std::nullopt : std::optional(*found);
}

template <typename Map, typename Predicate>
std::optional<typename Map::mapped_type> firstOf(const Map &map, Predicate matches)
{
    const auto found = std::find_if(map.cbegin(), map.cend(), matches);
    return found == map.cend() ? std::nullopt : std::optional(*found);
}

} // namespace

void setApplication(const Application &application)
{
    const std::lock_guard lock(tables().mutex);
    tables().applications.insert(application.processId, application);
}

void setPackage(const Package &package)
{
    const std::lock_guard lock(tables().mutex);
    tables().packages.insert(package.fullName, package);
}

void setIndirectString(const QString &source, const QString &text)
{
    const std::lock_guard lock(tables().mutex);
    tables().indirectStrings.insert(source, text);
}

void setTranslationBytes(UINT bytes)
{
    const std::lock_guard lock(tables().mutex);
    tables().translationBytes = bytes;
}

UINT translationBytes()
{
    const std::lock_guard lock(tables().mutex);
    return tables().translationBytes;
}

std::optional<Application> findApplication(DWORD processId)
{
    const std::lock_guard lock(tables().mutex);
    return valueAt(tables().applications, processId);
}

std::optional<Application> findApplicationByPath(const QString &imagePath)
{
    const std::lock_guard lock(tables().mutex);
    return firstOf(tables().applications,
                   [&](const Application &each) { return each.imagePath == imagePath; });
}

QList<Application> allApplications()
{
    const std::lock_guard lock(tables().mutex);
    return tables().applications.values();
}

std::optional<Package> findPackage(const QString &fullName)
{
    const std::lock_guard lock(tables().mutex);
    return valueAt(tables().packages, fullName);
}

std::optional<Package> findPackageByPath(const QString &installPath)
{
    const std::lock_guard lock(tables().mutex);
    return firstOf(tables().packages,
                   [&](const Package &each) { return each.installPath == installPath; });
}

std::optional<QString> findIndirectString(const QString &source)
{
    const std::lock_guard lock(tables().mutex);
    return valueAt(tables().indirectStrings, source);
}

void resetApplications()
{
    const std::lock_guard lock(tables().mutex);
    tables().applications = ownProcessOnly();
    tables().packages.clear();
    tables().indirectStrings.clear();
    tables().translationBytes = 4;
}

} // namespace simulated
