#include "client/exitcode.h"

#include <QTextStream>

Exit fail(Exit code, const QString &reason)
{
    QTextStream(stderr) << "quorvanectl: " << reason << Qt::endl;
    return code;
}
