#include "tests/endtoend/Expected.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
constexpr std::string_view sendingStart = "Sending data:\n";

std::string hexadecimal(std::uint64_t number, int bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (int shift = bytes * 8 - 4; shift >= 0; shift -= 4)
        text += digits[(number >> shift) & 0xF];
    return text;
}

/// As the log writes numbers.
std::string hexNumber(std::uint64_t number)
{
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%llx", static_cast<unsigned long long>(number));
    return text.data();
}

/// The 15 letters "LinkwellSandbox" and the number of the store.
std::string uid(unsigned store)
{
    return "4C696E6B77656C6C53616E64626F78" + hexadecimal(store, 1);
}

/// The hash of an identifier's text: FNV-1a over its characters, ASCII all of them, each with a zero byte behind it.
std::string hashOf(const std::string& id)
{
    std::uint64_t hash = 14695981039346656037U;
    for (const char character : id)
    {
        for (const unsigned byte : {static_cast<unsigned>(character), 0U})
        {
            hash ^= byte;
            hash *= 1099511628211U;
        }
    }
    return hexNumber(hash);
}

std::string message(std::string header, const std::vector<std::string>& items)
{
    for (const std::string& item : items)
        header.append(1, '\n').append(item);
    return header;
}
} // namespace

std::string storeId(unsigned store)
{
    return "00000000" + uid(store) + "53746F72";
}

std::string folderId(unsigned store, unsigned folder)
{
    return "00000000" + uid(store) + "0100" + uid(store) + hexadecimal(folder, 6) + "0000";
}

std::string messageId(unsigned store, unsigned folder, unsigned message)
{
    return "00000000" + uid(store) + "0700" + uid(store) + hexadecimal(folder, 6) + "0000" + uid(store) +
           hexadecimal(message, 6) + "0000";
}

std::string contactLine(std::string_view tenFields, unsigned store, unsigned folder, unsigned message)
{
    return std::string(tenFields) + ";" + messageId(store, folder, message) + ";" + folderId(store, folder);
}

std::string namedLine(std::string_view name, unsigned store, unsigned folder, unsigned message)
{
    return contactLine(std::string(name) + ";;;;;;;;;", store, folder, message);
}

std::string deletedLine(std::string_view id)
{
    return ";;;;;;;;;;" + std::string(id) + ";";
}

std::string snapshotMessage(std::string_view indexAndTotal, const std::vector<std::string>& contacts)
{
    return message("2;snapshot;contact;" + std::string(indexAndTotal), contacts);
}

std::string change(std::string_view operation, std::string_view kind, const std::vector<std::string>& items)
{
    return message("2;" + std::string(operation) + ";" + std::string(kind) + ";0;1", items);
}

std::string sending(const std::string& message)
{
    return std::string(sendingStart) + message;
}

std::string sending(std::string_view operation, const std::vector<std::string>& items, std::string_view kind)
{
    return sending(change(operation, kind, items));
}

std::vector<std::string> sentIn(const Records& records)
{
    std::vector<std::string> messages;
    for (const std::string& record : records)
    {
        if (record.starts_with(sendingStart))
            messages.push_back(record.substr(sendingStart.size()));
    }
    return messages;
}

std::string caught(std::string_view place, std::string_view failure)
{
    return "An exception has been caught in " + std::string(place) + " : " + std::string(failure);
}

std::string workerFailed(std::string_view failure)
{
    return caught("AsyncMapiHelper::run", failure);
}

std::string storeFound(std::string_view name, unsigned store, bool isDefault, bool isPublic)
{
    return "Message Store found: " + std::string(name) +
           " (Sandbox Message Store), Default: " + (isDefault ? "true" : "false") +
           ", Public: " + (isPublic ? "true" : "false") + ", EntryId: " + storeId(store);
}

Records snapshot(std::string_view store, std::string_view indexAndTotal, const std::vector<std::string>& contacts,
                 const Records& reading)
{
    const std::string start = "createSnapshot for \"" + std::string(store) + "\"";
    const std::string count = start + ": " + std::to_string(contacts.size()) + " contact(s) found";
    Records records = joined({{start + " started"}, reading, {count}});
    if (!contacts.empty())
        records.push_back(sending(snapshotMessage(indexAndTotal, contacts)));
    return records;
}

std::string registered(std::string_view folder)
{
    return "Maybe Contacts folder " + std::string(folder) + " registered as known notification source";
}

Records subscribed(std::string_view store, std::initializer_list<std::string_view> folders)
{
    Records records = {"Subscribe to " + std::string(store), registered("IPM_SUBTREE")};
    for (const std::string_view folder : folders)
        records.push_back("subfolder found: " + std::string(folder));
    for (const std::string_view folder : folders)
        records.push_back(registered(folder));
    return records;
}

std::string notified(unsigned event, std::string_view name, const std::string& id, unsigned objectType)
{
    return "Notification " + hexNumber(event) + " for " + std::string(name) + " of type " + hexNumber(objectType) +
           ", EntryId hash = " + hashOf(id) + " (" + id + ")";
}

Records notifiedUnopened(unsigned event, const std::string& id, unsigned objectType, std::string_view result)
{
    return {"HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x" + std::string(result),
            notified(event, "(cannot resolve)", id, objectType)};
}

std::string notifiedWithoutId(unsigned event)
{
    return "`anonymous-namespace'::logNotification: Notification " + hexNumber(event) + ": EntryId is empty!";
}

const Records orderlyEnd = {"Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                            std::string(support::logFooter)};
} // namespace endtoend
