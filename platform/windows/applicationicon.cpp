// A function that the program exports for outside use; nothing in the program calls it.
#include "platform/windows/sdk.h"

// clang-format off
#include <commctrl.h>
#include <commoncontrols.h>
#include <shellapi.h>
// clang-format on

namespace
{
constexpr IID imageListInterface{
    0x46EB5926, 0x582E, 0x4017, {0x9F, 0xDF, 0xE8, 0x99, 0x8D, 0xAA, 0x09, 0x50}};
} // namespace

/// The icon that the shell shows for a file, from the shell's image list of that size (SHIL_…).
/// Null on failure; the caller destroys the icon.
extern "C" __declspec(dllexport) HICON getWinApplicationIcon(const wchar_t *path, int imageListSize)
{
    SHFILEINFOW info{};
    SHGetFileInfoW(path, static_cast<DWORD>(-1), &info, sizeof(info), SHGFI_SYSICONINDEX);

    IImageList *list = nullptr;
    if (FAILED(SHGetImageList(imageListSize, imageListInterface, reinterpret_cast<void **>(&list))))
        return nullptr;
    HICON icon = nullptr;
    const HRESULT result = list->GetIcon(info.iIcon, ILD_TRANSPARENT, &icon);
    list->Release();
    return SUCCEEDED(result) ? icon : nullptr;
}
