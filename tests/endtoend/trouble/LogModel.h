// LogModel.h: the bytes of the agent's log, by docs/log.md alone: what each record adds, and what a full file becomes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace endtoend::trouble
{
/// The bytes of a log with a mark of the same length in place of each stamp.
[[nodiscard]] std::string withoutStamps(std::string bytes);

class LogModel
{
public:
    static constexpr std::size_t limit = 1'048'576;

    /// @param present  what stands in the log so far, without stamps; its last record has no line break.
    explicit LogModel(std::string present = {}) : m_file(std::move(present)) {}

    // What can be done with a full file from now on.
    void setMovable(bool isMovable) { m_isMovable = isMovable; }
    void setReopenable(bool isReopenable) { m_isReopenable = isReopenable; }

    void write(std::string_view text);

    [[nodiscard]] const std::string& file() const noexcept { return m_file; }
    /// Empty when no file has been moved away.
    [[nodiscard]] const std::string& backup() const noexcept { return m_backup; }

private:
    std::string m_file;
    std::string m_backup;
    bool m_owesBreak = true;
    bool m_isOpen = true;
    bool m_isMovable = true;
    bool m_isReopenable = true;
};
} // namespace endtoend::trouble
