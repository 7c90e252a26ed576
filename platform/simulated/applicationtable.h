// The scripted processes and packages as the platform's functions see them.
#pragma once

#include "platform/simulated/applications.h"

#include <optional>

namespace simulated
{

[[nodiscard]] std::optional<Application> findApplication(DWORD processId);
[[nodiscard]] std::optional<Application> findApplicationByPath(const QString &imagePath);
/// By ID.
[[nodiscard]] QList<Application> allApplications();
[[nodiscard]] std::optional<Package> findPackage(const QString &fullName);
[[nodiscard]] std::optional<Package> findPackageByPath(const QString &installPath);
[[nodiscard]] std::optional<QString> findIndirectString(const QString &source);

[[nodiscard]] UINT translationBytes();

/// The ID of the process that a handle is open for; 0 for any other handle.
[[nodiscard]] DWORD processOfHandle(HANDLE handle);

void resetApplications();

} // namespace simulated
