// Announces a dump when all static objects that main has made are gone. Ends with 0 if the front
// of crash capture then still answers, and raises no signal for it.
#include "platform/simulated/crashes.h"
#include "qBreakpad/handler/qbreakpadhandler.h"

#include <QDir>

#include <cstdlib>

namespace
{

int signalCount = 0;

void crashLate()
{
    const bool answer = simulated::announceDump("0123-4567", true);
    const bool refusal = simulated::announceDump("0123-4567", false);
    std::_Exit(answer && !refusal && signalCount == 0 ? 0 : 1);
}

} // namespace

int main()
{
    std::atexit(&crashLate); // before the object is made: runs after its end
    QBreakpadHandler &handler = QBreakpadHandler::instance();
    handler.setDumpPath(QDir::tempPath());
    QObject::connect(&handler, &QBreakpadHandler::sigDumpCallBack, [] { ++signalCount; });
    return simulated::announceDump("0123-4567", true) && signalCount-- == 1 ? 2 : 3;
}
