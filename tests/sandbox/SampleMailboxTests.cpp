#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/reading/MailboxReader.h"

using namespace sandbox;

namespace
{
class SampleMailboxTest : public testing::Test
{
protected:
    SampleMailboxTest()
    {
        const char* path = std::getenv("LINKWELL_SAMPLE_MAILBOX");
        if (path == nullptr)
            throw std::runtime_error("LINKWELL_SAMPLE_MAILBOX does not name the sample; ctest sets it");
        m_mailbox = readMailboxFile(std::filesystem::path(path));
        for (const std::shared_ptr<Store>& store : m_mailbox->stores())
            collect(*store->root());
    }

    void collect(const Folder& folder)
    {
        m_folders.push_back(&folder);
        for (const std::shared_ptr<Message>& message : folder.messages())
            m_messages.push_back(message.get());
        for (const std::shared_ptr<Folder>& below : folder.folders())
            collect(*below);
    }

    template <class Held>
    static Held valueOf(const MailboxObject& object, ULONG tag, Held otherwise)
    {
        const std::optional<Property> property = object.property(PROP_ID(tag));
        return property ? std::get<Held>(property->value) : otherwise;
    }

    static std::wstring textOf(const MailboxObject& object, ULONG tag)
    {
        return valueOf<std::wstring>(object, tag, L"(none)");
    }

    [[nodiscard]] bool someContact(const std::function<bool(const Message&)>& test) const
    {
        return std::ranges::any_of(m_messages, [&](const Message* message) { return test(*message); });
    }

    [[nodiscard]] bool someFolder(const std::function<bool(const Folder&)>& test) const
    {
        return std::ranges::any_of(m_folders, [&](const Folder* folder) { return test(*folder); });
    }

    std::shared_ptr<Mailbox> m_mailbox;
    std::vector<const Folder*> m_folders;
    std::vector<const Message*> m_messages;
};
} // namespace

TEST_F(SampleMailboxTest, HasEveryKindOfStore)
{
    const auto& stores = m_mailbox->stores();
    EXPECT_GE(stores.size(), 3u);
    EXPECT_EQ(
        std::ranges::count_if(stores, [](const auto& store) { return valueOf<bool>(*store, PR_DEFAULT_STORE, false); }),
        1);
    EXPECT_EQ(std::ranges::count_if(stores,
                                    [](const auto& store)
                                    {
                                        return valueOf<Bytes>(*store, PR_MDB_PROVIDER, {}) ==
                                               Bytes(pbExchangeProviderPublicGuid.begin(),
                                                     pbExchangeProviderPublicGuid.end());
                                    }),
              1);
    EXPECT_EQ(std::ranges::count_if(stores, [](const auto& store) { return FAILED(store->openResult()); }), 1);
}

TEST_F(SampleMailboxTest, HasAStoreThatOpensAndHoldsNoContact)
{
    std::set<const Store*> withContacts;
    for (const Message* message : m_messages)
    {
        if (textOf(*message, PR_MESSAGE_CLASS_W) == L"IPM.Contact")
            withContacts.insert(&message->store());
    }
    EXPECT_TRUE(std::ranges::any_of(m_mailbox->stores(), [&](const auto& store)
                                    { return SUCCEEDED(store->openResult()) && !withContacts.contains(store.get()); }));
}

TEST_F(SampleMailboxTest, HasEveryKindOfFolder)
{
    const auto isClass = [](const wchar_t* name)
    {
        return [name](const Folder& folder)
        {
            return textOf(folder, PR_CONTAINER_CLASS_W) == name;
        };
    };
    EXPECT_TRUE(someFolder(isClass(L"IPF.Contact")));
    EXPECT_TRUE(someFolder(isClass(L"IPF.Contact.Sub")));
    EXPECT_TRUE(someFolder(isClass(L"IPF.Note")));
    EXPECT_TRUE(someFolder(
        [](const Folder& folder)
        {
            return textOf(folder, PR_CONTAINER_CLASS_W) == L"(none)" && !folder.messages().empty() &&
                   textOf(*folder.messages().front(), PR_MESSAGE_CLASS_W) == L"IPM.Contact";
        }));
    EXPECT_TRUE(someFolder([](const Folder& folder)
                           { return valueOf<bool>(folder, PR_ATTR_HIDDEN, false) && !folder.messages().empty(); }));
    EXPECT_TRUE(someFolder([](const Folder& folder) { return folder.tellsShortTermIds(); }));
}

TEST_F(SampleMailboxTest, HasTheContactsThatShowSomething)
{
    EXPECT_GE(std::ranges::count_if(m_messages, [](const Message* message)
                                    { return textOf(*message, PR_MESSAGE_CLASS_W) == L"IPM.Contact"; }),
              40);
    EXPECT_TRUE(someContact([](const Message& m) { return FAILED(m.openResult()); }));
    EXPECT_TRUE(someContact([](const Message& m) { return textOf(m, PR_MESSAGE_CLASS_W) == L"IPM.DistList"; }));
    EXPECT_TRUE(
        someContact([](const Message& m) { return textOf(m, PR_DISPLAY_NAME_W).find(L';') != std::wstring::npos; }));
    EXPECT_TRUE(
        someContact([](const Message& m) { return textOf(m, PR_COMPANY_NAME_W).find(L'\n') != std::wstring::npos; }));

    // One letter of each script stands for it: Latin with marks, Cyrillic, Greek, Arabic, Hebrew, Chinese, Japanese,
    // Korean, Devanagari, and what takes two UTF-16 units.
    for (const wchar_t letter : {L'\u0141', L'\u0414', L'\u0393', L'\u0644', L'\u05E0', L'\u660E', L'\u30B5', L'\uC5F0',
                                 L'\u092A', wchar_t(0xD842)})
    {
        EXPECT_TRUE(someContact(
            [letter](const Message& m) {
                return (textOf(m, PR_DISPLAY_NAME_W) + textOf(m, PR_COMPANY_NAME_W)).find(letter) != std::wstring::npos;
            }))
            << std::hex << static_cast<int>(letter);
    }
}
