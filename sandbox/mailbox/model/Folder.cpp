#include "sandbox/mailbox/model/Folder.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/CommonProperties.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
namespace
{
constexpr ULONG PR_CONTAINER_HIERARCHY = PROP_TAG(PT_OBJECT, 0x360E);
constexpr ULONG PR_CONTAINER_CONTENTS = PROP_TAG(PT_OBJECT, 0x360F);

template <class Object>
std::size_t removeFrom(std::vector<std::shared_ptr<Object>>& objects, const Object& object)
{
    const auto place =
        std::ranges::find_if(objects, [&](const std::shared_ptr<Object>& here) { return here.get() == &object; });
    if (place == objects.end())
        throw std::logic_error("the object is not in this folder");
    const std::ptrdiff_t index = place - objects.begin();
    objects.erase(place);
    return static_cast<std::size_t>(index);
}
} // namespace

Folder::Folder(const Store& store, const std::shared_ptr<Folder>& parent, std::uint64_t number,
               FolderDescription description)
    : MailboxObject(std::move(description.object)),
      m_store(store),
      m_parent(parent),
      m_isRoot(parent == nullptr),
      m_number(number),
      m_name(std::move(description.name)),
      m_containerClass(std::move(description.containerClass)),
      m_hidden(description.hidden),
      m_shortTermIds(description.shortTermIds)
{
}

void Folder::insertFolder(std::size_t place, std::shared_ptr<Folder> folder)
{
    m_folders.insert(m_folders.begin() + static_cast<std::ptrdiff_t>(place), std::move(folder));
}

void Folder::insertMessage(std::size_t place, std::shared_ptr<Message> message)
{
    m_messages.insert(m_messages.begin() + static_cast<std::ptrdiff_t>(place), std::move(message));
}

std::size_t Folder::removeFolder(const Folder& folder)
{
    return removeFrom(m_folders, folder);
}

std::size_t Folder::removeMessage(const Message& message)
{
    return removeFrom(m_messages, message);
}

FolderDescription Folder::folderDescription() const
{
    return {description(), m_name, m_containerClass, m_hidden, m_shortTermIds};
}

void Folder::redescribe(FolderDescription description)
{
    MailboxObject::redescribe(std::move(description.object));
    m_name = std::move(description.name);
    m_containerClass = std::move(description.containerClass);
    m_hidden = description.hidden;
    m_shortTermIds = description.shortTermIds;
}

Bytes Folder::shortTermId() const
{
    return shortTermFolderId(m_store.uid(), m_number);
}

Bytes Folder::generatedEntryId() const
{
    return folderEntryId(m_store.uid(), m_number);
}

std::optional<Property> Folder::builtIn(ULONG id) const
{
    switch (id)
    {
    case PROP_ID(PR_PARENT_ENTRYID):
        if (m_isRoot)
            return Property{PR_PARENT_ENTRYID, entryId()};
        if (const std::shared_ptr<Folder> parent = m_parent.lock())
            return Property{PR_PARENT_ENTRYID, parent->entryId()};
        return std::nullopt;
    case PROP_ID(PR_DISPLAY_NAME_W):
        return Property{PR_DISPLAY_NAME_W, m_name};
    case PROP_ID(PR_FOLDER_TYPE):
        return Property{PR_FOLDER_TYPE, static_cast<std::int32_t>(m_isRoot ? FOLDER_ROOT : FOLDER_GENERIC)};
    case PROP_ID(PR_CONTENT_COUNT):
        return Property{PR_CONTENT_COUNT, static_cast<std::int32_t>(m_messages.size())};
    case PROP_ID(PR_SUBFOLDERS):
        return Property{PR_SUBFOLDERS, !m_folders.empty()};
    case PROP_ID(PR_CONTAINER_HIERARCHY):
        return Property{PR_CONTAINER_HIERARCHY, std::monostate()};
    case PROP_ID(PR_CONTAINER_CONTENTS):
        return Property{PR_CONTAINER_CONTENTS, std::monostate()};
    case PROP_ID(PR_CONTAINER_CLASS_W):
        return m_containerClass ? std::optional(Property{PR_CONTAINER_CLASS_W, *m_containerClass}) : std::nullopt;
    case PROP_ID(PR_ATTR_HIDDEN):
        return m_hidden ? std::optional(Property{PR_ATTR_HIDDEN, *m_hidden}) : std::nullopt;
    default:
        return commonProperty(id, *this, m_store);
    }
}

std::vector<ULONG> Folder::builtInIds() const
{
    std::vector<ULONG> ids = commonPropertyIds();
    ids.insert(ids.end(), {PROP_ID(PR_PARENT_ENTRYID), PROP_ID(PR_DISPLAY_NAME_W), PROP_ID(PR_FOLDER_TYPE),
                           PROP_ID(PR_CONTENT_COUNT), PROP_ID(PR_SUBFOLDERS), PROP_ID(PR_CONTAINER_HIERARCHY),
                           PROP_ID(PR_CONTAINER_CONTENTS), PROP_ID(PR_CONTAINER_CLASS_W), PROP_ID(PR_ATTR_HIDDEN)});
    return ids;
}

std::vector<std::shared_ptr<Folder>> withFoldersBelow(const std::shared_ptr<Folder>& folder)
{
    std::vector<std::shared_ptr<Folder>> found;
    std::vector<std::shared_ptr<Folder>> waiting{folder}; // the next one is the last
    while (!waiting.empty())
    {
        const std::shared_ptr<Folder> next = std::move(waiting.back());
        waiting.pop_back();
        waiting.insert(waiting.end(), next->folders().rbegin(), next->folders().rend());
        found.push_back(next);
    }
    return found;
}
} // namespace sandbox
