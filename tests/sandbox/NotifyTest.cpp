#include "tests/sandbox/NotifyTest.h"

#include <map>

namespace sandboxtest
{
namespace
{
[[nodiscard]] std::string notificationText(ULONG size, const ENTRYID* id)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(id);
    if (bytes == nullptr)
        return size == 0 ? "" : std::to_string(size) + " bytes of nothing";
    return size == 0 ? "no byte of something" : sandbox::toHex(sandbox::BytesView(bytes, size));
}

[[nodiscard]] std::string eventText(ULONG type)
{
    const std::map<ULONG, std::string> words{{fnevObjectCreated, "created"},
                                             {fnevObjectDeleted, "deleted"},
                                             {fnevObjectModified, "modified"},
                                             {fnevObjectMoved, "moved"},
                                             {fnevObjectCopied, "copied"}};
    const auto word = words.find(type);
    return word != words.end() ? word->second : "event " + std::to_string(type);
}

[[nodiscard]] std::string notificationText(const NOTIFICATION& notification)
{
    const OBJECT_NOTIFICATION& object = notification.info.obj;
    std::string words = eventText(notification.ulEventType) + ' ' + std::to_string(object.ulObjType);
    const auto add = [&words](const char* word, const std::string& id)
    {
        if (!id.empty())
            words += word + id;
    };
    add(" ", notificationText(object.cbEntryID, object.lpEntryID));
    add(" in ", notificationText(object.cbParentID, object.lpParentID));
    add(" from ", notificationText(object.cbOldID, object.lpOldID));
    add(" in ", notificationText(object.cbOldParentID, object.lpOldParentID));
    if (object.lpPropTagArray != nullptr)
        words += " with " + std::to_string(object.lpPropTagArray->cValues) + " tag(s)";
    return words;
}
} // namespace

ULONG STDMETHODCALLTYPE RecordingSink::OnNotify(ULONG count, NOTIFICATION* notifications)
{
    {
        const std::lock_guard lock(m_mutex);
        Call& call = m_calls.emplace_back();
        call.thread = GetCurrentThreadId();
        for (ULONG index = 0; index < count; ++index)
            call.types.push_back(notifications[index].ulEventType);
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
    openOn(R"({"stores":[
        {"name":"A","folders":[{"name":"F","entryId":"00000000F0","messages":[{"entryId":"00000000A1","aliases":["00000000A2"]}]}]},
        {"name":"B","folders":[{"name":"G","entryId":"00000000F1","messages":[{"entryId":"00000000B1"}]}]}]})");
}

void NotifyTest::openOn(const std::string& json)
{
    m_session = logonTo(json);
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

void NotifyTest::notify(std::initializer_list<ULONG> types)
{
    sandbox::Json batch = sandbox::Json::array();
    for (const ULONG type : types)
        batch.push_back({{"event", type}, {"objectType", MAPI_MESSAGE}, {"entryId", "#00000000A1"}});
    dll.inject("A", batch);
}

void NotifyTest::notifyAndPump(std::initializer_list<ULONG> types)
{
    notify(types);
    pumpOnce();
}

std::string NotifyTest::refusedLine(const std::string& line)
{
    const sandbox::Json before = list();
    const std::size_t eventsBefore = events().size();
    const sandbox::Json answer = sandbox::Json::parse(dll.answer(line));
    EXPECT_EQ(list(), before);
    EXPECT_EQ(events().size(), eventsBefore);
    EXPECT_EQ(answer.at("ok"), false) << answer;
    return answer.value("error", "(not refused)");
}

sandbox::Bytes NotifyTest::idOf(const std::string& path)
{
    const sandbox::Json item = dll.request({{"do", "list"}, {"path", path}}).at("items").at(0);
    return sandbox::fromHex(item.at("entryId").get<std::string>()).value();
}

void NotifyTest::watch(ULONG mask)
{
    const RecordingSinkPtr sink = makeSink();
    sink->whenNotified = [this](ULONG count, NOTIFICATION* notifications)
    {
        if (!m_events.empty())
            m_events.emplace_back("|");
        for (ULONG index = 0; index < count; ++index)
            m_events.push_back(notificationText(notifications[index]));
    };
    m_connections.push_back(advise(sink, mask));
}

void NotifyTest::TearDown()
{
    for (const ULONG_PTR connection : m_connections)
        EXPECT_EQ(m_store->Unadvise(connection), S_OK);
    close();
}
} // namespace sandboxtest
