// Modules.h: files with the headers of modules, and nothing behind them.
#pragma once

#include <windows.h>

#include <string>

#include "tools/support/doctor/ModuleFile.h"

namespace diagnosis
{
[[nodiscard]] inline std::string moduleBytes(WORD machine, bool isDll)
{
    IMAGE_DOS_HEADER dos{};
    dos.e_magic = IMAGE_DOS_SIGNATURE;
    dos.e_lfanew = sizeof(dos);
    const DWORD signature = IMAGE_NT_SIGNATURE;
    IMAGE_FILE_HEADER header{};
    header.Machine = machine;
    header.Characteristics = static_cast<WORD>(IMAGE_FILE_EXECUTABLE_IMAGE | (isDll ? IMAGE_FILE_DLL : 0));
    std::string bytes(reinterpret_cast<const char*>(&dos), sizeof(dos));
    bytes.append(reinterpret_cast<const char*>(&signature), sizeof(signature));
    return bytes.append(reinterpret_cast<const char*>(&header), sizeof(header));
}
} // namespace diagnosis
