#include "tests/sandbox/NotifyTest.h"

#include <chrono>
#include <stdexcept>

namespace sandboxtest
{
ULONG STDMETHODCALLTYPE RecordingSink::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    {
        const std::lock_guard lock(m_mutex);
        Call& call = m_calls.emplace_back();
        call.thread = GetCurrentThreadId();
        for (ULONG index = 0; index < count; ++index)
        {
            const OBJECT_NOTIFICATION& object = notifications[index].info.obj;
            const auto* id = reinterpret_cast<const std::uint8_t*>(object.lpEntryID);
            call.types.push_back(notifications[index].ulEventType);
            call.ids.emplace_back(id, id != nullptr ? id + object.cbEntryID : nullptr);
        }
    }
    if (whenNotified)
        whenNotified(count, notifications);
    return 0;
}

std::vector<RecordingSink::Call> RecordingSink::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

std::vector<ULONG> RecordingSink::types() const
{
    std::vector<ULONG> all;
    for (const Call& call : calls())
        all.insert(all.end(), call.types.begin(), call.types.end());
    return all;
}

RecordingSinkPtr makeSink()
{
    return RecordingSinkPtr(new RecordingSink, false);
}

NOTIFICATION makeNotification(ULONG type, const sandbox::Bytes& id)
{
    NOTIFICATION notification = {};
    notification.ulEventType = type;
    notification.info.obj.ulObjType = MAPI_MESSAGE;
    notification.info.obj.cbEntryID = static_cast<ULONG>(id.size());
    notification.info.obj.lpEntryID =
        id.empty() ? nullptr : reinterpret_cast<ENTRYID*>(const_cast<std::uint8_t*>(id.data()));
    return notification;
}

bool pumpUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + support::deadline;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        // Not all that the condition asks for comes as a message.
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
        pumpOnce();
    }
    return true;
}

void pumpOnce()
{
    MSG message = {};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
        DispatchMessageW(&message);
}

std::size_t notifyWindows()
{
    std::size_t count = 0;
    HWND window = nullptr;
    while ((window = FindWindowExW(HWND_MESSAGE, window, L"LinkwellSandboxNotify", nullptr)) != nullptr)
    {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        count += process == GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

void NotifyTest::open()
{
    m_session = logonTo(R"({"stores":[
        {"name":"A","folders":[{"name":"F","entryId":"00000000F0","messages":[{"entryId":"00000000A1","aliases":["00000000A2"]}]}]},
        {"name":"B","folders":[{"name":"G","entryId":"00000000F1","messages":[{"entryId":"00000000B1"}]}]}]})");
    m_store = openStore(m_session);
}

void NotifyTest::close()
{
    m_store = nullptr;
    m_session = nullptr;
}

IMAPIAdviseSinkPtr NotifyTest::wrap(IMAPIAdviseSink* sink)
{
    IMAPIAdviseSinkPtr wrapper;
    checkOk(dll.HrThisThreadAdviseSink(sink, &wrapper));
    return wrapper;
}

ULONG_PTR NotifyTest::advise(IMsgStore* store, IMAPIAdviseSink* sink, ULONG mask)
{
    ULONG_PTR connection = 0;
    checkOk(store->Advise(0, nullptr, mask, sink, &connection));
    return connection;
}

void NotifyTest::tell(std::initializer_list<ULONG> types)
{
    const sandbox::Bytes id = {0, 0, 0, 0, 0xA1};
    std::vector<NOTIFICATION> notifications;
    for (const ULONG type : types)
        notifications.push_back(makeNotification(type, id));
    if (dll.sandboxNotify(0, static_cast<ULONG>(notifications.size()), notifications.data(), 1) == 0)
        throw std::runtime_error("the notifications were refused");
}

bool NotifyTest::waitUntilIdle()
{
    const auto deadline = std::chrono::milliseconds(support::deadline);
    return dll.sandboxWaitUntilIdle(static_cast<unsigned>(deadline.count()), nullptr) != 0;
}
} // namespace sandboxtest
