#include "tests/endtoend/soak/ProcessUsage.h"

#include <psapi.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include "tests/support/Figures.h"
#include "tests/support/Handle.h"

namespace endtoend::soak
{
namespace
{
/// A function of ntdll that no import library has.
template <class Function>
Function* ofNtdll(const char* name)
{
    const auto function =
        reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    if (function == nullptr)
        support::throwLastError(name);
    return function;
}

std::size_t privateBytesOf(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(process, &counters, sizeof(counters)))
        support::throwLastError("GetProcessMemoryInfo");
    return counters.PagefileUsage; // by another name the PrivateUsage of newer structures, which Wine 8 leaves at 0
}

// ---- Handles ---------------------------------------------------------------------------------------------------------

constexpr ULONG extendedHandleInformation = 64;
constexpr LONG lengthMismatch = static_cast<LONG>(0xC0000004);

/// What the system says of each handle that is open, behind their number and a reserved word.
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

/// The list of all handles of the system, as its bytes. GetProcessHandleCount would be simpler, but Wine 8 answers 0.
std::vector<std::byte> allHandles()
{
    const auto query = ofNtdll<LONG WINAPI(ULONG, void*, ULONG, ULONG*)>("NtQuerySystemInformation");
    std::vector<std::byte> bytes(1 << 16);
    LONG status = lengthMismatch;
    while ((status = query(extendedHandleInformation, bytes.data(), static_cast<ULONG>(bytes.size()), nullptr)) ==
           lengthMismatch)
        bytes.resize(bytes.size() * 2); // what the call says to be needed may not be enough for the next one
    if (status < 0)
        support::throwLastError("NtQuerySystemInformation");
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

// ---- User and GDI objects where GetGuiResources answers 0, as Wine 8 does ----------------------------------------------

/// The index in Wine's table of user objects: handles are even in their low word, from the first one on.
std::size_t userIndexOf(HACCEL object)
{
    constexpr std::size_t first = 0x20;
    return ((reinterpret_cast<std::uintptr_t>(object) & 0xFFFF) - first) / 2;
}

/// How many of the table's entries are taken. New objects take the free ones before the table grows, and then they come one
/// behind the other.
std::size_t userObjectsInTable()
{
    constexpr std::size_t surelyGrowing = 64;
    ACCEL none{};
    std::vector<HACCEL> probes;
    std::size_t inOrder = 0;
    while (inOrder < surelyGrowing)
    {
        probes.push_back(CreateAcceleratorTableW(&none, 1));
        if (probes.back() == nullptr)
            support::throwLastError("CreateAcceleratorTableW");
        const bool follows = probes.size() > 1 && userIndexOf(probes.back()) == userIndexOf(*(probes.end() - 2)) + 1;
        inOrder = follows ? inOrder + 1 : 0;
    }
    const std::size_t taken = userIndexOf(probes.back()) + 1 - probes.size();
    // Backwards, so that the next question finds the table's end where it was.
    std::for_each(probes.rbegin(), probes.rend(), DestroyAcceleratorTable);
    return taken;
}

/// The process's table of GDI objects, which its environment block points to.
std::size_t gdiObjectsInTable(HANDLE process)
{
    struct Entry
    {
        std::uint64_t object;
        ULONG owner;
        USHORT unique;
        BYTE type; // 0: free
        BYTE flags;
        std::uint64_t userPointer;
    };
    constexpr std::size_t placeOfTable = 0xF8; // in the environment block of a process of 64 bits
    constexpr std::size_t entryCount = 0x4000;
    std::array<std::uint64_t, 6> basic{}; // PROCESS_BASIC_INFORMATION; the second word is the block's address
    ofNtdll<LONG WINAPI(HANDLE, ULONG, void*, ULONG, ULONG*)>("NtQueryInformationProcess")(process, 0, basic.data(),
                                                                                           sizeof(basic), nullptr);
    std::uint64_t table = 0;
    std::vector<Entry> entries(entryCount);
    const auto read = [process](std::uint64_t address, void* target, std::size_t size)
    {
        if (!ReadProcessMemory(process, reinterpret_cast<const void*>(address), target, size, nullptr))
            support::throwLastError("ReadProcessMemory");
    };
    read(basic[1] + placeOfTable, &table, sizeof(table));
    if (table == 0) // it has never had one
        return 0;
    read(table, entries.data(), entries.size() * sizeof(Entry));
    return static_cast<std::size_t>(std::ranges::count_if(entries, [](const Entry& entry) { return entry.type != 0; }));
}

void addGrowth(std::string& text, const char* what, std::size_t first, std::size_t last, std::size_t room)
{
    if (last > first + room)
        text += std::string(what) + ": " + std::to_string(first) + ", then " + std::to_string(last) + "\n";
}
} // namespace

ProcessUsage usageOf(HANDLE process)
{
    ProcessUsage usage{privateBytesOf(process), handlesOf(process), GetGuiResources(process, GR_USEROBJECTS),
                       GetGuiResources(process, GR_GDIOBJECTS)};
    if (usage.userObjects == 0) // a window it has in any case
    {
        usage.userObjects = userObjectsInTable();
        usage.gdiObjects = gdiObjectsInTable(process);
    }
    return usage;
}

std::string growthBeyond(const Room& room, const ProcessUsage& first, const ProcessUsage& last)
{
    std::string text;
    addGrowth(text, "bytes of memory", first.privateBytes, last.privateBytes, room.privateBytes);
    addGrowth(text, "handles", first.handles, last.handles, room.objects);
    addGrowth(text, "user objects", first.userObjects, last.userObjects, room.objects);
    addGrowth(text, "GDI objects", first.gdiObjects, last.gdiObjects, room.objects);
    return text;
}

void report(const std::string& what, std::size_t amount, std::size_t messages, const ProcessUsage& first,
            const ProcessUsage& last)
{
    const auto both = [](std::size_t before, std::size_t after)
    {
        return std::to_string(before) + " to " + std::to_string(after);
    };
    const std::string memory = both(first.privateBytes / 1024, last.privateBytes / 1024);
    const std::string handles = both(first.handles, last.handles);
    const std::string user = both(first.userObjects, last.userObjects);
    const std::string gdi = both(first.gdiObjects, last.gdiObjects);
    std::printf("%zu %s, %zu messages; KiB of memory %s; handles %s; user objects %s; GDI objects %s\n", amount,
                what.c_str(), messages, memory.c_str(), handles.c_str(), user.c_str(), gdi.c_str());
    support::addFigures("long runs", {{"Amount", amount},
                                      {"Of", what},
                                      {"Messages", messages},
                                      {"KiB of memory", memory},
                                      {"Handles", handles},
                                      {"User objects", user},
                                      {"GDI objects", gdi}});
}
} // namespace endtoend::soak
