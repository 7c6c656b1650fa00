// MessageJson.h: messages in the form of docs/protocol-samples.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "hosts/cpp/example/JsonLines.h"

namespace hosts
{
/// That form, which the lines of JSON have too.
[[nodiscard]] inline nlohmann::json toJson(const linkwell::Message& message)
{
    nlohmann::json event = nlohmann::json::parse(messageLine(message));
    EXPECT_EQ(event.at("event"), "message");
    EXPECT_EQ(event.at("bytes"), message.text.size());
    event.erase("event");
    event.erase("bytes");
    return event;
}
} // namespace hosts
