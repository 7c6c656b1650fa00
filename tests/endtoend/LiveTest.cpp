#include "tests/endtoend/LiveTest.h"

#include <set>

namespace endtoend
{
namespace
{
/// A call of the journal as text.
std::string callText(const Json& call)
{
    std::string text = call.at("call").get<std::string>();
    if (const auto on = call.find("on"); on != call.end())
        text += " on " + on->get<std::string>();
    text += '(';
    for (const auto& [name, value] : call.at("arguments").items())
    {
        if (!text.ends_with('('))
            text += ", ";
        text += name + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
    }
    return text + ") -> " + call.at("result").get<std::string>();
}

/// Whether it only takes memory, or asks an object for another of its interfaces.
bool isAside(const std::string& call)
{
    return call == "MAPIAllocateBuffer" || call == "MAPIAllocateMore" || call == "IUnknown::QueryInterface";
}

template <class List>
void dropFirst(List& list, std::size_t count)
{
    list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count));
}
} // namespace

Json inject(const std::vector<Notification>& notifications)
{
    Json list = Json::array();
    for (const Notification& notification : notifications)
    {
        Json& item = list.emplace_back(Json{{"event", notification.event}, {"objectType", notification.objectType}});
        const auto add = [&item](const char* key, const std::string& hex)
        {
            if (!hex.empty())
                item[key] = "#" + hex;
        };
        add("entryId", notification.id);
        add("parentId", notification.parent);
        add("oldId", notification.oldId);
        add("oldParentId", notification.oldParent);
    }
    return {{"do", "inject"}, {"store", "Mailbox"}, {"notifications", std::move(list)}};
}

void LiveTest::startLive(std::string_view json, std::string_view lastStore)
{
    startAgentOn(json);
    ASSERT_TRUE(waitUntilSubscribed(lastStore));
    ask({{"do", "journal"}, {"action", "start"}});
    (void)reaction();
}

Reaction LiveTest::after(const Json& request)
{
    ask(request);
    return reaction();
}

Reaction LiveTest::reaction()
{
    ask({{"do", "wait"}, {"for", "idle"}});
    Reaction reaction{messages(), readLog(logFile()), takeCalls()};
    dropFirst(reaction.messages, m_messagesSeen);
    m_messagesSeen += reaction.messages.size();
    dropFirst(reaction.log, m_recordsSeen);
    m_recordsSeen += reaction.log.size();
    return reaction;
}

void LiveTest::expectLog(const Json& request, const Records& log)
{
    const Reaction reaction = after(request);
    EXPECT_EQ(reaction.log, log);
    EXPECT_EQ(reaction.messages, sentIn(log));
}

void LiveTest::expectNothing(const Json& request)
{
    const Reaction reaction = after(request);
    EXPECT_EQ(reaction.log, Records());
    EXPECT_EQ(reaction.messages, std::vector<std::string>());
    EXPECT_EQ(reaction.calls, Calls());
}

Calls LiveTest::takeCalls(std::size_t threads)
{
    Calls calls;
    std::set<int> numbers;
    const Json journal = ask({{"do", "journal"}, {"action", "read"}, {"clear", true}});
    for (const Json& call : journal.at("calls"))
    {
        numbers.insert(call.at("thread").get<int>());
        if (!isAside(call.at("call").get<std::string>()))
            calls.push_back(callText(call));
    }
    EXPECT_LE(numbers.size(), threads);
    return calls;
}

void LiveTest::hostReturns()
{
    serveHost();
    m_messagesSeen = 0;
}

void LiveTest::forgetRun()
{
    ASSERT_TRUE(DeleteFileW(logFile().c_str()));
    hostReturns();
    m_recordsSeen = 0;
}

void LiveTest::closeLive()
{
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    AgentRun run = finish();
    dropFirst(run.messages, m_messagesSeen);
    dropFirst(run.log, m_recordsSeen);
    expectRun(run,
              joined({{"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished"}, orderlyEnd}));
}

void EditTest::SetUp()
{
    LiveTest::SetUp();
    startLive(mailbox);
    const std::string subtree = folderId(1, ipmSubtree);
    m_calls.putContacts(known, subtree, {ada, bea});
    m_calls.putContacts(alsoKnown, subtree, {cid});
    m_calls.put(unknown, subtree);
    m_calls.put(folderId(1, deep), unknown);
    m_calls.putContacts(folderId(1, outside), folderId(1, rootFolder), {eve});
    m_calls.putContacts(folderId(1, below), folderId(1, outside));
    (void)m_calls.watched();
}

void EditTest::expect(const Json& request, const Notification& caused, const Records& log)
{
    const Reaction reaction = after(request);
    EXPECT_EQ(reaction.log, log);
    EXPECT_EQ(reaction.messages, sentIn(log));
    EXPECT_EQ(reaction.calls, m_calls.handled(caused));
}

void EditTest::expect(const std::vector<Notification>& injected, const Records& log)
{
    const Reaction reaction = after(inject(injected));
    EXPECT_EQ(reaction.log, log);
    EXPECT_EQ(reaction.messages, sentIn(log));
    Calls calls;
    for (const Notification& notification : injected)
        calls = joined({calls, m_calls.handled(notification)});
    EXPECT_EQ(reaction.calls, calls);
}

Records EditTest::lies(std::string_view folder, bool inside)
{
    const std::string name(folder);
    return {"mapi::MessageStore::testHierarchy: Analyze relations of root folder IPM_SUBTREE and  " + name,
            "mapi::MessageStore::testHierarchy: Object " + name + (inside ? " is a " : " is not a ") +
                "successor of specified root IPM_SUBTREE"};
}

Records EditTest::isIpmSubtree()
{
    return {"mapi::MessageStore::testHierarchy: Analyze relations of root folder IPM_SUBTREE and  IPM_SUBTREE",
            "mapi::MessageStore::testHierarchy: These are different instances of the same object."};
}
} // namespace endtoend
