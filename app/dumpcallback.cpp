#include "app/dumpcallback.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QStringList>

void onDumpCallBack(QString dumpFileName)
{
    const QString dumpPath = QDir::toNativeSeparators(dumpFileName + ".dmp");
    qCritical() << "Software dump callback!!!" << dumpPath;
    qInfo() << "Freeing application resources...";
    // What a restart would need; the program does not restart itself.
    [[maybe_unused]] const QString program = QCoreApplication::applicationFilePath();
    [[maybe_unused]] const QStringList arguments = QCoreApplication::arguments();
    [[maybe_unused]] const QString directory = QCoreApplication::applicationDirPath();
}
