// The page as a table, and which of its lines a record is.
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tools/support/Page.h"

namespace diagnosis
{
namespace
{
using testing::ElementsAre;

std::string lineOf(std::string_view text)
{
    const Match match = Page::builtIn().match(text);
    return match.entry != nullptr ? match.entry->line : "none";
}

std::vector<std::string> holesOf(const Match& match)
{
    std::vector<std::string> holes;
    for (const Part& part : match.parts)
    {
        if (part.hole != Hole::None)
            holes.emplace_back(part.text);
    }
    return holes;
}

TEST(PageTest, KnowsARecordWithWhatVariesInIt)
{
    const Match match = Page::builtIn().match(
        "Message Store found: A (B), Default: x (Provider), Default: true, Public: false, EntryId: 00FF");
    ASSERT_NE(match.entry, nullptr);
    EXPECT_EQ(match.entry->kind, Kind::Ordinary);
    EXPECT_THAT(holesOf(match), ElementsAre("A", "B), Default: x (Provider", "true", "false", "00FF"));
}

TEST(PageTest, TakesTheMostParticularLine)
{
    constexpr std::string_view pipe =
        "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, createNew=0, error=0x";
    EXPECT_EQ(lineOf(std::string(pipe) + "2"), std::string(pipe) + "2");
    EXPECT_EQ(lineOf(std::string(pipe) + "2a"), std::string(pipe) + "<hex>");
}

TEST(PageTest, KnowsAFailureInWhatCaughtIt)
{
    const Match match = Page::builtIn().match("An exception has been caught in `anonymous-namespace'::tryOpenStore : "
                                              "mapi::Session::openStore, line 7: hr = 0x8004010f(MAPI call failed)");
    ASSERT_NE(match.failure, nullptr);
    EXPECT_EQ(match.failure->line, "mapi::Session::openStore, line <count>: hr = 0x<hex>(MAPI call failed)");
    EXPECT_THAT(holesOf(match), ElementsAre("7", "8004010f"));
}

TEST(PageTest, KeepsAFailureThatItDoesNotKnowAsAHole)
{
    const Match match = Page::builtIn().match("An exception has been caught in main : something else");
    ASSERT_NE(match.entry, nullptr);
    EXPECT_EQ(match.failure, nullptr);
    EXPECT_THAT(holesOf(match), ElementsAre("something else"));
}

TEST(PageTest, DoesNotKnowWhatHasOtherValuesInItsPlaces)
{
    EXPECT_EQ(lineOf("Cannot open contact: hr = 8004010f"), "Cannot open contact: hr = <hex>");
    EXPECT_EQ(lineOf("Cannot open contact: hr = Anna"), "none");
    EXPECT_EQ(lineOf("Cannot open contact: hr = 123456789"), "none") << "more than 32 bits: perhaps a telephone number";
    EXPECT_EQ(lineOf("Done."), "none");
    EXPECT_EQ(lineOf(""), "none");
}

TEST(PageTest, KnowsTheTokensOfACleanedLog)
{
    EXPECT_EQ(
        lineOf("Notification 8 for text-ghjklmnpqrst of type 5, EntryId hash = id-ghjklmnpqrst (id-vwxzghjklmnp)"),
        "Notification <hex> for <name> of type <hex>, EntryId hash = <hash> (<id>)");
}

TEST(PageTest, GivesUpOnVeryLongTexts)
{
    EXPECT_EQ(lineOf("subfolder found: " + std::string(4000, '(')), "subfolder found: <name>");
    EXPECT_EQ(lineOf("subfolder found: " + std::string(5000, '(')), "none");
}

TEST(PageTest, HasNoEntryForWhatItLacks)
{
    EXPECT_THROW(static_cast<void>(Page::builtIn().at("nothing")), std::logic_error);
    EXPECT_THROW(static_cast<void>(Page::builtIn().finding("nothing")), std::logic_error);
    EXPECT_THROW(Page("no table"), std::runtime_error);
}

TEST(PageTest, SaysWhatALastLineMeans)
{
    EXPECT_THAT(Page::builtIn().whatEndedAt("Sending data:"), testing::HasSubstr("host had not answered"));
    EXPECT_THAT(Page::builtIn().whatEndedAt("Unadvise hr = 0"), testing::HasSubstr("Killed, crashed"));
}
} // namespace
} // namespace diagnosis
