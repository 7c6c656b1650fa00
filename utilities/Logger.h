// Logger.h: the agent's one log, a UTF-8 file of time-stamped records with a size limit and a single backup.
//
// Callers never test whether logging is on: without a file every record is dropped at the last step. No operation fails
// for a file problem. There is no lock: settled behaviour 59.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace utilities
{
class Logger
{
public:
    /// The one instance; made on the first call, from whichever thread. At the end of the process it finishes the log.
    [[nodiscard]] static Logger& instance();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Opens the log at `newPath`, behind what the file already holds, and writes the header; for a log that is open,
    /// see settled behaviour 61. Creates the file, but no folder. Before any other thread logs.
    void init(const std::wstring& newPath);

    /// Writes one record: the local time and `text`, whose line feeds stay inside the record. Nothing for an empty
    /// text. At 1,048,576 bytes the file is moved to its path plus ".bak", and a new one begun. What is large comes as
    /// `rest`, behind the text, so that nobody has to join them; no surrogate pair is to lie across both.
    void write(std::wstring_view text, std::wstring_view rest = {});

    /// Writes the footer and closes the file; records are dropped from then on.
    void finish();

private:
    Logger() = default;
    ~Logger();

    void open();
    void close() noexcept;
    void rotate();
    void writeRaw(std::initializer_list<std::wstring_view> parts);
    void writeBanner(const std::wstring& text);
    [[nodiscard]] static std::wstring timestamp();

    /// The value of `currentSize` that means that the size could not be read.
    const std::uint64_t invalidSize = ~std::uint64_t{0};
    /// Bytes at which the file is moved to its backup.
    const std::uint64_t maxSize = 0x100000;
    /// Bytes in the file, by our own count after the first reading. Wraps round from `invalidSize`: settled behaviour
    /// 63.
    std::atomic<std::uint64_t> currentSize = 0;
    /// Empty: no file was asked for.
    std::wstring path;
    /// The last character of the last text; 0: no line break is owed.
    std::atomic<wchar_t> lastChar = 0;
    std::atomic<HANDLE> file = INVALID_HANDLE_VALUE;
    /// A thread moves the file away. No thread waits for it.
    std::atomic<bool> isRotating = false;
};
} // namespace utilities
