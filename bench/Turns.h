// Turns.h: agent and floor, each as a fresh process on the same mailbox, and what their snapshot took.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/TempFolder.h"

namespace bench
{
enum class Party
{
    Agent,
    Floor
};

[[nodiscard]] const char* nameOf(Party party);

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
    double composing = 0;   // how much of `reading` was not spent in MAPI calls
    std::size_t before = 0; // bytes of its memory before the snapshot: the mailbox

    std::size_t peak = 0; // bytes of memory that the process had at most
    std::string message;  // in UTF-8
};

/// Runs them on one mailbox, one at a time.
class Turns
{
public:
    /// @param mailbox  a mailbox file's text, with one store and a class on each folder.
    explicit Turns(const std::string& mailbox);

    /// Has the party send its snapshot, and ends it. Throws when it ends by itself, or after half an hour.
    [[nodiscard]] Turn take(Party party, bool withLog);

private:
    support::TempFolder m_folder;
};
} // namespace bench
