#include "sandbox/runtime/record/Ledger.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace sandbox::ledger
{
namespace
{
constexpr const char* otherCalls = "other calls"; // takes what the arrays have no place for

constinit std::array<BlockAccount, 128> s_blocks{};
constinit std::array<ObjectAccount, 256> s_objects{};
constinit std::array<MisuseAccount, 128> s_misuse{};
constinit std::atomic<std::int64_t> s_initializations{0};
constinit bool s_processEnds = false;
constinit SRWLOCK s_opening = SRWLOCK_INIT; // guards the opening of accounts, not their use

class OpeningLock
{
public:
    OpeningLock() noexcept
    {
        if (!s_processEnds)
            AcquireSRWLockExclusive(&s_opening);
    }
    OpeningLock(const OpeningLock&) = delete;
    OpeningLock& operator=(const OpeningLock&) = delete;
    ~OpeningLock()
    {
        if (!s_processEnds)
            ReleaseSRWLockExclusive(&s_opening);
    }
};

[[nodiscard]] bool sameText(const char* a, const char* b) noexcept
{
    return a == b || std::strcmp(a, b) == 0;
}

/// The account that `matches`, opened by `open` if there is none yet.
template <class Account, std::size_t Size, class Matches, class Open>
Account& find(std::array<Account, Size>& accounts, const char* call, Matches matches, Open open) noexcept
{
    const auto search = [&](const char* name) -> Account*
    {
        for (Account& account : accounts)
        {
            const char* known = account.call.load(std::memory_order_acquire);
            if (known == nullptr)
                return nullptr;
            if (sameText(known, name) && matches(account))
                return &account;
        }
        return nullptr;
    };
    if (Account* known = search(call))
        return *known;

    const OpeningLock lock;
    if (Account* known = search(call))
        return *known;
    for (Account& account : accounts)
    {
        if (account.call.load(std::memory_order_relaxed) != nullptr)
            continue;
        open(account);
        const bool last = &account == &accounts.back();
        account.call.store(last ? otherCalls : call, std::memory_order_release);
        return account;
    }
    return accounts.back();
}

template <class Accounts, class Member>
[[nodiscard]] std::int64_t sum(const Accounts& accounts, Member member) noexcept
{
    std::int64_t total = 0;
    for (const auto& account : accounts)
        total += (account.*member).load();
    return total;
}

/// Appends to a fixed buffer and drops what no longer fits.
class ReportText
{
public:
    void clear() noexcept { m_size = 0; }
    [[nodiscard]] std::string_view text() const noexcept { return {m_text.data(), m_size}; }

    ReportText& operator<<(std::string_view text) noexcept
    {
        const std::size_t taken = std::min(text.size(), m_text.size() - m_size);
        std::memcpy(m_text.data() + m_size, text.data(), taken);
        m_size += taken;
        return *this;
    }

    ReportText& operator<<(std::int64_t number) noexcept
    {
        std::array<char, 24> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return *this << std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data()));
    }

private:
    std::array<char, 64 * 1024> m_text{};
    std::size_t m_size = 0;
};

constinit ReportText s_report{};
} // namespace

BlockAccount& blocksOf(const char* call) noexcept
{
    return find(s_blocks, call, [](const BlockAccount&) { return true; }, [](BlockAccount&) {});
}

ObjectAccount& objectsOf(const char* interfaceName, const char* call) noexcept
{
    return find(
        s_objects, call,
        [interfaceName](const ObjectAccount& account) { return sameText(account.interfaceName, interfaceName); },
        [interfaceName](ObjectAccount& account) { account.interfaceName = interfaceName; });
}

void noteMisuse(const char* what, const char* call) noexcept
{
    ++find(
          s_misuse, call, [what](const MisuseAccount& account) { return sameText(account.what, what); },
          [what](MisuseAccount& account) { account.what = what; })
          .times;
}

void setProcessEnding() noexcept
{
    s_processEnds = true;
}

void forgetMisuse() noexcept
{
    for (MisuseAccount& account : s_misuse)
        account.times = 0;
}

std::atomic<std::int64_t>& initializations() noexcept
{
    return s_initializations;
}

std::int64_t liveBlocks() noexcept
{
    return sum(s_blocks, &BlockAccount::blocks);
}

std::int64_t liveObjects() noexcept
{
    return sum(s_objects, &ObjectAccount::objects);
}

std::int64_t liveReferences() noexcept
{
    return sum(s_objects, &ObjectAccount::references);
}

std::string_view report() noexcept
{
    s_report.clear();
    for (const BlockAccount& account : s_blocks)
    {
        if (const std::int64_t blocks = account.blocks.load(); blocks != 0)
            s_report << account.call.load() << ": " << blocks << " block(s), " << account.bytes.load() << " bytes\n";
    }
    for (const ObjectAccount& account : s_objects)
    {
        if (const std::int64_t objects = account.objects.load(); objects != 0)
            s_report << account.interfaceName << " from " << account.call.load() << ": " << objects << " object(s), "
                     << account.references.load() << " reference(s)\n";
    }
    if (const std::int64_t open = s_initializations.load(); open > 0)
        s_report << "MAPIInitialize: " << open << " call(s) without MAPIUninitialize\n";
    if (s_report.text().empty())
        s_report << "Nothing is held.\n";
    for (const MisuseAccount& account : s_misuse)
    {
        if (const std::int64_t times = account.times.load(); times != 0)
            s_report << "Misuse: " << account.what << ", " << account.call.load() << ": " << times << " time(s)\n";
    }
    return s_report.text();
}
} // namespace sandbox::ledger
