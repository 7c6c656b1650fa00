// Results.h: what single calls are to answer instead of their own result.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mapiabi/MapiTypes.h"

namespace sandbox
{
/// Planned answers of one object's methods, by the method's bare name; those of a table that the object gives have the
/// table's name and a dot before it ("ContentsTable.FindRow"). Few entries, so the search is a plain one.
class Results
{
public:
    /// Replaces what was planned for the method before.
    void set(std::string method, HRESULT result)
    {
        remove(method);
        m_entries.emplace_back(std::move(method), result);
    }
    void remove(std::string_view method)
    {
        std::erase_if(m_entries, [method](const auto& entry) { return entry.first == method; });
    }

    /// @param table  "" or the table's name with its dot.
    [[nodiscard]] std::optional<HRESULT> find(std::string_view table, std::string_view method) const noexcept
    {
        for (const auto& [name, result] : m_entries)
        {
            if (name.size() == table.size() + method.size() && name.starts_with(table) && name.ends_with(method))
                return result;
        }
        return std::nullopt;
    }

    [[nodiscard]] bool empty() const noexcept { return m_entries.empty(); }

private:
    std::vector<std::pair<std::string, HRESULT>> m_entries;
};
} // namespace sandbox
