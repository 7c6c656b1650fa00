#include "tools/support/doctor/ModuleFile.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "tools/Handle.h"

namespace diagnosis
{
namespace
{
[[nodiscard]] bool readAt(const tools::OwnedHandle& file, LONG offset, void* bytes, DWORD size)
{
    DWORD count = 0;
    return SetFilePointer(file.get(), offset, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER &&
           ReadFile(file.get(), bytes, size, &count, nullptr) && count == size;
}

[[nodiscard]] ModuleFault faultOf(const std::wstring& path)
{
    const HANDLE handle =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
    {
        const DWORD error = GetLastError();
        const DWORD attributes = GetFileAttributesW(path.c_str());
        const bool isFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        return error == ERROR_ACCESS_DENIED && !isFolder ? ModuleFault::Unreadable : ModuleFault::Missing;
    }
    const tools::OwnedHandle file(handle);
    IMAGE_DOS_HEADER dos{};
    DWORD signature = 0;
    IMAGE_FILE_HEADER header{};
    if (!readAt(file, 0, &dos, sizeof(dos)) || dos.e_magic != IMAGE_DOS_SIGNATURE ||
        !readAt(file, dos.e_lfanew, &signature, sizeof(signature)) || signature != IMAGE_NT_SIGNATURE ||
        !readAt(file, dos.e_lfanew + static_cast<LONG>(sizeof(signature)), &header, sizeof(header)))
        return ModuleFault::NotAProgram;
    if (header.Machine == IMAGE_FILE_MACHINE_I386)
        return ModuleFault::Is32Bit;
    if (header.Machine != IMAGE_FILE_MACHINE_AMD64)
        return ModuleFault::OtherMachine;
    return (header.Characteristics & IMAGE_FILE_DLL) != 0 ? ModuleFault::None : ModuleFault::NotADll;
}

/// The folders in which Windows looks for a module without a full path, in order.
[[nodiscard]] std::wstring searchedFolders(const std::wstring& agentFolder)
{
    wchar_t folder[MAX_PATH] = {};
    std::wstring folders = agentFolder;
    GetSystemDirectoryW(folder, MAX_PATH);
    folders.append(L";").append(folder);
    GetWindowsDirectoryW(folder, MAX_PATH);
    folders.append(L";").append(folder).append(L"\\System;").append(folder).append(L";.");
    std::wstring path(GetEnvironmentVariableW(L"PATH", nullptr, 0), L'\0');
    if (!path.empty())
        path.resize(GetEnvironmentVariableW(L"PATH", path.data(), static_cast<DWORD>(path.size())));
    return folders.append(L";").append(path);
}

[[nodiscard]] bool isFullPath(const std::wstring& name)
{
    return name.starts_with(L"\\\\") || (name.size() > 2 && name[1] == L':' && (name[2] == L'\\' || name[2] == L'/'));
}
} // namespace

ModuleFile findModule(const std::wstring& name, const std::wstring& agentFolder)
{
    ModuleFile module{name, {}, !isFullPath(name)};
    if (name.empty())
        return module;
    const bool hasExtension = name.find(L'.', name.find_last_of(L"\\/:") + 1) != std::wstring::npos;
    const std::wstring file = hasExtension ? name : name + L".dll";
    if (!module.isRelative)
    {
        module.path = file;
    }
    else
    {
        std::vector<wchar_t> found(32768);
        if (SearchPathW(searchedFolders(agentFolder).c_str(), file.c_str(), nullptr, static_cast<DWORD>(found.size()),
                        found.data(), nullptr) == 0)
            return module;
        module.path = found.data();
    }
    module.fault = faultOf(module.path);
    if (module.fault == ModuleFault::Missing)
        module.path.clear();
    return module;
}
} // namespace diagnosis
