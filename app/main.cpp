#include "app/dumpcallback.h"
#include "app/messagehandler.h"
#include "app/processidentity.h"
#include "app/quorvanewidget.h"
#include "app/vxapplication.h"
#include "platform/coreaudio.h"
#include "platform/qtsetup.h"
#include "qBreakpad/handler/qbreakpadhandler.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <system_error>

namespace
{

void startCom()
{
    const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (FAILED(result))
        throw std::system_error(result, std::system_category(), "CoInitializeEx");
}

void startCrashCapture()
{
    const QString dumpPath =
        QDir::toNativeSeparators(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                                 QDir::separator() + "dumps" + QDir::separator());
    if (!QFile::exists(dumpPath))
        QDir().mkdir(dumpPath);

    provideProgramVersion();
    QBreakpadHandler &handler = QBreakpadHandler::instance();
    handler.setDumpPath(dumpPath);
    QObject::connect(&handler, &QBreakpadHandler::sigDumpCallBack, &handler, &onDumpCallBack,
                     Qt::DirectConnection);
}

} // namespace

// Without COM the process is meant to end, at once and by the uncaught error.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char *argv[])
{
    startCom();
    QCoreApplication::setOrganizationName("tavori");
    QCoreApplication::setApplicationName("Quorvane");
    QCoreApplication::setAttribute(Qt::AA_UseDesktopOpenGL, true);
    qInstallMessageHandler(messageHandler);
    // Before the application object, so that a crash in its making is captured too.
    startCrashCapture();

    prepareQt();
    VXApplication application(argc, argv);
    static const QString localServerName("@tavori_Quorvane_LocalServer_Name_");
    if (const int result = application.initLocalServer(localServerName); result != 0) {
        CoUninitialize();
        return result;
    }

    openLogGate();
    createProcessGuid();
    determineWindowsVersion();
    logProcessIdentity();

    QGuiApplication::setQuitOnLastWindowClosed(false);
    QuorvaneWidget widget;
    widget.hide();
    QObject::connect(
        &application, &VXApplication::receivedMessage, &widget,
        [&widget](const QByteArray &message) { widget.restoreWindow(QString::fromUtf8(message)); });

    const int result = QApplication::exec();
    // The widget goes after this, though it still holds COM objects.
    CoUninitialize();
    return result;
}
