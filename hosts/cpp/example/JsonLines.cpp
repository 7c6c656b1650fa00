#include "JsonLines.h"

#include <string_view>

namespace
{
void append(std::string& json, std::string_view text)
{
    constexpr std::string_view escaped = "\b\t\n\f\r\"\\";
    constexpr std::string_view escapes = "btnfr\"\\";
    constexpr std::string_view digits = "0123456789abcdef";
    json += '"';
    for (const char character : text)
    {
        const auto code = static_cast<unsigned char>(character);
        if (const auto which = escaped.find(character); which != escaped.npos)
            (json += '\\') += escapes[which];
        else if (code < 0x20)
            ((json += "\\u00") += digits[code >> 4]) += digits[code & 0xF];
        else
            json += character;
    }
    json += '"';
}

/// `{"name":"value"`, or the same behind a comma.
void appendPair(std::string& json, char separator, std::string_view name, std::string_view value)
{
    append(json += separator, name);
    append(json += ':', value);
}

void appendItem(std::string& json, const linkwell::Message& message, const linkwell::Item& item)
{
    appendPair(json, '{', "text", message.textOf(item));
    if (item.contact != nullptr)
    {
        json += ",\"contact\":";
        char separator = '{';
        for (const auto& [name, member] : linkwell::contactFields)
        {
            appendPair(json, separator, name, (*item.contact).*member);
            separator = ',';
        }
        json += '}';
    }
    if (!item.folderEntryId.empty())
        appendPair(json, ',', "folderEntryId", item.folderEntryId);
    json += item.contact != nullptr && item.contact->guessed ? ",\"guessed\":true}" : "}";
}
} // namespace

std::string listeningLine(const std::string& pipe)
{
    std::string json;
    appendPair(json, '{', "event", "listening");
    appendPair(json, ',', "pipe", pipe);
    return json + "}\n";
}

std::string messageLine(const linkwell::Message& message)
{
    std::string json = "{\"event\":\"message\",\"bytes\":" + std::to_string(message.text.size()) + ",\"version\":2";
    appendPair(json, ',', "operation", nameOf(message.operation));
    appendPair(json, ',', "kind", nameOf(message.kind));
    json +=
        ",\"index\":" + std::to_string(message.index) + ",\"total\":" + std::to_string(message.total) + ",\"items\":";
    char separator = '[';
    for (const linkwell::Item& item : message.items)
    {
        appendItem(json += separator, message, item);
        separator = ',';
    }
    return json + "]}\n"; // there is an item at least
}

std::string errorLine(const linkwell::Error& error)
{
    std::string json;
    appendPair(json, '{', "event", "error");
    appendPair(json, ',', "code", nameOf(error.code));
    appendPair(json, ',', "reason", error.what());
    if (!error.message.empty())
        appendPair(json, ',', "text", error.message);
    return json + "}\n";
}

std::string closedLine(std::uint64_t answered)
{
    return "{\"event\":\"closed\",\"answered\":" + std::to_string(answered) + "}\n";
}
