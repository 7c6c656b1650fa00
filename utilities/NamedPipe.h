// NamedPipe.h: the client end of a named pipe that a server has created.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "utilities/noncopyable.h"

namespace utilities
{
/// Opens a pipe by name, makes one request and reads the reply, and closes the pipe when it is destroyed. Knows nothing
/// of what the bytes mean. Belongs to one thread. Neither writing nor reading has a time-out (settled behaviour 3).
class NamedPipe : private noncopyable
{
public:
    /// Opens the pipe. Logs a failure and does not throw: the user asks `isUsable`.
    explicit NamedPipe(const std::wstring& name);
    virtual ~NamedPipe();

    /// Closes what is open and opens `\\.\pipe\<name>` by CreateFileW. Where all instances of the pipe are busy it asks
    /// WaitNamedPipeW for the bare name, which is no pipe's path, so that it fails at once and does not wait (settled
    /// behaviour 2). False on any error and for an empty name; logs nothing.
    bool open(const std::wstring& name);

    /// Whether the pipe is open.
    [[nodiscard]] bool isUsable() const noexcept;

    /// Writes the request (WriteFile) and reads the reply (ReadFile), up to the first read that ends a message. Empty
    /// on every failure, which is logged, unless no instance of the pipe was free before the read (settled behaviour
    /// 1). Throws for a request of 4 GB or more.
    std::vector<BYTE> send(const std::vector<BYTE>& request);

private:
    /// The same, and why it failed: by the time that it returns, the system may have forgotten.
    bool open(const std::wstring& name, DWORD& error);
    void close() noexcept;

    std::wstring m_name; // without the prefix; empty unless the pipe is open
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};
} // namespace utilities
