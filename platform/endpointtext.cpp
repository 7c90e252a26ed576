#include "platform/endpointtext.h"

#include "platform/comptr.h"

QString endpointID(IMMDevice *device)
{
    LPWSTR text = nullptr;
    if (FAILED(device->GetId(&text)) || !text)
        return {};
    QString id = QString::fromWCharArray(text);
    CoTaskMemFree(text);
    return id;
}

QString friendlyName(IMMDevice *device)
{
    ComPtr<IPropertyStore> store;
    if (FAILED(device->OpenPropertyStore(STGM_READ, store.receive())))
        return {};

    PROPVARIANT value;
    PropVariantInit(&value);
    QString name;
    if (SUCCEEDED(store->GetValue(PKEY_Device_FriendlyName, &value)) && value.vt == VT_LPWSTR &&
        value.pwszVal)
        name = QString::fromWCharArray(value.pwszVal);
    PropVariantClear(&value);
    return name;
}
