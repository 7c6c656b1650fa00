// Whether a file could be loaded as a module of the agent.
#include "tests/tools/Modules.h"

#include <gmock/gmock.h>

#include "tests/support/TempFolder.h"

namespace diagnosis
{
namespace
{
class ModuleFileTest : public testing::Test
{
protected:
    ModuleFault faultOf(const std::string& bytes)
    {
        support::writeBytes(m_folder.file(L"a.dll"), bytes);
        return findModule(m_folder.file(L"a.dll"), m_folder.path().wstring()).fault;
    }

    support::TempFolder m_folder;
};

TEST_F(ModuleFileTest, IsJudgedByItsHeaders)
{
    EXPECT_EQ(faultOf(moduleBytes(IMAGE_FILE_MACHINE_AMD64, true)), ModuleFault::None);
    EXPECT_EQ(faultOf(moduleBytes(IMAGE_FILE_MACHINE_AMD64, false)), ModuleFault::NotADll);
    EXPECT_EQ(faultOf(moduleBytes(IMAGE_FILE_MACHINE_I386, true)), ModuleFault::Is32Bit);
    EXPECT_EQ(faultOf(moduleBytes(IMAGE_FILE_MACHINE_ARM64, true)), ModuleFault::OtherMachine);
    EXPECT_EQ(faultOf("MZ"), ModuleFault::NotAProgram);
    EXPECT_EQ(faultOf(""), ModuleFault::NotAProgram);
    EXPECT_EQ(faultOf(moduleBytes(IMAGE_FILE_MACHINE_AMD64, true).substr(0, 70)), ModuleFault::NotAProgram);
}

TEST_F(ModuleFileTest, IsFoundAsWindowsDoes)
{
    support::writeBytes(m_folder.file(L"linkwell-test.dll"), moduleBytes(IMAGE_FILE_MACHINE_AMD64, true));
    const std::wstring folder = m_folder.path().wstring();
    for (const wchar_t* const name : {L"linkwell-test", L"linkwell-test.dll"})
    {
        const ModuleFile module = findModule(name, folder);
        EXPECT_TRUE(module.isRelative);
        EXPECT_EQ(module.fault, ModuleFault::None);
        EXPECT_EQ(std::filesystem::path(module.path), std::filesystem::path(m_folder.file(L"linkwell-test.dll")));
    }
    EXPECT_FALSE(findModule(m_folder.file(L"linkwell-test"), folder).isRelative);
    EXPECT_EQ(findModule(L"linkwell-test.dll", L"C:\\nowhere").fault, ModuleFault::Missing);
    EXPECT_EQ(findModule(L"kernel32.dll", folder).fault, ModuleFault::None);
    EXPECT_EQ(findModule(folder, folder).fault, ModuleFault::Missing) << "a folder";
    EXPECT_EQ(findModule(L"", folder).fault, ModuleFault::Missing);
}
} // namespace
} // namespace diagnosis
