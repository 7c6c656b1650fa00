// LoggerFixture.h: the process's log in a folder of the test's own, with the clock standing still.
#pragma once

#include <windows.h>

#include <string>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempFolder.h"
#include "utilities/Logger.h"

/// The log is closed when a test begins and when it ends.
class LoggerFixture : public testing::Test
{
protected:
    ~LoggerFixture() override { m_log.finish(); }

    [[nodiscard]] std::string bytes() const { return support::readBytes(m_file); }
    [[nodiscard]] std::string backupBytes() const { return support::readBytes(m_backup); }
    [[nodiscard]] bool hasBackup() const { return std::filesystem::exists(m_backup); }

    /// Writes one record that brings the open log, now of `present` bytes, to `wanted` bytes.
    void fillTo(std::size_t wanted, std::size_t present)
    {
        m_log.write(std::wstring(wanted - present - 2 - m_stamp.size(), L'x')); // 2: the line break before the record
    }

    static constexpr std::size_t limit = 1048576;
    const std::string m_stamp = "05.03.2024 04:07:09.042  ";
    const std::string m_header = m_stamp + std::string(support::logHeader);
    const std::string m_footer = m_stamp + std::string(support::logFooter);

    const support::TempFolder m_folder;
    const std::wstring m_file = m_folder.file(L"agent.log");
    const std::wstring m_backup = m_folder.file(L"agent.log.bak");
    utilities::Logger& m_log = utilities::Logger::instance();

private:
    static inline const SYSTEMTIME s_now{2024, 3, 2, 5, 4, 7, 9, 42}; // all but the year need zeros
    decltype(support::hookImport<"GetLocalTime">(GetLocalTime, nullptr)) m_clock =
        support::hookImport<"GetLocalTime">(GetLocalTime, [](auto, SYSTEMTIME* time) { *time = s_now; });
};
