// OutlookContact.h: a contact, for as long as it takes to write its line.
#pragma once

#include <string>
#include <vector>

#include "agent/mapi/EntryId.h"
#include "agent/mapi/MapiPointers.h"

/// A contact as texts by property tag, EntryIds in hexadecimal. There is no entry for an empty value, except for the
/// e-mail address of a loaded contact.
class OutlookContact
{
public:
    /// An empty record.
    OutlookContact() = default;
    /// A record of identifiers alone, without any MAPI call; none for an empty identifier.
    OutlookContact(const EntryId& entryId, const EntryId& parentEntryId);

    /// Reads the contact from its message (IMAPIProp::GetProps), replacing what was there; nothing for a null message.
    /// Throws, with the record as it was, when the message can't be read or the tags of its named properties can't be
    /// had. Properties that the contact does not have are no failure.
    void load(IMAPIPropPtr message);

    /// The contact's line as it goes to the host: twelve fields with ";" between them, without any escaping (settled
    /// behaviour 7). Empty for a record without entries.
    [[nodiscard]] std::wstring toString() const;

    /// The address of the contact's first e-mail slot: as it stands, or, for an Exchange address, the SMTP address of
    /// the entry that it names. Empty when there is none and, without a line in the log, when it can't be resolved.
    /// Throws when the tags of the named properties can't be had. Uses `mapi::Session::s_session`.
    [[nodiscard]] static std::wstring resolveEmailAddress(IMAPIPropPtr message);

private:
    struct Value
    {
        ULONG tag;
        std::wstring text;
    };

    /// Replaces what the record has under the tag.
    void put(ULONG tag, std::wstring text);

    std::vector<Value> m_values; // one for a tag; no map, which would take memory for each of them
};
