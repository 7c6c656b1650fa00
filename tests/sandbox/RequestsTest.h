// RequestsTest.h: a client of the sandbox whose mailbox is edited by requests.
#pragma once

#include "sandbox/mailbox/reading/JsonObject.h"
#include "tests/sandbox/NotifyTest.h"

namespace sandboxtest
{
class RequestsTest : public NotifyTest
{
protected:
    /// Asks, and gives the answer as it stands.
    sandbox::Json ask(const sandbox::Json& request) { return sandbox::Json::parse(dll.answer(request.dump())); }
    /// Asks for what must be done, and gives the answer.
    sandbox::Json done(const sandbox::Json& request);
    /// Asks for what must be refused, with nothing changed and nobody told; gives the reason.
    [[nodiscard]] std::string refused(const sandbox::Json& request) { return refusedLine(request.dump()); }
    [[nodiscard]] std::string refusedLine(const std::string& line);
    [[nodiscard]] sandbox::Json list() { return ask({{"do", "list"}}).at("items"); }
    [[nodiscard]] sandbox::Bytes idOf(const std::string& place);

    /// Watches the first store with a sink that is called at once, until the test ends.
    RecordingSinkPtr watch(ULONG mask = s_allEvents);
    /// The events that a sink has got so far, each as "created message <id> in <parent> from <old> in <old parent>", and
    /// "|" between calls.
    [[nodiscard]] std::vector<std::string> told() const { return m_told; }

    /// Opens a session on the mailbox and its first store.
    void openOn(const std::string& json);
    void TearDown() override;

private:
    std::vector<ULONG_PTR> m_connections;
    std::vector<std::string> m_told;
};
} // namespace sandboxtest
