// Turns.h: agent and floor, each as a fresh process on the same mailbox, and what their snapshot took.
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
    Floor
};

[[nodiscard]] const char* nameOf(Party party);

/// Both: who comes first in one run comes second in the next.
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

    // Of the floor alone.
    double composing = 0;    // how much of `reading` was not spent in MAPI calls
    std::size_t mailbox = 0; // bytes of its memory behind `reading`, but for the text

    std::size_t peak = 0; // bytes of memory that the process had at most
    std::string message;  // in UTF-8
};

struct Pair
{
    Turn agent;
    Turn floor;
};

/// Observes, of both, the bytes of memory for each byte of the message, beyond what a message of nearly nothing took.
void observeMemory(std::string_view figure, double size, const Pair& pair, const Pair& least);

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

    /// Has both do so, by turns the one or the other first. Throws when their messages differ.
    [[nodiscard]] Pair takeBoth(unsigned run, bool withLog);

private:
    Turns(const std::wstring& dll, const std::string& mailbox, unsigned contacts, unsigned letters);

    support::TempFolder m_folder;
    std::list<support::EnvironmentVariable> m_environment; // of both
};
} // namespace bench
