#include "platform/signalstack.h"

#include "platform/windows/sdk.h"

void SignalStack::provide()
{
    // The dump is written by a thread of the handler's own; what the crashed one needs to get
    // there is kept free at the end of its stack.
    ULONG reserve = 32768;
    SetThreadStackGuarantee(&reserve);
}
