// NotifyTest.h: a client that watches stores, and whose mailbox is edited by requests.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sandbox/mailbox/reading/JsonObject.h"
#include "tests/sandbox/SandboxTest.h"
#include "tests/support/Platform.h"
#include "tests/support/Pump.h"
#include "tests/support/mapi/FakeCom.h"

namespace sandboxtest
{
using support::pumpDuring;
using support::pumpOnce;
using support::pumpUntil;

constexpr ULONG allEvents = 0xFC;

/// A client's own sink: remembers each call.
class RecordingSink final : public support::FakeCom<IMAPIAdviseSink, &IID_IMAPIAdviseSink>
{
public:
    struct Call
    {
        DWORD thread = 0;
        std::vector<ULONG> types; // of the notifications, in order
    };

    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override;

    /// Called by each OnNotify after it has been remembered. To be set before anything is notified.
    std::function<void(ULONG count, NOTIFICATION* notifications)> whenNotified;

    [[nodiscard]] std::vector<Call> calls() const;
    [[nodiscard]] std::size_t count() const { return calls().size(); }
    /// The types of all notifications, in the order in which they came.
    [[nodiscard]] std::vector<ULONG> types() const;

private:
    mutable std::mutex m_mutex;
    std::vector<Call> m_calls;
};
using RecordingSinkPtr = _com_ptr_t<_com_IIID<RecordingSink, &IID_IMAPIAdviseSink>>;

/// A new sink with one owner.
[[nodiscard]] RecordingSinkPtr makeSink();

/// The hidden windows of this process that deliver notifications.
[[nodiscard]] std::size_t notifyWindows();

class NotifyTest : public SandboxTest
{
protected:
    ~NotifyTest() override { EXPECT_EQ(support::s_liveFakes, 0); }

    /// A session on a mailbox with stores "A" and "B", each with a folder and a message; opens the first store.
    void open();
    /// A session on this mailbox; opens its first store.
    void openOn(const std::string& json);
    void close();

    [[nodiscard]] IMAPIAdviseSinkPtr wrap(IMAPIAdviseSink* sink);
    /// Watches the whole store; throws on failure.
    ULONG_PTR advise(IMAPIAdviseSink* sink, ULONG mask = allEvents) { return advise(m_store, sink, mask); }
    ULONG_PTR advise(IMsgStore* store, IMAPIAdviseSink* sink, ULONG mask = allEvents);
    /// The first store sends one batch with a notification of each type, of the message A1.
    void notify(std::initializer_list<ULONG> types);
    /// The same, and this thread, which initialised MAPI, handles it.
    void notifyAndPump(std::initializer_list<ULONG> types);

    /// Asks, and gives the answer as it stands.
    sandbox::Json ask(const sandbox::Json& request) { return sandbox::Json::parse(dll.answer(request.dump())); }
    /// Asks for what must be refused, with nothing changed and nobody notified; gives the reason.
    [[nodiscard]] std::string refused(const sandbox::Json& request) { return refusedLine(request.dump()); }
    [[nodiscard]] std::string refusedLine(const std::string& line);
    [[nodiscard]] sandbox::Json list() { return ask({{"do", "list"}}).at("items"); }
    /// The identifier of the object with this path.
    [[nodiscard]] sandbox::Bytes idOf(const std::string& path);

    /// Watches the first store with a sink that is not wrapped, until the test ends.
    void watch(ULONG mask = allEvents);
    /// The events that the watching sink has got so far, each as "created <type> <id> in <parent> from <old> in <old
    /// parent>", and "|" between calls.
    [[nodiscard]] const std::vector<std::string>& events()
    {
        pumpOnce();
        return m_events;
    }

    void TearDown() override;

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;

private:
    std::vector<ULONG_PTR> m_connections; // of `watch`
    std::vector<std::string> m_events;
};
} // namespace sandboxtest
