#include "sandbox/runtime/Call.h"

namespace sandbox
{
namespace
{
constinit thread_local const char* s_current = nullptr;

[[nodiscard]] std::string_view methodOf(std::string_view name) noexcept
{
    const std::size_t colons = name.rfind("::");
    return colons == std::string_view::npos ? name : name.substr(colons + 2);
}
} // namespace

Call::Call(const char* name, const Results* results, std::string_view table) noexcept
    : m_outermost(s_current == nullptr),
      m_planned(results != nullptr ? results->find(table, methodOf(name)) : std::nullopt)
{
    if (m_outermost)
        s_current = name;
}

Call::~Call()
{
    if (m_outermost)
        s_current = nullptr;
}

const char* Call::current() noexcept
{
    return s_current != nullptr ? s_current : "the sandbox itself";
}

ClientCall::ClientCall() noexcept : m_suspended(std::exchange(s_current, nullptr)) {}

ClientCall::~ClientCall()
{
    s_current = m_suspended;
}
} // namespace sandbox
