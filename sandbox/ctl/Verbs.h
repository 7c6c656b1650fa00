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

/// Lets a verb have another behind it. The parser doesn't know that there must be one: it would say so of a verb that is
/// misspelt, instead of naming it.
inline void takeVerb(CLI::App& verb)
{
    verb.require_subcommand(0, 1);
}

/// Which verbs there are, in words that go on with a sentence: " behind 'edit': contact, folder, store".
[[nodiscard]] inline std::string verbsOf(const CLI::App& verb)
{
    std::string text = verb.get_parent() == nullptr ? "" : " behind '" + verb.get_name() + "'";
    const char* separator = ": ";
    for (const CLI::App* each : verb.get_subcommands(nullptr))
    {
        text += separator + each->get_name();
        separator = ", ";
    }
    return text;
}

[[noreturn]] inline void throwVerbMissing(const CLI::App& verb)
{
    throw CLI::RequiredError("a verb is required" + verbsOf(verb), CLI::ExitCodes::RequiredError);
}

/// The same, for a verb that does nothing of its own.
inline void requireVerb(CLI::App& verb)
{
    takeVerb(verb);
    verb.callback(
        [&verb]
        {
            if (verb.get_subcommands().empty())
                throwVerbMissing(verb);
        });
}

/// A required word of a verb; borrows `value` for as long as the program.
inline CLI::Option* addWord(CLI::App& verb, const std::string& name, std::string& value, const std::string& help)
{
    return verb.add_option(name, value, help)->required()->type_name("");
}
} // namespace sandboxctl
