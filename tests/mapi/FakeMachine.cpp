#include "tests/mapi/FakeMachine.h"

#include <algorithm>
#include <cstdint>

namespace support
{
std::string FakeMachine::nameOf(HMODULE module) const
{
    const std::lock_guard lock(m_mutex);
    const auto handle = reinterpret_cast<std::uintptr_t>(module);
    return handle != 0 ? narrow(m_names.at(handle - 1)) : "none";
}

std::vector<std::string> FakeMachine::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

void FakeMachine::clearCalls()
{
    const std::lock_guard lock(m_mutex);
    m_calls.clear();
}

void FakeMachine::note(const std::string& call)
{
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(call);
}

HMODULE FakeMachine::handleOf(const std::wstring& name)
{
    const std::lock_guard lock(m_mutex);
    const auto found = std::ranges::find(m_names, name);
    const auto index = static_cast<std::uintptr_t>(found - m_names.begin());
    if (found == m_names.end())
        m_names.push_back(name);
    return reinterpret_cast<HMODULE>(index + 1);
}

HMODULE FakeMachine::load(const char* verb, const std::wstring& name)
{
    note(verb + narrow(name));
    return loadable.contains(name) ? handleOf(name) : nullptr;
}

bool FakeMachine::isFake(HMODULE module) const
{
    const std::lock_guard lock(m_mutex);
    const auto handle = reinterpret_cast<std::uintptr_t>(module);
    return handle != 0 && handle <= m_names.size();
}
} // namespace support
