#include "platform/applications.h"
#include "platform/comptr.h"
#include "systemcalls.h"

#include <initializer_list>
#include <vector>

// clang-format off
#include <commctrl.h>
#include <commoncontrols.h>
#include <shellapi.h>
// clang-format on

namespace
{
constexpr wchar_t libraryPath[] = LR"(C:\windows\system32\kernel32.dll)";

void askProcess()
{
    const HANDLE process =
        OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, GetCurrentProcessId());
    tellTruth("OpenProcess", process != nullptr);
    WCHAR text[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    UINT32 length = 0;
    HMODULE module = nullptr;
    tellTruth("QueryFullProcessImageNameW", QueryFullProcessImageNameW(process, 0, text, &size));
    tellTruth("K32EnumProcessModules",
              K32EnumProcessModules(process, &module, sizeof(module), &size));
    tellTruth("K32GetModuleBaseNameW", K32GetModuleBaseNameW(process, module, text, MAX_PATH) != 0);
    tellError("GetPackageFullName", GetPackageFullName(process, &length, nullptr));
    CloseHandle(process);
}

void askProcesses()
{
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    tellTruth("CreateToolhelp32Snapshot", all != INVALID_HANDLE_VALUE);
    tellTruth("Process32FirstW", Process32FirstW(all, &entry));
    tellTruth("Process32NextW", Process32NextW(all, &entry));
    CloseHandle(all);
}

void askVersion()
{
    std::vector<BYTE> block(GetFileVersionInfoSizeW(libraryPath, nullptr));
    tellTruth("GetFileVersionInfoSizeW", !block.empty());
    tellTruth("GetFileVersionInfoW",
              GetFileVersionInfoW(libraryPath, 0, static_cast<DWORD>(block.size()), block.data()));
    void *translation = nullptr;
    UINT length = 0;
    tellTruth("VerQueryValueW",
              VerQueryValueW(block.data(), LR"(\VarFileInfo\Translation)", &translation, &length));
}

/// Where there is no package to ask them about: only whether the system has them. A call of one
/// that it has not would end the program.
void askPackage()
{
    const HMODULE module = GetModuleHandleW(L"kernel32.dll");
    for (const char *call : {"OpenPackageInfoByFullName", "GetPackageInfo", "ClosePackageInfo"})
        tellTruth(call, GetProcAddress(module, call) != nullptr);
    WCHAR text[MAX_PATH] = {};
    tell("SHLoadIndirectString of a package",
         SHLoadIndirectString(LR"(@{C:\resources.pri?ms-resource:/resources/Name})", text, MAX_PATH,
                              nullptr));
}

void askManifest()
{
    ComPtr<IXMLDOMDocument2> document;
    if (!tell("CoCreateInstance of the manifests' document",
              CoCreateInstance(CLSID_ManifestDocument, nullptr, CLSCTX_INPROC_SERVER,
                               IID_ManifestDocument, document.receiveVoid())))
        return;
    WCHAR folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    WCHAR path[MAX_PATH] = {};
    GetTempFileNameW(folder, L"xml", 0, path);
    const HANDLE file =
        CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, "<a xmlns='urn:a'>b</a>", 22, &written, nullptr);
    CloseHandle(file);

    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"xmlns:app='urn:a'");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    ComPtr<IXMLDOMNode> node;
    BSTR text = nullptr;
    tell("IXMLDOMDocument2::put_async", document->put_async(VARIANT_FALSE));
    const BSTR property = SysAllocString(L"SelectionNamespaces");
    tell("IXMLDOMDocument2::setProperty", document->setProperty(property, value));
    SysReAllocString(&value.bstrVal, path);
    tell("IXMLDOMDocument2::load", document->load(value, &loaded));
    SysReAllocString(&value.bstrVal, L"/app:a");
    tell("IXMLDOMDocument2::selectSingleNode",
         document->selectSingleNode(value.bstrVal, node.receive()));
    if (node)
        tell("IXMLDOMNode::get_text", node->get_text(&text));
    SysFreeString(text);
    SysFreeString(property);
    SysFreeString(value.bstrVal);
    DeleteFileW(path);
}

void askIcon()
{
    SHFILEINFOW info{};
    tellTruth("SHGetFileInfoW", SHGetFileInfoW(libraryPath, static_cast<DWORD>(-1), &info,
                                               sizeof(info), SHGFI_SYSICONINDEX) != 0);
    ComPtr<IImageList> list;
    HICON icon = nullptr;
    if (tell("SHGetImageList", SHGetImageList(SHIL_LARGE, IID_IImageList, list.receiveVoid())))
        tell("IImageList::GetIcon", list->GetIcon(info.iIcon, ILD_TRANSPARENT, &icon));
    DestroyIcon(icon);
}
} // namespace

void askApplications()
{
    askProcess();
    askProcesses();
    askVersion();
    askPackage();
    askManifest();
    askIcon();
}
