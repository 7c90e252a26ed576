// Lets a test reach into the process that it started, by way of the environment:
//   QUORVANE_FAULTS  "call=code;call=code": each call fails once, with the code in hexadecimal
//   QUORVANE_CALLS   a file for all calls of the platform, written when the process has ended
#include "platform/simulated/simulated.h"

#include <QByteArrayList>
#include <QFile>
#include <QString>

namespace
{

/// Constructed before main, destroyed after it.
class Environment
{
public:
    Environment()
    {
        for (const QByteArray &fault : qgetenv("QUORVANE_FAULTS").split(';')) {
            const QByteArrayList parts = fault.split('=');
            if (parts.size() == 2)
                simulated::failNext(parts[0], parts[1].toUInt(nullptr, 16));
        }
    }
    ~Environment()
    {
        QFile file(qEnvironmentVariable("QUORVANE_CALLS"));
        if (!file.fileName().isEmpty() && file.open(QIODevice::WriteOnly))
            file.write(simulated::calls().join('\n').toUtf8());
    }
};

const Environment environment;

} // namespace
