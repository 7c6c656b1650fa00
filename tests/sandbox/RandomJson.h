// RandomJson.h: JSON with faults in it: what has the form of a mailbox file or a request, and is none.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/fuzz/Choices.h"

namespace sandboxtest
{
using Json = nlohmann::json;

/// All values in it, the whole first, by their JSON pointers.
inline void collectPointers(const Json& json, const Json::json_pointer& at, std::vector<Json::json_pointer>& pointers)
{
    pointers.push_back(at);
    if (json.is_object())
    {
        for (const auto& [key, value] : json.items())
            collectPointers(value, at / key, pointers);
    }
    for (std::size_t index = 0; json.is_array() && index < json.size(); ++index)
        collectPointers(json[index], at / index, pointers);
}

/// Makes up to so many changes: values that are gone, are others or come from elsewhere in it, and members that are new.
/// @param values  what is put in.
/// @param keys    of new members.
inline void mutateJson(support::Choices& choices, Json& json, const std::vector<Json>& values,
                       const std::vector<std::string>& keys, std::size_t most)
{
    for (std::size_t count = choices.between(1, most); count > 0; --count)
    {
        std::vector<Json::json_pointer> pointers;
        collectPointers(json, Json::json_pointer(), pointers);
        const Json::json_pointer& at = choices.oneOf(pointers);
        const Json other = choices.chance(60) ? choices.oneOf(values) : Json(json[choices.oneOf(pointers)]);
        Json& value = json[at];
        const std::size_t kind = choices.below(4);
        if (kind == 0 && !at.empty())
        {
            Json& parent = json[at.parent_pointer()];
            if (parent.is_object())
                parent.erase(at.back());
            else
                parent.erase(static_cast<std::size_t>(std::stoul(at.back())));
        }
        else if (value.is_object() && kind != 3)
            value[choices.oneOf(keys)] = other;
        else if (value.is_array() && kind != 3)
            value.push_back(other);
        else
            value = other;
    }
}
} // namespace sandboxtest
