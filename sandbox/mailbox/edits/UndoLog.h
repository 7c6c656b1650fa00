// UndoLog.h: how to take back what was done so far.
#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace sandbox
{
/// Steps back, run in the reverse order, unless `forget` came first.
class UndoLog
{
public:
    UndoLog() = default;
    UndoLog(const UndoLog&) = delete;
    UndoLog& operator=(const UndoLog&) = delete;
    ~UndoLog()
    {
        while (!m_steps.empty())
        {
            m_steps.back()();
            m_steps.pop_back();
        }
    }

    /// @param step  takes back one thing, done right before or right after this call; must not throw.
    void push(std::function<void()> step) { m_steps.push_back(std::move(step)); }
    void forget() noexcept { m_steps.clear(); }

private:
    std::vector<std::function<void()>> m_steps;
};
} // namespace sandbox
