#include "platform/pipewire/endpointid.h"

#include <QUuid>

namespace
{
// The root of our name-based GUIDs; random, and never to be changed: IDs are remembered by clients.
constexpr QUuid nodeNamespace(0x5d0c3f7e, 0x2a94, 0x4b61, 0x9e, 0x18, 0x7c, 0x40, 0xd1, 0xb6, 0x2f,
                              0xa5);
} // namespace

QString endpointGuid(const QString &nodeName)
{
    return QUuid::createUuidV5(nodeNamespace, nodeName).toString();
}

QString endpointIdPrefix(EDataFlow flow)
{
    return flow == eCapture ? QStringLiteral("{0.0.1.00000000}.")
                            : QStringLiteral("{0.0.0.00000000}.");
}

QString interfaceClassOf(EDataFlow flow)
{
    return flow == eCapture ? QStringLiteral("{2eef81be-33fa-4800-9670-1cd474972c3f}")
                            : QStringLiteral("{e6327cad-dcec-4949-ae8a-991e976a79d2}");
}

QString endpointIdOf(const QString &nodeName, EDataFlow flow)
{
    return endpointIdPrefix(flow) + endpointGuid(nodeName);
}
