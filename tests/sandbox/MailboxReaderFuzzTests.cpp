// Mailbox files with faults in them: each is refused in one line that says where, or is served, and then as a reader of its
// own finds it, and the same after it has been written anew.
#include "sandbox/mailbox/reading/MailboxReader.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "sandbox/mailbox/model/MailboxError.h"
#include "tests/sandbox/RandomJson.h"
#include "tests/support/Platform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/support/fuzz/Mutation.h"
#include "tests/utilities/Utf8Model.h"

using namespace sandbox;
using sandboxtest::Json;

namespace
{
/// Mailboxes that are good, and not too large.
std::vector<Json> goodMailboxes()
{
    const std::filesystem::path source = support::environmentValue(L"LINKWELL_SOURCE");
    const auto read = [&source](const char* file)
    {
        return Json::parse(support::readBytes(source / file), nullptr, true, true);
    };
    std::vector<Json> mailboxes;
    Json sample = read("sandbox/mailboxes/sample.json");
    for (Json& store : sample.at("stores"))
    {
        mailboxes.push_back({{"addressBook", sample.at("addressBook")}, {"stores", Json::array({store})}});
    }
    for (Json& recorded : read("tests/endtoend/protocol-samples.json"))
        mailboxes.push_back(recorded.at("mailbox"));
    mailboxes.push_back(Json::parse(
        R"({"fastShutdown": "unsupported", "rowsPerQuery": 3, "stores": [{"name": "S", "aliases": ["0000000077"],
            "row": {"PR_DISPLAY_NAME": "R"}, "folders": [{"name": "F", "hidden": true, "shortTermIds": true,
            "generate": {"contacts": 3, "seed": 1}}]}],
            "plans": [{"method": "IMsgStore::OpenEntry", "call": 2, "times": 0, "result": "MAPI_E_NOT_FOUND"},
                      {"method": "IMAPITable::QueryRows", "hold": "h", "delay": 5, "deliver": true}]})"));
    return mailboxes;
}

const std::vector<Json>& randomValues()
{
    static const std::vector<Json> s_values = {nullptr,
                                               true,
                                               false,
                                               0,
                                               1,
                                               -1,
                                               7,
                                               1.5,
                                               4294967296,
                                               99999999999LL,
                                               1e300,
                                               "",
                                               "x",
                                               "00",
                                               "0000000011",
                                               "00000000112",
                                               "MAPI_E_NOT_FOUND",
                                               "0x80004005",
                                               "0x3A06001F",
                                               "IPF.Contact",
                                               "unsupported",
                                               "Mailbox/Contacts",
                                               "#0000000011",
                                               "@okafor",
                                               "a\nb",
                                               std::string("nul\0", 4),
                                               "\xF0\x9F\x98\x80",
                                               Json::array(),
                                               Json::object(),
                                               {{"error", "MAPI_E_NOT_FOUND"}},
                                               {{"utf16", "D8 00"}},
                                               {{"answersAs", "0x3A06001E"}, {"value", "x"}},
                                               {{"contacts", 2}},
                                               {{"contacts", 10000001}},
                                               {{"name", "N"}},
                                               {{"displayName", "D"}, {"entryId", "0000000022"}},
                                               {{"name", "N"}, {"folders", Json::array({Json{{"name", "M"}}})}}};
    return s_values;
}

const std::vector<std::string>& randomKeys()
{
    static const std::vector<std::string> s_keys = {"stores",
                                                    "addressBook",
                                                    "fastShutdown",
                                                    "rowsPerQuery",
                                                    "plans",
                                                    "name",
                                                    "provider",
                                                    "default",
                                                    "public",
                                                    "folders",
                                                    "rootFolders",
                                                    "ipmSubtree",
                                                    "root",
                                                    "row",
                                                    "entryId",
                                                    "aliases",
                                                    "properties",
                                                    "class",
                                                    "hidden",
                                                    "shortTermIds",
                                                    "messages",
                                                    "generate",
                                                    "contacts",
                                                    "seed",
                                                    "displayName",
                                                    "email",
                                                    "emailType",
                                                    "emailUser",
                                                    "method",
                                                    "call",
                                                    "times",
                                                    "result",
                                                    "hold",
                                                    "delay",
                                                    "deliver",
                                                    "PR_DISPLAY_NAME",
                                                    "PR_SUBJECT_W",
                                                    "0x3A06001F",
                                                    "PSETID_Address:0x8083:text",
                                                    "unknown",
                                                    "",
                                                    "a/b~c",
                                                    "a\nb"};
    return s_keys;
}

const std::vector<std::string> textPieces = {"{",
                                             "}",
                                             "[",
                                             "]",
                                             ",",
                                             ":",
                                             "\"",
                                             "\\",
                                             "\\u0000",
                                             "\\uD800",
                                             "\\uDC00",
                                             "\n",
                                             "\r\n",
                                             "//",
                                             "/*",
                                             "*/",
                                             "null",
                                             "-0",
                                             "1e999",
                                             "0x1",
                                             "\xEF\xBB\xBF",
                                             "\xC3",
                                             "\xED\xA0\x80",
                                             "\"name\":",
                                             "\"stores\":[",
                                             "NaN",
                                             "\t",
                                             "'"};

/// Generated contacts are cheap to ask for, and take long to make.
void keepFew(Json& json)
{
    if (json.is_object() && json.contains("contacts") && json["contacts"].is_number() && json["contacts"] > 30 &&
        json["contacts"] <= 10000000)
        json["contacts"] = 7;
    for (Json& value : json)
    {
        if (value.is_structured())
            keepFew(value);
    }
}

// ---- What a mailbox is -------------------------------------------------------------------------------------------------------

void describe(std::ostream& text, const Value& value)
{
    std::visit(
        [&text](const auto& held)
        {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
                text << "nothing";
            else if constexpr (std::is_same_v<Held, PropertyError>)
                text << "error " << held.code;
            else
                text << testing::PrintToString(held);
        },
        value);
}

void describe(std::ostream& text, const MailboxObject& object)
{
    text << object.type() << testing::PrintToString(object.entryId()) << testing::PrintToString(object.explicitIds());
    for (const ULONG tag : object.tags())
    {
        for (const std::optional<Property>& property :
             {object.property(PROP_ID(tag)), object.rowProperty(PROP_ID(tag))})
        {
            text << ' ' << tag << ' ' << (property ? property->answersAs : 0) << '=';
            if (property)
                describe(text, property->value);
        }
    }
    text << '\n';
}

/// All that can be seen of it.
std::string describe(const Mailbox& mailbox)
{
    std::ostringstream text;
    const std::function<void(const Folder&)> describeFolder = [&](const Folder& folder)
    {
        describe(text, folder);
        for (const auto& message : folder.messages())
            describe(text, *message);
        for (const auto& below : folder.folders())
            describeFolder(*below);
        text << "up\n";
    };
    for (const auto& store : mailbox.stores())
    {
        describe(text, *store);
        describeFolder(*store->root());
    }
    for (const auto& [key, entry] : mailbox.addressBook())
        text << key << '\n';
    text << mailbox.plans().size() << mailbox.supportsFastShutdown() << mailbox.rowsPerQuery();
    return text.str();
}

// ---- What a reader of its own finds ---------------------------------------------------------------------------------------

std::string shape(const std::string& name, std::size_t messages)
{
    return Json(name).dump() + ' ' + std::to_string(messages) + '\n';
}

void addShape(std::string& text, const Folder& folder)
{
    text += shape(tests::modelOfUtf8(folder.name()), folder.messages().size());
    for (const auto& below : folder.folders())
        addShape(text, *below);
    text += '^';
}

void addShape(std::string& text, const Json& folder, const std::string& name, const Json& below)
{
    const Json generate = folder.value("generate", Json{{"contacts", 0}});
    text += shape(folder.value("name", name),
                  folder.value("messages", Json::array()).size() + generate.at("contacts").get<std::size_t>());
    for (const Json& one : below)
        addShape(text, one, "", one.value("folders", Json::array()));
    text += '^';
}

/// The folders of all stores, with how many messages they have: as the mailbox has them, and as the file says.
std::string shapeOf(const Mailbox& mailbox)
{
    std::string text;
    for (const auto& store : mailbox.stores())
    {
        text += Json(tests::modelOfUtf8(store->name())).dump() + '\n';
        addShape(text, *store->ipmSubtree());
        // The IPM subtree is one of the root's folders.
        for (const auto& folder : store->root()->folders())
        {
            if (folder != store->ipmSubtree())
                addShape(text, *folder);
        }
    }
    return text;
}

std::string shapeOf(const Json& file)
{
    std::string text;
    for (const Json& store : file.value("stores", Json::array()))
    {
        text += store.at("name").dump() + '\n';
        addShape(text, store.value("ipmSubtree", Json::object()), "IPM_SUBTREE", store.value("folders", Json::array()));
        for (const Json& folder : store.value("rootFolders", Json::array()))
            addShape(text, folder, "", folder.value("folders", Json::array()));
    }
    return text;
}

// ---- The check -------------------------------------------------------------------------------------------------------------

/// That the complaint is one line, and begins with a place that is in the text.
void expectComplaint(const std::string& complaint, const std::string& text)
{
    // The place alone by an expression: over a complaint that quotes a long text, the library's would run out of stack.
    static const std::regex s_form("line ([0-9]+), column ([0-9]+): ");
    std::smatch place;
    ASSERT_TRUE(std::regex_search(complaint, place, s_form, std::regex_constants::match_continuous)) << complaint;
    const std::string words = place.suffix();
    ASSERT_FALSE(words.empty()) << complaint;
    ASSERT_TRUE(std::ranges::none_of(words, [](unsigned char byte) { return byte < 0x20; }))
        << testing::PrintToString(complaint);
    std::istringstream lines(text);
    std::string line;
    std::size_t number = 0;
    for (const std::size_t wanted = std::stoul(place[1]); number < wanted && std::getline(lines, line); ++number)
    {
    }
    ASSERT_TRUE(number == std::stoul(place[1]) || line.empty() || text.empty() || text.back() == '\n') << complaint;
    ASSERT_LE(std::stoul(place[2]), line.size() + 2) << complaint;
}

TEST(MailboxReaderFuzzTest, ServesWhatAFileSaysOrRefusesItInOneLine)
{
    const std::vector<Json> good = goodMailboxes();
    std::size_t served = 0;
    std::size_t refused = 0;
    support::fuzz("mailbox file",
                  [&](support::Choices& choices)
                  {
                      Json mailbox = choices.oneOf(good);
                      if (choices.chance(60))
                          sandboxtest::mutateJson(choices, mailbox, randomValues(), randomKeys(), 2);
                      keepFew(mailbox);
                      std::string text = mailbox.dump(choices.chance(50) ? 2 : -1);
                      if (choices.chance(30))
                          support::mutate(choices, text, textPieces, 3);
                      SCOPED_TRACE(text);
                      std::shared_ptr<Mailbox> read;
                      try
                      {
                          read = readMailbox(text);
                      }
                      catch (const MailboxError& complaint)
                      {
                          ++refused;
                          expectComplaint(complaint.what(), text);
                          return;
                      }
                      ++served;
                      const Json file = Json::parse(text, nullptr, true, true);
                      ASSERT_EQ(shapeOf(*read), shapeOf(file));
                      ASSERT_EQ(describe(*read), describe(*readMailbox(file.dump())));
                  });
    std::printf("%zu were served, %zu refused\n", served, refused);
}
} // namespace
