// NotifyTest.h: a client that watches stores, and what it needs to see how it is told.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tests/sandbox/SandboxTest.h"
#include "tests/support/FakeCom.h"
#include "tests/support/Platform.h"

namespace sandboxtest
{
constexpr ULONG s_allEvents = 0xFC;

/// A client's own sink: remembers each call.
class RecordingSink final : public support::FakeCom<IMAPIAdviseSink, &IID_IMAPIAdviseSink>
{
public:
    struct Call
    {
        DWORD thread = 0;
        std::vector<ULONG> types;        // of the notifications, in order
        std::vector<sandbox::Bytes> ids; // their entry identifiers
    };

    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override;

    /// Called by each OnNotify after it has been remembered. To be set before anything is told.
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

/// A notification of an object with this identifier, which is borrowed.
[[nodiscard]] NOTIFICATION makeNotification(ULONG type, const sandbox::Bytes& id = {});

/// Handles this thread's messages until the condition holds; false after the deadline.
[[nodiscard]] bool pumpUntil(const std::function<bool()>& condition);
/// Handles the messages that this thread's queue has now and those that they cause, and waits for none.
void pumpOnce();

/// The hidden windows of this process that deliver notifications.
[[nodiscard]] std::size_t notifyWindows();

class NotifyTest : public SandboxTest
{
protected:
    ~NotifyTest() override { EXPECT_EQ(support::s_liveFakes, 0); }

    /// A session on a mailbox with stores "A" and "B", each with a folder and a message; opens the first store.
    void open();
    void close();

    [[nodiscard]] IMAPIAdviseSinkPtr wrap(IMAPIAdviseSink* sink);
    /// Watches the whole store; throws on failure.
    ULONG_PTR advise(IMAPIAdviseSink* sink, ULONG mask = s_allEvents) { return advise(m_store, sink, mask); }
    ULONG_PTR advise(IMsgStore* store, IMAPIAdviseSink* sink, ULONG mask = s_allEvents);
    /// Lets the first store tell one batch with a notification of each type.
    void tell(std::initializer_list<ULONG> types);
    [[nodiscard]] bool waitUntilIdle();

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
};
} // namespace sandboxtest
