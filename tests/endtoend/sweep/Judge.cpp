#include "tests/endtoend/sweep/Judge.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
constexpr std::string_view caughtStart = "An exception has been caught in ";
constexpr DWORD abortValue = 3; // of a process that ends by std::abort

// Fields of a contact's line.
constexpr std::size_t addressField = 5;
constexpr std::size_t identifierField = 10;
constexpr std::size_t folderField = 11;

// What statements begin with.
const std::string contactAdded = "2;add;contact ";
const std::string contactChanged = "2;change;contact ";
const std::string contactDeleted = "2;delete;contact ;;;;;;;;;;";
const std::string folderDeleted = "2;delete;folder ";

constexpr std::string_view noMemory = "MAPI cannot allocate buffer for cb = ";

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::string::size_type start = 0;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator, start))
    {
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

bool isAFailure(const std::string& record)
{
    static constexpr std::array<std::string_view, 7> starts = {"HRESULT logged: ",
                                                               caughtStart,
                                                               "AsyncMapiHelper::run: Unknown exception",
                                                               "Cannot open contact: ",
                                                               "Ignore message store ",
                                                               "NamedPipe::",
                                                               "Unadvise hr = 8"};
    return record.find(noMemory) != std::string::npos ||
           std::ranges::any_of(starts, [&record](std::string_view start) { return record.starts_with(start); });
}

std::multiset<std::string> failuresIn(const Records& log)
{
    std::multiset<std::string> failures;
    std::ranges::copy_if(log, std::inserter(failures, failures.end()), isAFailure);
    return failures;
}

/// The fields of a statement's line.
std::vector<std::string> fieldsOf(const std::string& statement)
{
    return split(statement.substr(statement.find(' ') + 1), ';');
}

/// Whether a statement says the same as another one, or of some fields nothing.
bool isPartOf(const std::string& statement, const std::string& whole, const Allowance& allowance)
{
    const auto place = whole.find(' ') + 1;
    if (statement.compare(0, place, whole, 0, place) != 0)
        return false;
    if (statement.size() == place)
        return true;
    auto fields = fieldsOf(statement);
    const auto all = fieldsOf(whole);
    if (allowance.misreads && fields.size() > addressField && fields[addressField].starts_with("/o="))
        fields[addressField].clear();
    return std::ranges::equal(fields, all, [](const auto& a, const auto& b) { return a.empty() || a == b; });
}

/// The statements without e-mail addresses: one that can't be had is lost without a word (settled behaviours 14 and 17).
std::vector<std::string> withoutAddresses(const std::vector<std::string>& messages)
{
    std::vector<std::string> all;
    for (const std::string& message : messages)
    {
        for (const std::string& statement : statementsOf(message))
        {
            auto fields = fieldsOf(statement);
            if (fields.size() > addressField)
                fields[addressField].clear();
            all.push_back(statement.substr(0, statement.find(' ')));
            std::ranges::move(fields, std::back_inserter(all));
        }
    }
    return all;
}

/// What is wrong with the messages by themselves and beside the log that says how they came about.
std::vector<std::string> contradictions(const std::vector<std::string>& messages, const Records& log)
{
    std::vector<std::string> found;
    const std::ptrdiff_t stores =
        beginningWith(log, "Message Store found: ") - beginningWith(log, "Ignore message store ");
    std::ptrdiff_t nextIndex = 0;
    bool isSnapshotOver = false;
    for (const std::string& message : messages)
    {
        const auto lines = split(message, '\n');
        const auto header = split(lines.front(), ';');
        const bool isWhole = header.size() == 5 && header[0] == "2" && lines.size() > 1 &&
                             (header[2] == "contact" || (header[2] == "folder" && header[1] == "delete"));
        if (!isWhole)
            found.push_back("a message that is none: " + message);
        else if (header[1] != "snapshot")
        {
            isSnapshotOver = true;
            if (header[3] + header[4] != "01" || (header[1] != "add" && header[1] != "change" && header[1] != "delete"))
                found.push_back("the header of a change that is none: " + lines.front());
        }
        else
        {
            const std::ptrdiff_t index = std::stol(header[3]);
            if (isSnapshotOver || index < nextIndex || index >= stores || std::stol(header[4]) != stores)
                found.push_back("a snapshot out of turn: " + lines.front());
            nextIndex = index + 1;
        }
    }
    return found;
}
} // namespace

bool isNothingHeld(const std::string& report)
{
    return report == nothingHeld || (report.starts_with("HrGetOneProp: ") && report.find('\n') == report.size() - 1);
}

std::vector<std::string> statementsOf(const std::string& message)
{
    std::vector<std::string> lines = split(message, '\n');
    const auto header = split(lines.front(), ';');
    lines.erase(lines.begin());
    if (header.size() == 5)
    {
        for (std::string& line : lines)
            line.insert(0, header[0] + ';' + header[1] + ';' + header[2] + ' ');
    }
    return lines;
}

std::vector<std::string> Judge::complaints(const AgentRun& run, const Allowance& allowance) const
{
    if (!run.exitValue)
        return {"the process has not ended"};
    std::vector<std::string> found = contradictions(run.messages, run.log);
    const auto demand = [&found](bool condition, const std::string& otherwise)
    {
        if (!condition)
            found.push_back(otherwise);
    };

    const bool isOrderly = *run.exitValue == 0;
    demand(isOrderly || (allowance.aborts && *run.exitValue == abortValue),
           "the exit value is " + std::to_string(*run.exitValue));
    demand(!run.log.empty() && run.log.front() == support::logHeader, "the log has no header");
    demand(run.log.empty() || !isOrderly || run.log.back() == support::logFooter, "the log has no footer");
    demand(run.standardError.empty() || !isOrderly, "standard error: " + run.standardError);

    std::vector<std::string> arrived = run.messages;
    for (std::string& message : arrived)
    {
        if (message.ends_with('\n')) // an item without text; its line feed ends the log's record, too
            message.pop_back();
    }
    const bool isRefused = std::ranges::any_of(run.log, [](const std::string& record)
                                               { return record.ends_with("Unable to send data through ipc channel"); });
    demand(arrived == sentIn(run.log) || isRefused, "the host has not what the log says was sent");

    for (const std::string& message : run.messages)
    {
        for (const std::string& statement : statementsOf(message))
            demand(isTrue(statement, allowance), "untrue: " + statement);
    }
    demand(withoutAddresses(run.messages) == withoutAddresses(m_reference.messages) || allowance.losesSilently ||
               !isOrderly || saysFailure(run.log),
           "what is lost does not stand in the log");
    demand(isNothingHeld(run.report) || !isOrderly || allowance.holds, "held at the end: " + run.report);
    return found;
}

std::string Judge::outcome(const AgentRun& run) const
{
    const auto has = [&run](std::string_view start)
    {
        return beginningWith(run.log, start) != 0;
    };
    if (!run.exitValue)
        return "hangs";
    if (*run.exitValue != 0)
        return *run.exitValue == abortValue ? "aborted" : "crashed";
    if (has("An exception has been caught in main : "))
        return "not started";
    if (has("An exception has been caught in AsyncMapiHelper::run : ") ||
        has("AsyncMapiHelper::run: Unknown exception"))
        return "worker ended";
    return run.messages == m_reference.messages ? "all said" : "less said";
}

bool Judge::isTrue(const std::string& statement, const Allowance& allowance) const
{
    if (allowance.misplaces && isDeletion(statement))
        return true;
    if (allowance.misplaces && statement.starts_with(contactAdded) &&
        isTrue(contactChanged + statement.substr(contactAdded.size()), allowance))
        return true;
    return std::ranges::any_of(m_reference.messages,
                               [&](const std::string& message)
                               {
                                   return std::ranges::any_of(statementsOf(message), [&](const std::string& whole)
                                                              { return isPartOf(statement, whole, allowance); });
                               });
}

/// Whether it is about a contact or a folder that the reference run knows.
bool Judge::isDeletion(const std::string& statement) const
{
    for (const std::string& message : m_reference.messages)
    {
        for (const std::string& known : statementsOf(message))
        {
            const auto fields = fieldsOf(known);
            if (fields.size() > folderField && (statement == contactDeleted + fields[identifierField] + ';' ||
                                                statement == folderDeleted + fields[folderField]))
                return true;
        }
    }
    return false;
}

bool Judge::saysFailure(const Records& log) const
{
    const std::multiset<std::string> usual = failuresIn(m_reference.log);
    const std::multiset<std::string> failures = failuresIn(log);
    return !std::ranges::includes(usual, failures);
}
} // namespace endtoend::sweep
