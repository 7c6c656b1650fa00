#include "tests/support/RegistryOverride.h"

#include <gtest/gtest.h>

namespace
{
constexpr const wchar_t* subkey = L"Software\\Clients\\Mail";

LSTATUS openMail()
{
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, KEY_READ, &key);
    if (status == ERROR_SUCCESS)
        RegCloseKey(key);
    return status;
}

TEST(RegistryOverrideTest, HidesTheMachineKey)
{
    const support::RegistryOverride registry;
    EXPECT_EQ(openMail(), ERROR_FILE_NOT_FOUND);
}

TEST(RegistryOverrideTest, BeginsEmptyEachTime)
{
    {
        support::RegistryOverride registry;
        registry.makeKey(subkey);
        EXPECT_EQ(openMail(), ERROR_SUCCESS);
    }
    const support::RegistryOverride registry;
    EXPECT_EQ(openMail(), ERROR_FILE_NOT_FOUND);
}

TEST(RegistryOverrideTest, GivesTheMachineKeyBack)
{
    {
        const support::RegistryOverride registry;
    }
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft", 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);
}
} // namespace
