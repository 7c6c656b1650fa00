// Mailboxes at random, edited at random while the agent runs: what it sends must be what its rules say.
#include <cstdlib>
#include <map>
#include <stdexcept>

#include "tests/endtoend/soak/RandomMailbox.h"
#include "tests/endtoend/soak/WatchRules.h"

namespace endtoend::soak
{
namespace
{
constexpr unsigned long long firstSeed = 1;
constexpr unsigned long long usualCount = 200;

unsigned long long variable(const char* name, unsigned long long otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::stoull(text) : otherwise;
}

/// Messages by their stores: of two stores that one edit concerns, either may come first.
using Messages = std::map<unsigned, std::vector<std::string>>;

/// One seed's mailbox, and what becomes of it.
struct Sequence
{
    explicit Sequence(unsigned long long seed) : choices(seed), file(randomMailbox(choices)), mailbox(file)
    {
        for (const Store& store : mailbox.stores())
            rules.try_emplace(store.number, mailbox, store.number);
        isInBatches = choices.chance(50);
        replay = "The mailbox:\n" + file.dump() + "\nThe requests:\n";
    }

    Choices choices;
    const Json file;
    MailboxModel mailbox;
    std::map<unsigned, WatchRules> rules;
    bool isInBatches = false;
    std::string replay; // what has been done so far
};

void require(bool condition, const std::string& otherwise)
{
    if (!condition)
        throw std::runtime_error(otherwise);
}

std::string textOf(const Messages& messages)
{
    std::string text;
    for (const auto& [store, list] : messages)
    {
        text += "  store " + std::to_string(store) + ":\n";
        for (const std::string& message : list)
            text += "    " + Json(message).dump() + "\n";
    }
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

class RandomEditTest : public EndToEndTest
{
protected:
    /// The agent of its own that a seed has; throws when it is otherwise than it must be.
    void run(Sequence& sequence);

private:
    void start(Sequence& sequence);
    void takeStep(Sequence& sequence);
    void end();
    void expectMessages(const Messages& expected);
};

void RandomEditTest::run(Sequence& sequence)
{
    constexpr std::size_t mostSteps = 30;
    start(sequence);
    for (std::size_t steps = sequence.choices.between(mostSteps / 2, mostSteps); steps > 0; --steps)
        takeStep(sequence);
    end();
}

void RandomEditTest::start(Sequence& sequence)
{
    serveHost();
    startAgentOn(sequence.file.dump());
    const std::vector<unsigned> order = orderOfStores(sequence.mailbox);
    require(waitUntilSubscribed(sequence.mailbox.store(order.back()).name), "the agent doesn't subscribe");

    Messages expected;
    for (std::size_t index = 0; index < order.size(); ++index)
    {
        const std::vector<std::string> snapshot = sequence.rules.at(order[index]).snapshot();
        if (snapshot.empty())
            continue;
        const std::string indexAndTotal = std::to_string(index) + ";" + std::to_string(order.size());
        expected[order[index]].push_back(snapshotMessage(indexAndTotal, snapshot));
    }
    expectMessages(expected);
}

void RandomEditTest::takeStep(Sequence& sequence)
{
    const std::size_t count = sequence.isInBatches && sequence.choices.chance(60) ? sequence.choices.between(2, 6) : 1;
    Json requests = Json::array();
    std::vector<std::string> ids;
    std::string favourite;
    Events events;
    for (std::size_t index = 0; index < count; ++index)
    {
        // What several edits of one batch make of one object is what batches are drawn for.
        requests.push_back(randomEdit(sequence.choices, sequence.mailbox, favourite));
        ids.push_back(sequence.mailbox.apply(requests.back(), events));
        favourite = ids.back().empty() ? objectOf(requests.back()) : ids.back();
    }
    const Json request = count == 1 ? requests[0] : Json{{"do", "batch"}, {"requests", requests}};
    sequence.replay += request.dump() + "\n";

    const Json answer = ask(request);
    ask({{"do", "wait"}, {"for", "idle"}});
    for (std::size_t index = 0; index < count; ++index)
    {
        const Json& part = count == 1 ? answer : answer.at("answers").at(index);
        require(part.value("entryId", "") == ids[index], "the sandbox's answer is " + answer.dump());
    }
    Messages expected;
    for (const auto& [store, batch] : events)
    {
        if (auto messages = sequence.rules.at(store).messagesAbout(batch); !messages.empty())
            expected[store] = std::move(messages);
    }
    expectMessages(expected);
}

void RandomEditTest::expectMessages(const Messages& expected)
{
    Messages actual;
    for (const std::string& message : takeMessages())
        actual[storeOf(message)].push_back(message);
    require(actual == expected, "the agent says\n" + textOf(actual) + "and should say\n" + textOf(expected));
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
    const bool isReplay = std::getenv("LINKWELL_SEED") != nullptr;
    const unsigned long long first = variable("LINKWELL_SEED", firstSeed);
    const unsigned long long count = variable("LINKWELL_SEED_COUNT", isReplay ? 1 : usualCount);
    for (unsigned long long seed = first; seed - first < count; ++seed)
    {
        Sequence sequence(seed);
        try
        {
            run(sequence);
        }
        catch (const std::exception& wrong)
        {
            FAIL() << "Seed " << seed << ": " << wrong.what() << "\n"
                   << sequence.replay << "To do this again: LINKWELL_SEED=" << seed;
        }
    }
}
} // namespace
} // namespace endtoend::soak
