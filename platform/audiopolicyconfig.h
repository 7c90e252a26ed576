// The undocumented policy of single applications' endpoints, declared by slot. Slots count from 0
// with the three of IUnknown and the three of IInspectable first.
#pragma once

#include "platform/unusedslots.h"
#include "platform/winrt.h"

inline constexpr wchar_t audioPolicyConfigClass[] = L"Windows.Media.Internal.AudioPolicyConfig";
inline constexpr IID IID_IAudioPolicyConfig{
    0xAB3D4648, 0xE242, 0x459F, {0xB0, 0x2F, 0x54, 0x1C, 0x70, 0x30, 0x63, 0x24}};
/// Of the system's earlier releases, with the same slots.
inline constexpr IID IID_IAudioPolicyConfigEarlier{
    0x2A59116D, 0x6C4F, 0x45E0, {0xA7, 0x4F, 0x70, 0x7E, 0x3F, 0xEF, 0x92, 0x58}};

/// SetPersistedDefaultAudioEndpoint in slot 25, GetPersistedDefaultAudioEndpoint in slot 26. An
/// endpoint is "\\?\SWD#MMDEVAPI#", its ID, "#" and the interface class of its direction.
struct IAudioPolicyConfig : public UnusedSlots<IInspectable, 19>
{
    virtual HRESULT STDMETHODCALLTYPE SetPersistedDefaultAudioEndpoint(UINT32 processId,
                                                                       EDataFlow flow, ERole role,
                                                                       HSTRING endpoint) = 0;
    /// Empty for a process that follows the system's default. The string is the caller's.
    virtual HRESULT STDMETHODCALLTYPE GetPersistedDefaultAudioEndpoint(UINT32 processId,
                                                                       EDataFlow flow, ERole role,
                                                                       HSTRING *endpoint) = 0;

protected:
    ~IAudioPolicyConfig() = default;
};
