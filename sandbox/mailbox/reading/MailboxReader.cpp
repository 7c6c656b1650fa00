#include "sandbox/mailbox/reading/MailboxReader.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "sandbox/mailbox/reading/DescriptionReader.h"
#include "sandbox/mailbox/reading/FolderReader.h"
#include "sandbox/mailbox/reading/JsonText.h"
#include "sandbox/mailbox/reading/PlanReader.h"
#include "sandbox/mailbox/reading/SchemaCheck.h"

namespace sandbox
{
namespace
{
class MailboxReader
{
public:
    [[nodiscard]] std::shared_ptr<Mailbox> read(const Json& json)
    {
        const JsonObject object(json, "");
        m_mailbox->setFastShutdown(object.value<std::string>("fastShutdown", "supported") == "supported");
        m_mailbox->setRowsPerQuery(object.value<std::uint32_t>("rowsPerQuery", 0));
        if (const Json* book = object.find("addressBook"))
            readAddressBook(*book, object.pathOf("addressBook"));
        if (const Json* stores = object.find("stores"))
        {
            for (const Json& store : *stores)
                readStore(store, elementPath(object.pathOf("stores"), m_mailbox->stores().size()));
        }
        if (const Json* plans = object.find("plans")) // they may be about anything in it
        {
            for (const Json& plan : *plans)
            {
                const JsonObject one(plan, elementPath(object.pathOf("plans"), m_mailbox->plans().size()));
                m_mailbox->addPlan(readPlan(one, *m_mailbox));
            }
        }
        return m_mailbox;
    }

private:
    void readAddressBook(const Json& book, const std::string& path)
    {
        for (const auto& [key, value] : book.items())
        {
            const JsonObject user(value, memberPath(path, key));
            AddressEntryDescription description = readAddressEntryDescription(user, key);
            withPath(user.path(), [&] { m_mailbox->addAddressEntry(key, std::move(description)); });
        }
    }

    void readStore(const Json& json, const std::string& path)
    {
        const JsonObject object(json, path);
        const std::shared_ptr<NameMapping> names = m_mailbox->namesOfNextStore();
        StoreDescription description = readStoreDescription(object, names);

        const Json rootJson = object.value("root", Json::object());
        const Json ipmJson = object.value("ipmSubtree", Json::object());
        const JsonObject root(rootJson, object.pathOf("root"));
        const JsonObject ipmSubtree(ipmJson, object.pathOf("ipmSubtree"));
        FolderDescription rootDescription = readFolderDescription(root, *names, L"Root");
        FolderDescription ipmDescription = readFolderDescription(ipmSubtree, *names, L"IPM_SUBTREE");

        const std::shared_ptr<Store> store =
            withPath(path,
                     [&]
                     {
                         return m_mailbox->addStore(std::move(description), std::move(rootDescription),
                                                    std::move(ipmDescription));
                     });
        FolderReader reader(*m_mailbox, *store);
        reader.readMessages(root, store->root());
        reader.readMessages(ipmSubtree, store->ipmSubtree());
        reader.readFolders(object, "folders", store->ipmSubtree());
        reader.readFolders(object, "rootFolders", store->root());
    }

    const std::shared_ptr<Mailbox> m_mailbox = std::make_shared<Mailbox>();
};
} // namespace

std::shared_ptr<Mailbox> readMailbox(const std::string& text)
{
    try
    {
        const Json json = parseJson(text);
        checkSchema("mailbox", json, "");
        return MailboxReader().read(json);
    }
    catch (const MailboxError& error)
    {
        if (!error.path())
            throw;
        throw MailboxError(positionOf(text, *error.path()) + ": " + error.what());
    }
}

std::shared_ptr<Mailbox> readMailboxFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw MailboxError("the file can't be opened");
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad())
        throw MailboxError("the file can't be read");
    return readMailbox(text);
}
} // namespace sandbox
