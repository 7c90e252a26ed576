// Sends crash dumps to a collection service.
#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QString>

class QFile;
class QHttpMultiPart;
class QUrl;

/// Posts one dump file as a multipart form of three parts: "prod" and "ver", the program's name
/// and version, and "upload_file_minidump", the file. Works on the thread that it lives on, by its
/// event loop.
class QBreakpadHttpUploader : public QObject
{
    Q_OBJECT

public:
    /// Posts will go to that address.
    explicit QBreakpadHttpUploader(const QUrl &url, QObject *parent = nullptr);
    /// Breaks a running upload off; its dump stays.
    ~QBreakpadHttpUploader() override;

signals:
    /// An upload has ended, well or not; with what the server said.
    void finished(QString answer);

public slots:
    /// Posts the file, and deletes it when the server has taken it; after an error it stays. A
    /// file that cannot be read is passed over without a word. One upload for each object.
    void uploadDump(QString abs_file_path);

private slots:
    void onUploadProgress(qlonglong sent, qlonglong total);
    void onError(QNetworkReply::NetworkError err);
    void onUploadFinished();

private:
    QNetworkAccessManager m_manager;
    QNetworkRequest m_request;
    QPointer<QNetworkReply> m_reply; ///< while the upload runs
    QFile *m_file = nullptr;         ///< being sent
};
