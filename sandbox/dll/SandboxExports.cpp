#include "sandbox/dll/SandboxExports.h"

#include <exception>
#include <string_view>

#include "sandbox/mailbox/reading/MailboxReader.h"
#include "sandbox/requests/Requests.h"
#include "sandbox/runtime/Runtime.h"
#include "sandbox/runtime/record/Journal.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/Memory.h"
#include "sandbox/runtime/record/Plans.h"

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

void sandboxAnswer(const char* request, SandboxTextTaker take, void* context)
{
    const std::string line = sandbox::answerRequest(request, nullptr);
    take(context, line.data(), line.size());
}
