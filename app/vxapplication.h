// The application object, and the guard that lets only one instance run.
#pragma once

#include <QApplication>
#include <QByteArray>
#include <QMutex>
#include <QPointer>

#include <memory>

class QLocalServer;
class QLocalSocket;

/// Lives on the main thread, like every QApplication.
class VXApplication : public QApplication
{
    Q_OBJECT

public:
    VXApplication(int &argc, char **argv);
    ~VXApplication() override;

    /// Finds out whether this is the first instance. 0: it is, and listens under `name`.
    /// 1: another instance answered and was handed the arguments, joined with ";", or at least
    /// the attempt was made. 2: nobody answered, but listening failed.
    [[nodiscard]] int initLocalServer(const QString &name);

    bool notify(QObject *receiver, QEvent *event) override;

signals:
    /// Bytes of another instance, as they come: a long text may arrive in several pieces.
    void receivedMessage(QByteArray message);
    void pressedWindow();

private slots:
    void handleNewConnection();
    void handleClientDisconnected();
    void handleClientReadyRead();

private:
    [[nodiscard]] int startLocalServer(const QString &name);

    std::unique_ptr<QLocalServer> localServer;
    QPointer<QLocalSocket> localClient; ///< The latest; those before it are left to the server.
    QMutex mutex;                       ///< Guards `localClient`.
};
