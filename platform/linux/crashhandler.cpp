#include "platform/crashhandler.h"

#include "client/linux/handler/exception_handler.h"
#include "platform/crashannouncer.h"
#include "platform/linux/crashbound.h"

#include <QFile>
#include <QFileInfo>
#include <QString>

namespace
{

using google_breakpad::MinidumpDescriptor;

/// A dump takes a second at most on a machine that has anything left for it.
constexpr std::chrono::seconds longestWriting{20};

std::string fileNameOf(const std::wstring &path)
{
    return QFile::encodeName(QString::fromStdWString(path)).toStdString();
}

} // namespace

/// Breakpad's handler, and the way from its callback to ours.
class CrashHandler
{
public:
    CrashHandler(const std::wstring &dumpPath, MinidumpCallback callback, void *context)
        : directory(dumpPath), callback(callback), context(context),
          // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): lives as long as its thread.
          announcer(*new CrashAnnouncer<const char *>(
              [this](const char *path, bool succeeded) { return tell(path, succeeded); })),
          handler(MinidumpDescriptor(fileNameOf(dumpPath)), nullptr, &CrashHandler::announce, this,
                  true, -1)
    {
        handler.set_crash_handler(&CrashHandler::beginWriting);
    }

private:
    /// On the crashed thread, in its signal handler. False: the dump is the library's to write.
    static bool beginWriting(const void *, std::size_t, void *self)
    {
        static_cast<CrashHandler *>(self)->bound.begin();
        return false;
    }

    /// On the crashed thread, in its signal handler.
    static bool announce(const MinidumpDescriptor &descriptor, void *self, bool succeeded)
    {
        auto *handler = static_cast<CrashHandler *>(self);
        handler->bound.end();
        return handler->announcer.announce(descriptor.path(), succeeded);
    }

    /// On the announcer's thread.
    [[nodiscard]] bool tell(const char *path, bool succeeded) const
    {
        const QString id = QFileInfo(QFile::decodeName(path)).completeBaseName();
        return callback(directory.c_str(), id.toStdWString().c_str(), context, nullptr, nullptr,
                        succeeded);
    }

    const std::wstring directory;
    const MinidumpCallback callback;
    void *const context;
    CrashAnnouncer<const char *> &announcer; ///< of the dump file by its path
    CrashBound bound{longestWriting};
    google_breakpad::ExceptionHandler handler;
};

CrashHandler *installCrashHandler(const std::wstring &dumpPath, MinidumpCallback callback,
                                  void *context, int /*handlerTypes*/)
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): stays until the process ends.
    return new CrashHandler(dumpPath, callback, context);
}
