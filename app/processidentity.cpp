#include "app/processidentity.h"

#include "platform/programversion.h"
#include "platform/systemversion.h"

#include <QDebug>
#include <QLocale>
#include <QStringList>
#include <QSysInfo>

#include <array>

GUID processGuid{};
WindowsVersion windowsVersion;

namespace
{

constexpr QLatin1StringView qtVersionText{"6.8.3"};
constexpr QLatin1StringView programVersionText{QUORVANE_VERSION}; // the build's

} // namespace

void provideProgramVersion()
{
    provideProgramVersion(programVersionText);
}

void createProcessGuid()
{
    if (SUCCEEDED(CoCreateGuid(&processGuid)))
        return;
    qCritical() << "Fail to create guid!!!";
    processGuid = GUID{};
}

void determineWindowsVersion()
{
    WindowsVersion &version = windowsVersion;
    if (!readSystemVersion(version.major, version.minor, version.build))
        readKernelVersion(QSysInfo::kernelVersion(), version);
}

void readKernelVersion(const QString &kernelVersion, WindowsVersion &version)
{
    if (kernelVersion.isEmpty()) {
        qCritical() << "Fail to get windows version!!!";
        return;
    }
    const QStringList parts = kernelVersion.split(".");
    const std::array<int *, 3> numbers{&version.major, &version.minor, &version.build};
    for (qsizetype i = 0; i < parts.size() && i < qsizetype(numbers.size()); ++i)
        *numbers[i] = parts[i].toInt();
}

void logProcessIdentity()
{
    qInfo() << QString(qtVersionText);
    qInfo() << QString("%1 %2").arg(QSysInfo::productVersion(), QSysInfo::productType());
    qInfo() << QSysInfo::kernelVersion();
    qInfo() << QLocale::languageToString(QLocale::system().language());
    qInfo() << QString(programVersionText);
}
