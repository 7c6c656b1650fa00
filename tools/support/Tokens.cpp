#include "tools/support/Tokens.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <system_error>

namespace diagnosis
{
namespace
{
constexpr std::string_view letters = "ghjklmnpqrstvwxz"; // one for each half of a byte
constexpr std::size_t bytesUsed = 6;
constexpr std::size_t hashSize = 32;

void check(NTSTATUS status, const char* call)
{
    if (status != 0)
        throw std::system_error(static_cast<int>(status), std::system_category(), call);
}

[[nodiscard]] UCHAR* writable(const char* bytes)
{
    return reinterpret_cast<UCHAR*>(const_cast<char*>(bytes)); // the calls only read
}
} // namespace

struct Tokens::Provider
{
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    std::array<UCHAR, hashSize> key{};

    ~Provider()
    {
        if (algorithm != nullptr)
            BCryptCloseAlgorithmProvider(algorithm, 0);
        SecureZeroMemory(key.data(), key.size());
    }
};

Tokens::Tokens() : m_provider(std::make_unique<Provider>())
{
    check(BCryptOpenAlgorithmProvider(&m_provider->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr,
                                      BCRYPT_ALG_HANDLE_HMAC_FLAG),
          "BCryptOpenAlgorithmProvider");
    check(BCryptGenRandom(nullptr, m_provider->key.data(), hashSize, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
          "BCryptGenRandom");
}

Tokens::~Tokens() = default;

std::string Tokens::token(std::string_view kind, std::string_view text) const
{
    if (text.empty())
        return {};
    BCRYPT_HASH_HANDLE hash = nullptr;
    check(BCryptCreateHash(m_provider->algorithm, &hash, nullptr, 0, m_provider->key.data(), hashSize, 0),
          "BCryptCreateHash");
    std::array<UCHAR, hashSize> bytes{};
    NTSTATUS status = BCryptHashData(hash, writable(text.data()), static_cast<ULONG>(text.size()), 0);
    if (status == 0)
        status = BCryptFinishHash(hash, bytes.data(), hashSize, 0);
    BCryptDestroyHash(hash);
    check(status, "BCryptFinishHash");

    std::string token(kind);
    token += '-';
    for (std::size_t index = 0; index < bytesUsed; ++index)
    {
        token += letters[bytes[index] >> 4];
        token += letters[bytes[index] & 0xF];
    }
    return token;
}
} // namespace diagnosis
