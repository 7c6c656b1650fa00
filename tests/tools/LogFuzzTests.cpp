// Logs with faults in them: nothing that is a person's gets through the cleaning, a whole log tells the same afterwards, the
// reports are what they should be in form, and all of it takes little memory.
#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/HeapWatch.h"
#include "tests/support/TempFolder.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/support/fuzz/Mutation.h"
#include "tests/tools/Samples.h"
#include "tools/support/Clean.h"
#include "tools/support/Report.h"

namespace diagnosis
{
namespace
{
using support::Choices;

/// Each text that the agent can log, with its holes, as the page has them.
std::vector<std::string> linesOfThePage()
{
    static const std::regex s_row("(?:^|\n)\\| (.*) \\|");
    static const std::regex s_line("``? ?([^`]+(?:`[^`]+)*?) ?`?`(?=<br>| \\|)");
    const std::string page = support::readBytes(LINKWELL_SOURCE_FOLDER "/docs/troubleshooting.md");
    std::vector<std::string> lines;
    for (std::sregex_iterator row(page.begin(), page.end(), s_row); row != std::sregex_iterator(); ++row)
    {
        const std::string cells = row->str();
        for (std::sregex_iterator line(cells.begin(), cells.end(), s_line); line != std::sregex_iterator(); ++line)
            lines.push_back((*line)[1]);
    }
    return lines;
}

// Words of the page, tokens and harmless words have neither J nor Q in capitals, nor letters beyond ASCII: what has one is a
// person's.
const std::vector<std::string> personalPieces = {
    "JQ",      "QJ",       "JJQQ", "\u0416\u00e9", "J Q", "Q.J@example.com", "Q\\J",      "JQ\nQJ", "J;Q",
    "JQ (QJ)", " ",        "\"",   "JQ: ",         "J/Q", "QJ\r\n",          " of type ", ", ",     "true",
    "users",   "JQ\nDone", "J=Q"};

std::string filled(Choices& choices, std::string line)
{
    static const std::vector<std::pair<std::string, std::vector<std::string>>> s_holes = {
        {"<name>", {}},
        {"<command line>", {"\"C:\\JQ\\LinkwellAgent.exe\" /log=C:\\Users\\QJ\\agent.log", "agent.exe JQ Q=J"}},
        {"<failure>", {"JQ", "Unable to send data through ipc channel"}},
        {"<count>", {"0", "7", "4294967295"}},
        {"<hex>", {"0", "80004005", "8004010f", "5"}},
        {"<bool>", {"true", "false"}},
        {"<id>", {"00000000A1B2C3D4", "00A1", ""}},
        {"<hash>", {"7f37237dc92f23b5"}},
        {"<pointer>", {"00007FF612345678"}}};
    for (const auto& [hole, values] : s_holes)
    {
        for (std::size_t at = 0; (at = line.find(hole, at)) != std::string::npos;)
        {
            const std::string value = values.empty() ? choices.textOf(personalPieces, 4) : choices.oneOf(values);
            line.replace(at, hole.size(), value);
            at += value.size();
        }
    }
    return line;
}

/// The text of a message to the host, with contacts in it.
std::string randomMessage(Choices& choices)
{
    std::string text = "Sending data:\n2;" + choices.oneOf<std::string>({"snapshot", "add", "change", "delete"}) +
                       ";contact;" + std::to_string(choices.below(3)) + ";3";
    for (std::size_t contacts = choices.below(4); contacts > 0; --contacts)
    {
        text += '\n';
        for (int field = 0; field < 10; ++field)
            text += choices.chance(40) ? choices.textOf(personalPieces, 2) + ';' : ";";
        text += "00000000A1B2C3D4;00000000E5F60718";
    }
    return text;
}

std::string randomLog(Choices& choices, const std::vector<std::string>& page)
{
    std::string log;
    for (std::size_t records = choices.below(choices.oneOf<std::size_t>({5, 20, 60})); records > 0; --records)
    {
        std::string record = choices.chance(20) ? randomMessage(choices) : filled(choices, choices.oneOf(page));
        if (choices.chance(2))
            record += std::string(choices.below(40'000), choices.oneOf(std::vector<char>{'J', ' ', '\n', '('}));
        log += (log.empty() ? "" : "\n") + ("05.03.2024 14:07:" + std::to_string(10 + choices.below(50))) + ".042  " +
               record;
        if (choices.chance(3))
            log += "(continue to the next log file)(continue logging)\n";
    }
    std::string bytes;
    for (const char byte : log)
        bytes.append(byte == '\n' ? "\r" : "").append(1, byte);
    return bytes;
}

/// A person's text in the copy; none if there is none. A letter alone may be that of a drive.
std::string personalIn(const std::string& copy)
{
    for (std::size_t at = 0; at < copy.size(); ++at)
    {
        const bool isPersonal = copy[at] == 'J' || copy[at] == 'Q';
        const bool isDrive = isPersonal && copy.compare(at + 1, 2, ":\\") == 0;
        if ((isPersonal && !isDrive) || static_cast<unsigned char>(copy[at]) >= 0x80)
            return copy.substr(at < 100 ? 0 : at - 100, 200);
    }
    return {};
}

std::string cleanedFrom(const std::string& log, std::size_t pieces)
{
    Cleaner cleaner;
    std::string copy;
    LineReader reader(sourceOf(log, pieces));
    for (LinePart part; reader.next(part);)
        copy += cleaner.clean(part) + "\r\n";
    return copy;
}

std::string whatTells(const std::string& log)
{
    std::string told;
    for (const Run& run : runsOf(log))
        told += std::to_string(run.hasStart) + ' ' + run.begin + ' ' + run.end + ' ' + std::to_string(run.storeCount) +
                ' ' + std::to_string(run.messages) + ' ' + std::to_string(run.refused) + ' ' +
                std::to_string(run.notifications) + ' ' + std::to_string(static_cast<int>(run.how)) + '\n';
    return told;
}

TEST(LogFuzzTest, CleanedCopiesHaveNothingOfAPersonAndTellTheSame)
{
    const std::vector<std::string> page = linesOfThePage();
    ASSERT_GT(page.size(), 100U);
    support::fuzz("log tool, clean",
                  [&page](Choices& choices)
                  {
                      std::string log = randomLog(choices, page);
                      const bool isWhole = choices.chance(30);
                      if (!isWhole)
                          support::mutate(choices, log, personalPieces, 8);
                      const std::string copy = cleanedFrom(log, choices.between(1, 3000));
                      ASSERT_EQ(personalIn(copy), "") << testing::PrintToString(log);
                      ASSERT_EQ(isWhole ? whatTells(copy) : "", isWhole ? whatTells(log) : "")
                          << testing::PrintToString(log);
                  });
}

TEST(LogFuzzTest, LinesAreTheSameHoweverTheBytesComeAndReportsAreInForm)
{
    const std::vector<std::string> page = linesOfThePage();
    const support::TempFolder folder;
    support::fuzz("log tool, log",
                  [&](Choices& choices)
                  {
                      std::string log = randomLog(choices, page);
                      support::mutate(choices, log,
                                      {"\xFF\xFE", "\xFE\xFF", "\xEF\xBB\xBF", "\r", "\n", std::string(1, '\0')}, 6);
                      const std::vector<LinePart> whole = partsOf(log, log.size() + 1);
                      const std::vector<LinePart> cut = partsOf(log, choices.between(2, 500));
                      ASSERT_EQ(whole.size(), cut.size());
                      for (std::size_t at = 0; at < whole.size(); ++at)
                          ASSERT_EQ(whole[at].text, cut[at].text) << testing::PrintToString(log);

                      const std::size_t moved = choices.chance(30) ? choices.below(log.size() + 1) : 0;
                      support::writeBytes(folder.file(L"a.log.bak"), log.substr(0, moved));
                      support::writeBytes(folder.file(L"a.log"), log.substr(moved));
                      for (const bool isJson : {false, true})
                      {
                          std::string report;
                          const support::HeapWatch heap;
                          (void)reportLog(folder.file(L"a.log"), "a.log", isJson,
                                          [&report](const std::string& text) { report += text; });
                          EXPECT_LE(heap.peak(), std::ptrdiff_t{2} << 20) << testing::PrintToString(log);
                          EXPECT_TRUE(!isJson || nlohmann::json::accept(report)) << testing::PrintToString(log);
                      }
                  });
}
} // namespace
} // namespace diagnosis
