// Strings of the Windows Runtime, and the one class of it that this platform has.
#include "platform/linux/audiopolicyconfig.h"
#include "platform/posix/runtimestring.h"

HRESULT RoGetActivationFactory(HSTRING className, REFIID id, void **factory)
{
    if (!factory)
        return E_POINTER;
    *factory = nullptr;
    if (posix::textOfString(className) != QString::fromWCharArray(audioPolicyConfigClass))
        return REGDB_E_CLASSNOTREG;
    auto *policy = new pulse::AudioPolicyConfig(pulse::EndpointService::instance());
    const HRESULT queried = policy->QueryInterface(id, factory);
    policy->Release();
    return queried;
}

HRESULT WindowsCreateString(LPCWSTR text, UINT32 length, HSTRING *string)
{
    return posix::createString(text, length, string);
}

HRESULT WindowsCreateStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header,
                                     HSTRING *string)
{
    return posix::createStringReference(text, length, header, string);
}

HRESULT WindowsDeleteString(HSTRING string)
{
    posix::deleteString(string);
    return S_OK;
}

LPCWSTR WindowsGetStringRawBuffer(HSTRING string, UINT32 *length)
{
    return posix::stringText(string, length);
}
