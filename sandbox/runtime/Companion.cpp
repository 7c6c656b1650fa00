#include "sandbox/runtime/Companion.h"

namespace sandbox
{
void Companion::set(Step begin, Step end) noexcept
{
    m_begin = begin;
    m_end = end;
}

void Companion::follow(const std::function<bool()>& isWanted)
{
    if (m_begin == nullptr)
        return;
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_changes; });
    // Asked only now: what was wanted when this call began may have changed since.
    const bool wanted = isWanted();
    if (wanted == m_runs)
        return;
    m_changes = true;
    lock.unlock();
    wanted ? m_begin() : m_end();
    lock.lock();
    m_changes = false;
    m_runs = wanted;
    m_changed.notify_all();
}
} // namespace sandbox
