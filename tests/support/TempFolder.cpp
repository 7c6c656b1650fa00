#include "tests/support/TempFolder.h"

#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/Platform.h"

namespace support
{
TempFolder::TempFolder() : m_path(std::filesystem::temp_directory_path() / uniqueName(L"linkwell-test"))
{
    std::filesystem::remove_all(m_path); // process ids come again
    std::filesystem::create_directories(m_path);
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string readBytes(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("can't read " + file.string());
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::filesystem::path& file, std::string_view bytes)
{
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
        throw std::runtime_error("can't write " + file.string());
}
} // namespace support
