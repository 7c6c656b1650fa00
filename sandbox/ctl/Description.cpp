#include "sandbox/ctl/Description.h"

#include <algorithm>
#include <utility>

namespace sandboxctl
{
namespace
{
/// Sets a key that nothing else may have set otherwise.
void setKey(Json& object, const std::string& option, const std::string& key, const Json& value)
{
    const auto [place, isNew] = object.emplace(key, value);
    if (!isNew && *place != value)
        throw CLI::ValidationError(option, "contradicts what the command line says otherwise about '" + key + "'");
}
} // namespace

Json parseJson(const std::string& option, const std::string& text)
{
    try
    {
        return Json::parse(text, nullptr, true, true);
    }
    catch (const Json::parse_error& error)
    {
        throw CLI::ValidationError(option, error.what());
    }
}

Description::Description(CLI::App& verb)
    : m_verb(verb),
      m_jsonOption(verb.add_option("--json-text", m_jsonText,
                                   "the description as a JSON object, in the words of the mailbox file; "
                                   "the other options add to it")
                       ->type_name("JSON"))
{
}

void Description::addText(const std::string& option, const std::string& key, const std::string& help)
{
    Part& part = m_parts.emplace_back();
    part.name = option;
    part.key = key;
    part.option = m_verb.add_option(option, part.text, help)->type_name("TEXT");
}

void Description::addFlag(const std::string& option, const std::string& key, Json value, const std::string& help)
{
    Part& part = m_parts.emplace_back();
    part.name = option;
    part.key = key;
    part.value = std::move(value);
    part.isFlag = true;
    part.option = m_verb.add_flag(option, help);
}

void Description::addClear()
{
    m_verb.add_option("--clear", m_cleared, "take the value of this option away, for example --clear mobile")
        ->type_name("NAME")
        ->allow_extra_args(false);
}

Json Description::object() const
{
    Json object = Json::object();
    if (m_jsonOption->count() != 0)
    {
        object = parseJson("--json-text", m_jsonText);
        if (!object.is_object())
            throw CLI::ValidationError("--json-text", "must be a JSON object");
    }
    for (const Part& part : m_parts)
    {
        if (part.option->count() != 0)
            setKey(object, part.name, part.key, part.isFlag ? part.value : Json(part.text));
    }
    addCleared(object);
    return object;
}

Json Description::change() const
{
    Json change = object();
    if (change.empty())
        throw CLI::ValidationError(m_verb.get_name(), "there is nothing to change");
    return change;
}

void Description::addCleared(Json& object) const
{
    for (const std::string& name : m_cleared)
    {
        const auto part = std::find_if(m_parts.begin(), m_parts.end(),
                                       [&](const Part& each) { return !each.isFlag && each.name == "--" + name; });
        if (part == m_parts.end())
            throw CLI::ValidationError("--clear", "there is no option --" + name);
        setKey(object, "--clear " + name, part->key, nullptr);
    }
}
} // namespace sandboxctl
