// The Windows SDK headers that the audio vocabulary stands in.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif

// clang-format off
#include <windows.h>
#include <initguid.h>
#include <mmdeviceapi.h>
#include <audioclient.h>
#include <audiopolicy.h>
#include <endpointvolume.h>
#include <functiondiscoverykeys_devpkey.h>
#include <propvarutil.h>
// clang-format on

// MinGW's BOOL is a macro: moc would put what it stands for into the meta-object.
#ifdef Q_MOC_RUN
#undef BOOL
#endif
