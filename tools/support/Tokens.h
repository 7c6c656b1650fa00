// Tokens.h: words that stand in a cleaned log for what is personal: the same for the same, by a key that nobody keeps.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace diagnosis
{
class Tokens
{
public:
    /// Draws a key. Rests on BCryptGenRandom; throws std::system_error when that fails.
    Tokens();
    ~Tokens();
    Tokens(const Tokens&) = delete;
    Tokens& operator=(const Tokens&) = delete;

    /// "<kind>-" and twelve letters, none of them a hexadecimal digit or a vowel, so that no token holds a name or the
    /// hexadecimal form of one: a keyed hash (HMAC-SHA256) of the text, whatever its kind. Nothing for an empty text.
    [[nodiscard]] std::string token(std::string_view kind, std::string_view text) const;

private:
    struct Provider;
    std::unique_ptr<Provider> m_provider;
};
} // namespace diagnosis
