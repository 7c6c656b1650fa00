#include "agent/mapi/MapiMemory.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <string>

#include "agent/mapi/MapiRuntime.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

namespace mapi::impl
{
namespace
{
/// All 16 digits, upper case: settled behaviour 66. No stream is used, here or elsewhere in the agent: the first one
/// would triple the size of the program.
[[nodiscard]] std::wstring pointerText(const void* pointer)
{
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    std::wstring text;
    for (int shift = 60; shift >= 0; shift -= 4)
        text += digits[(address >> shift) & 0xF];
    return text;
}
} // namespace

void* allocateElements(ULONG count, std::size_t elementSize, void* parent, std::source_location where)
{
    constexpr std::wstring_view function = L"mapi::allocate";
    if (count == 0)
        return nullptr;

    const auto size = utilities::narrow_cast<ULONG>(std::uint64_t{count} * elementSize);
    void* block = nullptr;
    const SCODE result = parent != nullptr ? MAPIAllocateMore(size, parent, &block) : MAPIAllocateBuffer(size, &block);
    if (result != S_OK || block == nullptr)
    {
        const std::wstring text =
            L"MAPI cannot allocate buffer for cb = " + std::to_wstring(count) + L"parent = " + pointerText(parent);
        utilities::Logger::instance().write(utilities::formatHresult(function, where.line(), result, text));
        std::terminate();
    }
    std::memset(block, 0, size);
    return block;
}
} // namespace mapi::impl
