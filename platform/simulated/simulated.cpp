#include "platform/simulated/simulated.h"

#include "platform/simulated/applicationtable.h"
#include "platform/simulated/approutes.h"
#include "platform/simulated/census.h"
#include "platform/simulated/crashtable.h"
#include "platform/simulated/filetable.h"
#include "platform/simulated/hidtable.h"
#include "platform/simulated/record.h"
#include "platform/simulated/sessiontable.h"
#include "platform/simulated/settingsstore.h"
#include "platform/simulated/sinks.h"
#include "platform/simulated/streamstate.h"
#include "platform/simulated/systemstate.h"
#include "platform/simulated/tables.h"

namespace simulated
{

void reset()
{
    // Sinks first: none may see the tables go.
    resetSinks();
    resetStreams();
    resetSessions();
    resetTables();
    resetFiles();
    resetHid();
    resetSettings();
    resetApplications();
    resetAppRoutes();
    resetSystem();
    resetCrashes();
    resetCensus();
    resetCalls();
}

} // namespace simulated
