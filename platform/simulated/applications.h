// The scripted processes and packages whose names are asked for.
#pragma once

#include "platform/basetypes.h"

#include <QList>
#include <QPair>
#include <QString>

namespace simulated
{

/// What the calls about one process answer; what is left empty makes its call fail.
struct Application
{
    DWORD processId = 0;
    QString imagePath;                      ///< the executable's full path
    QString moduleName;                     ///< the first module's base name
    QString listedName;                     ///< in the list of processes; empty: not listed
    QString packageFullName;                ///< empty: not packaged
    QList<QPair<QString, QString>> version; ///< texts of the version resource by key
    /// Opens only for PROCESS_QUERY_LIMITED_INFORMATION, or not at all.
    bool isRestricted = false;
    bool isClosed = false;
};

/// Puts a process there, in place of one with its ID. After a reset there is only the own one, of
/// which nothing is told.
void setApplication(const Application &application);

struct Package
{
    QString fullName;
    QString installPath;
    QString displayName; ///< in the manifest and for the package manager; null: no such node
    bool hasManifest = true;
};

void setPackage(const Package &package);

/// The text behind an indirect string; one that is not set can't be loaded.
void setIndirectString(const QString &source, const QString &text);

/// What the translation table of every version resource has; 4 after a reset.
void setTranslationBytes(UINT bytes);

} // namespace simulated
