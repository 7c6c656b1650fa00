#include "sandbox/runtime/Runtime.h"

#include <windows.h>

#include <exception>
#include <utility>

#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/MailboxReader.h"
#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
namespace
{
/// LINKWELL_SANDBOX_MAILBOX; empty if it is not set.
[[nodiscard]] std::wstring mailboxPath()
{
    std::wstring path(32768, L'\0'); // the most that a variable can have
    path.resize(GetEnvironmentVariableW(L"LINKWELL_SANDBOX_MAILBOX", path.data(), static_cast<DWORD>(path.size())));
    return path;
}

void addPlans(const Mailbox& mailbox)
{
    for (const Plan& plan : mailbox.plans())
        plans::add(plan);
}
} // namespace

Runtime& Runtime::instance()
{
    static Runtime& s_runtime = *new Runtime;
    return s_runtime;
}

std::shared_ptr<Mailbox> Runtime::mailbox()
{
    const std::lock_guard lock(m_mutex);
    if (m_given)
        return m_given;
    if (!m_fromFile && m_failure.empty())
        load();
    return m_fromFile;
}

std::string Runtime::failure()
{
    const std::lock_guard lock(m_mutex);
    return m_given ? std::string() : m_failure;
}

void Runtime::initialize()
{
    const std::lock_guard lock(m_mutex);
    if (m_initializations == 0)
        Delivery::instance().begin();
    ++m_initializations;
    ++ledger::initializations();
}

bool Runtime::uninitialize()
{
    const std::lock_guard lock(m_mutex);
    if (m_initializations == 0)
        return false;
    --m_initializations;
    --ledger::initializations();
    if (m_initializations == 0)
        Delivery::instance().end();
    return true;
}

bool Runtime::isInitialized()
{
    const std::lock_guard lock(m_mutex);
    return m_initializations != 0;
}

void Runtime::forgetUnusedFile()
{
    const std::lock_guard lock(m_mutex);
    if (m_initializations == 0)
        forgetFile();
}

void Runtime::give(std::shared_ptr<Mailbox> mailbox)
{
    const std::lock_guard lock(m_mutex);
    m_given = std::move(mailbox);
    if (m_given)
    {
        plans::clear(); // those of the mailbox before
        addPlans(*m_given);
    }
    forgetFile();
}

void Runtime::load()
{
    const std::wstring path = mailboxPath();
    if (path.empty())
    {
        m_failure = "no mailbox: LINKWELL_SANDBOX_MAILBOX names no file";
        return;
    }
    try
    {
        m_fromFile = readMailboxFile(path);
        if (m_hasRead)
            plans::clear(); // those of a client that has ended; the file's come anew
        m_hasRead = true;
        addPlans(*m_fromFile);
    }
    catch (const std::exception& error)
    {
        m_failure = toUtf8(path) + ": " + error.what();
    }
}

void Runtime::forgetFile()
{
    m_fromFile.reset();
    m_failure.clear();
}

void complain(const std::string& text) noexcept
{
    const HANDLE standardError = GetStdHandle(STD_ERROR_HANDLE);
    if (standardError == nullptr || standardError == INVALID_HANDLE_VALUE)
        return;
    DWORD written = 0;
    WriteFile(standardError, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    WriteFile(standardError, "\n", 1, &written, nullptr);
}
} // namespace sandbox
