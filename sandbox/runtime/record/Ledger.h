// Ledger.h: who holds what: memory blocks and interface references, by the call that gave them out, and what clients did
// wrong.
//
// All of it stands in arrays of fixed size that need no constructor, no destructor, no lock and no memory to be read:
// the report is written while the process goes down, when other threads may have been stopped anywhere.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace sandbox
{
/// Blocks that one call gave out and that are not freed yet.
struct BlockAccount
{
    std::atomic<const char*> call{nullptr}; // null: the place is free
    std::atomic<std::int64_t> blocks{0};
    std::atomic<std::int64_t> bytes{0};
};

/// Objects of one interface that one call gave out and that are not gone yet.
struct ObjectAccount
{
    std::atomic<const char*> call{nullptr}; // null: the place is free
    const char* interfaceName = nullptr;
    std::atomic<std::int64_t> objects{0};
    std::atomic<std::int64_t> references{0};
};

/// Something that a client must not do.
struct MisuseAccount
{
    std::atomic<const char*> call{nullptr}; // null: the place is free
    const char* what = nullptr;
    std::atomic<std::int64_t> times{0};
};

/// The accounts of this process. Each text given to it must live as long as the process.
namespace ledger
{
[[nodiscard]] BlockAccount& blocksOf(const char* call) noexcept;
[[nodiscard]] ObjectAccount& objectsOf(const char* interfaceName, const char* call) noexcept;

/// @param call  the call during which it came out, or which gave out what was misused.
void noteMisuse(const char* what, const char* call) noexcept;
/// To be called when the process goes down and all other threads are gone: no lock is taken from then on, since one of
/// them may have held it.
void setProcessEnding() noexcept;
/// Forgets every misuse noted so far.
void forgetMisuse() noexcept;

/// The calls of MAPIInitialize that no MAPIUninitialize has answered yet.
[[nodiscard]] std::atomic<std::int64_t>& initializations() noexcept;

[[nodiscard]] std::int64_t liveBlocks() noexcept;
[[nodiscard]] std::int64_t liveObjects() noexcept;
[[nodiscard]] std::int64_t liveReferences() noexcept;

/// The report of docs/sandbox.md, UTF-8, in a buffer of this module that the next call fills anew. Takes no
/// lock and no memory.
[[nodiscard]] std::string_view report() noexcept;
} // namespace ledger
} // namespace sandbox
