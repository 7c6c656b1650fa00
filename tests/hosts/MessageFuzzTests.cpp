// Messages at random: read by hosts/cpp as the code of docs/wire-protocol.md reads them, and found by its host however the
// bytes come.
#include <algorithm>
#include <mutex>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "hosts/cpp/LinkwellHost.h"
#include "tests/hosts/HostTest.h"
#include "tests/hosts/MessageJson.h"
#include "tests/support/fuzz/Fuzz.h"

namespace hosts
{
namespace
{
using nlohmann::json;
using support::Choices;

// ---- The code of docs/wire-protocol.md, in these words -------------------------------------------------------------------

std::vector<std::string> split(const std::string& text, const char* at)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin != std::string::npos;)
    {
        const std::size_t end = std::min(text.find(at, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end == text.size() ? std::string::npos : end + 1;
    }
    return parts;
}

std::string join(const std::vector<std::string>& parts, std::size_t begin, std::size_t end, const char* with)
{
    std::string text = parts.at(begin);
    for (std::size_t at = begin + 1; at < end; ++at)
        text += with + parts.at(at);
    return text;
}

json contact(const std::string& text)
{
    std::vector<std::string> fields = split(text, ";");
    const bool guessed = fields.size() > 12;
    if (guessed)
    {
        std::vector<std::string> byBlanks = {fields[0]};
        for (std::size_t at = 1; at < fields.size(); ++at)
        {
            if (fields[at].find_first_of(" \r\n") == 0)
                byBlanks.back() += ';' + fields[at];
            else
                byBlanks.push_back(fields[at]);
        }
        const std::size_t right = fields.size() - 7;
        std::vector<std::string> byEnds(fields.begin(), fields.begin() + 4);
        byEnds.push_back(join(fields, 4, right, ";"));
        byEnds.insert(byEnds.end(), fields.end() - 7, fields.end());
        fields = byBlanks.size() == 12 ? byBlanks : byEnds;
    }
    json item = {{"text", text}};
    for (std::size_t at = 0; at < 12; ++at)
        item["contact"][linkwell::contactFields[at].name] = fields.at(at);
    if (guessed)
        item["guessed"] = true;
    return item;
}

json readItems(const std::string& operation, const std::string& kind, const std::vector<std::string>& lines)
{
    static const std::regex ends(";(([0-9A-F]{2}){5,});(([0-9A-F]{2}){5,})$");
    static const std::regex endsOfEleven(";(([0-9A-F]{2}){5,})?;(([0-9A-F]{2}){5,})?$");
    json items = json::array();
    std::vector<std::string> parts;
    for (const std::string& line : lines)
    {
        if (kind == "folder")
        {
            items.push_back({{"text", line}});
            if (std::regex_match(line, std::regex("([0-9A-F]{2})+")))
                items.back()["folderEntryId"] = line;
        }
        else if (operation == "delete")
            items.push_back(std::regex_match(line, std::regex(";{10}([0-9A-F]{2})+;")) ? contact(line)
                                                                                       : json{{"text", line}});
        else
        {
            parts.push_back(line);
            const std::string text = join(parts, 0, parts.size(), "\n");
            const auto semicolons = std::count(text.begin(), text.end(), ';');
            if (semicolons >= 11 && std::regex_search(line, semicolons == 11 ? endsOfEleven : ends))
            {
                items.push_back(contact(text));
                parts.clear();
            }
        }
    }
    if (!parts.empty())
        items.push_back({{"text", join(parts, 0, parts.size(), "\n")}});
    return items;
}

// ---- What is drawn -------------------------------------------------------------------------------------------------------

const std::vector<std::string> pieces = {";",
                                         ";;;;;;;;;",
                                         ";;;;;;;;;;",
                                         "\n",
                                         " ",
                                         "\r",
                                         "x",
                                         "; Roth",
                                         std::string(1, '\0'),
                                         "\u2028",
                                         ";00000000A1;00000000E5",
                                         ";00000000A1;00000000E5\n",
                                         ";000000A1;000000E5\n",
                                         "00000000A1",
                                         "00E5",
                                         "00e5",
                                         "A1",
                                         ";;;;;;;;;;00A1;\n",
                                         "Anna;;;;;;;;;;00000000A1;00000000E5\n"};

/// A header of the page, or one with a fault or two.
std::string randomHeader(Choices& choices)
{
    static const std::vector<std::string> s_fields = {"2",      "snapshot", "add", "change", "delete", "contact",
                                                      "folder", "0",        "1",   "17",     "01",     "-1",
                                                      "",       "3",        " 2",  "2\r"};
    std::vector<std::string> fields =
        split(choices.oneOf<std::string>({"2;snapshot;contact;0;3", "2;add;contact;0;1", "2;change;contact;0;1",
                                          "2;delete;contact;0;1", "2;delete;folder;0;1"}),
              ";");
    for (std::size_t faults = choices.chance(30) ? choices.between(1, 2) : 0; faults > 0; --faults)
        fields[choices.below(fields.size())] = choices.oneOf(s_fields);
    if (choices.chance(3))
        fields.push_back(choices.oneOf(s_fields));
    return join(fields, 0, fields.size(), ";");
}

bool isKnown(const std::string& header)
{
    static const std::regex s_known("2;((snapshot|add|change|delete);contact|delete;folder)(;(0|[1-9][0-9]{0,14})){2}");
    return std::regex_match(header, s_known);
}

TEST(MessageFuzzTest, ReadsHeadersAndItemsAsThePageDoes)
{
    support::fuzz("hosts/cpp, messages",
                  [](Choices& choices)
                  {
                      const std::string header = randomHeader(choices);
                      const std::string items = choices.textOf(pieces, 40);
                      const std::string text = header + '\n' + items;
                      SCOPED_TRACE(testing::PrintToString(text));
                      linkwell::Message message;
                      try
                      {
                          message = linkwell::parseMessage(text);
                      }
                      catch (const linkwell::Error& error)
                      {
                          EXPECT_FALSE(isKnown(header));
                          EXPECT_EQ(error.message, text);
                          return;
                      }
                      ASSERT_TRUE(isKnown(header));
                      const std::vector<std::string> fields = split(header, ";");
                      const json expected = {{"version", 2},
                                             {"operation", fields[1]},
                                             {"kind", fields[2]},
                                             {"index", std::stoull(fields[3])},
                                             {"total", std::stoull(fields[4])},
                                             {"items", readItems(fields[1], fields[2], split(items, "\n"))}};
                      ASSERT_EQ(toJson(message), expected);
                  });
}

// ---- The host ------------------------------------------------------------------------------------------------------------

using HostFuzzTest = HostTest;

TEST_F(HostFuzzTest, FindsEachMessageHoweverItsBytesCome)
{
    m_options.maxMessageBytes = 2000;
    std::mutex mutex;
    std::string last;
    m_onMessage = [&](const linkwell::Message& message)
    {
        const std::lock_guard lock(mutex);
        last = message.text;
    };
    startHost();
    std::size_t expectedErrors = 0;
    support::fuzz("hosts/cpp, framing",
                  [&](Choices& choices)
                  {
                      const std::string text =
                          "2;add;contact;0;1\n" + choices.textOf(pieces, choices.oneOf<std::size_t>({3, 40, 300}));
                      const bool isTooLong = text.size() > m_options.maxMessageBytes;
                      const std::string bytes = framed(text);
                      const std::size_t sent = choices.chance(20) ? choices.below(bytes.size()) : bytes.size();
                      const std::size_t longest = choices.oneOf<std::size_t>({1, 7, 500, 5000});
                      {
                          Client client = connect();
                          for (std::size_t at = 0; at < sent;)
                          {
                              const std::size_t size = std::min(sent - at, choices.between(1, longest));
                              if (!client.write(std::string_view(bytes).substr(at, size)))
                                  break;
                              at += size;
                          }
                          const bool isWhole = sent == bytes.size();
                          ASSERT_EQ(isWhole ? client.read(3) : "", isWhole && !isTooLong ? "ack" : "");
                      }
                      if (sent == bytes.size() && !isTooLong)
                      {
                          const std::lock_guard lock(mutex);
                          ASSERT_EQ(last, text);
                          last.clear();
                          return;
                      }
                      if (sent == 0) // a client that has come and gone says nothing
                          return;
                      ++expectedErrors;
                      ASSERT_TRUE(waitForErrors(expectedErrors));
                      const linkwell::ErrorCode code = errors().back().code;
                      ASSERT_EQ(code, isTooLong && sent >= 4 ? linkwell::ErrorCode::Oversized
                                                             : linkwell::ErrorCode::Incomplete);
                      const std::lock_guard lock(mutex);
                      ASSERT_EQ(last, "");
                  });
    EXPECT_EQ(errors().size(), expectedErrors);
}
} // namespace
} // namespace hosts
