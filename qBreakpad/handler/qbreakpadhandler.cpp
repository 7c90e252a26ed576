#include "qBreakpad/handler/qbreakpadhandler.h"

#include "platform/crashhandler.h"
#include "qBreakpad/handler/qbreakpadhttpuploader.h"

#include <QCoreApplication>
#include <QDir>
#include <QList>
#include <QUrl>

#include <atomic>

namespace
{

/// The process may crash when the object is gone already: its handler stays to the very end.
std::atomic<const void *> livingHandler{nullptr};

} // namespace

struct QBreakpadHandler::Private
{
    CrashHandler *exceptionHandler = nullptr; ///< never deleted
    QString dumpPath;
    QUrl uploadUrl;
};

QBreakpadHandler::QBreakpadHandler() : d(std::make_unique<Private>())
{
    livingHandler = this;
}

QBreakpadHandler::~QBreakpadHandler()
{
    livingHandler = nullptr;
}

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
    d->exceptionHandler = installCrashHandler(directory.toStdWString(),
                                              &QBreakpadHandler::onMinidump, this, HANDLER_ALL);
}

QString QBreakpadHandler::dumpPath() const
{
    return d->dumpPath;
}

void QBreakpadHandler::setUploadUrl(const QUrl &url)
{
    d->uploadUrl = url;
}

bool QBreakpadHandler::onMinidump(const wchar_t *dumpPath, const wchar_t *minidumpId, void *context,
                                  const void *, const void *, bool succeeded)
{
    const QString dumpFileName =
        QString::fromWCharArray(dumpPath) + "/" + QString::fromWCharArray(minidumpId);
    if (livingHandler == context)
        emit static_cast<QBreakpadHandler *>(context)->sigDumpCallBack(dumpFileName);
    return succeeded;
}

void QBreakpadHandler::sendDumps()
{
    if (d->dumpPath.isEmpty())
        return;
    // They last until the process ends: never deleted, the list neither.
    static auto *const uploaders = new QList<QBreakpadHttpUploader *>;
    const QDir directory(d->dumpPath);
    for (const QString &name : directory.entryList({"*.dmp"})) {
        uploaders->append(new QBreakpadHttpUploader(d->uploadUrl, nullptr));
        uploaders->last()->uploadDump(d->dumpPath + "/" + name);
    }
}
