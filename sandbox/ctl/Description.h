// Description.h: JSON on the command line, and the options of a verb that describe an object by its keys.
#pragma once

#include <CLI/CLI.hpp>

#include <deque>
#include <nlohmann/json.hpp>
#include <string>

namespace sandboxctl
{
using Json = nlohmann::json;

/// The JSON that an option gives, perhaps with comments; throws CLI::ValidationError if it is none.
[[nodiscard]] Json parseJson(const std::string& option, const std::string& text);

/// An option for each key, and --json-text for all that has no option. Lives as long as the program's command line.
class Description
{
public:
    /// @param verb  borrowed; gets --json-text.
    explicit Description(CLI::App& verb);
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;

    /// `--option TEXT` gives the key this text.
    void addText(const std::string& option, const std::string& key, const std::string& help);
    /// `--option` gives the key this value.
    void addFlag(const std::string& option, const std::string& key, Json value, const std::string& help);
    /// `--clear NAME`, as often as wanted, gives null to the key of `--NAME`, for the text options so far.
    void addClear();

    /// What the command line has described; throws CLI::ValidationError if it contradicts itself.
    [[nodiscard]] Json object() const;
    /// The same for an edit; throws CLI::ValidationError also if there is nothing.
    [[nodiscard]] Json change() const;

private:
    struct Part
    {
        std::string name; // of the option
        std::string key;
        Json value; // of a flag
        std::string text;
        bool isFlag = false;
        CLI::Option* option = nullptr;
    };

    void addCleared(Json& object) const;

    CLI::App& m_verb;
    std::deque<Part> m_parts; // the parser keeps references to them
    std::string m_jsonText;
    CLI::Option* m_jsonOption;
    std::vector<std::string> m_cleared;
};
} // namespace sandboxctl
