// The front of crash capture.
#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QUrl;

/// Has crashes of the process written down as minidumps, announces each one, and can send those
/// that lie there. One object for the process.
class QBreakpadHandler : public QObject
{
    Q_OBJECT

public:
    ~QBreakpadHandler() override;

    /// The one object, made on first use. Any thread.
    static QBreakpadHandler &instance();

    /// Chooses the directory for dumps, makes it, parents included, and captures crashes from then
    /// on to the process's end. A relative path is taken from the program's directory. A directory
    /// that cannot be made changes nothing.
    void setDumpPath(const QString &path);
    /// Empty until a directory has been set.
    [[nodiscard]] QString dumpPath() const;

    /// Where dumps are sent: an HTTP or HTTPS address that takes the form of
    /// QBreakpadHttpUploader. Empty until a deployment sets one.
    void setUploadUrl(const QUrl &url);

signals:
    /// A dump has been written, or its writing has failed; the path without its extension. Raised
    /// in a process that is about to end, on a thread that has not crashed; whoever listens
    /// directly must wait for nothing that the crashed one may hold.
    void sigDumpCallBack(QString dumpFileName);

public slots:
    /// Sends every dump in the directory, all side by side. The event loop of the calling thread
    /// does the work; what could not be sent stays on the disk for the next call.
    void sendDumps();

private:
    struct Private;

    QBreakpadHandler();
    static bool onMinidump(const wchar_t *dumpPath, const wchar_t *minidumpId, void *context,
                           const void *exceptionInformation, const void *assertionInformation,
                           bool succeeded);

    const std::unique_ptr<Private> d;
};
