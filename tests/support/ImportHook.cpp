#include "tests/support/ImportHook.h"

#include <stdexcept>
#include <string>

namespace support::impl
{
namespace
{
template <class Type>
Type* at(BYTE* base, std::size_t offset)
{
    return reinterpret_cast<Type*>(base + offset);
}

/// The place of the function's address in the program's import table; null when the program doesn't import it.
void** findImport(std::string_view name)
{
    auto* const base = reinterpret_cast<BYTE*>(GetModuleHandleW(nullptr));
    const auto* const dos = at<IMAGE_DOS_HEADER>(base, 0);
    const auto* const nt = at<IMAGE_NT_HEADERS>(base, static_cast<std::size_t>(dos->e_lfanew));
    const auto& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (imports.VirtualAddress == 0)
        return nullptr;
    for (const auto* module = at<IMAGE_IMPORT_DESCRIPTOR>(base, imports.VirtualAddress); module->Name != 0; ++module)
    {
        const auto* names = at<IMAGE_THUNK_DATA>(base, module->OriginalFirstThunk);
        auto* addresses = at<IMAGE_THUNK_DATA>(base, module->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++addresses)
        {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                continue;
            const auto* const import = at<IMAGE_IMPORT_BY_NAME>(base, names->u1.AddressOfData);
            if (name == reinterpret_cast<const char*>(import->Name))
                return reinterpret_cast<void**>(&addresses->u1.Function);
        }
    }
    return nullptr;
}
} // namespace

void* replaceImport(const char* name, void* replacement)
{
    void** const place = findImport(name);
    if (place == nullptr)
        throw std::logic_error(std::string("the test program does not import ") + name);
    DWORD protection = 0;
    if (!VirtualProtect(place, sizeof(void*), PAGE_READWRITE, &protection))
        throw std::runtime_error("the import table can't be written");
    void* const previous = *place;
    *place = replacement;
    VirtualProtect(place, sizeof(void*), protection, &protection);
    return previous;
}
} // namespace support::impl
