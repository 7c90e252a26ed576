// Stands before the event loop of a program that it is loaded into: tells how the application was
// made, and lets it lose its last window.
#include <QApplication>
#include <QDebug>
#include <QTimer>
#include <QWidget>

#include <dlfcn.h>

int QApplication::exec()
{
    qInfo() << "window probe: desktop OpenGL" << testAttribute(Qt::AA_UseDesktopOpenGL);
    QTimer::singleShot(0, qApp, [] {
        QWidget window;
        window.show();
        qInfo() << "window probe: shown" << window.isVisible() << "closed" << window.close();
    });
    const auto next = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "_ZN12QApplication4execEv"));
    return next();
}
