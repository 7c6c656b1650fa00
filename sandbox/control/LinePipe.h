// LinePipe.h: what both ends of the control pipe share: its name, the owner of its handles, and a connection by lines.
#pragma once

#include <windows.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox
{
struct KernelHandleCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Owns a handle by CloseHandle; null when there is none, so INVALID_HANDLE_VALUE never gets into it.
using KernelHandle = std::unique_ptr<void, KernelHandleCloser>;

/// A manual-reset event, not set. Throws std::system_error.
[[nodiscard]] KernelHandle makeEvent();

/// Throws the last error as std::system_error.
[[noreturn]] void throwLastError(const char* call);

/// The path of a pipe. A name without a backslash is a bare one, and gets the prefix of this machine's pipes.
[[nodiscard]] std::wstring pipePath(const std::wstring& name);

/// LINKWELL_SANDBOX_CONTROL; none if it is not set or empty.
[[nodiscard]] std::optional<std::wstring> controlPipeName();

/// Reads and writes whole lines on a connected byte pipe. Used by one thread.
class LinePipe
{
public:
    static constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

    enum class Outcome
    {
        Line,    // there is one
        TooLong, // a longer one than allowed has come to its end and was dropped; what follows can be read
        Ended    // the other end has gone, perhaps in the middle of a line, or `stop` was set
    };

    /// @param pipe     opened for overlapped operations; borrowed.
    /// @param stop     ends what waits when it is set; borrowed; null: nothing does.
    /// @param longest  the most bytes that a line may have.
    explicit LinePipe(HANDLE pipe, HANDLE stop = nullptr, std::size_t longest = noLimit);

    /// Waits for a line, and gives it without its line feed; unless the outcome is Line, `line` is unchanged.
    [[nodiscard]] Outcome readLine(std::string& line);
    /// Writes the text and a line feed. False if the other end has gone, or `stop` was set before all was written.
    [[nodiscard]] bool writeLine(std::string_view text);

private:
    [[nodiscard]] bool receive();
    [[nodiscard]] bool write(std::string_view bytes);
    [[nodiscard]] std::optional<DWORD> finish(BOOL started);

    const HANDLE m_pipe;
    const HANDLE m_stop;
    const std::size_t m_longest;
    KernelHandle m_done;
    OVERLAPPED m_overlapped{};
    std::vector<char> m_chunk;
    std::string m_received;     // what has come and has not been given out
    std::size_t m_searched = 0; // so many bytes of it have no line feed
    bool m_drops = false;       // what has come of this line was too long already, and is gone
};
} // namespace sandbox
