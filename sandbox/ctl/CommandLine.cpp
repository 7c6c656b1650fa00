#include "sandbox/ctl/CommandLine.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include "sandbox/ctl/Verbs.h"

namespace sandboxctl
{
namespace
{
const char* const footer =
    "A path is one of display names, the store's first: Mailbox/Contacts/Mara Lindqvist. / and \\ in a "
    "name\nare written \\/ and \\\\. # and hexadecimal is an entry identifier.\n"
    "Exit status: 0 done; 1 refused by the sandbox, and nothing has changed; 2 the command line is "
    "wrong;\n3 no sandbox answers.";

/// Wraps the parser's help, which knows of no verbs.
void nameVerbs(CLI::App& program)
{
    const auto formatter = std::make_shared<CLI::Formatter>();
    formatter->label("SUBCOMMAND", "VERB");
    formatter->label("SUBCOMMANDS", "VERB");
    formatter->label("Positionals", "Words");
    formatter->column_width(34);
    program.formatter(formatter);
    program.group("Verbs");
}

/// The parser counts a verb that it doesn't know among the words that it did not expect.
[[nodiscard]] std::string unexpected(const CLI::App& program, const CLI::ExtrasError& error)
{
    const CLI::App* last = &program;
    while (!last->get_subcommands().empty())
        last = last->get_subcommands().front();
    const std::vector<std::string> words = program.remaining(true);
    const auto word = std::ranges::find_if(words, [](const std::string& each) { return !each.starts_with('-'); });
    if (word == words.end() || last->get_subcommands(nullptr).empty())
        return error.what();
    return "there is no verb '" + *word + "'" + verbsOf(*last);
}
} // namespace

CommandLine readCommandLine(std::vector<std::string> words)
{
    CommandLine result;
    Command command;
    std::string pipe;
    auto patience = static_cast<std::uint32_t>(command.patience.count());

    CLI::App program("Edits a running sandbox: the MAPI runtime for machines without Outlook.", "sandboxctl");
    nameVerbs(program);
    program.footer(footer);
    program.set_version_flag("--version", "sandboxctl " LINKWELL_VERSION "\n");
    program.allow_windows_style_options(false);
    program.fallthrough();
    requireVerb(program);
    CLI::Option* const pipeOption =
        program.add_option("--pipe", pipe, "the sandbox's pipe; LINKWELL_SANDBOX_CONTROL without it")
            ->type_name("NAME");
    program
        .add_option("--connect-timeout", patience,
                    "how long to wait until the pipe is there and free, in milliseconds; 5000 without it")
        ->type_name("MS");
    program.add_flag("--json", command.raw, "print the answer as the sandbox gave it");
    addMailboxVerbs(program, command.request);
    addRunVerbs(program, command.request);

    try
    {
        std::reverse(words.begin(), words.end()); // as the parser takes them
        program.parse(words);
    }
    catch (const CLI::CallForHelp&)
    {
        result.text = program.help();
        return result;
    }
    catch (const CLI::CallForVersion& version)
    {
        result.text = version.what();
        return result;
    }
    catch (const CLI::ExtrasError& error)
    {
        result.status = Status::BadCommandLine;
        result.text = unexpected(program, error);
        return result;
    }
    catch (const CLI::ParseError& error)
    {
        result.status = Status::BadCommandLine;
        result.text = error.what();
        return result;
    }
    if (pipeOption->count() != 0)
        command.pipe = pipe;
    command.patience = std::chrono::milliseconds(patience);
    result.command = std::move(command);
    return result;
}
} // namespace sandboxctl
