// Output.h: a record of the log, and an exchange with the host, in the fewest calls.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace bench
{
/// Writes records as the agent's log has them, with one write for each. Never begins a new file.
class BareLog
{
public:
    /// @param path  empty: there is no file; a record gets its stamp all the same.
    explicit BareLog(const std::string& path);
    ~BareLog();
    BareLog(const BareLog&) = delete;
    BareLog& operator=(const BareLog&) = delete;

    /// Writes a text, or two of them as one: UTF-8, with single line feeds, which are written as carriage return and line feed.
    void write(std::string_view text, std::string_view rest = {});
    /// The same, with the rest in UTF-16.
    void write(std::string_view text, std::wstring_view rest);

private:
    template <class Rest>
    void writeRecord(std::string_view text, Rest rest);

    HANDLE m_file = INVALID_HANDLE_VALUE;
    std::string m_record; // keeps its memory
};

/// Connects to the host, as soon as it has a free instance of the pipe. The handle is for `exchange`, which closes it.
[[nodiscard]] HANDLE connect();

/// Sends a whole message with the length in front of it, and reads "ack". Throws std::runtime_error, also for a pipe that could
/// not be had.
void exchange(HANDLE pipe, std::string_view message);

/// Appends a text in UTF-8.
void appendUtf8(std::string& bytes, std::wstring_view text);

/// A text in UTF-8, with the length in front of it.
[[nodiscard]] std::string messageOf(std::wstring_view text);

/// Puts the length of the text into the four bytes in front of it.
void setLength(std::string& message);
} // namespace bench
