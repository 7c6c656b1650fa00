#include "sandbox/ctl/AnswerText.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace sandboxctl
{
using Json = nlohmann::json;

namespace
{
/// On one line, also when a name has more.
[[nodiscard]] std::string onOneLine(const std::string& text)
{
    std::string line;
    for (const char each : text)
    {
        if (each == '\n')
            line += "\\n";
        else if (each == '\r')
            line += "\\r";
        else if (each == '\t')
            line += "\\t";
        else
            line += each;
    }
    return line;
}

/// As it can be given back to sandboxctl.
[[nodiscard]] std::string identifier(const Json& value)
{
    const auto text = value.get<std::string>();
    return text.starts_with('#') ? text : '#' + text;
}

/// A number as it is; a text too, if it can't be mistaken for something else.
[[nodiscard]] std::string plain(const Json& value)
{
    if (value.is_string())
    {
        const auto& text = value.get_ref<const std::string&>();
        const bool isWord =
            !text.empty() && std::all_of(text.begin(), text.end(),
                                         [](char each)
                                         {
                                             return std::isalnum(static_cast<unsigned char>(each)) != 0 ||
                                                    std::string_view("_-.:#").find(each) != std::string_view::npos;
                                         });
        if (isWord)
            return text;
    }
    return value.dump();
}

void addItem(std::string& text, const Json& item, std::size_t depth)
{
    text += std::string(depth * 2, ' ') + onOneLine(item.value("name", "(no name)")) + "  (" +
            item.at("kind").get<std::string>();
    if (const auto itemClass = item.find("class"); itemClass != item.end() && itemClass->is_string())
        text += ", " + itemClass->get<std::string>();
    for (const char* flag : {"default", "public", "hidden"})
    {
        if (item.value(flag, false))
            text += std::string(", ") + flag;
    }
    text += ")  " + identifier(item.at("entryId")) + '\n';
    if (const auto items = item.find("items"); items != item.end())
    {
        for (const Json& each : *items)
            addItem(text, each, depth + 1);
    }
}

[[nodiscard]] std::string tree(const Json& answer)
{
    std::string text;
    for (const Json& item : answer.at("items"))
        addItem(text, item, 0);
    return text;
}

/// The identifiers of what a batch has made, each behind the number of its request.
[[nodiscard]] std::string batchText(const Json& answer)
{
    std::string text;
    std::size_t number = 0;
    for (const Json& each : answer.at("answers"))
    {
        ++number;
        if (each.contains("entryId"))
            text += std::to_string(number) + ": " + identifier(each["entryId"]) + '\n';
    }
    return text;
}

[[nodiscard]] std::string callText(const Json& call)
{
    std::string text = "thread " + plain(call.at("thread")) + ": " + call.at("call").get<std::string>() + '(';
    if (const auto arguments = call.find("arguments"); arguments != call.end())
    {
        const char* separator = "";
        for (const auto& [name, value] : arguments->items())
        {
            text += separator + name + '=' + plain(value);
            separator = ", ";
        }
    }
    text += ')';
    if (const auto on = call.find("on"); on != call.end())
        text += " on " + identifier(*on);
    return text + " -> " + plain(call.at("result")) + '\n';
}

[[nodiscard]] std::string journalText(const Json& answer)
{
    std::string text;
    if (const auto lost = answer.find("lost"); lost != answer.end() && *lost != 0)
        text = "(" + lost->dump() + " earlier calls are no longer kept)\n";
    for (const Json& call : answer.at("calls"))
        text += callText(call);
    return text;
}

[[nodiscard]] std::string subscriptionsText(const Json& answer)
{
    std::string text;
    for (const Json& each : answer.at("subscriptions"))
        text += "connection " + plain(each.at("connection")) + ": mask " + plain(each.at("mask")) + ", store " +
                onOneLine(each.at("store").get<std::string>()) + '\n';
    return text;
}
} // namespace

std::string answerText(const Json& request, const Json& answer)
{
    const auto action = request.at("do").get<std::string>();
    if (action == "list")
        return tree(answer);
    if (action == "batch")
        return batchText(answer);
    if (action == "journal")
        return request.at("action") == "read" ? journalText(answer) : std::string();
    if (action == "subscriptions")
        return subscriptionsText(answer);
    return answer.contains("entryId") ? identifier(answer["entryId"]) + '\n' : std::string();
}
} // namespace sandboxctl
