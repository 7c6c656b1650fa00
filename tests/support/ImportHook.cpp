#include "tests/support/ImportHook.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

namespace support::impl
{
namespace
{
/// What stands there; linkers align import tables as they like.
template <class Type>
Type read(const BYTE* base, std::size_t offset)
{
    Type value;
    std::memcpy(&value, base + offset, sizeof value);
    return value;
}

/// The place of the function's address in the program's import table; null when the program doesn't import it.
BYTE* findImport(std::string_view name)
{
    auto* const base = reinterpret_cast<BYTE*>(GetModuleHandleW(nullptr));
    const auto dos = read<IMAGE_DOS_HEADER>(base, 0);
    const auto nt = read<IMAGE_NT_HEADERS>(base, static_cast<std::size_t>(dos.e_lfanew));
    const auto& imports = nt.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (imports.VirtualAddress == 0)
        return nullptr;
    for (std::size_t at = imports.VirtualAddress;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR))
    {
        const auto module = read<IMAGE_IMPORT_DESCRIPTOR>(base, at);
        if (module.Name == 0)
            return nullptr;
        for (std::size_t offset = 0;; offset += sizeof(IMAGE_THUNK_DATA))
        {
            const auto import = read<IMAGE_THUNK_DATA>(base, module.OriginalFirstThunk + offset).u1;
            if (import.AddressOfData == 0)
                break;
            if (IMAGE_SNAP_BY_ORDINAL(import.Ordinal))
                continue;
            const std::size_t text = import.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name);
            if (name == reinterpret_cast<const char*>(base + text))
                return base + module.FirstThunk + offset;
        }
    }
}
} // namespace

void* replaceImport(const char* name, void* replacement)
{
    BYTE* const place = findImport(name);
    if (place == nullptr)
        throw std::logic_error(std::string("the test program does not import ") + name);
    DWORD protection = 0;
    if (!VirtualProtect(place, sizeof(void*), PAGE_READWRITE, &protection))
        throw std::runtime_error("the import table can't be written");
    void* const previous = read<void*>(place, 0);
    std::memcpy(place, &replacement, sizeof replacement);
    VirtualProtect(place, sizeof(void*), protection, &protection);
    return previous;
}
} // namespace support::impl
