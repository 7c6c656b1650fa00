// Mailboxes at random, edited at random while the agent runs: what it sends must be what its rules say.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <stdexcept>
#include <utility>

#include "tests/endtoend/soak/ProcessUsage.h"
#include "tests/endtoend/soak/RandomMailbox.h"
#include "tests/endtoend/soak/WatchRules.h"
#include "tests/support/Figures.h"

namespace endtoend::soak
{
namespace
{
constexpr unsigned long long firstSeed = 1;
constexpr unsigned long long usualCount = 200;

/// In so many steps of a hundred, edits are handled inside the handling of another one.
constexpr unsigned nestedSteps = 30;

/// Messages by their stores: of two stores that one edit concerns, either may come first.
using Messages = std::map<unsigned, std::vector<std::string>>;

constexpr const char* keptName = "Kept";

Json withKept(Json mailbox, bool isWanted)
{
    for (Json& store : mailbox.at("stores"))
    {
        if (isWanted)
            store.at("folders").push_back({{"name", keptName}, {"class", "IPF.Contact"}});
    }
    return mailbox;
}

/// One seed's mailbox, and what becomes of it.
struct Sequence
{
    /// @param isLong  each store has a folder of contacts that no edit takes away: an agent that has none left to watch
    ///                listens to nothing any more.
    explicit Sequence(unsigned long long itsSeed, bool isLong = false)
        : seed(itsSeed), choices(seed), file(withKept(randomMailbox(choices), isLong)), mailbox(file)
    {
        for (const Store& store : mailbox.stores())
            rules.try_emplace(store.number, mailbox, store.number);
        for (const Object& object : mailbox.objects())
        {
            if (object.isFolder && object.description.value("name", "") == keptName)
                kept.insert(object.id);
        }
        isInBatches = choices.chance(50);
        replay = "The mailbox:\n" + file.dump() + "\nThe requests:\n";
    }

    const unsigned long long seed;
    Choices choices;
    const Json file;
    MailboxModel mailbox;
    std::map<unsigned, WatchRules> rules;
    std::set<std::string> kept; // folders that stay where they are, and in sight
    bool isInBatches = false;
    std::size_t edits = 0; // made so far
    std::string replay;    // what has been done so far
};

void require(bool condition, const std::string& otherwise)
{
    if (!condition)
        throw std::runtime_error(otherwise);
}

std::string textOf(const std::vector<std::string>& texts)
{
    std::string lines;
    for (const std::string& text : texts)
        lines += "    " + Json(text).dump() + "\n";
    return lines;
}

std::string textOf(const Messages& messages)
{
    std::string text;
    for (const auto& [store, list] : messages)
        text += "  store " + std::to_string(store) + ":\n" + textOf(list);
    return text;
}

/// Which store a message is about, by its number: the one in the identifiers of its first line.
unsigned storeOf(const std::string& message)
{
    constexpr std::string_view provider = "4C696E6B77656C6C53616E64626F78"; // its number follows
    const auto place = message.find(provider);
    require(place != std::string::npos, "a message without an identifier: " + message);
    return static_cast<unsigned>(std::stoul(message.substr(place + provider.size(), 2), nullptr, 16));
}

/// The identifier of what a request edits or deletes.
std::string objectOf(const Json& request)
{
    for (const char* key : {"object", "contact", "folder"})
    {
        if (request.contains(key) && request.at(key).is_string())
            return request.at(key).get<std::string>().substr(1);
    }
    return {};
}

/// Edits that are asked for at once.
struct Edits
{
    Json request;
    std::vector<std::string> ids; // of what is new
    Events events;
    std::string last{}; // the identifier of what the last edit was about
};

/// Whether it would take one of these folders away, or out of sight.
bool takesAway(const std::set<std::string>& kept, const Json& request)
{
    const std::string verb = request.at("do").get<std::string>();
    return (verb == "editFolder" || verb == "move" || verb == "delete") && kept.contains(objectOf(request));
}

/// Whether it is about a folder itself.
bool concernsAFolder(const MailboxModel& mailbox, const Json& request)
{
    const std::string verb = request.at("do").get<std::string>();
    return verb == "addFolder" || (verb != "addContact" && mailbox.find(objectOf(request))->isFolder);
}

/// @param favourite  what they are about more often than not, by its identifier.
/// @param isNested   whether they are for batches of which one is handled inside the other: several edits, of folders
///                   rather than of contacts, since nothing but the known folders is shared by the two.
Edits draw(Sequence& sequence, std::string favourite, bool isNested)
{
    Choices& choices = sequence.choices;
    const bool isBatch = isNested || (sequence.isInBatches && choices.chance(60));
    const std::size_t count = isBatch ? choices.between(2, 6) : 1;
    Edits edits;
    Json requests = Json::array();
    for (std::size_t index = 0; index < count; ++index)
    {
        // What several edits of one batch make of one object is what batches are drawn for.
        Json request = randomEdit(choices, sequence.mailbox, favourite);
        while (takesAway(sequence.kept, request) ||
               (isNested && !concernsAFolder(sequence.mailbox, request) && choices.chance(60)))
            request = randomEdit(choices, sequence.mailbox, favourite);
        edits.ids.push_back(sequence.mailbox.apply(request, edits.events));
        favourite = edits.ids.back().empty() ? objectOf(request) : edits.ids.back();
        requests.push_back(std::move(request));
    }
    edits.request = count == 1 ? requests[0] : Json{{"do", "batch"}, {"requests", requests}};
    edits.last = favourite;
    return edits;
}

/// A folder that may be watched, by its identifier; none when there is none.
std::string anyWatched(Sequence& sequence)
{
    std::vector<std::string> watched;
    for (const auto& [store, rules] : sequence.rules)
    {
        const std::set<std::string> folders = rules.watched();
        watched.insert(watched.end(), folders.begin(), folders.end());
    }
    return watched.empty() ? "" : sequence.choices.oneOf(watched);
}

/// A plan by which one of the calls that the handling of a batch makes delivers what waits.
Json randomDelivery(Choices& choices)
{
    static const std::vector<const char*> s_methods = {"IMAPISession::CompareEntryIDs",
                                                       "IMAPISession::CompareEntryIDs",
                                                       "IMAPISession::CompareEntryIDs",
                                                       "IMsgStore::OpenEntry",
                                                       "HrGetOneProp",
                                                       "IMAPIProp::GetPropList",
                                                       "IMAPIProp::GetProps",
                                                       "IMAPIContainer::GetHierarchyTable",
                                                       "IMAPIContainer::OpenEntry",
                                                       "IMAPITable::QueryRows"};
    static const std::vector<std::size_t> s_calls = {2, 6, 20, 60};
    return {{"do", "plan"},
            {"method", choices.oneOf(s_methods)},
            {"call", choices.between(1, choices.oneOf(s_calls))},
            {"deliver", true}};
}

class RandomEditTest : public EndToEndTest
{
protected:
    /// The agent of its own that a seed has; throws when it is otherwise than it must be.
    /// @param more  whether there is another step, from the number of those that were taken.
    void run(Sequence& sequence, const std::function<bool(std::size_t)>& more);
    /// The same, and fails with what it takes to do it again.
    void runOrFail(Sequence& sequence, const std::function<bool(std::size_t)>& more);

    /// How many batches were handled inside another one, as far as messages tell.
    [[nodiscard]] unsigned nestedCount() const noexcept { return m_nested; }
    [[nodiscard]] std::size_t messageCount() const noexcept { return m_messages; }

private:
    void start(Sequence& sequence);
    void takeStep(Sequence& sequence);
    void end();

    Json tell(Sequence& sequence, const Json& request);
    void make(Sequence& sequence, const Edits& edits);
    [[nodiscard]] Messages takeMessagesByStore();
    void expectOutcome(Sequence& sequence, const std::vector<Edits>& made);

    unsigned m_nested = 0;
    std::size_t m_messages = 0;
};

void RandomEditTest::run(Sequence& sequence, const std::function<bool(std::size_t)>& more)
{
    start(sequence);
    for (std::size_t steps = 0; more(steps); ++steps)
        takeStep(sequence);
    end();
}

void RandomEditTest::runOrFail(Sequence& sequence, const std::function<bool(std::size_t)>& more)
{
    constexpr std::size_t mostShown = 1 << 18;
    try
    {
        run(sequence, more);
    }
    catch (const std::exception& wrong)
    {
        const std::string& replay = sequence.replay;
        FAIL() << "Seed " << sequence.seed << ": " << wrong.what() << "\n"
               << (replay.size() > mostShown ? "The last of what was done:\n" + replay.substr(replay.size() - mostShown)
                                             : replay)
               << "To do this again: LINKWELL_SEED=" << sequence.seed;
    }
}

void RandomEditTest::start(Sequence& sequence)
{
    serveHost();
    startAgentOn(sequence.file.dump());
    const std::vector<unsigned> order = orderOfStores(sequence.mailbox);
    const bool isSubscribed =
        waitUntilSubscribed(sequence.mailbox.store(order.back()).name, std::chrono::milliseconds(busyMilliseconds));
    require(isSubscribed, "the agent doesn't subscribe; its log is\n" + textOf(readLog(logFile())));

    Messages expected;
    for (std::size_t index = 0; index < order.size(); ++index)
    {
        const std::vector<std::string> snapshot = sequence.rules.at(order[index]).snapshot();
        if (snapshot.empty())
            continue;
        const std::string indexAndTotal = std::to_string(index) + ";" + std::to_string(order.size());
        expected[order[index]].push_back(snapshotMessage(indexAndTotal, snapshot));
    }
    const Messages actual = takeMessagesByStore();
    require(actual == expected, "the agent says\n" + textOf(actual) + "and should say\n" + textOf(expected));
}

void RandomEditTest::takeStep(Sequence& sequence)
{
    const bool isNested = sequence.choices.chance(nestedSteps);
    std::vector<Edits> made = {draw(sequence, isNested ? anyWatched(sequence) : "", isNested)};
    const bool isHandled = std::ranges::any_of(made[0].events, [&sequence](const auto& batch)
                                               { return sequence.rules.at(batch.first).isListenedTo(); });
    if (isNested && isHandled)
    {
        // All edits are made before the first is handled, so that all handlings find the same mailbox. The first call of each
        // is a comparison.
        tell(sequence, randomDelivery(sequence.choices));
        tell(sequence, {{"do", "plan"}, {"method", "IMAPISession::CompareEntryIDs"}, {"hold", "first"}});
        make(sequence, made[0]);
        tell(sequence, {{"do", "wait"}, {"for", "held"}, {"hold", "first"}});
        for (std::size_t count = sequence.choices.between(1, 2); count > 0; --count)
        {
            made.push_back(draw(sequence, sequence.choices.chance(50) ? made.back().last : anyWatched(sequence), true));
            make(sequence, made.back());
        }
        tell(sequence, {{"do", "release"}, {"hold", "first"}});
    }
    else
        make(sequence, made[0]);
    tell(sequence, {{"do", "wait"}, {"for", "idle"}});
    if (made.size() > 1)
        tell(sequence, {{"do", "clearPlans"}});
    expectOutcome(sequence, made);
}

Json RandomEditTest::tell(Sequence& sequence, const Json& request)
{
    sequence.replay += request.dump() + "\n";
    return ask(request);
}

void RandomEditTest::make(Sequence& sequence, const Edits& edits)
{
    const Json answer = tell(sequence, edits.request);
    sequence.edits += edits.ids.size();
    for (std::size_t index = 0; index < edits.ids.size(); ++index)
    {
        const Json& part = edits.ids.size() == 1 ? answer : answer.at("answers").at(index);
        require(part.value("entryId", "") == edits.ids[index], "the sandbox's answer is " + answer.dump());
    }
}

Messages RandomEditTest::takeMessagesByStore()
{
    Messages messages;
    for (const std::string& message : takeMessages())
    {
        messages[storeOf(message)].push_back(message);
        ++m_messages;
    }
    return messages;
}

/// @param made  all that has been edited since the messages were taken last.
void RandomEditTest::expectOutcome(Sequence& sequence, const std::vector<Edits>& made)
{
    std::map<unsigned, std::vector<std::vector<Event>>> batches;
    for (const Edits& edits : made)
    {
        for (const auto& [store, batch] : edits.events)
            batches[store].push_back(batch);
    }
    Messages actual = takeMessagesByStore();
    for (const auto& [store, list] : batches)
    {
        WatchRules& rules = sequence.rules.at(store);
        std::vector<Outcome> fitting;
        std::set<std::string> possible;
        for (const Outcome& outcome : rules.outcomesOf(list))
        {
            possible.insert(textOf({{store, outcome.messages}}));
            if (outcome.messages == actual[store])
                fitting.push_back(outcome);
        }
        require(!fitting.empty(), "the agent says\n" + textOf(actual) + "and should say\n" +
                                      std::accumulate(possible.begin(), possible.end(), std::string(),
                                                      [](const std::string& before, const std::string& text)
                                                      { return before + (before.empty() ? "" : "or\n") + text; }));
        if (std::ranges::all_of(fitting, &Outcome::isNested))
            ++m_nested;
        rules.follow(fitting);
        actual.erase(store);
    }
    require(actual.empty(), "the agent says of another store\n" + textOf(actual));
}

void RandomEditTest::end()
{
    require(agent().postToWindow(WM_CLOSE), "the agent has no window");
    const AgentRun run = finish();
    require(run.exitValue == 0U, "the agent doesn't end well");
    require(run.messages.empty(), "the agent says more at its end");
    require(run.report == nothingHeld, "the sandbox reports\n" + run.report);
    require(run.standardError.empty(), "standard error has\n" + run.standardError);
    require(DeleteFileW(logFile().c_str()) != FALSE, "the log can't be removed");
}

TEST_F(RandomEditTest, AgentTellsWhatItsRulesSay)
{
    constexpr std::size_t mostSteps = 30;
    const bool isReplay = std::getenv("LINKWELL_SEED") != nullptr;
    const unsigned long long first = support::amountOf("LINKWELL_SEED", firstSeed);
    const unsigned long long count = support::amountOf("LINKWELL_SEED_COUNT", isReplay ? 1 : usualCount);
    for (unsigned long long seed = first; seed - first < count && !HasFatalFailure(); ++seed)
    {
        Sequence sequence(seed);
        runOrFail(sequence, [steps = sequence.choices.between(mostSteps / 2, mostSteps)](std::size_t taken)
                  { return taken < steps; });
    }
    std::printf("%u batches were handled inside others and show it\n", nestedCount());
    EXPECT_TRUE(nestedCount() > 0 || isReplay);
}

// One agent, whose mailbox is edited on and on. What it holds is counted when the mailbox has come to its size, and at the end.
TEST_F(RandomEditTest, AgentHoldsNoMoreHoweverLongItGoesOn)
{
    constexpr std::size_t stepsToItsSize = 200;
    constexpr std::size_t leastSteps = 2 * stepsToItsSize;
    const std::chrono::seconds duration(support::amountOf("LINKWELL_EDIT_SECONDS", 0));
    Sequence sequence(support::amountOf("LINKWELL_SEED", firstSeed), true);
    const auto begin = std::chrono::steady_clock::now();
    ProcessUsage first;
    ProcessUsage last;
    const auto more = [&](std::size_t taken)
    {
        if (taken == stepsToItsSize)
            first = usageOf(agent().process());
        if (taken < leastSteps || std::chrono::steady_clock::now() - begin < duration)
            return true;
        last = usageOf(agent().process());
        return false;
    };
    runOrFail(sequence, more);
    EXPECT_EQ(growthBeyond({}, first, last), "");
    EXPECT_GT(messageCount(), 0U);
    std::printf("seed %llu: %.0f seconds\n", sequence.seed,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    report("edits at random, seed " + std::to_string(sequence.seed), sequence.edits, messageCount(), first, last);
}
} // namespace
} // namespace endtoend::soak
