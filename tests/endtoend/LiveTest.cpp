#include "tests/endtoend/LiveTest.h"

#include <array>
#include <ostream>

#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
std::string hexNumber(std::uint64_t number)
{
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%llx", static_cast<unsigned long long>(number));
    return text.data();
}

/// The hash of an identifier's text: FNV-1a over its characters, ASCII all of them, each with a zero byte behind it.
std::string hashOf(const std::string& id)
{
    std::uint64_t hash = 14695981039346656037U;
    for (const char character : id)
    {
        for (const unsigned byte : {static_cast<unsigned>(character), 0U})
        {
            hash ^= byte;
            hash *= 1099511628211U;
        }
    }
    return hexNumber(hash);
}

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

Json identifier(const std::string& hex)
{
    return "#" + hex;
}
} // namespace

void PrintTo(const Calls& calls, std::ostream* stream)
{
    // In quotes, with line feeds escaped, GoogleTest compares a text line by line.
    *stream << '"';
    for (const std::string& call : calls)
        *stream << call << "\\n";
    *stream << '"';
}

std::string change(std::string_view operation, std::string_view kind, const std::vector<std::string>& items)
{
    std::string message = "2;" + std::string(operation) + ";" + std::string(kind) + ";0;1";
    for (const std::string& item : items)
        message += "\n" + item;
    return message;
}

std::string deletedLine(std::string_view id)
{
    return ";;;;;;;;;;" + std::string(id) + ";";
}

std::string notified(unsigned event, std::string_view name, unsigned objectType, const std::string& id)
{
    return "Notification " + hexNumber(event) + " for " + std::string(name) + " of type " + hexNumber(objectType) +
           ", EntryId hash = " + hashOf(id) + " (" + id + ")";
}

Records notifiedUnopened(unsigned event, unsigned objectType, const std::string& id, std::string_view result)
{
    return {"HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x" + std::string(result),
            notified(event, "(cannot resolve)", objectType, id)};
}

std::string sending(const std::string& message)
{
    return "Sending data:\n" + message;
}

Json inject(std::initializer_list<Raw> notifications)
{
    Json list = Json::array();
    for (const Raw& raw : notifications)
    {
        Json notification = {{"event", raw.event}, {"objectType", raw.objectType}};
        const auto add = [&notification](const char* key, const std::string& hex)
        {
            if (!hex.empty())
                notification[key] = identifier(hex);
        };
        add("entryId", raw.id);
        add("parentId", raw.parent);
        add("oldId", raw.oldId);
        add("oldParentId", raw.oldParent);
        list.push_back(std::move(notification));
    }
    return {{"do", "inject"}, {"store", "Mailbox"}, {"notifications", std::move(list)}};
}

void LiveTest::startLive(std::string_view json, std::string_view lastStore)
{
    writeMailbox(json);
    if (!isHostServed())
        serveHost();
    startAgent();
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
    Reaction reaction;
    reaction.messages = messages();
    reaction.messages.erase(reaction.messages.begin(),
                            reaction.messages.begin() + static_cast<std::ptrdiff_t>(m_messagesSeen));
    m_messagesSeen += reaction.messages.size();
    reaction.log = readLog(logFile());
    reaction.log.erase(reaction.log.begin(), reaction.log.begin() + static_cast<std::ptrdiff_t>(m_recordsSeen));
    m_recordsSeen += reaction.log.size();
    const Json journal = ask({{"do", "journal"}, {"action", "read"}, {"clear", true}});
    for (const Json& call : journal.at("calls"))
    {
        EXPECT_EQ(call.at("thread"), journal.at("calls").front().at("thread"));
        if (!isAside(call.at("call").get<std::string>()))
            reaction.calls.push_back(callText(call));
    }
    return reaction;
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
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.messages.size(), m_messagesSeen);
    run.log.erase(run.log.begin(), run.log.begin() + static_cast<std::ptrdiff_t>(m_recordsSeen));
    EXPECT_EQ(run.log, (Records{"WM_CLOSE received", "Shutdown...", "Unadvise hr = 0", "MAPI thread finished",
                                "Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                                std::string(support::logFooter)}));
    EXPECT_EQ(run.report, nothingHeld);
    EXPECT_EQ(run.standardError, "");
}
} // namespace endtoend
