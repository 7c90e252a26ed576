// Finds the virtual sound card's endpoints in the system's endpoint tree.
#pragma once

#include <QJsonObject>
#include <QMap>
#include <QString>

/// Catalogue key (the endpoint's registry identity) to the properties that the system keeps of it.
using VirtualEndpointCatalogue = QMap<QString, QJsonObject>;

/// Reads the render and the capture tree; the trees are only read. Empty if there are none.
[[nodiscard]] VirtualEndpointCatalogue readVirtualEndpointCatalogue();

/// The endpoint ID of an entry of the catalogue; empty if it has none that can be worked out.
[[nodiscard]] QString endpointIdOfEntry(const VirtualEndpointCatalogue &catalogue,
                                        const QJsonObject &entry);

/// The entry's short name, such as "tavori - Aux".
[[nodiscard]] QString shortNameOfEntry(const QJsonObject &entry);

/// True for an entry of the capture tree.
[[nodiscard]] bool isCaptureEntry(const QJsonObject &entry);
