// TempFolder.h: a folder for the files of one test.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace support
{
/// Makes an empty folder below the system's folder for temporary files; removes it with all that is in it.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return m_path; }
    /// The path of a file in the folder; the file need not be there.
    [[nodiscard]] std::wstring file(const std::wstring& name) const { return (m_path / name).wstring(); }

private:
    std::filesystem::path m_path;
};

/// All bytes of a file; throws when it can't be read. Works on a file that another handle writes, if that shares it.
[[nodiscard]] std::string readBytes(const std::filesystem::path& file);

/// Makes or overwrites a file with these bytes.
void writeBytes(const std::filesystem::path& file, std::string_view bytes);
} // namespace support
