#include "tests/endtoend/ProgramFile.h"

#include <algorithm>

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

ProgramFile::ProgramFile(const std::filesystem::path& file)
    : m_bytes(support::readBytes(file)),
      m_data(LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE))
{
    if (m_data == nullptr)
        support::throwLastError("LoadLibraryExW");
    m_headers = at<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    if (m_headers->Signature != IMAGE_NT_SIGNATURE || m_headers->OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC)
        throw std::runtime_error("not a 64-bit program");
}

ProgramFile::~ProgramFile()
{
    FreeLibrary(m_data);
}

const IMAGE_IMPORT_DESCRIPTOR* ProgramFile::imports() const
{
    return at<IMAGE_IMPORT_DESCRIPTOR>(
        m_headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
}

std::vector<std::string> ProgramFile::importedModules() const
{
    std::vector<std::string> modules;
    for (const auto* module = imports(); module->Name != 0; ++module)
        modules.emplace_back(at<char>(module->Name));
    return modules;
}

std::vector<std::string> ProgramFile::importedFunctions(std::string_view module) const
{
    std::vector<std::string> functions;
    for (const auto* known = imports(); known->Name != 0; ++known)
    {
        if (module != at<char>(known->Name))
            continue;
        for (const auto* import = at<IMAGE_THUNK_DATA64>(known->OriginalFirstThunk); import->u1.AddressOfData != 0;
             ++import)
        {
            if (!IMAGE_SNAP_BY_ORDINAL64(import->u1.Ordinal))
                functions.emplace_back(at<char>(import->u1.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name)));
        }
    }
    return functions;
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
} // namespace endtoend
