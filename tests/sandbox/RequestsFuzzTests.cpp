// Requests with faults in them: each has one line for an answer, and one that is refused changes nothing.
#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/sandbox/RandomJson.h"
#include "tests/sandbox/SandboxTest.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/support/fuzz/Mutation.h"

namespace sandboxtest
{
namespace
{
const char* const fuzzedMailbox =
    R"({"addressBook":{"mara":{"displayName":"Mara","smtpAddress":"mara@example.com"}},"stores":[
    {"name":"Mailbox","default":true,"entryId":"0000000001","folders":[{"name":"First"},
      {"name":"Contacts","class":"IPF.Contact","entryId":"0000000002",
       "messages":[{"displayName":"Mara","entryId":"0000000003","aliases":["0000000093"]},{"displayName":"Ada","class":null}],
       "folders":[{"name":"New"},{"name":"Old","hidden":true,"messages":[{"displayName":"Jun"}]}]}]},
    {"name":"Other","public":true,"folders":[{"name":"Contacts","shortTermIds":true}]}]})";

const std::vector<Json>& goodRequests()
{
    static const std::vector<Json> s_requests = Json::parse(R"([
        {"do":"list"}, {"do":"list","path":"Mailbox/Contacts"},
        {"do":"addContact","folder":"Mailbox/Contacts","contact":{"displayName":"Eve","email":"eve@example.com","entryId":"0000000042"}},
        {"do":"addContact","folder":"Other/Contacts","contact":{"displayName":"Li","emailUser":"mara"}},
        {"do":"addFolder","parent":"Mailbox","folder":{"name":"New","messages":[{"displayName":"Zoe"}],"folders":[{"name":"Below"}]}},
        {"do":"editContact","contact":"Mailbox/Contacts/Mara","set":{"displayName":"Maria","company":null}},
        {"do":"editFolder","folder":"Mailbox/Contacts","set":{"name":"People","class":null,"hidden":true,"shortTermIds":true}},
        {"do":"editStore","store":"Other","set":{"name":"Third","public":false}},
        {"do":"move","object":"Mailbox/Contacts/Ada","to":"Mailbox/Contacts/Old","keepId":true},
        {"do":"move","object":"Mailbox/Contacts/Old","to":"Mailbox"},
        {"do":"move","object":"Mailbox/Contacts","to":"Mailbox/Contacts/Old"},
        {"do":"copy","object":"Mailbox/Contacts","to":"Mailbox/Contacts"},
        {"do":"delete","object":"#0000000003"}, {"do":"delete","object":"Mailbox/Contacts/Old"}, {"do":"delete","object":"Other"},
        {"do":"inject","store":"Mailbox","notifications":[{"event":4,"type":5,"id":"0000000003","parent":"0000000002"}]},
        {"do":"inject","store":"Mailbox","notifications":[{"event":"created","type":"message","id":"Mailbox/Contacts/Mara"}]},
        {"do":"plan","method":"IMsgStore::OpenEntry","on":"Mailbox","call":2,"times":0,"result":"MAPI_E_NOT_FOUND"},
        {"do":"plan","opens":"Mailbox/Contacts","hold":"h"}, {"do":"plan","table":"contents","method":"IMAPITable::QueryRows","delay":1},
        {"do":"clearPlans"}, {"do":"release","hold":"h"}, {"do":"subscriptions"},
        {"do":"wait","for":"idle","timeout":1}, {"do":"wait","for":"advised","count":0,"timeout":1},
        {"do":"wait","for":"held","hold":"h","timeout":1},
        {"do":"journal","action":"start"}, {"do":"journal","action":"read","clear":true}, {"do":"journal","action":"stop"}])");
    return s_requests;
}

const std::vector<Json>& requestValues()
{
    static const std::vector<Json> s_values = {nullptr,
                                               true,
                                               0,
                                               1,
                                               -1,
                                               2.5,
                                               4294967296,
                                               1e300,
                                               "",
                                               "x",
                                               "Mailbox",
                                               "Mailbox/Contacts",
                                               "Mailbox/Contacts/Mara",
                                               "Other/Contacts",
                                               "#0000000002",
                                               "#0000000093",
                                               "#",
                                               "@mara",
                                               "@",
                                               "0000000003",
                                               "00",
                                               "a\nb",
                                               "\\",
                                               "Mailbox\\",
                                               "\xF0\x9F\x98\x80",
                                               Json::array(),
                                               Json::object(),
                                               {{"displayName", "N"}},
                                               {{"name", "N"}},
                                               {{"error", "MAPI_E_NO_ACCESS"}}};
    return s_values;
}

const std::vector<std::string>& requestKeys()
{
    static const std::vector<std::string> s_keys = {
        "do",     "path",          "folder",   "contact", "parent",  "set",         "store", "object", "to",
        "keepId", "notifications", "requests", "method",  "on",      "opens",       "table", "call",   "times",
        "result", "hold",          "deliver",  "count",   "action",  "clear",       "name",  "class",  "hidden",
        "public", "properties",    "row",      "entryId", "aliases", "displayName", "event", "type",   "id",
        "oldId",  "oldParent",     "propTags", "unknown", "",        "a\nb"};
    return s_keys;
}

const std::vector<std::string> requestPieces = {"{",       "}",       "[",  "]",  ",",  ":",     "\"",   "\\",
                                                "\\u0000", "\\uD800", "\r", "\t", "//", "1e999", "\xC3", "\xED\xA0\x80",
                                                "\"do\":"};

bool isWait(const Json& request)
{
    return request.is_object() && request.contains("do") && request["do"] == "wait";
}

class RequestsFuzzTest : public SandboxTest
{
protected:
    /// The answer, whose form is checked.
    Json ask(const std::string& request)
    {
        const std::string line = dll.answer(request);
        EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos);
        Json answer = Json::parse(line);
        EXPECT_TRUE(answer.at("ok").is_boolean());
        if (answer.at("ok") == false)
        {
            const auto error = answer.at("error").get<std::string>();
            EXPECT_FALSE(error.empty());
            EXPECT_EQ(answer.size(), 2U);
            EXPECT_EQ(std::ranges::find_if(error, [](unsigned char byte) { return byte < ' '; }), error.end()) << error;
        }
        return answer;
    }

    Json randomRequest(support::Choices& choices)
    {
        Json request = choices.oneOf(goodRequests());
        if (choices.chance(15))
        {
            request = {{"do", "batch"}, {"requests", Json::array()}};
            for (std::size_t count = choices.below(4); count > 0; --count)
                request["requests"].push_back(choices.oneOf(goodRequests()));
        }
        if (choices.chance(60))
            mutateJson(choices, request, requestValues(), requestKeys(), 2);
        if (isWait(request))
            request["timeout"] = 1; // it may well run out
        return request;
    }
};

TEST_F(RequestsFuzzTest, AnswersEachByALineAndChangesNothingWhenItRefuses)
{
    std::size_t done = 0;
    std::size_t refused = 0;
    support::fuzz("requests",
                  [&](support::Choices& choices)
                  {
                      serve(fuzzedMailbox);
                      Json before = ask(R"({"do":"list"})");
                      for (std::size_t count = choices.between(1, 8); count > 0; --count)
                      {
                          const Json request = randomRequest(choices);
                          std::string text = request.dump(-1, ' ', false, Json::error_handler_t::replace);
                          if (!isWait(request) && choices.chance(15))
                              support::mutate(choices, text, requestPieces, 3);
                          text.resize(std::min(text.find('\0'), text.size())); // as the DLL takes it
                          SCOPED_TRACE(text);
                          const bool isDone = ask(text).at("ok").get<bool>();
                          ++(isDone ? done : refused);
                          Json after = ask(R"({"do":"list"})");
                          ASSERT_TRUE(after.at("ok").get<bool>());
                          ASSERT_TRUE(isDone || after == before) << after;
                          before = std::move(after);
                      }
                      ask(R"({"do":"clearPlans"})");
                      ask(R"({"do":"journal","action":"stop"})");
                  });
    std::printf("%zu were done, %zu refused\n", done, refused);
}

TEST_F(RequestsFuzzTest, DoesInABatchWhatItDoesOneByOneOrNothing)
{
    std::vector<Json> edits = goodRequests();
    std::erase_if(edits,
                  [](const Json& request)
                  {
                      static const std::set<std::string> s_edits = {"addContact", "addFolder", "editContact",
                                                                    "editFolder", "editStore", "move",
                                                                    "copy",       "delete",    "inject"};
                      return !s_edits.contains(request.at("do").get<std::string>());
                  });
    support::fuzz("batches of requests",
                  [&](support::Choices& choices)
                  {
                      Json batch = {{"do", "batch"}, {"requests", Json::array()}};
                      for (std::size_t count = choices.between(1, 5); count > 0; --count)
                      {
                          const Json& edit = choices.oneOf(edits);
                          Json request = edit;
                          if (choices.chance(30))
                              mutateJson(choices, request, requestValues(), requestKeys(), 1);
                          if (request.is_object())
                              request["do"] = edit["do"];
                          batch["requests"].push_back(request);
                      }
                      SCOPED_TRACE(batch.dump());
                      serve(fuzzedMailbox);
                      Json answers = Json::array();
                      const Json before = ask(R"({"do":"list"})");
                      bool isDone = true;
                      for (std::size_t at = 0; isDone && at < batch["requests"].size(); ++at)
                      {
                          Json answer = ask(batch["requests"][at].dump());
                          isDone = answer.at("ok").get<bool>();
                          answer.erase("notified"); // which a batch has as a whole
                          answers.push_back(std::move(answer));
                      }
                      const Json after = ask(R"({"do":"list"})");

                      serve(fuzzedMailbox);
                      const Json answer = ask(batch.dump());
                      ASSERT_EQ(answer.at("ok"), isDone) << answer;
                      ASSERT_EQ(ask(R"({"do":"list"})"), isDone ? after : before);
                      ASSERT_TRUE(!isDone || answer.at("answers") == answers) << answer;
                  });
}
} // namespace
} // namespace sandboxtest
