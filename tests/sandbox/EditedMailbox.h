// EditedMailbox.h: a mailbox under a test of its edits, with short ways to what lies in it and words for its events.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/mailbox/edits/MailboxEdits.h"

namespace sandboxtest
{
/// The events, one a line: "One: moved message <id> in <parent> from <old id> in <old parent>".
using Batches = std::vector<std::string>;

[[nodiscard]] Batches wordsOf(const std::vector<sandbox::StoreBatch>& batches);

[[nodiscard]] std::string idOf(const sandbox::MailboxObject& object);
/// A text of the opened object; "(none)" if it has no such property.
[[nodiscard]] std::wstring text(const sandbox::MailboxObject& object, ULONG tag);

class EditedMailbox
{
public:
    explicit EditedMailbox(const std::string& json);

    [[nodiscard]] sandbox::Mailbox& mailbox() const { return *m_mailbox; }

    // By their places.
    [[nodiscard]] std::shared_ptr<sandbox::Folder> folder(const std::string& place) const;
    [[nodiscard]] std::shared_ptr<sandbox::Message> message(const std::string& place) const;
    /// The hexadecimal identifier of a folder.
    [[nodiscard]] std::string id(const std::string& place) const { return idOf(*folder(place)); }
    [[nodiscard]] std::shared_ptr<sandbox::MailboxObject> find(const sandbox::Bytes& id) const;
    /// The display names of a folder's messages.
    [[nodiscard]] std::vector<std::string> namesIn(const std::string& place) const;

    /// A named property of PSETID_Address, by the message's store; "(none)" if it has none.
    [[nodiscard]] std::wstring named(const sandbox::Message& message, LONG number) const;
    [[nodiscard]] bool hasNamed(const sandbox::Message& message, LONG number) const;

    using Edit = std::function<void(sandbox::MailboxEdits&)>;
    /// Makes the edit, keeps it and gives its events.
    [[nodiscard]] std::vector<sandbox::StoreBatch> editRaw(const Edit& edit);
    [[nodiscard]] Batches edit(const Edit& edit) { return wordsOf(editRaw(edit)); }
    /// Tries the edit, which must be refused and change nothing; gives the complaint, or what went wrong instead.
    [[nodiscard]] std::string refusal(const Edit& edit);

    /// All that can be seen of the mailbox, in a text that differs when any of it differs: each object with its identifiers,
    /// what they open, its properties, its row, and the numbers that come next.
    [[nodiscard]] std::string wholeState() const;

private:
    const std::shared_ptr<sandbox::Mailbox> m_mailbox;
};
} // namespace sandboxtest
