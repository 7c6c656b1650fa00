#include "sandbox/requests/JournalRequests.h"

#include <utility>

#include "sandbox/requests/HexNumber.h"
#include "sandbox/runtime/record/Journal.h"

namespace sandbox
{
namespace
{
[[nodiscard]] Json itemOf(const JournalEntry& entry)
{
    Json arguments = Json::object();
    for (const auto& [name, value] : entry.arguments)
        arguments[name] = Json::parse(value);
    Json item{{"call", entry.call},
              {"arguments", std::move(arguments)},
              {"result", hexNumber(static_cast<ULONG>(entry.result))},
              {"thread", entry.thread}};
    if (!entry.on.empty())
        item["on"] = toHex(entry.on);
    return item;
}

[[nodiscard]] Json readJournal(bool clears)
{
    const journal::Reading reading = journal::read(clears);
    Json calls = Json::array();
    for (const JournalEntry& entry : reading.calls)
        calls.push_back(itemOf(entry));
    return Json{{"calls", std::move(calls)}, {"lost", reading.lost}};
}
} // namespace

Json answerJournal(JsonObject& request, HANDLE)
{
    const std::string& action = requireText(request.require("action"), request.pathOf("action"));
    const Json* clear = action == "read" ? request.find("clear") : nullptr;
    request.finish();
    const bool clears = clear != nullptr && readBoolean(*clear, request.pathOf("clear"));
    if (action == "start")
        journal::start();
    else if (action == "stop")
        journal::stop();
    else if (action == "clear")
        journal::clear();
    else if (action == "read")
        return readJournal(clears);
    else
        failAt(request.pathOf("action"), "must be \"start\", \"stop\", \"clear\" or \"read\"");
    return Json::object();
}
} // namespace sandbox
