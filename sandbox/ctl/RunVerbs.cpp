#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "sandbox/ctl/Description.h"
#include "sandbox/ctl/Streams.h"
#include "sandbox/ctl/Verbs.h"

namespace sandboxctl
{
namespace
{
/// A number, or what only the sandbox knows: hexadecimal text or a name.
[[nodiscard]] Json numberOrName(const std::string& text)
{
    const bool isNumber = !text.empty() && text.size() < 10 &&
                          std::all_of(text.begin(), text.end(), [](char each) { return each >= '0' && each <= '9'; });
    return isNumber ? Json(std::stoul(text)) : Json(text);
}

/// An identifier is text, or an object that contradicts itself.
[[nodiscard]] Json identifier(const std::string& option, const std::string& text)
{
    return text.starts_with('{') ? parseJson(option, text) : Json(text);
}

struct Injection
{
    std::string store;
    std::string event;
    std::string type;
    std::vector<std::string> tags;
    struct Identifier
    {
        const char* option;
        const char* key;
        const char* help;
        std::string text{};
        CLI::Option* given = nullptr;
    };
    std::vector<Identifier> identifiers = {
        {"--id", "entryId", "the object: a path, # and hexadecimal, or a JSON object such as {\"size\": 5}"},
        {"--parent", "parentId", "its parent"},
        {"--old-id", "oldId", "its former identifier"},
        {"--old-parent", "oldParentId", "its former parent"}};

    [[nodiscard]] Json notification() const
    {
        Json notification = {{"event", numberOrName(event)}, {"objectType", numberOrName(type)}};
        for (const Identifier& each : identifiers)
        {
            if (each.given->count() != 0)
                notification[each.key] = identifier(each.option, each.text);
        }
        if (!tags.empty())
            notification["propTags"] = tags;
        return notification;
    }
};

void addInjectVerb(CLI::App& program, Json& request)
{
    CLI::App& verb = *program.add_subcommand("inject", "one raw notification, as it stands");
    const auto injection = std::make_shared<Injection>();
    addWord(verb, "STORE", injection->store, "the store that sends it");
    verb.add_option("--event", injection->event, "its event: a number, or a name such as fnevObjectCreated")
        ->required()
        ->type_name("EVENT");
    verb.add_option("--type", injection->type, "the object's type: a number, or a name such as MAPI_MESSAGE")
        ->required()
        ->type_name("TYPE");
    for (Injection::Identifier& each : injection->identifiers)
        each.given = verb.add_option(each.option, each.text, each.help)->type_name("ID");
    verb.add_option("--prop-tag", injection->tags, "a property tag in it, such as 0x3001001F; may be given repeatedly")
        ->type_name("TAG")
        ->allow_extra_args(false);
    verb.callback(
        [injection, &request]
        {
            request = {{"do", "inject"},
                       {"store", injection->store},
                       {"notifications", Json::array({injection->notification()})}};
        });
}

void addBatchVerb(CLI::App& program, Json& request)
{
    CLI::App& verb =
        *program.add_subcommand("batch", "several edits and injections whose notifications come as one batch");
    const auto file = std::make_shared<std::string>();
    addWord(verb, "FILE", *file, "a JSON list of requests; - is the standard input");
    verb.callback(
        [file, &request]
        {
            const Json requests = parseJson("FILE", readInput(*file));
            if (!requests.is_array())
                throw CLI::ValidationError("FILE", *file + " is no list of requests");
            request = {{"do", "batch"}, {"requests", requests}};
        });
}

void addPlanVerb(CLI::App& program, Json& request)
{
    struct Plan
    {
        std::string method;
        std::string on;
        std::string opens;
        std::string table;
        std::uint32_t call = 0;
        std::uint32_t times = 0;
        std::string result;
        std::string gives;
        std::uint32_t delay = 0;
        std::string hold;
        bool deliver = false;
        bool clear = false;
    };
    CLI::App& verb = *program.add_subcommand("plan", "what calls to come are to answer, and how slowly");
    const auto plan = std::make_shared<Plan>();
    CLI::Option* const method =
        verb.add_option("METHOD", plan->method, "a function or a method, such as IMAPITable::QueryRows")->type_name("");
    const auto more = std::make_shared<std::vector<std::pair<CLI::Option*, std::function<void(Json&)>>>>();
    const auto addOption = [&verb, &more](const std::string& key, auto& value, const char* type, const char* help)
    {
        CLI::Option* const option = verb.add_option("--" + key, value, help)->type_name(type);
        more->emplace_back(option, [key, &value](Json& object) { object[key] = value; });
    };
    addOption("on", plan->on, "PATH", "only calls of this object");
    addOption("opens", plan->opens, "PATH", "only calls that open this object; METHOD may be left out");
    addOption("table", plan->table, "KIND", "only calls of such tables: stores, contents or hierarchy");
    addOption("call", plan->call, "N", "from this call on, counted from now; 1 without it");
    addOption("times", plan->times, "M", "for so many calls, 0 for all that follow; 1 without it");
    addOption("result", plan->result, "RESULT", "what they answer: a number such as 0x8007000E, or its name");
    addOption("gives", plan->gives, "WORD",
              "what they give instead: nothing, empty, fewer, otherTypes, nullValues or huge");
    addOption("delay", plan->delay, "MS", "how long they take, in milliseconds");
    addOption("hold", plan->hold, "NAME", "they wait until 'release NAME'");
    more->emplace_back(
        verb.add_flag("--deliver", plan->deliver, "then they deliver what waits for wrapped sinks of their thread"),
        [](Json& object) { object["deliver"] = true; });
    CLI::Option* const clear = verb.add_flag("--clear", plan->clear, "forget all plans, and let go what they hold");
    clear->excludes(method);
    for (const auto& [option, set] : *more)
        clear->excludes(option);
    verb.callback(
        [plan, method, more, &request]
        {
            if (plan->clear)
            {
                request = {{"do", "clearPlans"}};
                return;
            }
            if (method->count() == 0 && plan->opens.empty())
                throw CLI::RequiredError("METHOD");
            request = {{"do", "plan"}};
            if (method->count() != 0)
                request["method"] = plan->method;
            for (const auto& [option, set] : *more)
            {
                if (option->count() != 0)
                    set(request);
            }
        });
}

void addReleaseVerb(CLI::App& program, Json& request)
{
    CLI::App& verb = *program.add_subcommand("release", "lets a held call go on");
    const auto hold = std::make_shared<std::string>();
    addWord(verb, "NAME", *hold, "the name in the plan's --hold");
    verb.callback([hold, &request] { request = {{"do", "release"}, {"hold", *hold}}; });
}

void addWaitVerb(CLI::App& program, Json& request)
{
    struct Wait
    {
        std::uint32_t timeout = 0;
        CLI::Option* given = nullptr;
        std::uint32_t count = 0;
        std::string hold;
        Json request;
    };
    CLI::App& verb = *program.add_subcommand("wait", "waits until it is so; refused when it takes too long");
    takeVerb(verb);
    const auto wait = std::make_shared<Wait>();
    wait->given = verb.add_option("--timeout", wait->timeout, "how long at most, in milliseconds; 10000 without it")
                      ->type_name("MS");

    CLI::App& idle = *verb.add_subcommand("idle", "all notifications so far have been delivered and handled");
    idle.callback([wait] { wait->request = {{"do", "wait"}, {"for", "idle"}}; });
    CLI::App& advised = *verb.add_subcommand("advised", "there are so many subscriptions");
    advised.add_option("N", wait->count, "how many")->required()->type_name("");
    advised.callback([wait] { wait->request = {{"do", "wait"}, {"for", "advised"}, {"count", wait->count}}; });
    CLI::App& held = *verb.add_subcommand("held", "a call is held");
    addWord(held, "NAME", wait->hold, "the name in the plan's --hold");
    held.callback([wait] { wait->request = {{"do", "wait"}, {"for", "held"}, {"hold", wait->hold}}; });

    verb.final_callback(
        [wait, &verb, &request]
        {
            if (wait->request.is_null())
                throwVerbMissing(verb);
            request = wait->request;
            if (wait->given->count() != 0)
                request["timeout"] = wait->timeout;
        });
}

void addJournalVerb(CLI::App& program, Json& request)
{
    CLI::App& verb = *program.add_subcommand("journal", "the record of calls");
    requireVerb(verb);
    const auto addAction = [&verb, &request](const std::string& action, const char* help) -> CLI::App&
    {
        CLI::App& added = *verb.add_subcommand(action, help);
        added.callback([action, &request] { request = {{"do", "journal"}, {"action", action}}; });
        return added;
    };
    addAction("start", "records from now on");
    addAction("stop", "records no more, and keeps what it has");
    addAction("clear", "forgets what it has");
    CLI::App& read = addAction("read", "prints the calls, one a line");
    const auto clears = std::make_shared<bool>(false);
    read.add_flag("--clear", *clears, "forgets them afterwards");
    read.callback(
        [clears, &request]
        {
            request = {{"do", "journal"}, {"action", "read"}};
            if (*clears)
                request["clear"] = true;
        });
}
} // namespace

void addRunVerbs(CLI::App& program, Json& request)
{
    addInjectVerb(program, request);
    addBatchVerb(program, request);
    addPlanVerb(program, request);
    addReleaseVerb(program, request);
    addWaitVerb(program, request);
    addJournalVerb(program, request);
    CLI::App& subscriptions = *program.add_subcommand("subscriptions", "who is notified of what");
    subscriptions.callback([&request] { request = {{"do", "subscriptions"}}; });
}
} // namespace sandboxctl
