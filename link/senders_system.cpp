// Sender of the system event.
#include "link/sendevent.h"

void WebSocketServer::didReceiveSystemUUID(const QString &systemUUID)
{
    send<eventRow("didReceiveSystemUUID")>(systemUUID);
}
