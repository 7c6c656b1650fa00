#include "sandbox/dll/SandboxExports.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "sandbox/mailbox/reading/MailboxReader.h"
#include "sandbox/requests/Requests.h"
#include "sandbox/runtime/Runtime.h"
#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/delivery/Notifications.h"
#include "sandbox/runtime/objects/MapiFailure.h"
#include "sandbox/runtime/record/ArgumentTexts.h"
#include "sandbox/runtime/record/Journal.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/Memory.h"
#include "sandbox/runtime/record/Plans.h"

namespace
{
void copyText(std::string_view text, char* buffer, std::size_t size) noexcept
{
    if (buffer == nullptr || size == 0)
        return;
    const std::size_t taken = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), taken);
    buffer[taken] = '\0';
}

[[nodiscard]] std::string journalLine(const sandbox::JournalEntry& entry)
{
    std::string line = std::to_string(entry.thread) + " " + entry.call;
    if (!entry.on.empty())
        line += " on " + sandbox::toHex(entry.on);
    const char* separator = " {";
    for (const auto& [name, value] : entry.arguments)
    {
        line += separator + name + ": " + value;
        separator = ", ";
    }
    return line + (entry.arguments.empty() ? " {} = " : "} = ") + sandbox::hexText(entry.result) + "\n";
}
} // namespace

std::int64_t sandboxLiveBlocks()
{
    return sandbox::ledger::liveBlocks();
}

std::int64_t sandboxLiveObjects()
{
    return sandbox::ledger::liveObjects();
}

std::int64_t sandboxLiveReferences()
{
    return sandbox::ledger::liveReferences();
}

void sandboxReport(SandboxTextTaker take, void* context)
{
    sandbox::memory::flush();
    const std::string_view report = sandbox::ledger::report();
    take(context, report.data(), report.size());
}

int sandboxLoadMailbox(const char* json, SandboxTextTaker take, void* context)
{
    try
    {
        sandbox::Runtime::instance().give(sandbox::readMailbox(json));
        return 1;
    }
    catch (const std::exception& failure)
    {
        const std::string_view complaint = failure.what();
        take(context, complaint.data(), complaint.size());
        return 0;
    }
}

void sandboxReset()
{
    sandbox::Runtime::instance().give(nullptr);
    sandbox::memory::flush();
    sandbox::ledger::forgetMisuse();
    sandbox::plans::clear();
    sandbox::journal::stop();
    sandbox::journal::clear();
}

int sandboxNotify(std::size_t store, ULONG count, const NOTIFICATION* notifications, int heedsMasks)
{
    try
    {
        const std::shared_ptr<sandbox::Mailbox> mailbox = sandbox::Runtime::instance().mailbox();
        sandbox::require(mailbox != nullptr);
        std::shared_ptr<sandbox::Store> teller;
        {
            const std::lock_guard lock(mailbox->mutex());
            teller = mailbox->stores().at(store);
        }
        sandbox::EventBatch events = sandbox::eventsOf(count, notifications);
        for (sandbox::StoreEvent& event : events)
            event.heedsMasks = heedsMasks != 0;
        sandbox::Delivery::instance().send({{teller, std::move(events)}});
        return 1;
    }
    catch (const std::exception&)
    {
        return 0;
    }
    catch (const sandbox::MapiFailure&)
    {
        return 0;
    }
}

int sandboxWaitUntilIdle(unsigned milliseconds, HANDLE stop)
{
    return sandbox::Delivery::instance().waitUntilIdle(std::chrono::milliseconds(milliseconds), stop) ? 1 : 0;
}

int sandboxWaitUntilAdvised(std::size_t count, unsigned milliseconds, HANDLE stop)
{
    const std::chrono::milliseconds timeout(milliseconds);
    return sandbox::Delivery::instance().waitUntilAdvised(count, timeout, stop) ? 1 : 0;
}

void sandboxAddPlan(const SandboxPlan* plan)
{
    sandbox::Plan added;
    added.method = plan->method;
    if (plan->on != nullptr)
        added.target.on.assign(plan->on, plan->on + plan->onSize);
    added.call = plan->call;
    added.times = plan->times;
    if (plan->result != nullptr)
        added.result = *plan->result;
    added.delay = std::chrono::milliseconds(plan->delay);
    if (plan->hold != nullptr)
        added.hold = plan->hold;
    sandbox::plans::add(std::move(added));
}

void sandboxClearPlans()
{
    sandbox::plans::clear();
}

int sandboxReleaseHold(const char* hold)
{
    return sandbox::plans::release(hold) ? 1 : 0;
}

int sandboxWaitUntilHeld(const char* hold, unsigned milliseconds, HANDLE stop)
{
    return sandbox::plans::waitUntilHeld(hold, std::chrono::milliseconds(milliseconds), stop) ? 1 : 0;
}

void sandboxAnswer(const char* request, SandboxTextTaker take, void* context)
{
    const std::string line = sandbox::answerRequest(request, nullptr);
    take(context, line.data(), line.size());
}

void sandboxStartJournal()
{
    sandbox::journal::start();
}

void sandboxStopJournal()
{
    sandbox::journal::stop();
}

void sandboxClearJournal()
{
    sandbox::journal::clear();
}

std::size_t sandboxReadJournal(char* buffer, std::size_t size)
{
    const sandbox::journal::Reading reading = sandbox::journal::read();
    std::string text = reading.lost != 0 ? "lost: " + std::to_string(reading.lost) + "\n" : std::string();
    for (const sandbox::JournalEntry& entry : reading.calls)
        text += journalLine(entry);
    copyText(text, buffer, size);
    return text.size();
}
