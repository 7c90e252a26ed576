// The one include for what tells the name of an application: processes, packages, version
// information, manifests.
#pragma once

#ifdef _WIN32
#include "platform/windows/applications.h"
#else
#include "platform/vocabulary/packages.h"
#include "platform/vocabulary/processes.h"
#include "platform/vocabulary/versioninfo.h"
#include "platform/vocabulary/xmldocument.h"
#endif

inline constexpr CLSID CLSID_ManifestDocument{
    0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
inline constexpr IID IID_ManifestDocument{
    0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_ManifestNode{
    0x2933BF80, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
