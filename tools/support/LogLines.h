// LogLines.h: the lines of a log and its backup, read in bounded memory while the agent may go on writing.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace diagnosis
{
/// Gives up to `size` bytes; 0 at the end. Throws std::runtime_error when reading fails.
using ByteSource = std::function<std::size_t(char* bytes, std::size_t size)>;

/// A line in UTF-8 without its line end, or a part of one that is too long for memory.
struct LinePart
{
    std::string text;
    bool begins = true; // the line
    bool ends = true;   // the line; false too for the last one of a file, which has no line end
};

/// Cuts bytes into lines: UTF-8, or UTF-16 by its byte order mark or by its zeros. What is no UTF-8 stays as it is.
class LineReader
{
public:
    explicit LineReader(ByteSource source);
    /// The next line, or part of a line; false at the end.
    [[nodiscard]] bool next(LinePart& part);

private:
    enum class Encoding
    {
        Utf8,
        Utf16Little,
        Utf16Big
    };

    bool fill();
    void detectEncoding();
    void appendUtf16(std::string_view bytes);

    ByteSource m_source;
    std::optional<Encoding> m_encoding; // none before the first bytes
    std::string m_text;                 // read and not yet given
    std::size_t m_begin = 0;            // of what is left in it
    std::string m_carry;                // bytes of a character that is not complete
    bool m_lineBegins = true;
};

/// The files of a log, oldest first: the backup if there is one, and the log. Opened so that the agent can go on writing,
/// and move them away. Throws std::system_error when one of them can't be opened; a missing log with a backup is the backup.
/// @param path  of the log itself, not of the backup.
[[nodiscard]] std::vector<ByteSource> openLog(const std::wstring& path);

/// The time stamp that stands in front of a record, "05.03.2024 14:07:09.042"; empty when there is none.
[[nodiscard]] std::string_view stampOf(std::string_view line);
/// What follows the stamp and the two blanks.
[[nodiscard]] std::string_view withoutStamp(std::string_view line);

/// Takes the first record off a line that begins with a stamp, and gives it with that. Others are left where two threads
/// have lost the line break between their records.
[[nodiscard]] std::string_view takeRecord(std::string_view& line);

/// Takes the words of a rotation from the end of a line, which may stand directly behind its record; gives them in order.
[[nodiscard]] std::string_view takeRotation(std::string_view& line);
} // namespace diagnosis
