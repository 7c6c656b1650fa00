// ProgramFile.h: what the file of a Windows program says about it, mapped as data: nothing of it is run.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace endtoend
{
class ProgramFile
{
public:
    /// Throws when the file can't be read or is no 64-bit program.
    explicit ProgramFile(const std::filesystem::path& file);
    ~ProgramFile();
    ProgramFile(const ProgramFile&) = delete;
    ProgramFile& operator=(const ProgramFile&) = delete;

    [[nodiscard]] const std::string& bytes() const noexcept { return m_bytes; }
    [[nodiscard]] const IMAGE_NT_HEADERS64& headers() const noexcept { return *m_headers; }
    [[nodiscard]] std::span<const IMAGE_SECTION_HEADER> sections() const noexcept
    {
        return {IMAGE_FIRST_SECTION(m_headers), m_headers->FileHeader.NumberOfSections};
    }

    /// The names of the modules in the import table, as they stand there, in order.
    [[nodiscard]] std::vector<std::string> importedModules() const;
    /// Of one of these, the names of the functions; those that have only a number are left out.
    [[nodiscard]] std::vector<std::string> importedFunctions(std::string_view module) const;

    /// The types and, of one type, the names of the resources, all of which must be numbers; in ascending order.
    [[nodiscard]] std::vector<unsigned> resourceTypes() const;
    [[nodiscard]] std::vector<unsigned> resourceIds(unsigned type) const;
    /// A resource's bytes; throws when there is none.
    [[nodiscard]] std::string resource(unsigned type, unsigned id) const;

private:
    [[nodiscard]] const IMAGE_IMPORT_DESCRIPTOR* imports() const;
    /// What lies at an address of the program.
    template <class Structure>
    [[nodiscard]] const Structure* at(std::size_t address) const
    {
        return reinterpret_cast<const Structure*>((reinterpret_cast<std::uintptr_t>(m_data) & ~std::uintptr_t{3}) +
                                                  address); // the lowest bits say that it isn't to be run
    }

    std::string m_bytes;
    HMODULE m_data;
    const IMAGE_NT_HEADERS64* m_headers = nullptr; // in the mapped file
};

/// A structure at a place in some bytes; throws when they end before.
template <class Structure>
[[nodiscard]] Structure structureAt(const std::string& bytes, std::size_t offset)
{
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Structure))
        throw std::runtime_error("a structure that reaches beyond the end");
    Structure structure;
    std::memcpy(&structure, bytes.data() + offset, sizeof(structure));
    return structure;
}
} // namespace endtoend
