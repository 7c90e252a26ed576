#include "sessions/applicationidentity.h"

#include "sessions/openedprocess.h"

#include <array>
#include <vector>

namespace
{
constexpr std::size_t pathCapacity = 260; // characters, of every buffer for a path or a name
constexpr std::array versionKeys{"FileDescription", "ProductName", "OriginalFilename"};

/// The first language and code page of a version resource.
struct Translation
{
    WORD language;
    WORD codePage;
};

std::wstring imagePath(HANDLE process)
{
    std::array<wchar_t, pathCapacity> path{};
    auto length = static_cast<DWORD>(path.size());
    if (!QueryFullProcessImageNameW(process, 0, path.data(), &length))
        return {};
    return path.data();
}

std::vector<BYTE> versionInfo(const std::wstring &path)
{
    DWORD ignored = 0;
    std::vector<BYTE> block(GetFileVersionInfoSizeW(path.c_str(), &ignored));
    const auto size = static_cast<DWORD>(block.size());
    if (block.empty() || !GetFileVersionInfoW(path.c_str(), 0, size, block.data()))
        return {};
    return block;
}

QString versionText(const std::vector<BYTE> &block, const Translation &translation, const char *key)
{
    const QString subBlock = QString::asprintf("\\StringFileInfo\\%04x%04x\\%s",
                                               translation.language, translation.codePage, key);
    void *text = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), subBlock.toStdWString().c_str(), &text, &length) || !text)
        return {};
    const std::wstring_view characters(static_cast<const wchar_t *>(text), length);
    return QString::fromStdWString(std::wstring(characters.substr(0, characters.find(L'\0'))));
}
} // namespace

QString applicationName(DWORD pid)
{
    if (pid == 0)
        return {};
    QString name = GetAppDisplayNameByPid(pid, false);
    if (name.isEmpty())
        name = getVersionInfoName(pid);
    if (name.isEmpty())
        name = getModuleBaseName(pid);
    if (name.isEmpty())
        name = getSnapshotExeName(pid);
    return name;
}

QString applicationFileName(DWORD pid)
{
    if (pid == 0)
        return {};
    const OpenedProcess process(pid);
    return process ? QString::fromStdWString(imagePath(process.get())) : QString();
}

QString getVersionInfoName(DWORD pid)
{
    const OpenedProcess process(pid);
    if (!process)
        return {};
    const std::vector<BYTE> block = versionInfo(imagePath(process.get()));
    if (block.empty())
        return {};

    void *translations = nullptr;
    UINT bytes = 0;
    if (!VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &translations, &bytes) ||
        !translations || bytes < sizeof(Translation))
        return {};
    const Translation first = *static_cast<const Translation *>(translations);
    for (const char *key : versionKeys) {
        QString text = versionText(block, first, key);
        if (!text.isEmpty())
            return text;
    }
    return {};
}

QString getModuleBaseName(DWORD pid)
{
    const OpenedProcess process(pid);
    if (!process)
        return {};
    HMODULE module = nullptr;
    DWORD needed = 0;
    // Room for the first one.
    // NOLINTNEXTLINE(bugprone-sizeof-expression)
    if (!K32EnumProcessModules(process.get(), &module, sizeof(module), &needed))
        return {};
    std::array<wchar_t, pathCapacity> name{L"<unknown>"};
    K32GetModuleBaseNameW(process.get(), module, name.data(), static_cast<DWORD>(name.size()));
    return QString::fromWCharArray(name.data());
}

QString getSnapshotExeName(DWORD pid)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return {};
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    QString name;
    for (BOOL isThere = Process32FirstW(snapshot, &entry); isThere;
         isThere = Process32NextW(snapshot, &entry)) {
        if (entry.th32ProcessID != pid)
            continue;
        name = QString::fromWCharArray(entry.szExeFile);
        break;
    }
    CloseHandle(snapshot);
    return name;
}
