// How the host of hosts/cpp reads messages: the recordings of docs/protocol-samples, and what is none.
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "hosts/cpp/LinkwellHost.h"
#include "hosts/cpp/example/JsonLines.h"
#include "tests/hosts/MessageJson.h"
#include "tests/support/TempFolder.h"

namespace hosts
{
namespace
{
using nlohmann::json;

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
