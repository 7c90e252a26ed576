#include "qBreakpad/handler/qbreakpadhandler.h"

#include <QCoreApplication>
#include <QDir>

struct QBreakpadHandler::Private
{
    QString dumpPath;
};

QBreakpadHandler::QBreakpadHandler() : d(std::make_unique<Private>()) {}

QBreakpadHandler::~QBreakpadHandler() = default;

QBreakpadHandler &QBreakpadHandler::instance()
{
    static const std::unique_ptr<QBreakpadHandler> handler(new QBreakpadHandler);
    return *handler;
}

void QBreakpadHandler::setDumpPath(const QString &path)
{
    QString directory = path;
    if (QDir::isRelativePath(directory))
        directory = QDir::cleanPath(QCoreApplication::applicationDirPath() + "/" + directory);
    QDir().mkpath(directory);
    if (!QDir().exists(directory))
        return;
    d->dumpPath = directory;
}

QString QBreakpadHandler::dumpPath() const
{
    return d->dumpPath;
}
