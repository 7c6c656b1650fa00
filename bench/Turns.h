// Turns.h: agent, floor, and the floor with the texts that the agent has to keep, each as a fresh process on the same mailbox, and
// what their snapshot took.
#pragma once

#include <array>
#include <filesystem>
#include <list>
#include <string>
#include <string_view>

#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"

namespace bench
{
enum class Party
{
    Agent,
    Floor,
    FloorWithTexts // of snapshots alone
};

[[nodiscard]] const char* nameOf(Party party);

/// Agent and floor: who comes first in one run comes second in the next.
[[nodiscard]] std::array<Party, 2> inTurns(unsigned run);

/// What one snapshot took. Milliseconds; from the first MAPI call on the store to the whole message at the host.
struct Turn
{
    // With a log; the parts need its stamps.
    double whole = 0;
    double reading = 0; // MAPI calls, and what is composed between them, up to the message's text
    double log = 0;     // up to the connection to the host
    double pipe = 0;

    double toConnection = 0; // from the start of the process

    // Of the floors alone.
    double composing = 0;    // how much of `reading` was not spent in MAPI calls
    std::size_t mailbox = 0; // bytes of its memory behind `reading`, but for the text

    std::size_t peak = 0; // bytes of memory that the process had at most
    std::string message;  // in UTF-8
};

struct Round
{
    Turn agent;
    Turn floor;
    Turn floorWithTexts;
};

/// Observes a time of each, in milliseconds, less a time that is the same for all.
void observeTime(std::string_view figure, double size, const Round& round, double Turn::* time, double less = 0);

/// Observes, of each, the bytes of memory for each byte that its message has more than that of the least mailbox.
void observeMemory(std::string_view figure, double size, const Round& round, const Round& least);

/// Runs them on one mailbox, one at a time.
class Turns
{
public:
    /// On the sandbox, with so many contacts that it makes by its rule.
    [[nodiscard]] static Turns onSandbox(unsigned contacts);
    /// On the runtime of bench/bare, with so many contacts, whose text is so long beside the fields that all have.
    [[nodiscard]] static Turns onBare(unsigned contacts, unsigned letters = 0);

    /// Has the party send its snapshot, and ends it. Throws when it ends by itself, or after half an hour.
    [[nodiscard]] Turn take(Party party, bool withLog);

    /// Has each do so: by turns agent or floor first, and the floor with texts behind both. Throws when their messages differ.
    [[nodiscard]] Round takeAll(unsigned run, bool withLog);

private:
    Turns(const std::wstring& dll, const std::string& mailbox, unsigned contacts, unsigned letters);

    support::TempFolder m_folder;
    std::list<support::EnvironmentVariable> m_environment; // of all
};
} // namespace bench
