// The diagnostic window, and the list of endpoints that the name maps are filled from.
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "streams/tavorioutputdevice.h"

#include <QComboBox>
#include <QDebug>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

namespace
{
constexpr int recordComboHeight = 24; // pixels

bool looksVirtual(const QString &name)
{
    return name.startsWith(QLatin1StringView("tavori - ")) &&
           name.endsWith(QLatin1StringView(" (") + adapterName + QLatin1Char(')'));
}
} // namespace

void QuorvaneWidget::buildWindow()
{
    auto *rows = new QVBoxLayout(this);

    logView = new QTextEdit(this);
    auto *viewRow = new QHBoxLayout;
    viewRow->addWidget(logView);
    rows->addLayout(viewRow, 1);

    recordDeviceCombo = new QComboBox(this);
    recordDeviceCombo->setFixedHeight(recordComboHeight);
    recordButton = new QPushButton(QStringLiteral("Record"), this);
    auto *recordRow = new QHBoxLayout;
    recordRow->addWidget(recordDeviceCombo, 1);
    recordRow->addWidget(recordButton, 0);
    rows->addLayout(recordRow, 0);

    connect(recordDeviceCombo, &QComboBox::currentIndexChanged, this,
            &QuorvaneWidget::onRecordDeviceSelected);
    connect(recordButton, &QPushButton::clicked, this, &QuorvaneWidget::onRecordClicked);
}

void QuorvaneWidget::printfInfo(QString info)
{
    qInfo() << info;
}

void QuorvaneWidget::printEndpointDeviceNames()
{
    const QString name = QStringLiteral("QuorvaneWidget::printEndpointDeviceNames");
    printfInfo(QStringLiteral("%1 : begin").arg(name));
    printEndpointList(QStringLiteral("OutputDevice :"), &SystemSoundMonitor::getOutputDeviceInfos,
                      outputDeviceNames);
    printfInfo(QString());
    printEndpointList(QStringLiteral("InputDevice :"), &SystemSoundMonitor::getInputDeviceInfos,
                      inputDeviceNames);
    printfInfo(QStringLiteral("%1 : end").arg(name));
}

void QuorvaneWidget::printEndpointList(const QString &title, EndpointList list,
                                       QMap<QString, QString> &names)
{
    printfInfo(title);
    const QJsonArray infos =
        systemSoundMonitor ? (systemSoundMonitor.data()->*list)() : QJsonArray();
    names.clear();
    for (const QJsonValue info : infos) {
        const QString id = info[QLatin1StringView("deviceID")].toString();
        const QString name = info[QLatin1StringView("deviceName")].toString();
        printfInfo(QStringLiteral("Device Name : %1").arg(name));
        printfInfo(QStringLiteral("Device id : %1").arg(id));
        names.insert(id, name);
        if (looksVirtual(name))
            recordDeviceCombo->addItem(name, id);
        printfInfo(QStringLiteral("---------------------------------"));
    }
}

void QuorvaneWidget::onRecordDeviceSelected(int index)
{
    const QString id = recordDeviceCombo->itemData(index).toString();
    QString name = outputDeviceNames.value(id);
    if (name.isEmpty())
        name = inputDeviceNames.value(id);
    qInfo() << QStringLiteral("Select audio record device : %1").arg(name);
}

void QuorvaneWidget::onRecordClicked()
{
    isRecording = !isRecording;
    recordButton->setText(isRecording ? QStringLiteral("Stop Record")
                                      : QStringLiteral("Start Record"));
    if (isRecording)
        startRecord();
    else
        stopRecord();
}

void QuorvaneWidget::startRecord()
{
    const QString name = outputDeviceNames.value(recordDeviceCombo->currentData().toString());
    const Channel *channel = channelOfFullName(name);
    const OutputDevicePointer *slot = channel ? outputSlot(channel->type) : nullptr;
    if (!slot) {
        printfInfo(QStringLiteral("Not support this device : %1,").arg(name));
        return;
    }
    if (!*slot)
        return;
    (*slot)->startRecord();
    printfInfo(QStringLiteral("Start (%1) audio record.").arg(name));
}

void QuorvaneWidget::stopRecord()
{
    forEachOutput([](tavoriOutputDevice &device) { device.stopRecord(); });
    qInfo() << "Stop audio record.";
}
