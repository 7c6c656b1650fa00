// linkwell-support on the logs that the end-to-end tests have kept: what it tells of each run is what that test knows, and no
// cleaned copy holds a text of the test's mailbox.
#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/support/Platform.h"
#include "tests/tools/Samples.h"
#include "tools/support/Clean.h"
#include "tools/support/Page.h"

namespace diagnosis
{
namespace
{
using Json = nlohmann::json;

struct KeptRun
{
    std::string name;
    std::filesystem::path log;
    Json facts;
    std::string mailbox;
    std::set<std::string> residue; // of the cleaned copy
};

const std::regex tokens("(text|id)-[ghjklmnpqrstvwxz]{12}");

/// What is left of a cleaned log without its stamps and tokens: each line once.
std::set<std::string> residueOf(const std::filesystem::path& log)
{
    std::set<std::string> residue;
    Cleaner cleaner;
    for (const ByteSource& source : openLog(log))
    {
        LineReader reader(source);
        for (LinePart part; reader.next(part);)
        {
            std::string line = cleaner.clean(part);
            if (!stampOf(line).empty())
                line.erase(0, line.size() - withoutStamp(line).size());
            residue.insert(std::regex_replace(line, tokens, "~"));
        }
    }
    return residue;
}

std::vector<KeptRun> keptRuns()
{
    std::vector<KeptRun> runs;
    const std::filesystem::path folder = support::environmentValue(L"LINKWELL_KEPT_RUNS");
    if (!std::filesystem::exists(folder))
        return runs;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        std::filesystem::path file = entry.path();
        if (file.extension() != ".json")
            continue;
        runs.push_back({file.stem().string(), {}, Json::parse(support::readBytes(file)), {}, {}});
        runs.back().mailbox = support::readBytes(file.replace_extension(".mailbox"));
        runs.back().log = file.replace_extension(".log");
        runs.back().residue = residueOf(runs.back().log);
    }
    return runs;
}

class SuiteLogsTest : public testing::Test
{
protected:
    static void SetUpTestSuite() { s_runs = keptRuns(); }
    void SetUp() override
    {
        ASSERT_GT(s_runs.size(), 100U)
            << "linkwell_endtoend_tests keeps its runs in the folder LINKWELL_KEPT_RUNS names";
    }

    inline static std::vector<KeptRun> s_runs;
};

TEST_F(SuiteLogsTest, AreToldAsTheirTestsKnowThem)
{
    std::size_t allReceived = 0;
    for (const KeptRun& kept : s_runs)
    {
        SCOPED_TRACE(kept.name);
        Json told{{"ended", true}, {"runs", 0},     {"ends", 0},          {"sent", 0},        {"refused", 0},
                  {"stores", 0},   {"unopened", 0}, {"notifications", 0}, {"workerFailed", 0}};
        const auto add = [&told](const char* key, std::uint64_t count)
        {
            told[key] = told[key].get<std::uint64_t>() + count;
        };
        std::vector<std::string> unknown;
        RunReader reader(
            [&](const diagnosis::Run& run)
            {
                add("runs", run.hasStart ? 1 : 0);
                add("ends", run.how != End::None && run.how != End::OutOfMemory ? 1 : 0);
                add("sent", run.messages);
                add("refused", run.refused);
                add("stores", run.storeCount);
                add("notifications", run.notifications);
                add("unopened", static_cast<std::uint64_t>(std::ranges::count(run.stores, false, &Store::opened)));
                for (const Finding& finding : run.findings)
                {
                    if (finding.entry == nullptr)
                        unknown.push_back(finding.text);
                    else if (finding.text.starts_with("An exception has been caught in AsyncMapiHelper::run : "))
                        add("workerFailed", finding.count);
                }
            });
        readRuns(kept.log, reader);
        EXPECT_EQ(unknown, std::vector<std::string>());

        // Of a log that has been moved away the test itself has read only what came afterwards.
        const bool moved = std::filesystem::exists(std::filesystem::path(kept.log).concat(".bak"));
        for (const auto& [key, count] : told.items())
        {
            if (moved && key != "ended")
                EXPECT_GE(count, kept.facts[key]) << key;
            else
                EXPECT_EQ(count, kept.facts[key]) << key;
        }
        // What the host had was sent. Some tests serve further hosts of their own.
        EXPECT_LE(kept.facts["received"], told["sent"]);
        allReceived += kept.facts["received"] == told["sent"] ? 1 : 0;
    }
    EXPECT_GT(allReceived, s_runs.size() / 2);
}

// ---- Cleaned copies ------------------------------------------------------------------------------------------------------------

/// Whether a line without its tokens is one of the page's with nothing in its holes for names, or the line of a contact.
bool isHarmless(std::string_view line)
{
    static_cast<void>(takeRotation(line));
    if (line.find_first_not_of("~;") == std::string_view::npos ||
        std::regex_match(std::string(line),
                         std::regex("2;(snapshot|add|change|delete);(contact|folder);\\d{1,4};\\d{1,4}")))
        return true;
    // Tokens, as identifiers have them and names may.
    const std::string text = std::regex_replace(std::string(line), std::regex("~"), "id-ghjklmnpqrst");
    const Match match = Page::builtIn().match(text);
    return match.entry != nullptr &&
           std::ranges::all_of(match.parts,
                               [](const Part& part)
                               {
                                   return (part.hole != Hole::Name && part.hole != Hole::Failure) ||
                                          part.text.empty() || part.text == "(cannot resolve)" ||
                                          part.text == "id-ghjklmnpqrst";
                               });
}

TEST_F(SuiteLogsTest, HaveNothingInTheirCopiesButWordsNumbersAndTokens)
{
    for (const KeptRun& kept : s_runs)
    {
        for (const std::string& line : kept.residue)
            EXPECT_TRUE(isHarmless(line)) << kept.name << ": " << line;
    }
}

void collectTexts(const Json& json, std::set<std::string>& texts)
{
    if (json.is_string())
        texts.insert(json.get<std::string>());
    else if (json.is_structured())
    {
        for (const Json& item : json)
            collectTexts(item, texts);
    }
}

std::string hexOf(std::string_view bytes, const char* digits)
{
    std::string hex;
    for (const char byte : bytes)
    {
        hex += digits[static_cast<unsigned char>(byte) >> 4];
        hex += digits[static_cast<unsigned char>(byte) & 0xF];
    }
    return hex;
}

/// A text as it is, and its bytes in UTF-8 and UTF-16 in hexadecimal.
std::vector<std::string> formsOf(const std::string& text)
{
    const std::wstring wide = std::filesystem::path(std::u8string(text.begin(), text.end())).wstring();
    const std::string_view utf16(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
    std::vector<std::string> forms{text};
    for (const char* const digits : {"0123456789ABCDEF", "0123456789abcdef"})
    {
        forms.push_back(hexOf(text, digits));
        forms.push_back(hexOf(utf16, digits));
    }
    return forms;
}

TEST_F(SuiteLogsTest, HaveNoTextOfTheirMailboxesInTheirCopies)
{
    const std::string page = support::readBytes(LINKWELL_SOURCE_FOLDER "/docs/troubleshooting.md");
    std::size_t searched = 0;
    for (const KeptRun& kept : s_runs)
    {
        Json mailbox = Json::parse(kept.mailbox, nullptr, false); // some tests' have a fault
        if (mailbox.is_object())
            mailbox.erase("plans"); // results of calls, which the log has as numbers
        std::set<std::string> texts;
        collectTexts(mailbox, texts);
        std::string residue;
        for (const std::string& line : kept.residue)
            residue += line + '\n';
        for (const std::string& text : texts)
        {
            // One or two letters are found by chance; and the log has words of its own. The test above sees to both.
            if (text.size() < 3 || page.find(text) != std::string::npos)
                continue;
            ++searched;
            for (const std::string& form : formsOf(text))
                EXPECT_EQ(residue.find(form), std::string::npos) << kept.name << ": " << form;
        }
    }
    EXPECT_GT(searched, 500U);
}
} // namespace
} // namespace diagnosis
