#include "platform/qtsetup.h"

void prepareQt()
{
    // A Windows session always has a desktop, and Qt has one kind of event loop there.
}
