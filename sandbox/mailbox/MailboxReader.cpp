#include "sandbox/mailbox/MailboxReader.h"

#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "sandbox/mailbox/DescriptionReader.h"
#include "sandbox/mailbox/JsonText.h"
#include "sandbox/mailbox/MailboxError.h"

namespace sandbox
{
namespace
{
constexpr std::size_t s_deepestNesting = 2000; // folders let go of the folders below them, one inside the other
constexpr std::uint32_t s_mostGenerated = 10'000'000;

/// Runs `work`; a rule that it would break is told with the place.
template <class Work>
auto at(const std::string& path, Work work)
{
    try
    {
        return work();
    }
    catch (const MailboxRuleError& error)
    {
        failAt(path, error.what());
    }
}

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
        object.finish();
        return m_mailbox;
    }

private:
    /// A folder in the file that waits for its turn.
    struct Waiting
    {
        const Json* json;
        std::string path;
        std::shared_ptr<Folder> parent;
        std::size_t depth;
    };

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
            m_addressBook[key] = at(entry.path(), [&] { return m_mailbox->addAddressEntry(std::move(description)); });
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
            at(path,
               [&] {
                   return m_mailbox->addStore(std::move(description), std::move(rootDescription),
                                              std::move(ipmDescription));
               });
        readMessages(root, *store, store->root());
        readMessages(ipmSubtree, *store, store->ipmSubtree());
        root.finish();
        ipmSubtree.finish();

        readFolders(object, "folders", *store, store->ipmSubtree());
        readFolders(object, "rootFolders", *store, store->root());
        object.finish();
    }

    /// Reads the folders under `key` and all below them, each before those below it.
    void readFolders(JsonObject& object, std::string_view key, Store& store, const std::shared_ptr<Folder>& parent)
    {
        std::vector<Waiting> waiting; // the next one is the last
        pushFolders(object, key, parent, 1, waiting);
        while (!waiting.empty())
        {
            const Waiting next = std::move(waiting.back());
            waiting.pop_back();
            if (next.depth > s_deepestNesting)
                failAt(next.path, "folders are nested deeper than " + std::to_string(s_deepestNesting) + " levels");
            JsonObject folderObject(*next.json, next.path);
            FolderDescription description = readFolderDescription(folderObject, store.names(), nullptr);
            const std::shared_ptr<Folder> folder =
                at(next.path, [&] { return m_mailbox->addFolder(store, next.parent, std::move(description)); });
            readMessages(folderObject, store, folder);
            pushFolders(folderObject, "folders", folder, next.depth + 1, waiting);
            folderObject.finish();
        }
    }

    static void pushFolders(JsonObject& object, std::string_view key, const std::shared_ptr<Folder>& parent,
                            std::size_t depth, std::vector<Waiting>& waiting)
    {
        const Json* folders = object.find(key);
        if (folders == nullptr)
            return;
        const std::string path = object.pathOf(key);
        for (std::size_t left = requireList(*folders, path).size(); left-- > 0;)
            waiting.push_back({&(*folders)[left], elementPath(path, left), parent, depth});
    }

    void readMessages(JsonObject& object, Store& store, const std::shared_ptr<Folder>& folder)
    {
        if (const Json* messages = object.find("messages"))
        {
            const std::string path = object.pathOf("messages");
            std::size_t index = 0;
            for (const Json& message : requireList(*messages, path))
            {
                JsonObject messageObject(message, elementPath(path, index++));
                ObjectDescription description = readMessageDescription(messageObject, store.names(), m_addressBook);
                messageObject.finish();
                at(messageObject.path(), [&] { return m_mailbox->addMessage(store, folder, std::move(description)); });
            }
        }
        if (const Json* generate = object.find("generate"))
        {
            JsonObject rule(*generate, object.pathOf("generate"));
            const Json* contacts = rule.find("contacts");
            const Json* seedJson = rule.find("seed");
            rule.finish();
            if (contacts == nullptr)
                failAt(rule.path(), "'contacts' is missing");
            const std::uint32_t count = readCount(*contacts, rule.pathOf("contacts"), s_mostGenerated);
            constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
            const std::uint32_t seed = seedJson != nullptr ? readCount(*seedJson, rule.pathOf("seed"), largest) : 0;
            at(rule.path(), [&] { m_mailbox->addGeneratedContacts(store, folder, count, seed); });
        }
    }

    const std::shared_ptr<Mailbox> m_mailbox = std::make_shared<Mailbox>();
    AddressBook m_addressBook;
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
