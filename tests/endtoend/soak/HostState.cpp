#include "tests/endtoend/soak/HostState.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace endtoend::soak
{
namespace
{
constexpr std::size_t fieldCount = 12;
constexpr std::size_t idField = 10;
constexpr std::size_t folderField = 11;

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts(1);
    for (const char character : text)
    {
        if (character == separator)
            parts.emplace_back();
        else
            parts.back() += character;
    }
    return parts;
}

void require(bool condition, const std::string& text)
{
    if (!condition)
        throw std::runtime_error("not well formed: " + text);
}

bool isNumber(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
           (text.size() == 1 || text.front() != '0');
}

/// A long-term identifier.
bool isId(const std::string& text)
{
    return text.size() >= 2 && text.size() % 2 == 0 && text.starts_with("00") &&
           text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::vector<std::string> fields = split(line, ';');
    require(fields.size() == fieldCount && isId(fields[idField]), line);
    return fields;
}

/// Whether these five fields are those of a header line.
bool isHeader(const std::vector<std::string>& fields)
{
    if (fields.size() != 5 || fields[0] != "2" || !isNumber(fields[3]) || !isNumber(fields[4]))
        return false;
    if (fields[1] == "snapshot")
        return fields[2] == "contact" && std::stoul(fields[3]) < std::stoul(fields[4]);
    if (fields[3] != "0" || fields[4] != "1")
        return false;
    if (fields[1] == "add" || fields[1] == "change")
        return fields[2] == "contact";
    return fields[1] == "delete" && (fields[2] == "contact" || fields[2] == "folder");
}
} // namespace

void HostState::receive(const std::string& message)
{
    const std::vector<std::string> lines = split(message, '\n');
    const std::vector<std::string> header = split(lines.front(), ';');
    require(isHeader(header) && lines.size() > 1, message);
    for (auto line = lines.begin() + 1; line != lines.end(); ++line)
    {
        if (header[1] != "delete")
            put(*line);
        else if (header[2] == "contact")
            forgetContact(*line);
        else
            forgetFolder(*line);
    }
}

void HostState::put(const std::string& line)
{
    const std::vector<std::string> fields = fieldsOf(line);
    require(isId(fields[folderField]), line);
    m_contacts[fields[idField]] = line;
}

void HostState::forgetContact(const std::string& line)
{
    const std::vector<std::string> fields = fieldsOf(line);
    require(line == std::string(idField, ';') + fields[idField] + ';', line);
    m_contacts.erase(fields[idField]);
}

void HostState::forgetFolder(const std::string& line)
{
    require(isId(line), line);
    std::erase_if(m_contacts, [&line](const auto& contact) { return contact.second.ends_with(';' + line); });
}

unsigned storeOfMessage(const std::string& message)
{
    constexpr std::string_view provider = "4C696E6B77656C6C53616E64626F78"; // its number follows
    const auto place = message.find(provider);
    require(place != std::string::npos, message);
    return static_cast<unsigned>(std::stoul(message.substr(place + provider.size(), 2), nullptr, 16));
}
} // namespace endtoend::soak
