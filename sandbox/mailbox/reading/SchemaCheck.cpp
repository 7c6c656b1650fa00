#include "sandbox/mailbox/reading/SchemaCheck.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>
#include <vector>

#include "sandbox/mailbox/reading/SchemaTexts.h"

namespace sandbox
{
namespace
{
using Adapter = valijson::adapters::NlohmannJsonAdapter;
using Error = valijson::ValidationResults::Error;

constexpr std::string_view definitionPrefix = "#/definitions/";

/// One document with the definitions of both schemas, which refer to each other.
[[nodiscard]] Json readDefinitions()
{
    std::string requests(requestsSchema);
    constexpr std::string_view fileName = "mailbox.schema.json#";
    for (std::size_t at = requests.find(fileName); at != std::string::npos; at = requests.find(fileName, at))
        requests.replace(at, fileName.size(), "#");
    Json definitions = Json::parse(mailboxSchema).at("definitions");
    definitions.update(Json::parse(requests).at("definitions"));
    for (const char* list : {"folders", "requestList"})
        definitions.at(list).erase("items");
    return Json{{"definitions", std::move(definitions)}};
}

[[nodiscard]] const Json& document()
{
    static const Json definitions = readDefinitions();
    return definitions;
}

/// A member of a schema node; null if there is none.
[[nodiscard]] const Json& member(const Json& node, std::string_view key)
{
    static const Json nothing;
    const auto found = node.find(key);
    return found != node.end() ? *found : nothing;
}

/// The schema node to which references lead from this one.
[[nodiscard]] const Json& followed(const Json& node)
{
    const Json* target = &node;
    while (target->contains("$ref"))
        target = &document().at(Json::json_pointer(target->at("$ref").get<std::string>().substr(1)));
    return *target;
}

/// The schema node of a member or an element; null if the schema doesn't speak of it.
[[nodiscard]] const Json& nodeBelow(const Json& node, const Json& value, const std::string& key)
{
    if (value.is_array())
        return followed(member(node, "items"));
    for (const Json* below : {&member(member(node, "properties"), key), &member(node, "additionalProperties")})
    {
        if (below->is_object())
            return followed(*below);
    }
    for (const Json& branch : member(node, "anyOf"))
    {
        if (const Json& below = nodeBelow(followed(branch), value, key); !below.is_null())
            return below;
    }
    return member(node, "");
}

/// The properties of a node that is an object, or may be one; null for any other.
[[nodiscard]] const Json& propertiesOf(const Json& node)
{
    for (const Json& branch : member(node, "anyOf"))
    {
        if (const Json& properties = propertiesOf(followed(branch)); !properties.is_null())
            return properties;
    }
    return member(node, "properties");
}

/// Where an error is: the value's path, and the schema node that speaks of it, which may be null.
struct Place
{
    std::string path;
    const Json* node;
};

[[nodiscard]] Place placeOf(const Error& error, std::string_view definition, const Json& value, const std::string& path)
{
    Place place{path, &document().at("definitions").at(std::string(definition))};
    const Json* at = &value;
    for (std::size_t level = 1; level < error.context.size(); ++level) // the first one is the root
    {
        const std::string key = error.context[level].substr(1, error.context[level].size() - 2);
        place.path = at->is_array() ? place.path + "/" + key : memberPath(place.path, key);
        place.node = &nodeBelow(*place.node, *at, key);
        at = at->is_array() ? &at->at(std::stoul(key)) : &at->at(key);
    }
    return place;
}

/// What stands between quotation marks in the description of an error that begins in this way.
[[nodiscard]] std::optional<std::string> quotedIn(const Error& error, std::string_view beginning)
{
    if (!error.description.starts_with(beginning))
        return std::nullopt;
    const std::size_t begin = error.description.find('\'', beginning.size() - 1) + 1;
    return error.description.substr(begin, error.description.rfind('\'') - begin);
}

/// "'a'", or "'a', 'b' or 'c'" when one of several would do.
[[nodiscard]] std::string missingKeys(const valijson::ValidationResults& errors)
{
    std::vector<std::string> keys;
    bool oneWillDo = false;
    for (const Error& error : errors)
    {
        if (error.context != errors.begin()->context)
            break;
        if (const std::optional<std::string> key = quotedIn(error, "Missing required property '"))
            keys.push_back("'" + *key + "'");
        else if (error.description.starts_with("Failed to validate against child schema"))
            oneWillDo = true;
        else
            break;
    }
    std::string text = keys.front();
    for (std::size_t index = 1; oneWillDo && index < keys.size(); ++index)
        text += (index + 1 == keys.size() ? " or " : ", ") + keys[index];
    return text;
}

[[noreturn]] void complain(const valijson::ValidationResults& errors, std::string_view definition, const Json& value,
                           const std::string& path)
{
    const Error& first = *errors.begin(); // from the deepest level up
    const Place place = placeOf(first, definition, value, path);
    constexpr std::string_view unknown = "Object contains a property that could not be validated using 'properties' or "
                                         "'additionalProperties' constraints: '";
    if (const std::optional<std::string> key = quotedIn(first, unknown))
    {
        std::string known;
        for (const auto& [name, node] : propertiesOf(*place.node).items())
            known += (known.empty() ? "; known here are " : ", ") + name;
        failAt(memberPath(place.path, *key), "unknown key" + known);
    }
    if (quotedIn(first, "Missing required property '"))
        failAt(place.path, missingKeys(errors) + " is missing");
    if (const Json& title = member(*place.node, "title"); title.is_string())
        failAt(place.path, "must be " + title.get<std::string>());
    failAt(place.path, first.description);
}

/// Made when it is first asked for, and kept.
[[nodiscard]] const valijson::Schema& schemaOf(std::string_view definition)
{
    static std::mutex s_mutex;
    static std::map<std::string, valijson::Schema, std::less<>> s_schemas;
    const std::lock_guard lock(s_mutex);
    const auto known = s_schemas.find(definition);
    if (known != s_schemas.end())
        return known->second;
    Json root = document();
    root["$ref"] = std::string(definitionPrefix) + std::string(definition);
    valijson::Schema& schema = s_schemas[std::string(definition)];
    valijson::SchemaParser(valijson::SchemaParser::kDraft7).populateSchema(Adapter(root), schema);
    return schema;
}
} // namespace

void checkSchema(std::string_view definition, const Json& value, const std::string& path)
{
    valijson::Validator validator(valijson::Validator::kStrongTypes);
    valijson::ValidationResults errors;
    if (!validator.validate(schemaOf(definition), Adapter(value), &errors))
        complain(errors, definition, value, path);
}

const std::string& checkRequest(const Json& request, const std::string& path)
{
    const Json& name = member(request, "do");
    if (!name.is_string())
        failAt(path, "must be an object with the name of a request under 'do'");
    const auto& text = name.get_ref<const std::string&>();
    if (!document().at("definitions").contains(text + "Request"))
        failAt(memberPath(path, "do"), "there is no request '" + text + "'");
    checkSchema(text + "Request", request, path);
    return text;
}
} // namespace sandbox
