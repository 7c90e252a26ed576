#include "sessions/registeredendpoint.h"

#include "platform/settingstree.h"

#include <QStringList>

namespace
{
constexpr QLatin1StringView treePath{
    R"(\HKEY_CURRENT_USER\Software\Microsoft\Multimedia\Audio\DefaultEndpoint)"};
constexpr QLatin1StringView executablePrefix{R"(\Device\HarddiskVolume)"};
constexpr QLatin1StringView applicationKey{"."};    // the default value of a registry key
constexpr QLatin1StringView endpointKey{"000_000"}; // render, for the console role
constexpr qsizetype endpointPiece = 2;              // of a long form, split at '#'

bool isExecutable(const QString &application, const QString &processName)
{
    return !application.isEmpty() && !processName.isEmpty() &&
           application.endsWith(processName, Qt::CaseInsensitive);
}

// "Name_hash!App" is installed in a folder "Name_version_architecture__hash".
bool isPackage(const QString &application, const QString &processFileName)
{
    const QStringList path = processFileName.split(QLatin1Char('\\'));
    if (path.size() < 2)
        return false;
    const QStringList identity =
        application.split(QLatin1Char('!')).constFirst().split(QLatin1Char('_'));
    const QStringList folder = path[path.size() - 2].split(QLatin1Char('_'));
    return identity.constFirst() == folder.constFirst() &&
           identity.constLast() == folder.constLast();
}

bool isSame(const QString &application, const QString &processName, const QString &processFileName)
{
    return application.startsWith(executablePrefix) ? isExecutable(application, processName)
                                                    : isPackage(application, processFileName);
}
} // namespace

std::optional<RegisteredEndpoint> registeredEndpoint(const QString &processName,
                                                     const QString &processFileName)
{
    const auto settings = openSettingsTree(treePath);
    const QStringList groups = settings->childGroups();
    for (const QString &group : groups) {
        settings->beginGroup(group);
        const QString application = settings->value(applicationKey).toString();
        const QString endpoint = settings->value(endpointKey).toString();
        settings->endGroup();
        if (isSame(application, processName, processFileName))
            return RegisteredEndpoint{endpoint.isEmpty(),
                                      endpoint.split(QLatin1Char('#')).value(endpointPiece)};
    }
    return std::nullopt;
}
