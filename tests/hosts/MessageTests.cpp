// How the host of hosts/cpp reads messages: the recordings of docs/protocol-samples, and texts at random.
#include <algorithm>
#include <filesystem>
#include <random>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "hosts/cpp/LinkwellHost.h"
#include "hosts/cpp/example/JsonLines.h"
#include "tests/support/TempFolder.h"

namespace hosts
{
namespace
{
using nlohmann::json;

/// A message in the form of docs/protocol-samples, which the lines of JSON have too.
json toJson(const linkwell::Message& message)
{
    json event = json::parse(messageLine(message));
    EXPECT_EQ(event.at("event"), "message");
    EXPECT_EQ(event.at("bytes"), message.text.size());
    event.erase("event");
    event.erase("bytes");
    return event;
}

TEST(ParseMessageTest, ReadsTheRecordingsAsTheirFilesSay)
{
    int recordings = 0;
    for (const auto& file : std::filesystem::directory_iterator(LINKWELL_SOURCE_FOLDER "/docs/protocol-samples"))
    {
        if (file.path().extension() != ".bin")
            continue;
        SCOPED_TRACE(file.path().string());
        ++recordings;
        json messages = json::array();
        const std::string stream = support::readBytes(file.path());
        for (std::size_t at = 0; at < stream.size();)
        {
            std::size_t length = 0;
            for (const std::size_t end = at + 4; at < end; ++at)
                length = length << 8 | static_cast<unsigned char>(stream.at(at));
            messages.push_back(toJson(linkwell::parseMessage(stream.substr(at, length))));
            at += length;
        }
        const auto expected = std::filesystem::path(file.path()).replace_extension(".json");
        EXPECT_EQ(messages, json::parse(support::readBytes(expected)));
    }
    EXPECT_GE(recordings, 11);
}

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

TEST(ParseMessageTest, ReadsTextsAtRandomAsThePageSays)
{
    const std::vector<std::string> pieces = {";",
                                             ";;;;;;;;;",
                                             ";;;;;;;;;;",
                                             "\n",
                                             " ",
                                             "\r",
                                             "x",
                                             "; Roth",
                                             ";00000000A1;00000000E5",
                                             ";00000000A1;00000000E5\n",
                                             "00000000A1",
                                             "00E5",
                                             "Anna;;;;;;;;;;00000000A1;00000000E5\n"};
    std::mt19937 random(1);
    int guessed = 0;
    for (int round = 0; round < 300; ++round)
    {
        std::string text;
        for (auto count = random() % 40; count > 0; --count)
            text += pieces[random() % pieces.size()];
        for (const auto& [operation, kind] : {std::pair("add", "contact"), {"delete", "contact"}, {"delete", "folder"}})
        {
            const std::string header = std::string("2;") + operation + ';' + kind + ";0;1\n";
            const json items = toJson(linkwell::parseMessage(header + text)).at("items");
            ASSERT_EQ(items, readItems(operation, kind, split(text, "\n"))) << header << text;
            guessed += static_cast<int>(
                std::count_if(items.begin(), items.end(), [](const json& item) { return item.contains("guessed"); }));
        }
    }
    EXPECT_GT(guessed, 30);
}

TEST(ParseMessageTest, TakesALineAsLongAsAMessage)
{
    std::string name;
    for (int number = 0; number < 500'000; ++number)
        name += "x;";
    const auto message = linkwell::parseMessage("2;add;contact;0;1\n" + name + "\n;;;;;;;;;;00000000A1;00000000E5");
    ASSERT_EQ(message.items.size(), 1U);
    EXPECT_TRUE(message.items[0].contact->guessed);
    EXPECT_EQ(message.items[0].contact->entryId, "00000000A1");
    EXPECT_EQ(linkwell::parseMessage("2;add;contact;0;1\n" + std::string(500'000, '\n') + ';').items.size(), 1U);
}

TEST(ParseMessageTest, RefusesHeadersThatItDoesNotKnow)
{
    const std::vector<std::pair<std::string, std::string>> headers = {
        {"", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;0;1", "ERR_LINKWELL_HEADER"}, // it does not end
        {"2;snapshot;contact;0\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;0;1;\n", "ERR_LINKWELL_HEADER"},
        {"x;snapshot;contact;0;1\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;-1;1\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;01;1\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;0;\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;0;1234567890123456\n", "ERR_LINKWELL_HEADER"},
        {"2;snapshot;contact;0;1\r\n", "ERR_LINKWELL_HEADER"},
        {std::string(201, 'x') + '\n', "ERR_LINKWELL_HEADER"},
        {"3;snapshot;contact;0;1\n", "ERR_LINKWELL_VERSION"},
        {"3;anything else\n", "ERR_LINKWELL_VERSION"},
        {"2;merge;contact;0;1\n", "ERR_LINKWELL_OPERATION"},
        {"2;add;folder;0;1\n", "ERR_LINKWELL_OPERATION"},
        {"2;add;list;0;1\n", "ERR_LINKWELL_KIND"},
    };
    for (const auto& [text, code] : headers)
    {
        SCOPED_TRACE(text);
        try
        {
            (void)linkwell::parseMessage(text);
            ADD_FAILURE() << "it was read";
        }
        catch (const linkwell::Error& error)
        {
            EXPECT_EQ(nameOf(error.code), code);
            EXPECT_EQ(error.message, text);
        }
    }
}

TEST(JsonLinesTest, WritesTextAsJsonOfNodeDoes)
{
    EXPECT_EQ(listeningLine("\"\\\b\f\n\r\t\x01\x1f\x7f/\u00e9"),
              "{\"event\":\"listening\",\"pipe\":\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001f\x7f/\u00e9\"}\n");
    linkwell::Error error(linkwell::ErrorCode::Header, "no header");
    EXPECT_EQ(errorLine(error), "{\"event\":\"error\",\"code\":\"ERR_LINKWELL_HEADER\",\"reason\":\"no header\"}\n");
    error.message = "hello";
    EXPECT_EQ(json::parse(errorLine(error)).at("text"), "hello");
    EXPECT_EQ(closedLine(3), "{\"event\":\"closed\",\"answered\":3}\n");
}
} // namespace
} // namespace hosts
