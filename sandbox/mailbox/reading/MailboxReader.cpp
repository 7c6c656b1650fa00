#include "sandbox/mailbox/reading/MailboxReader.h"

#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "sandbox/mailbox/reading/DescriptionReader.h"
#include "sandbox/mailbox/reading/FolderReader.h"
#include "sandbox/mailbox/reading/JsonText.h"
#include "sandbox/mailbox/reading/PlanReader.h"

namespace sandbox
{
namespace
{
class MailboxReader
{
public:
    [[nodiscard]] std::shared_ptr<Mailbox> read(const Json& json)
    {
        JsonObject object(json, "");
        readSettings(object);
        readAddressBook(object);
        if (const Json* stores = object.find("stores"))
        {
            const std::string path = object.pathOf("stores");
            std::size_t index = 0;
            for (const Json& store : requireList(*stores, path))
                readStore(store, elementPath(path, index++));
        }
        readPlans(object); // they may be about anything in it
        object.finish();
        return m_mailbox;
    }

private:
    void readSettings(JsonObject& object)
    {
        m_mailbox->setResults(readMailboxResults(object));
        if (const Json* fastShutdown = object.find("fastShutdown"))
        {
            const std::string path = object.pathOf("fastShutdown");
            const std::string& word = requireText(*fastShutdown, path);
            if (word != "supported" && word != "unsupported")
                failAt(path, "must be \"supported\" or \"unsupported\"");
            m_mailbox->setFastShutdown(word == "supported");
        }
        if (const Json* rows = object.find("rowsPerQuery"))
        {
            const std::string path = object.pathOf("rowsPerQuery");
            constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
            m_mailbox->setRowsPerQuery(static_cast<std::uint32_t>(readInteger(*rows, path, 1, most)));
        }
    }

    void readAddressBook(JsonObject& object)
    {
        const Json* book = object.find("addressBook");
        if (book == nullptr)
            return;
        const std::string path = object.pathOf("addressBook");
        if (!book->is_object())
            failAt(path, "must be an object");
        for (const auto& [key, value] : book->items())
        {
            JsonObject entry(value, memberPath(path, key));
            AddressEntryDescription description = readAddressEntryDescription(entry, key);
            entry.finish();
            withPlace(entry.path(), [&] { m_mailbox->addAddressEntry(key, std::move(description)); });
        }
    }

    void readPlans(JsonObject& object)
    {
        const Json* plans = object.find("plans");
        if (plans == nullptr)
            return;
        const std::string path = object.pathOf("plans");
        for (const Json& plan : requireList(*plans, path))
        {
            JsonObject planObject(plan, elementPath(path, m_mailbox->plans().size()));
            m_mailbox->addPlan(readPlan(planObject, *m_mailbox));
        }
    }

    void readStore(const Json& json, const std::string& path)
    {
        JsonObject object(json, path);
        const std::shared_ptr<NameMapping> names = m_mailbox->namesOfNextStore();
        StoreDescription description = readStoreDescription(object, names);

        static const Json s_nothing = Json::object();
        const Json* rootJson = object.find("root");
        const Json* ipmJson = object.find("ipmSubtree");
        JsonObject root(rootJson != nullptr ? *rootJson : s_nothing, object.pathOf("root"));
        JsonObject ipmSubtree(ipmJson != nullptr ? *ipmJson : s_nothing, object.pathOf("ipmSubtree"));
        FolderDescription rootDescription = readFolderDescription(root, *names, L"Root");
        FolderDescription ipmDescription = readFolderDescription(ipmSubtree, *names, L"IPM_SUBTREE");

        const std::shared_ptr<Store> store =
            withPlace(path,
                      [&] {
                          return m_mailbox->addStore(std::move(description), std::move(rootDescription),
                                                     std::move(ipmDescription));
                      });
        FolderReader reader(*m_mailbox, *store);
        reader.readMessages(root, store->root());
        reader.readMessages(ipmSubtree, store->ipmSubtree());
        root.finish();
        ipmSubtree.finish();

        reader.readFolders(object, "folders", store->ipmSubtree());
        reader.readFolders(object, "rootFolders", store->root());
        object.finish();
    }

    const std::shared_ptr<Mailbox> m_mailbox = std::make_shared<Mailbox>();
};
} // namespace

std::shared_ptr<Mailbox> readMailbox(const std::string& text)
{
    const Json json = parseJson(text);
    return MailboxReader().read(json);
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
