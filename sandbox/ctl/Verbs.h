// Verbs.h: the verbs of sandboxctl. Each gives the program one or several verbs, which set the request when the command
// line uses them. What is wrong with a command line beyond its grammar is thrown as CLI::ValidationError.
#pragma once

#include <CLI/CLI.hpp>

#include <nlohmann/json.hpp>
#include <string>

namespace sandboxctl
{
using Json = nlohmann::json;

/// list, add, edit, move, copy, delete.
void addMailboxVerbs(CLI::App& program, Json& request);
/// inject, batch, plan, release, wait, journal, subscriptions.
void addRunVerbs(CLI::App& program, Json& request);

/// Lets a verb have another behind it. The parser is not told that there must be one: it would say so of a verb that is
/// misspelt, instead of naming it.
inline void takeVerb(CLI::App& verb)
{
    verb.require_subcommand(0, 1);
}

[[noreturn]] inline void throwVerbMissing()
{
    throw CLI::RequiredError("a verb");
}

/// The same, for a verb that does nothing of its own.
inline void requireVerb(CLI::App& verb)
{
    takeVerb(verb);
    verb.callback(
        [&verb]
        {
            if (verb.get_subcommands().empty())
                throwVerbMissing();
        });
}

/// The place of the object that a verb is about, a required word; borrows `place` for as long as the program.
inline CLI::Option* addPlace(CLI::App& verb, const std::string& name, std::string& place, const std::string& help)
{
    return verb.add_option(name, place, help)->required()->type_name("");
}
} // namespace sandboxctl
