#include "platform/posix/runtimestring.h"

#include "platform/posix/taskmemory.h"

#include <new>

/// What a string points to: its own block, or the header of a reference.
struct HSTRING__
{
    const wchar_t *text;
    std::size_t length;
    bool isOwned;
};

static_assert(sizeof(HSTRING__) <= sizeof(HSTRING_HEADER));

namespace posix
{

HRESULT createString(LPCWSTR text, UINT32 length, HSTRING *string)
{
    if (!string || (!text && length > 0))
        return E_POINTER;
    *string = nullptr;
    if (length == 0)
        return S_OK;
    void *block = taskMemoryAlloc(sizeof(HSTRING__) + (length + 1) * sizeof(wchar_t));
    if (!block)
        return E_OUTOFMEMORY;
    auto *copy = reinterpret_cast<wchar_t *>(static_cast<HSTRING__ *>(block) + 1);
    std::memcpy(copy, text, length * sizeof(wchar_t));
    copy[length] = L'\0';
    *string = new (block) HSTRING__{copy, length, true};
    return S_OK;
}

HRESULT createStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header, HSTRING *string)
{
    if (!string || !header || (!text && length > 0))
        return E_POINTER;
    *string = length > 0 ? new (header) HSTRING__{text, length, false} : nullptr;
    return S_OK;
}

void deleteString(HSTRING string)
{
    if (string && string->isOwned)
        taskMemoryFree(string);
}

LPCWSTR stringText(HSTRING string, UINT32 *length)
{
    if (length)
        *length = string ? static_cast<UINT32>(string->length) : 0;
    return string ? string->text : L"";
}

QString textOfString(HSTRING string)
{
    UINT32 length = 0;
    const LPCWSTR text = stringText(string, &length);
    return QString::fromWCharArray(text, length);
}

HSTRING stringOfText(const QString &text)
{
    const std::wstring wide = text.toStdWString();
    HSTRING string = nullptr;
    createString(wide.c_str(), static_cast<UINT32>(wide.size()), &string);
    return string;
}

} // namespace posix
