// RecordingHandler.h: what answers the requests of a control server under test.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/Platform.h"

namespace sandboxtest
{
/// Keeps each request, and answers as the test decides. Must outlive the server.
class RecordingHandler
{
public:
    using Answer = std::function<std::string(const std::string& request, HANDLE stop)>;

    /// @param answer  called on the server's thread.
    explicit RecordingHandler(Answer answer) : m_answer(std::move(answer)) {}
    /// The same answer to all.
    explicit RecordingHandler(std::string text)
        : m_answer([answer = std::move(text)](const std::string&, HANDLE) { return answer; })
    {
    }

    std::string operator()(std::string_view request, HANDLE stop)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_requests.emplace_back(request);
        }
        m_changed.notify_all();
        return m_answer(m_requests.back(), stop);
    }

    [[nodiscard]] std::vector<std::string> requests() const
    {
        const std::lock_guard lock(m_mutex);
        return m_requests;
    }
    /// Waits until so many requests have come; false after `support::deadline`.
    [[nodiscard]] bool waitForRequests(std::size_t count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, support::deadline, [&] { return m_requests.size() >= count; });
    }

private:
    const Answer m_answer;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_requests; // only the server's thread adds to it
};
} // namespace sandboxtest
