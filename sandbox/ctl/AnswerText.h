// AnswerText.h: the sandbox's answers for a person.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace sandboxctl
{
/// What is printed for the answer to a request that was done: lines, or nothing. Throws nlohmann::json::exception for an
/// answer that is not as it must be.
[[nodiscard]] std::string answerText(const nlohmann::json& request, const nlohmann::json& answer);
} // namespace sandboxctl
