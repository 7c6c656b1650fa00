// Watchdog.h: ends the test program when one of its tests hangs, and says which.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace support
{
/// Allows each test the same time. When one takes longer, its name goes to standard error, and the process ends at once
/// with `exitCode`.
class Watchdog : public testing::EmptyTestEventListener
{
public:
    static constexpr unsigned exitCode = 86;

    /// Watches the tests of this program until it ends; LINKWELL_TEST_SECONDS in the environment gives another time
    /// than 60 seconds for each test.
    static void install();

    explicit Watchdog(std::chrono::seconds allowed);
    ~Watchdog() override;
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    void OnTestStart(const testing::TestInfo& test) override;
    void OnTestEnd(const testing::TestInfo& test) override;

private:
    void watch();

    const std::chrono::seconds m_allowed;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ends = false;
    bool m_running = false;
    unsigned m_count = 0; // tests started
    std::string m_name;
    std::thread m_thread;
};
} // namespace support
