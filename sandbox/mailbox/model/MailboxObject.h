// MailboxObject.h: what stores, folders, messages and address book entries have in common.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/model/Property.h"

namespace sandbox
{
/// What is said about an object beside its place in the mailbox.
struct ObjectDescription
{
    Bytes entryId;              // empty: the object gets a generated one
    std::vector<Bytes> aliases; // further identifiers of the same object
    PropertySet properties;
    PropertySet row; // what differs in its row of the parent's table
};

/// An object of the mailbox: properties and identity. Like the whole mailbox it is used under Mailbox::mutex only.
class MailboxObject
{
public:
    MailboxObject(const MailboxObject&) = delete;
    MailboxObject& operator=(const MailboxObject&) = delete;
    virtual ~MailboxObject() = default;

    /// The published object type, such as MAPI_FOLDER.
    [[nodiscard]] virtual ULONG type() const noexcept = 0;

    /// The long-term identifier.
    [[nodiscard]] Bytes entryId() const;
    /// Another identifier of the same object, good for a session; empty if its kind has none.
    [[nodiscard]] virtual Bytes shortTermId() const { return {}; }
    /// The identifiers that were given to it explicitly: its own one, if any, and its aliases.
    [[nodiscard]] std::vector<Bytes> explicitIds() const;

    /// A property as the opened object has it; none if it doesn't.
    [[nodiscard]] std::optional<Property> property(ULONG id) const;
    /// A property as the object's row in its parent's table has it.
    [[nodiscard]] std::optional<Property> rowProperty(ULONG id) const;
    /// The tags of all properties of the opened object, by ascending identifier.
    [[nodiscard]] std::vector<ULONG> tags() const;

    /// All that is said about it.
    [[nodiscard]] ObjectDescription description() const;
    /// Says something else about it from now on. Its identifiers stay.
    void redescribe(ObjectDescription description);

protected:
    explicit MailboxObject(ObjectDescription description);

    /// The identifier of an object to which none was given.
    [[nodiscard]] virtual Bytes generatedEntryId() const = 0;
    /// A property that the object has by its kind and place, none for all others.
    [[nodiscard]] virtual std::optional<Property> builtIn(ULONG id) const = 0;
    [[nodiscard]] virtual std::vector<ULONG> builtInIds() const = 0;
    /// The same for what only its row has, or has in another form.
    [[nodiscard]] virtual std::optional<Property> builtInOfRow(ULONG id) const;

private:
    const Bytes m_entryId;
    const std::vector<Bytes> m_aliases;
    PropertySet m_properties;
    PropertySet m_row;
};
} // namespace sandbox
