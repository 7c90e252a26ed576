// How the tests of the simulated platform reach it: as any client does.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QString>

inline ComPtr<IMMDeviceEnumerator> createEnumerator()
{
    ComPtr<IMMDeviceEnumerator> enumerator;
    CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                     enumerator.receiveVoid());
    return enumerator;
}

/// Null if there is no such endpoint.
inline ComPtr<IMMDevice> findDevice(const QString &id)
{
    ComPtr<IMMDevice> device;
    if (const auto enumerator = createEnumerator())
        enumerator->GetDevice(id.toStdWString().c_str(), device.receive());
    return device;
}

template <typename Interface>
ComPtr<Interface> activate(const QString &id, REFIID interfaceId)
{
    ComPtr<Interface> result;
    if (const auto device = findDevice(id))
        device->Activate(interfaceId, CLSCTX_ALL, nullptr, result.receiveVoid());
    return result;
}

inline QString takeText(LPWSTR text)
{
    const QString copy = QString::fromWCharArray(text);
    CoTaskMemFree(text);
    return copy;
}
