#include "qBreakpad/handler/qbreakpadhttpuploader.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QHttpPart>
#include <QUrl>

#include <memory>

namespace
{

QHttpPart textPart(const char *disposition, const QString &text)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, disposition);
    part.setBody(text.toLatin1());
    return part;
}

QHttpPart dumpPart(const QString &path)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
                   QString(R"(form-data; name="upload_file_minidump"; filename="%1")")
                       .arg(QFileInfo(path).fileName()));
    part.setHeader(QNetworkRequest::ContentTypeHeader, "application/octet-stream");
    return part;
}

QByteArray userAgent()
{
    return QCoreApplication::applicationName().toLatin1() + "/" +
           QCoreApplication::applicationVersion().toLatin1();
}

} // namespace

QBreakpadHttpUploader::QBreakpadHttpUploader(const QUrl &url, QObject *parent)
    : QObject(parent), m_request(url)
{
}

QBreakpadHttpUploader::~QBreakpadHttpUploader()
{
    if (m_reply) {
        qWarning() << "m_reply is not NULL";
        m_reply->deleteLater();
    }
    delete m_file;
}

void QBreakpadHttpUploader::uploadDump(QString abs_file_path)
{
    const QHttpPart product =
        textPart(R"(form-data; name="prod")", QCoreApplication::applicationName());
    const QHttpPart version =
        textPart(R"(form-data; name="ver")", QCoreApplication::applicationVersion());
    QHttpPart dump = dumpPart(abs_file_path);

    m_file = new QFile(abs_file_path);
    if (!m_file->open(QIODevice::ReadOnly))
        return;
    dump.setBodyDevice(m_file);
    auto form = std::make_unique<QHttpMultiPart>(QHttpMultiPart::FormDataType);
    m_file->setParent(form.get());
    for (const QHttpPart &part : {product, version, dump})
        form->append(part);

    m_request.setRawHeader("User-Agent", userAgent());
    m_reply = m_manager.post(m_request, form.get());
    form.release()->setParent(m_reply);

    connect(m_reply, SIGNAL(uploadProgress(qint64, qint64)), this,
            SLOT(onUploadProgress(qlonglong, qlonglong)));
    // Qt 6 has no such signal, and says so; the slot would have nothing to do.
    connect(m_reply, SIGNAL(error(QNetworkReply::NetworkError)), this,
            SLOT(onError(QNetworkReply::NetworkError)));
    connect(m_reply, SIGNAL(finished()), this, SLOT(onUploadFinished()));
}

void QBreakpadHttpUploader::onUploadProgress(qlonglong, qlonglong) {}

void QBreakpadHttpUploader::onError(QNetworkReply::NetworkError) {}

void QBreakpadHttpUploader::onUploadFinished()
{
    const QString answer = m_reply->readAll();
    if (m_reply->error() != QNetworkReply::NoError)
        qWarning("Upload error: %d - %s", m_reply->error(),
                 m_reply->errorString().toLocal8Bit().constData());
    else
        m_file->remove();
    emit finished(answer);
    m_reply->close();
    m_reply->deleteLater();
    m_reply.clear();
    delete m_file;
    m_file = nullptr;
}
