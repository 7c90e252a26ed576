#include "platform/programversion.h"

#include <QCoreApplication>

void provideProgramVersion(const QString &version)
{
    QCoreApplication::setApplicationVersion(version);
}
