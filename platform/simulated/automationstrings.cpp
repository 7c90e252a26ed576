// The strings of the manifests' interfaces.
#include "platform/applications.h"
#include "platform/posix/taskmemory.h"

BSTR SysAllocString(LPCWSTR text)
{
    return text ? posix::taskMemoryString(QString::fromWCharArray(text)) : nullptr;
}

void SysFreeString(BSTR text)
{
    posix::taskMemoryFree(text);
}
