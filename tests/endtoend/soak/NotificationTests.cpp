// Very many notifications: all are sent, once and in order, and nothing is held for them.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <utility>

#include "tests/endtoend/LiveTest.h"
#include "tests/endtoend/soak/ProcessUsage.h"
#include "tests/support/Figures.h"

namespace endtoend::soak
{
namespace
{
// The folders of the mailbox below, by their numbers. The first two are watched.
constexpr unsigned contacts = 3;
constexpr unsigned friends = 4;
constexpr unsigned mail = 5;

constexpr unsigned contactCount = 500;
constexpr unsigned usualNotifications = 100'000;
constexpr unsigned notificationsPerRound = 1'000;

std::string mailbox()
{
    Json messages = Json::array();
    for (unsigned index = 1; index <= contactCount; ++index)
        messages.push_back({{"displayName", "Contact " + std::to_string(index)}});
    const Json folders = Json::array({{{"name", "Contacts"}, {"class", "IPF.Contact"}, {"messages", messages}},
                                      {{"name", "Friends"}, {"class", "IPF.Contact"}},
                                      {{"name", "Mail"}, {"class", "IPF.Note"}}});
    const Json store = {
        {"name", "Mailbox"}, {"default", true}, {"ipmSubtree", {{"class", "IPF.Note"}}}, {"folders", folders}};
    return Json{{"stores", Json::array({store})}}.dump();
}

/// Makes notifications, one after the other, and the messages that they must bring.
class Notifications
{
public:
    /// A batch of so many, as a request.
    [[nodiscard]] Json next(std::size_t count);
    [[nodiscard]] std::size_t count() const noexcept { return m_count; }
    /// The messages that the batches since the last call must bring.
    [[nodiscard]] std::vector<std::string> takeExpected() { return std::exchange(m_expected, {}); }

private:
    [[nodiscard]] Notification nextOne();
    void expect(std::string_view operation, std::vector<std::string>& items);

    unsigned m_count = 0;
    std::vector<std::string> m_deleted; // of the batch that is being made
    std::vector<std::string> m_added;
    std::vector<std::string> m_changed;
    std::vector<std::string> m_expected;
};

Json Notifications::next(std::size_t count)
{
    std::vector<Notification> list;
    for (; count > 0; --count)
        list.push_back(nextOne());
    expect("delete", m_deleted);
    expect("add", m_added);
    expect("change", m_changed);
    return inject(list);
}

Notification Notifications::nextOne()
{
    const unsigned number = m_count++;
    const unsigned index = number % contactCount + 1;
    const std::string id = messageId(1, contacts, index);
    const std::string gone = messageId(1, friends, contactCount + 1 + number); // each is sent once
    const std::string line = namedLine("Contact " + std::to_string(index), 1, contacts, index);
    const auto raw = [](unsigned event, const std::string& object, unsigned parent)
    {
        return Notification{.event = event, .id = object, .parent = folderId(1, parent)};
    };
    const auto moved = [&gone](const std::string& object, unsigned parent, unsigned formerParent)
    {
        return Notification{.event = 0x20,
                            .id = object,
                            .parent = folderId(1, parent),
                            .oldId = gone,
                            .oldParent = folderId(1, formerParent)};
    };
    switch (number % 7)
    {
    case 0:
        m_added.push_back(line);
        return raw(0x4, id, contacts);
    case 1:
        m_added.push_back(line);
        return raw(0x40, id, contacts);
    case 2:
        m_changed.push_back(line);
        return raw(0x10, id, contacts);
    case 3:
        m_deleted.push_back(deletedLine(gone));
        return raw(0x8, gone, friends);
    case 4:
        m_deleted.push_back(deletedLine(gone));
        return moved(gone, mail, friends);
    case 5:
        m_added.push_back(line);
        return moved(id, contacts, mail);
    default:
        m_deleted.push_back(deletedLine(gone));
        m_added.push_back(line);
        return moved(id, contacts, friends);
    }
}

void Notifications::expect(std::string_view operation, std::vector<std::string>& items)
{
    if (!items.empty())
        m_expected.push_back(change(operation, "contact", items));
    items.clear();
}

class NotificationTest : public EndToEndTest
{
protected:
    /// Has a round of notifications sent, and waits until it has been; the messages must be those that are expected.
    [[nodiscard]] bool takeRound(Notifications& notifications)
    {
        // Most come alone, as they do in a mailbox that somebody works in; some in small batches, and few in large ones.
        static const std::vector<std::size_t> s_batches = {1, 1, 2, 1, 1, 3, 1, 1, 5, 1, 1, 32};
        const std::size_t end = notifications.count() + notificationsPerRound;
        for (std::size_t batch = 0; notifications.count() < end; ++batch)
            ask(notifications.next(std::min(s_batches[batch % s_batches.size()], end - notifications.count())));
        ask({{"do", "wait"}, {"for", "idle"}});
        const std::vector<std::string> expected = notifications.takeExpected();
        m_messages += expected.size();
        const std::vector<std::string> actual = takeMessages();
        const auto [left, right] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
        if (actual == expected)
            return true;
        ADD_FAILURE() << "notifications up to " << notifications.count() << ": " << actual.size()
                      << " messages instead of " << expected.size() << "; number " << left - actual.begin() << " is\n"
                      << (left != actual.end() ? *left : "none") << "\ninstead of\n"
                      << (right != expected.end() ? *right : "none");
        return false;
    }

    [[nodiscard]] std::size_t messageCount() const noexcept { return m_messages; }

private:
    std::size_t m_messages = 0;
};

TEST_F(NotificationTest, AreAllSentInOrderAndNothingIsHeldForThem)
{
    startAgentOn(mailbox());
    ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    ASSERT_EQ(takeMessages().size(), 1U); // the snapshot

    const auto wanted = support::amountOf("LINKWELL_NOTIFICATIONS", usualNotifications);
    Notifications notifications;
    ASSERT_TRUE(takeRound(notifications));
    const ProcessUsage first = usageOf(agent().process());
    const auto start = std::chrono::steady_clock::now();
    while (notifications.count() < wanted)
        ASSERT_TRUE(takeRound(notifications));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const ProcessUsage last = usageOf(agent().process());

    EXPECT_EQ(growthBeyond({}, first, last), "");
    std::printf("%.0f messages a second\n", static_cast<double>(messageCount()) / time.count());
    report("notifications", notifications.count(), messageCount(), first, last);

    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_TRUE(run.messages.empty());
    EXPECT_EQ(run.report, nothingHeld);
    EXPECT_EQ(run.standardError, "");
}
} // namespace
} // namespace endtoend::soak
