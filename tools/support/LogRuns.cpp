#include "tools/support/LogRuns.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace diagnosis
{
namespace
{
constexpr std::size_t longestSample = 300; // bytes of a record that are kept

/// Entries that the reader knows by their meaning.
struct Known
{
    const Page& page = Page::builtIn();
    const Entry* loggingStarted = &page.at("Logging started   --------------------------------");
    const Entry* started = &page.at("Started <command line>");
    const Entry* workerStarted = &page.at("Start MAPI thread...");
    const Entry* storeFound =
        &page.at("Message Store found: <name> (<name>), Default: <bool>, Public: <bool>, EntryId: <id>");
    const Entry* storeIgnored = &page.at("Ignore message store \"<name>\" - cannot open.");
    const Entry* snapshotRead = &page.at("createSnapshot for \"<name>\": <count> contact(s) found");
    const Entry* sending = &page.at("Sending data:");
    const Entry* refused = &page.at("Unable to send data through ipc channel");
    const Entry* startRefused =
        &page.at("An exception has been caught in AsyncMapiHelper::run : Unable to send data through ipc channel");
    const Entry* changeRefused =
        &page.at("An exception has been caught in AdviseSinkImpl::OnNotify : Unable to send data through ipc channel");
    const Entry* subscribed = &page.at("Subscribe to <name>");
    const Entry* publicStore = &page.at("Event tracking for public store is not implemented.");
    const Entry* sinkRefused = &page.at("HRESULT logged: mapi::NotificationSink::adviseInternal, line <count>: hr = "
                                        "0x<hex>(Marshall advise sink)");
    const Entry* adviseRefused = &page.at("HRESULT logged: mapi::NotificationSink::adviseInternal, line <count>: hr = "
                                          "0x<hex>(Advise store notification)");
    const Entry* notification = &page.at("Notification <hex> for <name> of type <hex>, EntryId hash = <hash> (<id>)");
    const Entry* closeReceived = &page.at("WM_CLOSE received");
    const Entry* threadCloseReceived = &page.at("WM_CLOSE for thread received, will quit");
    const Entry* closingSession = &page.at("Closing MAPI session...");
    const Entry* workerFailed = &page.at("An exception has been caught in AsyncMapiHelper::run : <failure>");
    const Entry* workerFailedUnknown = &page.at("AsyncMapiHelper::run: Unknown exception");
    const Entry* mainFailed = &page.at("An exception has been caught in main : <failure>");
    const Entry* outOfMemory =
        &page.at("mapi::allocate, line <count>: hr = 0x<hex>(MAPI cannot allocate buffer for cb = <count>parent = "
                 "<pointer>)");
    const Entry* loggingFinished = &page.at("Logging finished  --------------------------------");
};

[[nodiscard]] const Known& known()
{
    static const Known entries;
    return entries;
}

[[nodiscard]] std::uint64_t number(std::string_view digits)
{
    std::uint64_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}
} // namespace

bool Run::hasProblems() const
{
    return how == End::Failed || how == End::OutOfMemory ||
           std::ranges::any_of(findings, [](const Finding& finding) { return finding.kind == Kind::Problem; });
}

RunReader::RunReader(Receiver receiver) : m_receiver(std::move(receiver)) {}

void RunReader::read(const LinePart& part)
{
    if (!part.begins)
        return;
    std::string_view text = part.text;
    static_cast<void>(takeRotation(text));
    if (stampOf(text).empty())
    {
        if (!m_inRun && !text.empty())
            ++m_strayLines;
        return;
    }
    while (!text.empty())
    {
        const std::string_view record = takeRecord(text);
        readRecord(stampOf(record), withoutStamp(record));
    }
}

void RunReader::finish()
{
    if (m_inRun)
        endRun();
}

void RunReader::readRecord(std::string_view stamp, std::string_view text)
{
    const Match match = Page::builtIn().match(text);
    if (match.entry == known().loggingStarted)
    {
        m_run.followed = true;
        finish();
        beginRun(stamp, true);
        return;
    }
    if (!m_inRun)
        beginRun(stamp, false);
    m_run.end = stamp;
    m_run.lastText = text.substr(0, longestSample);
    if (match.entry == known().loggingFinished)
    {
        m_run.how = m_workerFailed ? End::Failed : m_asked ? End::Asked : End::Ended;
        endRun();
        return;
    }
    if (match.entry == known().outOfMemory)
        m_run.how = End::OutOfMemory;
    if (match.entry != nullptr && match.entry->kind == Kind::Ordinary)
        readOrdinary(match);
    else
        note(match, stamp, text);
}

void RunReader::beginRun(std::string_view stamp, bool hasStart)
{
    m_run = Run();
    m_run.number = ++m_runs;
    m_run.hasStart = hasStart;
    m_run.begin = stamp;
    m_run.end = stamp;
    m_inRun = true;
    m_closing = false;
    m_asked = false;
    m_workerFailed = false;
}

void RunReader::endRun()
{
    m_inRun = false;
    m_receiver(m_run);
}

void RunReader::readOrdinary(const Match& match)
{
    const Entry* const entry = match.entry;
    if (entry == known().started)
    {
        m_run.commandLine = hole(match, 0).substr(0, longestSample);
    }
    else if (entry == known().workerStarted)
    {
        m_run.loggedOn = true;
    }
    else if (entry == known().storeFound)
    {
        ++m_run.storeCount;
        if (m_run.stores.size() < Run::storesKept)
            m_run.stores.push_back({std::string(hole(match, 0).substr(0, longestSample)), hole(match, 2) == "true",
                                    hole(match, 3) == "true"});
    }
    else if (entry == known().snapshotRead)
    {
        m_run.contacts += number(hole(match, 1));
        if (Store* const store = storeNamed(hole(match, 0)))
            store->contacts = number(hole(match, 1));
    }
    else if (entry == known().subscribed)
    {
        ++m_run.watched;
    }
    else if (entry == known().sending)
    {
        ++m_run.messages;
    }
    else if (entry == known().notification)
    {
        ++m_run.notifications;
    }
    else if (entry == known().closeReceived || entry == known().threadCloseReceived)
    {
        m_asked = true;
    }
    else if (entry == known().closingSession)
    {
        m_closing = true;
    }
}

void RunReader::note(const Match& match, std::string_view stamp, std::string_view text)
{
    const Entry* const entry = match.entry;
    Kind kind = entry == nullptr ? Kind::Harmless : entry->kind;
    if (match.failure != nullptr && match.failure->kind == Kind::Harmless)
        kind = Kind::Harmless; // what was caught was a stop request
    const bool refused = entry == known().startRefused || entry == known().changeRefused || entry == known().refused ||
                         match.failure == known().refused;
    if (refused)
        ++m_run.refused;
    // Calls fail when the session has been closed under them, and that is no fault.
    else if (m_closing && entry != known().outOfMemory)
        kind = Kind::Harmless;
    if (kind == Kind::Problem && !m_asked &&
        (entry == known().workerFailed || entry == known().workerFailedUnknown || entry == known().startRefused ||
         entry == known().mainFailed))
        m_workerFailed = true;
    if (entry == known().publicStore || entry == known().sinkRefused || entry == known().adviseRefused)
        m_run.watched -= std::min<std::uint64_t>(m_run.watched, 1);
    if (entry == known().storeIgnored)
    {
        if (Store* const store = storeNamed(hole(match, 0)))
            store->opened = false;
    }

    const auto isThis = [&](const Finding& finding)
    {
        return finding.entry == entry && finding.failure == match.failure && finding.kind == kind;
    };
    auto found = std::ranges::find_if(m_run.findings, isThis);
    if (found == m_run.findings.end())
    {
        if (m_run.findings.size() == Run::findingsKept)
            return;
        found = m_run.findings.insert(
            found,
            Finding{entry, match.failure, kind, std::string(stamp), {}, std::string(text.substr(0, longestSample)), 0});
    }
    found->last = stamp;
    ++found->count;
}

std::string_view RunReader::hole(const Match& match, std::size_t index) const
{
    for (const Part& part : match.parts)
    {
        if (part.hole != Hole::None && index-- == 0)
            return part.text;
    }
    return {};
}

Store* RunReader::storeNamed(std::string_view name)
{
    // Of stores of one name, the last: their lines follow each other.
    const auto found = std::ranges::find_if(m_run.stores.rbegin(), m_run.stores.rend(), [name](const Store& store)
                                            { return store.name == name.substr(0, longestSample); });
    return found == m_run.stores.rend() ? nullptr : &*found;
}

void readRuns(const std::wstring& log, RunReader& reader)
{
    for (const ByteSource& source : openLog(log))
    {
        LineReader lines(source);
        for (LinePart part; lines.next(part);)
            reader.read(part);
    }
    reader.finish();
}
} // namespace diagnosis
