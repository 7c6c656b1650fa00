#include "tools/support/Report.h"

#include <utility>

#include <nlohmann/json.hpp>

namespace diagnosis
{
namespace
{
using Json = nlohmann::ordered_json;

[[nodiscard]] std::string counted(std::uint64_t count, const std::string& one, const std::string& several)
{
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

[[nodiscard]] std::string timeOf(const std::string& stamp)
{
    return stamp.substr(stamp.find(' ') + 1);
}

[[nodiscard]] const char* wordOf(End end)
{
    switch (end)
    {
    case End::Asked:
        return "asked";
    case End::Failed:
        return "failed";
    case End::Ended:
        return "ended";
    case End::OutOfMemory:
        return "out-of-memory";
    case End::None:
        break;
    }
    return "none";
}

[[nodiscard]] std::string endOf(const Run& run)
{
    switch (run.how)
    {
    case End::Asked:
        return "closed in order, as it was asked to";
    case End::Failed:
        return run.loggedOn ? "ended by itself: its worker failed" : "ended by itself: it could not start";
    case End::Ended:
        return "ended in order; the log does not say why";
    case End::OutOfMemory:
        return "ended itself at once: MAPI had no memory";
    case End::None:
        break;
    }
    return std::string("none in the log") + (run.followed ? "" : ": it may still run") +
           "\n    Last line: " + run.lastText + "\n    " + Page::builtIn().whatEndedAt(run.lastText);
}

[[nodiscard]] std::string causeOf(const Finding& finding)
{
    if (finding.entry == nullptr)
        return "This version of the tool does not know the line.";
    return finding.entry->cause + (finding.failure != nullptr ? ' ' + finding.failure->cause : std::string());
}

[[nodiscard]] std::string remedyOf(const Finding& finding)
{
    if (finding.failure != nullptr && !finding.failure->remedy.empty())
        return finding.failure->remedy;
    return finding.entry != nullptr ? finding.entry->remedy : std::string();
}

[[nodiscard]] std::string placeOf(const Finding& finding)
{
    const Entry* const entry = finding.failure != nullptr ? finding.failure : finding.entry;
    return entry != nullptr ? "docs/troubleshooting.md#" + entry->anchor : std::string();
}

// ---- For people ------------------------------------------------------------------------------------------------------------

[[nodiscard]] std::string textOf(const Store& store)
{
    std::string text = "    " + store.name + ": ";
    if (!store.opened)
        return text + "could not be opened\n";
    text += counted(store.contacts, "contact", "contacts");
    if (store.isDefault)
        text += ", default";
    if (store.isPublic)
        text += ", public: read at the start only";
    return text + '\n';
}

[[nodiscard]] std::string textOf(const Finding& finding)
{
    std::string text = "  PROBLEM  " + timeOf(finding.first);
    if (finding.count > 1)
        text += ", " + std::to_string(finding.count) + " times until " + finding.last;
    text += "\n    " + finding.text + "\n    Cause: " + causeOf(finding) + "\n    Do:    " + remedyOf(finding) +
            "\n    See:   " + placeOf(finding) + '\n';
    return text;
}

[[nodiscard]] std::string textOf(const Run& run)
{
    std::string text = "Run " + std::to_string(run.number) + ", " + run.begin + " to " + run.end + "\n";
    if (!run.hasStart)
        text += "  The log begins in the midst of this run: what was before is gone.\n";
    if (!run.commandLine.empty())
        text += "  Started  " + run.commandLine + '\n';
    if (run.hasStart)
        text += std::string("  MAPI     ") +
                (run.loggedOn ? "found, and logged on; the log does not name it, linkwell-support doctor does"
                              : "no logon") +
                '\n';
    if (run.storeCount != 0)
        text += "  Stores   " + std::to_string(run.storeCount) + ", of which " + std::to_string(run.watched) +
                " watched; " + counted(run.contacts, "contact", "contacts") + " at the start\n";
    for (const Store& store : run.stores)
        text += textOf(store);
    text += "  Messages " + std::to_string(run.messages) + " sent, of which " + std::to_string(run.refused) +
            " refused; " + counted(run.notifications, "notification", "notifications") + " of changes\n";
    std::uint64_t harmless = 0;
    std::uint64_t unknown = 0;
    for (const Finding& finding : run.findings)
    {
        if (finding.kind == Kind::Problem)
            text += textOf(finding);
        else
            (finding.entry != nullptr ? harmless : unknown) += finding.count;
    }
    if (harmless != 0)
        text += "  " + counted(harmless, "line looks bad and is", "lines look bad and are") +
                " no fault: --json has them\n";
    if (unknown != 0)
        text += "  " + counted(unknown, "line is", "lines are") + " not known: torn, or of another version\n";
    return text + "  End      " + endOf(run) + "\n\n";
}

// ---- For programs ----------------------------------------------------------------------------------------------------------

[[nodiscard]] Json jsonOf(const Run& run)
{
    Json json{{"number", run.number},
              {"hasStart", run.hasStart},
              {"begin", run.begin},
              {"end", run.end},
              {"commandLine", run.commandLine},
              {"loggedOn", run.loggedOn},
              {"storeCount", run.storeCount},
              {"watched", run.watched},
              {"stores", Json::array()},
              {"contacts", run.contacts},
              {"notifications", run.notifications},
              {"messages", run.messages},
              {"refused", run.refused},
              {"findings", Json::array()},
              {"how", wordOf(run.how)},
              {"lastText", run.lastText}};
    for (const Store& store : run.stores)
        json["stores"].push_back({{"name", store.name},
                                  {"default", store.isDefault},
                                  {"public", store.isPublic},
                                  {"opened", store.opened},
                                  {"contacts", store.contacts}});
    for (const Finding& finding : run.findings)
        json["findings"].push_back({{"problem", finding.kind == Kind::Problem},
                                    {"known", finding.entry != nullptr},
                                    {"first", finding.first},
                                    {"last", finding.last},
                                    {"count", finding.count},
                                    {"text", finding.text},
                                    {"cause", causeOf(finding)},
                                    {"remedy", remedyOf(finding)},
                                    {"see", placeOf(finding)}});
    return json;
}

[[nodiscard]] std::string dumped(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}
} // namespace

Verdict reportLog(const std::wstring& log, const std::string& name, bool json, const Output& output)
{
    std::uint64_t runs = 0;
    std::uint64_t bad = 0;
    std::uint64_t withoutEnd = 0;
    bool lost = false;                                                // a run without an end that can't go on any more
    std::string head = "{\"log\": " + dumped(name) + ", \"runs\": ["; // not before the log has been opened
    RunReader reader(
        [&](const Run& run)
        {
            ++runs;
            bad += run.hasProblems() ? 1 : 0;
            withoutEnd += run.how == End::None ? 1 : 0;
            lost = lost || (run.how == End::None && run.followed);
            if (json)
                output(std::exchange(head, {}) + (runs == 1 ? "\n" : ",\n") + dumped(jsonOf(run)));
            else
                output(textOf(run));
        });
    readRuns(log, reader);
    if (json)
        output(std::exchange(head, {}) + "],\n\"strayLines\": " + std::to_string(reader.strayLines()) + "}\n");
    else if (runs == 0)
        output(name + " is no log of the agent: it holds no run.\n");
    else
        output(name + ": " + counted(runs, "run", "runs") + ", " + std::to_string(bad) + " with problems, " +
               std::to_string(withoutEnd) + " without an end.\n");
    return runs == 0 || bad != 0 || lost ? Verdict::Bad : Verdict::Good;
}
} // namespace diagnosis
