#include "platform/posix/runtimestring.h"

#include "platform/posix/taskmemory.h"

#include <new>

namespace posix
{

namespace
{

/// What a string points to: its own block, or the header of a reference.
struct StringBody
{
    const wchar_t *text;
    std::size_t length;
    bool isOwned;
};

static_assert(sizeof(StringBody) <= sizeof(HSTRING_HEADER));

const StringBody *bodyOf(HSTRING string)
{
    return reinterpret_cast<const StringBody *>(string);
}

HSTRING handleOf(StringBody *body)
{
    return reinterpret_cast<HSTRING>(body);
}

} // namespace

HRESULT createString(LPCWSTR text, UINT32 length, HSTRING *string)
{
    if (!string || (!text && length > 0))
        return E_POINTER;
    *string = nullptr;
    if (length == 0)
        return S_OK;
    void *block = taskMemoryAlloc(sizeof(StringBody) + (length + 1) * sizeof(wchar_t));
    if (!block)
        return E_OUTOFMEMORY;
    auto *copy = reinterpret_cast<wchar_t *>(static_cast<StringBody *>(block) + 1);
    std::memcpy(copy, text, length * sizeof(wchar_t));
    copy[length] = L'\0';
    *string = handleOf(new (block) StringBody{copy, length, true});
    return S_OK;
}

HRESULT createStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header, HSTRING *string)
{
    if (!string || !header || (!text && length > 0))
        return E_POINTER;
    *string = length > 0 ? handleOf(new (header) StringBody{text, length, false}) : nullptr;
    return S_OK;
}

void deleteString(HSTRING string)
{
    if (string && bodyOf(string)->isOwned)
        taskMemoryFree(string);
}

LPCWSTR stringText(HSTRING string, UINT32 *length)
{
    if (length)
        *length = string ? static_cast<UINT32>(bodyOf(string)->length) : 0;
    return string ? bodyOf(string)->text : L"";
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
