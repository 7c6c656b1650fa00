// Message.h: a message of a folder; contacts are messages.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"

namespace sandbox
{
class ContactGenerator;
class Folder;
class Store;

/// A message. All that it says of itself stands in its description, or follows from its place and, for one of many
/// generated contacts, from a rule.
class Message final : public MailboxObject
{
public:
    /// @param number     the message's number within its store.
    /// @param generator  null for a message that the description has whole.
    /// @param index      the generated contact's place in the rule.
    Message(const std::shared_ptr<Folder>& folder, std::uint64_t number, ObjectDescription description,
            std::shared_ptr<const ContactGenerator> generator = nullptr, std::uint32_t index = 0);

    [[nodiscard]] ULONG type() const noexcept override { return MAPI_MESSAGE; }
    [[nodiscard]] Bytes shortTermId() const override;

    [[nodiscard]] std::uint64_t number() const noexcept { return m_number; }
    /// The rule behind a generated contact; null for any other message.
    [[nodiscard]] const std::shared_ptr<const ContactGenerator>& generator() const noexcept { return m_generator; }
    [[nodiscard]] std::uint32_t index() const noexcept { return m_index; }
    /// Null after the folder is gone.
    [[nodiscard]] std::shared_ptr<Folder> folder() const { return m_folder.lock(); }
    [[nodiscard]] const Store& store() const noexcept { return m_store; }
    /// To which folder of its store it belongs from now on.
    void setFolder(const std::shared_ptr<Folder>& folder) noexcept { m_folder = folder; }

protected:
    [[nodiscard]] Bytes generatedEntryId() const override;
    [[nodiscard]] std::optional<Property> builtIn(ULONG id) const override;
    [[nodiscard]] std::vector<ULONG> builtInIds() const override;
    [[nodiscard]] std::optional<Property> builtInOfRow(ULONG id) const override;

private:
    const Store& m_store; // borrowed; outlives all its messages
    std::weak_ptr<Folder> m_folder;
    const std::uint64_t m_folderNumber; // part of the generated identifier, which stays as it is
    const std::uint64_t m_number;
    std::shared_ptr<const ContactGenerator> m_generator;
    const std::uint32_t m_index;
};
} // namespace sandbox
