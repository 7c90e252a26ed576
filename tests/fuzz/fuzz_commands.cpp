// Feeds texts to the command chain: whatever a client sends, at most one signal is raised, and
// only with values that a command can name.
#include "common/tavoritypes.h"
#include "link/websocketserver.h"

#include <QCoreApplication>
#include <QSignalSpy>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace
{
void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// The link and a spy on each of its signals.
struct Target
{
    Target()
    {
        const QMetaObject &meta = WebSocketServer::staticMetaObject;
        for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
            if (meta.method(index).methodType() == QMetaMethod::Signal)
                spies.push_back(std::make_unique<QSignalSpy>(&link, meta.method(index)));
        }
    }

    void receive(const QString &text)
    {
        QMetaObject::invokeMethod(&link, "onTextMessageReceived", Q_ARG(QString, text));
        // What a command defers is part of it.
        QCoreApplication::sendPostedEvents();
    }

    WebSocketServer link{nullptr};
    std::vector<std::unique_ptr<QSignalSpy>> spies;
};

bool isNameable(tavoriDeviceType type)
{
    return type >= tavoriNoDevice && type <= tavoriStream && type != tavoriMicrophoneSpeaker;
}

void checkArgument(const QVariant &argument)
{
    if (argument.metaType() == QMetaType::fromType<tavoriDeviceType>())
        require(isNameable(argument.value<tavoriDeviceType>()));
    if (argument.metaType() == QMetaType::fromType<tavoriSoftwareMode>())
        require(argument.value<tavoriSoftwareMode>() == NormalMode ||
                argument.value<tavoriSoftwareMode>() == StreamerMode);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    static Target target;

    target.receive(QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));

    qsizetype raised = 0;
    for (const auto &spy : target.spies) {
        raised += spy->size();
        for (const QVariantList &arguments : std::as_const(*spy)) {
            for (const QVariant &argument : arguments)
                checkArgument(argument);
        }
        spy->clear();
    }
    require(raised <= 1);
    return 0;
}
