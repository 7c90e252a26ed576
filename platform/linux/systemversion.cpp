#include "platform/systemversion.h"

// There is no Windows here whose version could be told.
bool readSystemVersion(int &, int &, int &)
{
    return false;
}
