// Endpoint IDs of nodes on the PipeWire server.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

/// The braced GUID, lower case, of a node: UUID version 5 of its name, so that it is the same on
/// every run and every machine.
[[nodiscard]] QString endpointGuid(const QString &nodeName);

/// "{0.0.0.00000000}." for eRender, "{0.0.1.00000000}." for eCapture.
[[nodiscard]] QString endpointIdPrefix(EDataFlow flow);

/// The class of an endpoint's device interface, a braced GUID.
[[nodiscard]] QString interfaceClassOf(EDataFlow flow);

/// The endpoint ID of a node: prefix and GUID.
[[nodiscard]] QString endpointIdOf(const QString &nodeName, EDataFlow flow);
