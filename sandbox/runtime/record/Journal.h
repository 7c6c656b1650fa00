// Journal.h: the record of the calls that clients make.
#pragma once

#include <cstdint>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// The arguments of a call: an object of their published names.
using Arguments = Json;

/// One call that has ended.
struct JournalEntry
{
    std::string call; // as in Plan::method
    Bytes on;         // long-term identifier of the object; empty for functions and the session
    Arguments arguments;
    HRESULT result = S_OK;
    unsigned thread = 0; // 1, 2, ... in the order of their first call of the process
};

/// The journal of the process; off at first. Used by any thread.
namespace journal
{
/// The most calls that are kept; the oldest go first.
inline constexpr std::size_t capacity = 100000;

void start();
void stop();
void clear();
[[nodiscard]] bool isOn() noexcept;

struct Reading
{
    std::vector<JournalEntry> calls; // in the order in which they began
    std::uint64_t lost = 0;          // how many of the oldest no longer fit
};
/// What stands in it. Calls that have not ended yet are not among them; they come in when they have, also after a
/// clearing.
/// @param clears  whether it is empty afterwards.
[[nodiscard]] Reading read(bool clears = false);

/// Gives the calling thread its number, at its first call.
void countThread() noexcept;

/// One call for as long as it runs.
class Recording
{
public:
    /// The place of the call in the journal, which it takes when it has ended. Not called for a call that isn't recorded.
    /// @param call  as in JournalEntry.
    void begin(const char* call, Bytes on, Arguments arguments);
    /// Gives back `result`.
    HRESULT end(HRESULT result) noexcept;

private:
    std::optional<JournalEntry> m_entry;
    std::uint64_t m_number = 0;
};
} // namespace journal
} // namespace sandbox
