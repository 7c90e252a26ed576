#include "platform/posix/versionblock.h"

#include <cwchar>
#include <string>

namespace posix
{

namespace
{
// US English in Unicode.
constexpr WORD translation[2] = {0x0409, 0x04B0};
constexpr std::wstring_view translationPath = L"\\VarFileInfo\\Translation";
constexpr std::wstring_view textsPath = L"\\StringFileInfo\\040904b0\\";

void append(QByteArray &data, const QString &text)
{
    const std::wstring wide = text.toStdWString();
    data.append(reinterpret_cast<const char *>(wide.c_str()),
                (qsizetype(wide.size()) + 1) * qsizetype(sizeof(wchar_t)));
}
} // namespace

// An empty key is the end.
VersionBlock::VersionBlock(const Texts &texts)
    : data(reinterpret_cast<const char *>(translation), sizeof(translation))
{
    for (const auto &[key, text] : texts) {
        append(data, key);
        append(data, text);
    }
    append(data, {});
}

bool VersionBlock::copyTo(LPVOID room, DWORD bytes) const
{
    if (!room || bytes < this->bytes())
        return false;
    std::memcpy(room, data.constData(), this->bytes());
    return true;
}

bool VersionBlock::query(const void *block, LPCWSTR subBlock, LPVOID *value, UINT *length)
{
    const std::wstring_view path(subBlock);
    auto *bytes = static_cast<std::byte *>(const_cast<void *>(block));
    if (path == translationPath) {
        *value = bytes;
        *length = sizeof(translation);
        return true;
    }
    if (!path.starts_with(textsPath))
        return false;
    const std::wstring_view wanted = path.substr(textsPath.size());
    auto *key = reinterpret_cast<wchar_t *>(bytes + sizeof(translation));
    while (*key != L'\0') {
        wchar_t *text = key + std::wcslen(key) + 1;
        const std::size_t textLength = std::wcslen(text);
        if (wanted == key) {
            *value = text;
            *length = static_cast<UINT>(textLength + 1);
            return true;
        }
        key = text + textLength + 1;
    }
    return false;
}

} // namespace posix
