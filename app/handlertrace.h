// The lines that a handler leaves in the log.
#pragma once

#include <QByteArray>
#include <QDebug>

/// Logs "name() :" with the handler's arguments now and "name() : end" when it is left. `name`
/// must outlive the object.
class HandlerTrace
{
    Q_DISABLE_COPY_MOVE(HandlerTrace)

public:
    template <typename... Arguments>
    explicit HandlerTrace(const char *name, const Arguments &...arguments) : name(name)
    {
        QDebug line = qInfo();
        line << (QByteArray(name) + "() :").constData();
        static_cast<void>((line << ... << arguments));
    }
    ~HandlerTrace() { qInfo() << (QByteArray(name) + "() : end").constData(); }

private:
    const char *name;
};
