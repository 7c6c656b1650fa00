// Set-ups that are broken, each in a registry of its own, and what the doctor calls them.
#include "tools/support/doctor/Doctor.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Platform.h"
#include "tests/support/RegistryOverride.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Modules.h"

namespace diagnosis
{
namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

const std::wstring mailKey = L"Software\\Clients\\Mail";
const std::wstring clientKey = mailKey + L"\\Client";

class DoctorTest : public testing::Test
{
protected:
    DoctorTest() { support::writeBytes(m_folder.file(L"mapi.dll"), moduleBytes(IMAGE_FILE_MACHINE_AMD64, true)); }

    /// Makes "Client" the default mail client, with this module.
    void registerClient(const std::wstring& path, DWORD type = REG_SZ)
    {
        m_registry.setText(mailKey, L"", L"Client");
        m_registry.setText(clientKey, L"DllPathEx", path, type);
    }
    std::wstring makeModule(const std::string& bytes)
    {
        support::writeBytes(m_folder.file(L"other.dll"), bytes);
        return m_folder.file(L"other.dll");
    }

    std::vector<std::string> codes()
    {
        m_search = searchAsTheAgent(m_folder.path().wstring());
        std::vector<std::string> found;
        for (const Diagnosis& diagnosis : judge(m_search))
        {
            EXPECT_NO_THROW(static_cast<void>(Page::builtIn().finding(diagnosis.code)));
            EXPECT_EQ(diagnosis.isProblem, m_search.found.empty() || m_search.isSystemStub) << diagnosis.code;
            found.push_back(diagnosis.code);
        }
        return found;
    }

    support::TempFolder m_folder;
    support::RegistryOverride m_registry;
    AgentSearch m_search;
};

TEST_F(DoctorTest, FindsNothingWrongWithAGoodClient)
{
    registerClient(m_folder.file(L"mapi.dll"));
    EXPECT_THAT(codes(), ElementsAre());
    EXPECT_EQ(m_search.found, m_folder.file(L"mapi.dll"));
    EXPECT_FALSE(m_search.isSystemStub);
}

TEST_F(DoctorTest, LoadsNothingOfWhatItFinds)
{
    registerClient(m_folder.file(L"mapi.dll"));
    static_cast<void>(codes());
    EXPECT_EQ(GetModuleHandleW(L"mapi.dll"), nullptr);
    EXPECT_EQ(GetModuleHandleW(L"mapi32.dll"), nullptr);
}

TEST_F(DoctorTest, NamesAMachineWithoutMailClients)
{
    EXPECT_THAT(codes(), ElementsAre("no-mail-key", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAMachineWithoutADefaultClient)
{
    m_registry.makeKey(mailKey);
    EXPECT_THAT(codes(), ElementsAre("no-default-client", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesADefaultClientThatIsNoText)
{
    m_registry.setText(mailKey, L"", L"Client", REG_EXPAND_SZ);
    EXPECT_THAT(codes(), ElementsAre("default-client-no-text", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesADefaultClientThatIsEmpty)
{
    m_registry.setText(mailKey, L"", L"");
    EXPECT_THAT(codes(), Contains("default-client-empty"));
}

TEST_F(DoctorTest, NamesADefaultClientThatIsNotRegistered)
{
    m_registry.setText(mailKey, L"", L"Gone");
    EXPECT_THAT(codes(), ElementsAre("client-not-registered", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAClientWithoutMapi)
{
    m_registry.setText(mailKey, L"", L"Client");
    m_registry.makeKey(clientKey);
    EXPECT_THAT(codes(), ElementsAre("client-without-module", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAModuleThatIsMissing)
{
    registerClient(m_folder.file(L"gone.dll"));
    EXPECT_THAT(codes(), ElementsAre("module-missing", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesA32BitModule)
{
    registerClient(makeModule(moduleBytes(IMAGE_FILE_MACHINE_I386, true)));
    EXPECT_THAT(codes(), ElementsAre("module-32-bit", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAModuleForAnotherProcessor)
{
    registerClient(makeModule(moduleBytes(IMAGE_FILE_MACHINE_ARM64, true)));
    EXPECT_THAT(codes(), ElementsAre("module-other-machine", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAProgramThatIsNoDll)
{
    registerClient(makeModule(moduleBytes(IMAGE_FILE_MACHINE_AMD64, false)));
    EXPECT_THAT(codes(), ElementsAre("module-no-dll", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAModuleThatIsDamaged)
{
    registerClient(makeModule("no program"));
    EXPECT_THAT(codes(), ElementsAre("module-damaged", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAnEmptyValue)
{
    registerClient(L"");
    EXPECT_THAT(codes(), ElementsAre("value-empty", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAValueThatIsNoText)
{
    m_registry.setText(mailKey, L"", L"Client");
    const DWORD number = 1;
    m_registry.setBytes(clientKey, L"DllPathEx", REG_DWORD, &number, sizeof(number));
    EXPECT_THAT(codes(), ElementsAre("value-no-text", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAValueThatIsTooLong)
{
    registerClient(L"C:\\" + std::wstring(300, L'n') + L".dll");
    EXPECT_THAT(codes(), ElementsAre("value-too-long", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAnExpansionThatIsTooLong)
{
    const support::EnvironmentVariable variable(L"LINKWELL_TEST_LONG", L"C:\\" + std::wstring(300, L'n'));
    registerClient(L"%LINKWELL_TEST_LONG%\\mapi.dll", REG_EXPAND_SZ);
    EXPECT_THAT(codes(), ElementsAre("expansion-too-long", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAVariableThatIsNotThere)
{
    registerClient(L"%LINKWELL_TEST_NOTHING%\\mapi.dll", REG_EXPAND_SZ);
    EXPECT_THAT(codes(), ElementsAre("variable-unknown", "only-windows-stub"));
}

TEST_F(DoctorTest, NamesAPathThatIsNotFull)
{
    registerClient(L"mapi.dll");
    EXPECT_THAT(codes(), ElementsAre("path-relative"));
    EXPECT_FALSE(m_search.found.empty()) << "beside the agent";
    registerClient(L"gone\\mapi.dll");
    EXPECT_THAT(codes(), ElementsAre("module-missing", "path-relative", "only-windows-stub"));
}

TEST_F(DoctorTest, GoesOnToTheSecondValue)
{
    registerClient(m_folder.file(L"gone.dll"));
    m_registry.setText(clientKey, L"DllPath", m_folder.file(L"mapi.dll"));
    EXPECT_THAT(codes(), ElementsAre("module-missing"));
    EXPECT_EQ(m_search.found, m_folder.file(L"mapi.dll"));
}

TEST_F(DoctorTest, AsksWindowsOwnStubForAComponent)
{
    registerClient(m_folder.file(L"mapi.dll"));
    m_registry.setText(clientKey, L"MSIComponentID", L"{00000000-0000-0000-0000-00000000ABCD}");
    m_registry.setText(clientKey, L"MSIApplicationLCID", L"1033");
    EXPECT_THAT(codes(), ElementsAre("component-missing"));
    EXPECT_EQ(m_search.found, m_folder.file(L"mapi.dll"));
}

TEST_F(DoctorTest, DoesNotRunAStubThatLiesBesideTheAgent)
{
    support::writeBytes(m_folder.file(L"mapi32.dll"), moduleBytes(IMAGE_FILE_MACHINE_AMD64, true));
    registerClient(m_folder.file(L"mapi.dll"));
    m_registry.setText(clientKey, L"MSIComponentID", L"{00000000-0000-0000-0000-00000000ABCD}");
    m_registry.setText(clientKey, L"MSIApplicationLCID", L"1033");
    EXPECT_THAT(codes(), ElementsAre("stub-outside"));
    EXPECT_EQ(GetModuleHandleW(m_folder.file(L"mapi32.dll").c_str()), nullptr);
}

TEST_F(DoctorTest, NamesOutlookIn32Bits)
{
    m_registry.setText(L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x86");
    const auto around = lookAround(searchAsTheAgent(m_folder.path().wstring()));
    ASSERT_THAT(around, Contains(testing::Field(&Diagnosis::code, "outlook-32-bit")));
    m_registry.setText(L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x64");
    EXPECT_THAT(lookAround(searchAsTheAgent(m_folder.path().wstring())),
                Not(Contains(testing::Field(&Diagnosis::code, "outlook-32-bit"))));
}

TEST_F(DoctorTest, NamesWhatNoMachineHereHas)
{
    SearchStep stub{SearchStep::Kind::Component, L"FGetComponentPath", ERROR_PROC_NOT_FOUND};
    SearchStep locked{SearchStep::Kind::Load, L"DllPath"};
    locked.module = {L"C:\\locked.dll", L"C:\\locked.dll", false, ModuleFault::Unreadable};
    std::vector<std::string> found;
    for (const Diagnosis& diagnosis : judge({{stub, locked}}))
        found.push_back(diagnosis.code);
    EXPECT_THAT(found, ElementsAre("stub-without-function", "module-unreadable", "no-runtime"));
}

TEST_F(DoctorTest, NotesThatTheUsersOwnDefaultClientDoesNotCount)
{
    registerClient(m_folder.file(L"mapi.dll"));
    m_registry.setText(L"User\\Software\\Clients\\Mail", L"", L"Other");
    HKEY user = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"User", 0, KEY_READ, &user), ERROR_SUCCESS);
    RegOverridePredefKey(HKEY_CURRENT_USER, user);
    const auto around = lookAround(searchAsTheAgent(m_folder.path().wstring()));
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(user);
    ASSERT_EQ(around.size(), 1U);
    EXPECT_EQ(around[0].code, "user-default-ignored");
    EXPECT_EQ(around[0].subject, L"Other");
    EXPECT_FALSE(around[0].isProblem);
}
} // namespace
} // namespace diagnosis
