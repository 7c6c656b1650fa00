#include "tests/endtoend/soak/ProcessUsage.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <system_error>
#include <vector>

#include <psapi.h>

namespace endtoend::soak
{
namespace
{
constexpr ULONG extendedHandleInformation = 64;
constexpr LONG lengthMismatch = static_cast<LONG>(0xC0000004);

/// What the system tells of each handle that is open, behind their number and a reserved word.
struct HandleEntry
{
    void* object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT creator;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleHeader
{
    ULONG_PTR count;
    ULONG_PTR reserved;
};

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

std::size_t privateBytesOf(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(process, &counters, sizeof(counters)))
        fail("GetProcessMemoryInfo");
    return counters.PagefileUsage; // by another name the PrivateUsage of newer structures, which Wine 8 leaves at 0
}

/// The list of all handles of the system, as its bytes. GetProcessHandleCount would be simpler, but Wine 8 answers 0.
std::vector<std::byte> allHandles()
{
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    if (query == nullptr)
        fail("NtQuerySystemInformation");
    std::vector<std::byte> bytes(1 << 16);
    LONG status = lengthMismatch;
    while ((status = query(extendedHandleInformation, bytes.data(), static_cast<ULONG>(bytes.size()), nullptr)) ==
           lengthMismatch)
        bytes.resize(bytes.size() * 2); // what the call says to be needed may not be enough for the next one
    if (status < 0)
        fail("NtQuerySystemInformation");
    return bytes;
}

std::size_t handlesOf(HANDLE process)
{
    const std::vector<std::byte> bytes = allHandles();
    const auto* const header = reinterpret_cast<const HandleHeader*>(bytes.data());
    const std::span entries(reinterpret_cast<const HandleEntry*>(header + 1), header->count);
    const DWORD id = GetProcessId(process);
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(),
                                                  [id](const HandleEntry& entry) { return entry.processId == id; }));
}
} // namespace

ProcessUsage usageOf(HANDLE process)
{
    return {privateBytesOf(process), handlesOf(process)};
}
} // namespace endtoend::soak
