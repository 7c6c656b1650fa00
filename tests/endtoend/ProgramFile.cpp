#include "tests/endtoend/ProgramFile.h"

#include <algorithm>
#include <cstdint>

#include "tests/support/Handle.h"
#include "tests/support/TempFolder.h"

namespace endtoend
{
namespace
{
using Numbers = std::vector<unsigned>;

void addNumber(LONG_PTR context, const wchar_t* name)
{
    if (!IS_INTRESOURCE(name))
        throw std::runtime_error("a resource whose type or name is a text");
    reinterpret_cast<Numbers*>(context)->push_back(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(name)));
}

BOOL CALLBACK addType(HMODULE, LPWSTR type, LONG_PTR context)
{
    addNumber(context, type);
    return TRUE;
}

BOOL CALLBACK addId(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR context)
{
    addNumber(context, name);
    return TRUE;
}
} // namespace

ProgramFile::ProgramFile(const std::filesystem::path& file) : m_bytes(support::readBytes(file))
{
    const auto dosHeader = structureAt<IMAGE_DOS_HEADER>(m_bytes, 0);
    const auto headersOffset = static_cast<std::size_t>(dosHeader.e_lfanew);
    m_headers = structureAt<IMAGE_NT_HEADERS64>(m_bytes, headersOffset);
    if (dosHeader.e_magic != IMAGE_DOS_SIGNATURE || m_headers.Signature != IMAGE_NT_SIGNATURE ||
        m_headers.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC)
        throw std::runtime_error("not a 64-bit program");
    const std::size_t firstSection =
        headersOffset + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + m_headers.FileHeader.SizeOfOptionalHeader;
    for (WORD index = 0; index < m_headers.FileHeader.NumberOfSections; ++index)
        m_sections.push_back(
            structureAt<IMAGE_SECTION_HEADER>(m_bytes, firstSection + index * sizeof(IMAGE_SECTION_HEADER)));
    m_data = LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (m_data == nullptr)
        support::throwLastError("LoadLibraryExW");
}

ProgramFile::~ProgramFile()
{
    FreeLibrary(m_data);
}

std::vector<std::string> ProgramFile::importedModules() const
{
    std::vector<std::string> modules;
    const IMAGE_DATA_DIRECTORY directory = m_headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (std::size_t offset = offsetOf(directory.VirtualAddress);; offset += sizeof(IMAGE_IMPORT_DESCRIPTOR))
    {
        const auto descriptor = structureAt<IMAGE_IMPORT_DESCRIPTOR>(m_bytes, offset);
        if (descriptor.Name == 0)
            return modules;
        const std::size_t name = offsetOf(descriptor.Name);
        modules.push_back(m_bytes.substr(name, m_bytes.find('\0', name) - name));
    }
}

std::vector<unsigned> ProgramFile::resourceTypes() const
{
    Numbers types;
    if (!EnumResourceTypesW(m_data, addType, reinterpret_cast<LONG_PTR>(&types)))
        support::throwLastError("EnumResourceTypesW");
    std::sort(types.begin(), types.end());
    return types;
}

std::vector<unsigned> ProgramFile::resourceIds(unsigned type) const
{
    Numbers ids;
    if (!EnumResourceNamesW(m_data, MAKEINTRESOURCEW(type), addId, reinterpret_cast<LONG_PTR>(&ids)))
        support::throwLastError("EnumResourceNamesW");
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::string ProgramFile::resource(unsigned type, unsigned id) const
{
    const HRSRC found = FindResourceW(m_data, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(type));
    if (found == nullptr)
        support::throwLastError("FindResourceW");
    const HGLOBAL loaded = LoadResource(m_data, found);
    if (loaded == nullptr)
        support::throwLastError("LoadResource");
    return {static_cast<const char*>(LockResource(loaded)), SizeofResource(m_data, found)};
}

std::size_t ProgramFile::offsetOf(DWORD address) const
{
    for (const IMAGE_SECTION_HEADER& section : m_sections)
    {
        if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
            return section.PointerToRawData + (address - section.VirtualAddress);
    }
    throw std::runtime_error("an address outside the file");
}
} // namespace endtoend
