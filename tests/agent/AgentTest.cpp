#include "tests/agent/AgentTest.h"

#include "tests/support/Pump.h"

namespace tests
{
AgentTest::~AgentTest()
{
    pump(); // messages that the agent's code has posted to this thread are not for the next test
}

void AgentTest::after(const Json& request) const
{
    sandbox().request(request);
    pump();
}

void AgentTest::pump()
{
    support::pumpOnce();
}

void AgentTest::planResult(std::string_view method, std::string_view result, unsigned call) const
{
    sandbox().plan({{"method", method}, {"call", call}, {"result", result}});
}

std::vector<std::string> AgentTest::newLines()
{
    auto lines = log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(m_linesSeen));
    m_linesSeen += lines.size();
    return lines;
}

std::vector<std::wstring> textsOf(const std::vector<SyncItem>& items)
{
    std::vector<std::wstring> texts;
    for (const SyncItem& item : items)
        texts.push_back(item.text);
    return texts;
}
} // namespace tests
