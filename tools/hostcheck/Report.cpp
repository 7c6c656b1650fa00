#include "tools/hostcheck/Report.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace hostcheck
{
namespace
{
constexpr std::size_t resultWidth = 11;
constexpr std::size_t nameWidth = 20;

constexpr std::array results = {Result::Right, Result::Wrong, Result::Slow, Result::Note, Result::NotTried};

[[nodiscard]] std::string nameOf(Result result)
{
    switch (result)
    {
    case Result::Right:
        return "right";
    case Result::Wrong:
        return "WRONG";
    case Result::Slow:
        return "SLOW";
    case Result::Note:
        return "note";
    case Result::NotTried:
        return "not tried";
    }
    return {};
}

[[nodiscard]] std::string padded(std::string_view text, std::size_t width)
{
    return std::string(text) + std::string(width - std::min(width, text.size()), ' ');
}

[[nodiscard]] std::string pageOf(const Check& check)
{
    return "docs/wire-protocol.md#" + std::string(check.section);
}
} // namespace

bool isFinding(const Outcome& outcome)
{
    return outcome.result == Result::Wrong || outcome.result == Result::Slow;
}

std::string listText()
{
    std::string text;
    for (const Check& check : allChecks())
        text += padded(check.name, nameWidth) + std::string(check.right) + '\n' + std::string(nameWidth, ' ') +
                std::string(check.advice) + '\n';
    return text;
}

std::string rowText(const Check& check, const Outcome& outcome)
{
    const std::string margin(resultWidth + nameWidth, ' ');
    std::string text =
        padded(nameOf(outcome.result), resultWidth) + padded(check.name, nameWidth) + std::string(check.right);
    if (!outcome.detail.empty())
        text += (isFinding(outcome) ? '\n' + margin : ": ") + outcome.detail;
    if (isFinding(outcome))
        text += '\n' + margin + std::string(check.advice) + '\n' + margin + pageOf(check);
    return text + '\n';
}

std::string summaryText(const Outcomes& outcomes)
{
    std::string text;
    for (const Result result : results)
    {
        const auto count =
            std::ranges::count_if(outcomes, [result](const auto& each) { return each.second.result == result; });
        text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + nameOf(result);
    }
    return text + '\n';
}

std::string jsonText(const std::string& pipe, const Outcomes& outcomes)
{
    nlohmann::ordered_json checks = nlohmann::ordered_json::array();
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const auto& [check, outcome] : outcomes)
    {
        std::string result = nameOf(outcome.result);
        std::ranges::transform(result, result.begin(), [](char each)
                               { return static_cast<char>(each >= 'A' && each <= 'Z' ? each + 32 : each); });
        nlohmann::ordered_json entry = {
            {"check", check->name}, {"result", result}, {"detail", outcome.detail}, {"see", pageOf(*check)}};
        if (isFinding(outcome))
        {
            entry["advice"] = check->advice;
            findings.push_back(check->name);
        }
        checks.push_back(std::move(entry));
    }
    const nlohmann::ordered_json report = {
        {"version", LINKWELL_VERSION}, {"pipe", pipe}, {"findings", findings}, {"checks", checks}};
    return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}
} // namespace hostcheck
