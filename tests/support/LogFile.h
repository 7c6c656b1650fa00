// LogFile.h: the log as a test sees it: started anew for the test, and read as lines.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/TempFolder.h"

namespace support
{
/// What stands in front of a line without a time stamp: the further lines of a record, and the texts of a rotation.
inline constexpr std::string_view unstamped = "| ";

/// The first and the last record of a log, without their stamps.
inline constexpr std::string_view logHeader = "Logging started   --------------------------------";
inline constexpr std::string_view logFooter = "Logging finished  --------------------------------";

/// Whether `text` begins with a stamp of the log's form, such as "05.03.2024 14:07:09.042  ", with possible numbers.
[[nodiscard]] bool hasLogStamp(std::string_view text);

/// The lines of a log's bytes, in UTF-8 and without their line ends. A stamp is checked and left out; a line without one
/// has `unstamped` in front; an empty line is empty. Throws on a carriage return or a line feed that stands alone.
[[nodiscard]] std::vector<std::string> logLines(std::string_view bytes);

/// `logLines` of a file.
[[nodiscard]] std::vector<std::string> readLogLines(const std::filesystem::path& file);

/// Sends the process's log to a file of its own for the life of this object. One at a time.
class ScopedLog
{
public:
    ScopedLog();
    ~ScopedLog();
    ScopedLog(const ScopedLog&) = delete;
    ScopedLog& operator=(const ScopedLog&) = delete;

    /// What has been logged so far, without the header.
    [[nodiscard]] std::vector<std::string> lines() const;

private:
    TempFolder m_folder;
    std::wstring m_file = m_folder.file(L"test.log");
};
} // namespace support
