// ScopeGuard.h: runs something at the end of a scope, on every way out of it.
#pragma once

#include <functional>
#include <utility>

namespace utilities
{
/// Holds a callable without arguments; calls it once and clears it when it is destroyed.
/// What the callable throws ends the process.
class ScopeGuard
{
public:
    explicit ScopeGuard(std::function<void()> action) : m_action(std::move(action)) {}
    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;

    ~ScopeGuard()
    {
        if (m_action)
            m_action();
        m_action = nullptr;
    }

private:
    std::function<void()> m_action;
};
} // namespace utilities
