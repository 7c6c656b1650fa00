#include "tests/support/runner/Watchdog.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/fuzz/Fuzz.h"

namespace support
{
void Watchdog::install()
{
    const char* const seconds = std::getenv("LINKWELL_TEST_SECONDS");
    const std::chrono::seconds allowed(seconds != nullptr ? std::atoi(seconds) : 60);
    testing::UnitTest::GetInstance()->listeners().Append(new Watchdog(allowed)); // owned by the list
}

Watchdog::Watchdog(std::chrono::seconds allowed) : m_allowed(allowed), m_thread([this] { watch(); }) {}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void Watchdog::OnTestStart(const testing::TestInfo& test)
{
    {
        const std::lock_guard lock(m_mutex);
        m_name = std::string(test.test_suite_name()) + '.' + test.name();
        m_running = true;
        ++m_count;
    }
    m_changed.notify_one();
}

void Watchdog::OnTestEnd(const testing::TestInfo&)
{
    {
        const std::lock_guard lock(m_mutex);
        m_running = false;
    }
    m_changed.notify_one();
}

void Watchdog::watch()
{
    std::unique_lock lock(m_mutex);
    while (true)
    {
        m_changed.wait(lock, [this] { return m_ends || m_running; });
        if (m_ends)
            return;
        const unsigned watched = m_count;
        const bool over =
            m_changed.wait_for(lock, m_allowed, [&] { return m_ends || !m_running || m_count != watched; });
        if (over)
            continue;
        std::fprintf(stderr, "%s still runs after %lld s: ending the test program.\n", m_name.c_str(),
                     static_cast<long long>(m_allowed.count()));
        printFuzzedSeed();
        std::fflush(stdout);
        std::fflush(stderr);
        TerminateProcess(GetCurrentProcess(), exitCode);
    }
}
} // namespace support
