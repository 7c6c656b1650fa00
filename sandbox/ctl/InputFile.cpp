#include "sandbox/ctl/InputFile.h"

#include <windows.h>

#include <array>
#include <stdexcept>

#include "sandbox/control/KernelHandle.h"
#include "sandbox/mailbox/model/Text.h"

namespace sandboxctl
{
namespace
{
[[nodiscard]] std::string readAll(HANDLE file, const std::string& name)
{
    std::string bytes;
    std::array<char, 4096> chunk;
    DWORD count = 0;
    while (ReadFile(file, chunk.data(), static_cast<DWORD>(chunk.size()), &count, nullptr))
    {
        if (count == 0)
            return bytes;
        bytes.append(chunk.data(), count);
    }
    if (GetLastError() == ERROR_BROKEN_PIPE) // how the input ends when it is a pipe
        return bytes;
    throw std::runtime_error(name + " can't be read");
}
} // namespace

std::string readInput(const std::string& name)
{
    if (name == "-")
        return readAll(GetStdHandle(STD_INPUT_HANDLE), "the standard input");
    const HANDLE file = CreateFileW(sandbox::toWide(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        throw std::runtime_error(name + " can't be opened");
    const sandbox::KernelHandle owner(file);
    return readAll(file, name);
}
} // namespace sandboxctl
