#include "tests/endtoend/trouble/TroubleTest.h"

#include <cstdio>

#include "tests/support/Figures.h"

namespace endtoend::trouble
{
void TroubleTest::start(const std::wstring& log)
{
    logTo(log);
    startAgentOn(R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"},
        "folders": [{"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]}]}]})");
    ASSERT_TRUE(waitUntilSubscribed("Mailbox"));
    ASSERT_EQ(takeMessages().size(), 1U); // the snapshot
    m_model = LogModel(logBytes());
}

void TroubleTest::edit(unsigned count, std::size_t size)
{
    const std::string id = messageId(1, firstFolder, 1);
    for (; count > 0; --count)
    {
        std::string company = std::to_string(++m_edits) + " ";
        company.resize(size, static_cast<char>('a' + m_edits % 26));
        ask({{"do", "editContact"}, {"contact", "Mailbox/Contacts/Ada"}, {"set", {{"company", company}}}});
        ask({{"do", "wait"}, {"for", "idle"}});
        const std::string line = contactLine("Ada;;;;" + company + ";;;;;", 1, firstFolder, 1);
        ASSERT_TRUE(takeMessages() == std::vector{change("change", "contact", {line})}) << "edit " << m_edits;
        m_model.write(notified(0x10, "Ada", id));
        m_model.write(sending("change", {line}));
    }
}

std::string TroubleTest::logBytes() const
{
    return withoutStamps(support::readBytes(logFile()));
}

void TroubleTest::expectLogOfModel() const
{
    EXPECT_TRUE(logBytes() == m_model.file()) << logBytes().size() << " bytes instead of " << m_model.file().size();
    ASSERT_EQ(std::filesystem::exists(backupFile()), !m_model.backup().empty());
    if (!m_model.backup().empty())
    {
        EXPECT_TRUE(withoutStamps(support::readBytes(backupFile())) == m_model.backup());
    }
}

void TroubleTest::close(const std::string& trouble, const std::string& log)
{
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    finishAndReport(trouble, log);
}

void TroubleTest::finishAndReport(const std::string& trouble, const std::string& log)
{
    const AgentRun run = finish();
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_TRUE(run.messages.empty());
    EXPECT_EQ(run.report, nothingHeld);
    EXPECT_EQ(run.standardError, "");
    std::printf("%s: %u edits, all their messages whole and in order; log: %s\n", trouble.c_str(), m_edits,
                log.c_str());
    support::addFigures("machines in trouble",
                        {{"Trouble", trouble}, {"Edits", m_edits}, {"Messages", m_edits}, {"Log", log}});
}
} // namespace endtoend::trouble
