// What the settings tell of applications' own endpoints.
#pragma once

#include <QString>

#include <optional>

/// An application's own endpoint for rendering.
struct RegisteredEndpoint
{
    bool isDefault;     ///< it follows the system's default
    QString endpointID; ///< empty if it does
};

/// The first entry of the settings that means the application: a classic executable by the end of
/// its path, a packaged application by the folder that its executable is in. Nothing for an
/// application that was never moved.
[[nodiscard]] std::optional<RegisteredEndpoint> registeredEndpoint(const QString &processName,
                                                                   const QString &processFileName);
