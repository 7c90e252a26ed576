// The virtual endpoints: which there are, showing and hiding them.
#include "app/quorvanewidget.h"
#include "app/virtualendpoints.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"

namespace
{
/// What start-up does with a channel's endpoints.
enum class StartAction
{
    Show,
    ShowLast,
    Hide,
};

StartAction startActionOf(tavoriDeviceType type)
{
    switch (type) {
    case tavoriGame:
        return StartAction::ShowLast;
    case tavoriAux2:
    case tavoriAux3:
    case tavoriBrowser:
    case tavoriStream:
        return StartAction::Hide;
    default:
        return StartAction::Show;
    }
}
} // namespace

QMap<QString, QJsonObject> QuorvaneWidget::scanVirtualEndpoints()
{
    return readVirtualEndpointCatalogue();
}

QList<QJsonObject> QuorvaneWidget::virtualEndpointList() const
{
    return virtualEndpoints.values();
}

QString QuorvaneWidget::findVirtualEndpointId(const QString &shortName, bool isCapture) const
{
    const QList<QJsonObject> entries = virtualEndpointList();
    for (const QJsonObject &entry : entries) {
        if (shortNameOfEntry(entry) == shortName && isCaptureEntry(entry) == isCapture)
            return endpointIdOfEntry(virtualEndpoints, entry);
    }
    return {};
}

bool QuorvaneWidget::isVirtualEndpointName(const QString &name)
{
    return channelOfFullName(name) != nullptr;
}

bool QuorvaneWidget::isVirtualEndpointId(const QString &id)
{
    if (virtualEndpoints.isEmpty())
        virtualEndpoints = scanVirtualEndpoints();
    return virtualEndpoints.contains(id);
}

bool QuorvaneWidget::enableEndpoint(const QString &id)
{
    return !id.isEmpty() && systemSoundMonitor &&
           systemSoundMonitor->setAudioDeviceVisibility(id, true);
}

bool QuorvaneWidget::disableEndpoint(const QString &id)
{
    return !id.isEmpty() && systemSoundMonitor &&
           systemSoundMonitor->setAudioDeviceVisibility(id, false);
}

void QuorvaneWidget::enableVirtualEndpoints()
{
    QString gamingId;
    const QList<QJsonObject> entries = virtualEndpointList();
    for (const QJsonObject &entry : entries) {
        const Channel *channel = channelOfShortName(shortNameOfEntry(entry));
        if (!channel)
            continue;
        const QString id = endpointIdOfEntry(virtualEndpoints, entry);
        switch (startActionOf(channel->type)) {
        case StartAction::Show:
            enableEndpoint(id);
            break;
        case StartAction::ShowLast:
            gamingId = id;
            break;
        case StartAction::Hide:
            disableEndpoint(id);
            break;
        }
    }
    // The system makes the endpoint that appeared last its default: Gaming comes after all others.
    enableEndpoint(gamingId);
}

void QuorvaneWidget::hideVirtualEndpoints()
{
    virtualEndpoints = scanVirtualEndpoints();
    const QList<QJsonObject> entries = virtualEndpointList();
    for (const QJsonObject &entry : entries) {
        if (channelOfShortName(shortNameOfEntry(entry)))
            disableEndpoint(endpointIdOfEntry(virtualEndpoints, entry));
    }
}
