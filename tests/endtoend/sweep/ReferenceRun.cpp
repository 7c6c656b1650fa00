#include "tests/endtoend/sweep/ReferenceRun.h"

#include <algorithm>
#include <filesystem>

namespace endtoend::sweep
{
namespace
{
constexpr const char* mailboxText = R"({
    "addressBook": {"eva": {"displayName": "Eva", "smtpAddress": "eva@example.com", "address": "/o=X/cn=Eva"},
                    "sol": {"displayName": "Sol", "address": "/o=X/cn=Sol"}},
    "stores": [
        {"name": "Public", "public": true, "entryId": "0000000051", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Team", "class": "IPF.Contact", "entryId": "00000000C1", "messages": [
                {"displayName": "Tom", "entryId": "00000000A1", "email": "tom@example.com"}]}]},
        {"name": "Archive", "entryId": "0000000052", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Old", "class": "IPF.Contact", "entryId": "00000000C2", "messages": [
                {"displayName": "Ann", "entryId": "00000000A2"}]}]},
        {"name": "Own", "default": true, "entryId": "0000000053", "ipmSubtree": {"class": "IPF.Note"}, "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "entryId": "00000000C3", "aliases": ["00000000CC"], "messages": [
                {"displayName": "Mara Lind", "givenName": "Mara", "middleName": "Q.", "surname": "Lind",
                 "company": "Nordlicht", "businessPhone": "1", "homePhone": "2", "mobilePhone": "3", "businessFax": "4",
                 "email": "mara@example.com", "entryId": "00000000A3"},
                {"displayName": "Eva", "email": {"addressBook": "eva"}, "entryId": "00000000A4"},
                {"displayName": "Sol", "email": {"addressBook": "sol"}, "entryId": "00000000A5"},
                {"class": "IPM.DistList", "displayName": "All", "entryId": "00000000A6"}], "folders": [
                {"name": "Below", "class": "IPF.Contact", "entryId": "00000000C4"}]},
            {"name": "Friends", "entryId": "00000000C5", "messages": [
                {"displayName": "Joe", "entryId": "00000000A7", "email": "joe@example.com"}]},
            {"name": "Hidden", "class": "IPF.Contact", "hidden": true, "entryId": "00000000C6", "messages": [
                {"displayName": "Nobody", "entryId": "00000000A8"}]},
            {"name": "Mail", "class": "IPF.Note", "hidden": false, "entryId": "00000000C7", "messages": [
                {"class": "IPM.Note", "displayName": "Dan", "entryId": "00000000A9"}]}]}]})";

constexpr const char* stepsText = R"([
    {"do": "batch", "requests": [
        {"do": "editContact", "contact": "#00000000A3", "set": {"company": "Süd GmbH", "email": {"addressBook": "eva"}}},
        {"do": "addContact", "folder": "#00000000C3", "contact": {"displayName": "Kim", "entryId": "00000000AA"}},
        {"do": "move", "object": "#00000000A7", "to": "#00000000C3", "keepId": true},
        {"do": "move", "object": "#00000000A4", "to": "#00000000C5"},
        {"do": "copy", "object": "#00000000A5", "to": "#00000000C5"},
        {"do": "delete", "object": "#00000000A6"},
        {"do": "addFolder", "parent": "#00000000C7", "folder": {"name": "New", "class": "IPF.Contact",
            "entryId": "00000000C8", "messages": [{"displayName": "Lou", "entryId": "00000000AB"}]}},
        {"do": "delete", "object": "#00000000C4"}]},
    {"do": "addContact", "folder": "#00000000C2", "contact": {"displayName": "Bo", "entryId": "00000000AC"}},
    {"do": "move", "object": "#00000000AA", "to": "#00000000C7", "keepId": true},
    {"do": "delete", "object": "#00000000A2"},
    {"do": "editFolder", "folder": "#00000000C5", "set": {"hidden": true}},
    {"do": "batch", "requests": [
        {"do": "copy", "object": "#00000000C8", "to": "#00000000C3"},
        {"do": "move", "object": "#00000000C8", "to": "#00000000C3"}]},
    {"do": "delete", "object": "#00000000C8"},
    {"do": "inject", "store": "Own", "notifications": [
        {"event": "fnevObjectModified", "objectType": "MAPI_MESSAGE", "entryId": "#00000000A3", "parentId": "#00000000CC"},
        {"event": "fnevObjectDeleted", "objectType": "MAPI_MESSAGE", "entryId": "#80000000A3", "parentId": "#00000000C3"},
        {"event": "fnevObjectModified", "objectType": "MAPI_MESSAGE", "parentId": "#00000000C3"},
        {"event": "fnevObjectModified", "objectType": "MAPI_MESSAGE", "entryId": "#00000000DEAD", "parentId": "#00000000C3"}]}
])";

/// Does something with the sandbox of an agent that may end meanwhile, or have ended; nothing is left to do then.
void whileItLives(const std::function<void()>& action)
{
    try
    {
        if (action)
            action();
    }
    catch (const sandbox::NoAnswer&)
    {
        // The process has ended.
    }
}

/// Whether the last store has been subscribed to, or is about to be.
bool isLastSubscribed(const Records& records)
{
    const std::ptrdiff_t watched =
        beginningWith(records, "Message Store found: ") - beginningWith(records, "Ignore message store ");
    return watched > 0 && beginningWith(records, "Subscribe to ") == watched;
}
} // namespace

const Json& referenceMailbox()
{
    static const Json s_mailbox = Json::parse(mailboxText);
    return s_mailbox;
}

const std::vector<Json>& referenceSteps()
{
    static const auto s_steps = Json::parse(stepsText).get<std::vector<Json>>();
    return s_steps;
}

AgentRun ReferenceRunTest::run(const Json& plans, const Interventions& interventions)
{
    for (const std::wstring& left : {logFile(), logFile() + L".bak", file(L"report.txt")})
        std::filesystem::remove(left);
    Json mailbox = referenceMailbox();
    mailbox["plans"] = plans;
    writeMailbox(mailbox.dump());
    serve();
    launch();
    whileItLives(interventions.started);
    if (waitUntilPumping())
        whileItLives([&] { doSteps(interventions); });
    whileItLives(interventions.beforeClose);
    requestEnd();
    whileItLives(interventions.closed);
    return runUntilWorkerEnds();
}

bool ReferenceRunTest::waitUntilPumping()
{
    return waitForRecords(logFile(), isLastSubscribed, agent().process());
}

void ReferenceRunTest::requestEnd() const
{
    switch (m_door)
    {
    case Door::Window:
        (void)agent().postToWindow(WM_CLOSE);
        break;
    case Door::Thread:
        (void)agent().postToMainThread(WM_CLOSE);
        break;
    case Door::Accelerator:
        (void)agent().pressAltF4();
        break;
    }
}

void ReferenceRunTest::doSteps(const Interventions& interventions)
{
    const Json untilIdle = {{"do", "wait"}, {"for", "idle"}};
    for (std::size_t step = 0; step < referenceSteps().size(); ++step)
    {
        ask(untilIdle);
        if (interventions.beforeStep)
            interventions.beforeStep(step);
        ask(referenceSteps()[step]);
    }
    ask(untilIdle);
}
} // namespace endtoend::sweep
