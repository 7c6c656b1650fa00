#include "sandbox/runtime/SandboxExports.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>

#include "sandbox/mailbox/MailboxReader.h"
#include "sandbox/runtime/Ledger.h"
#include "sandbox/runtime/Memory.h"
#include "sandbox/runtime/Runtime.h"

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

std::size_t sandboxReport(char* buffer, std::size_t size)
{
    sandbox::memory::flush();
    const std::string_view report = sandbox::ledger::report();
    copyText(report, buffer, size);
    return report.size();
}

int sandboxLoadMailbox(const char* json, char* error, std::size_t size)
{
    try
    {
        sandbox::Runtime::instance().give(sandbox::readMailbox(json));
        copyText("", error, size);
        return 1;
    }
    catch (const std::exception& failure)
    {
        copyText(failure.what(), error, size);
        return 0;
    }
}

void sandboxReset()
{
    sandbox::Runtime::instance().give(nullptr);
    sandbox::memory::flush();
    sandbox::ledger::forgetMisuse();
}
