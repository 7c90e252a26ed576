#include "app/vxapplication.h"

#include <QDebug>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMutexLocker>

#include <new>

namespace
{

constexpr int connectTimeoutMs = 1500;
constexpr int writeTimeoutMs = 30000;

void handOverArguments(QLocalSocket &socket)
{
    qCritical() << "Another instance is already running. Exiting...";
    const QByteArray message = QCoreApplication::arguments().join(";").toUtf8();
    if (socket.write(message) != -1 && socket.waitForBytesWritten(writeTimeoutMs))
        qInfo() << "Data sent successfully";
    else
        qCritical() << "Failed to send data:" << socket.errorString();
    socket.disconnectFromServer();
}

} // namespace

VXApplication::VXApplication(int &argc, char **argv) : QApplication(argc, argv) {}

VXApplication::~VXApplication()
{
    // Clients that are still connected report their end while this object is whole.
    localServer.reset();
}

int VXApplication::initLocalServer(const QString &name)
{
    QLocalSocket socket;
    socket.connectToServer(name, QIODevice::ReadWrite);
    if (socket.waitForConnected(connectTimeoutMs)) {
        handOverArguments(socket);
        return 1;
    }
    return startLocalServer(name);
}

bool VXApplication::notify(QObject *receiver, QEvent *event)
{
    return QApplication::notify(receiver, event);
}

int VXApplication::startLocalServer(const QString &name)
{
    // A crashed instance may have left the name behind.
    QLocalServer::removeServer(name);
    localServer.reset(new (std::nothrow) QLocalServer);
    if (!localServer) {
        qCritical() << "Unable to create local server!!!";
        return 0;
    }
    connect(localServer.get(), &QLocalServer::newConnection, this,
            &VXApplication::handleNewConnection);
    if (!localServer->listen(name)) {
        qCritical() << "Failed to start local server:" << localServer->errorString();
        localServer.reset();
        return 2;
    }
    return 0;
}

void VXApplication::handleNewConnection()
{
    const QMutexLocker locker(&mutex);
    localClient = localServer->nextPendingConnection();
    if (!localClient)
        return;
    connect(localClient, &QLocalSocket::disconnected, this,
            &VXApplication::handleClientDisconnected);
    connect(localClient, &QLocalSocket::readyRead, this, &VXApplication::handleClientReadyRead);
}

void VXApplication::handleClientDisconnected()
{
    // Whichever client went: the current one is let go.
    const QMutexLocker locker(&mutex);
    if (localClient)
        localClient->deleteLater();
    localClient.clear();
}

void VXApplication::handleClientReadyRead()
{
    const QMutexLocker locker(&mutex);
    if (!localClient)
        return;
    const QByteArray message = localClient->readAll();
    emit receivedMessage(message);
}
