#include "tests/sandbox/RequestsTest.h"

using namespace sandbox;

namespace sandboxtest
{
namespace
{
[[nodiscard]] std::string wordsOf(ULONG size, const ENTRYID* id)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(id);
    if (bytes == nullptr)
        return size == 0 ? "" : std::to_string(size) + " bytes of nothing";
    return size == 0 ? "no byte of something" : toHex(BytesView(bytes, size));
}

[[nodiscard]] std::string wordOf(ULONG type)
{
    const std::map<ULONG, std::string> words{{fnevObjectCreated, "created"},
                                             {fnevObjectDeleted, "deleted"},
                                             {fnevObjectModified, "modified"},
                                             {fnevObjectMoved, "moved"},
                                             {fnevObjectCopied, "copied"}};
    const auto word = words.find(type);
    return word != words.end() ? word->second : "event " + std::to_string(type);
}

[[nodiscard]] std::string wordsOf(const NOTIFICATION& notification)
{
    const OBJECT_NOTIFICATION& object = notification.info.obj;
    std::string words = wordOf(notification.ulEventType) + ' ' + std::to_string(object.ulObjType);
    const auto add = [&words](const char* word, const std::string& id)
    {
        if (!id.empty())
            words += word + id;
    };
    add(" ", wordsOf(object.cbEntryID, object.lpEntryID));
    add(" in ", wordsOf(object.cbParentID, object.lpParentID));
    add(" from ", wordsOf(object.cbOldID, object.lpOldID));
    add(" in ", wordsOf(object.cbOldParentID, object.lpOldParentID));
    if (object.lpPropTagArray != nullptr)
        words += " with " + std::to_string(object.lpPropTagArray->cValues) + " tag(s)";
    return words;
}
} // namespace

Json RequestsTest::done(const Json& request)
{
    const Json answer = ask(request);
    EXPECT_EQ(answer.at("ok"), true) << answer;
    return answer;
}

std::string RequestsTest::refusedLine(const std::string& line)
{
    const Json before = ask({{"do", "list"}});
    const std::size_t toldBefore = m_told.size();
    const Json answer = Json::parse(dll.answer(line));
    EXPECT_EQ(ask({{"do", "list"}}), before);
    EXPECT_EQ(m_told.size(), toldBefore);
    EXPECT_EQ(answer.at("ok"), false) << answer;
    return answer.value("error", "(not refused)");
}

Bytes RequestsTest::idOf(const std::string& place)
{
    return fromHex(done({{"do", "list"}, {"place", place}}).at("items").at(0).at("entryId").get<std::string>()).value();
}

RecordingSinkPtr RequestsTest::watch(ULONG mask)
{
    RecordingSinkPtr sink = makeSink();
    sink->whenNotified = [this](ULONG count, NOTIFICATION* notifications)
    {
        if (!m_told.empty())
            m_told.emplace_back("|");
        for (ULONG index = 0; index < count; ++index)
            m_told.push_back(wordsOf(notifications[index]));
    };
    m_connections.push_back(advise(sink, mask));
    return sink;
}

void RequestsTest::openOn(const std::string& json)
{
    m_session = logonTo(json);
    m_store = openStore(m_session);
}

void RequestsTest::TearDown()
{
    for (const ULONG_PTR connection : m_connections)
        EXPECT_EQ(m_store->Unadvise(connection), S_OK);
    close();
}
} // namespace sandboxtest
