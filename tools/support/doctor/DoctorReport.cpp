// What `linkwell-support doctor` prints.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "tools/support/Utf8.h"
#include "tools/support/doctor/Doctor.h"

namespace diagnosis
{
namespace
{
using Json = nlohmann::ordered_json;

constexpr const wchar_t* hostPipeName = L"CorvenaLinkwell";

/// The state of one step, for people; empty: nothing that they need to see.
[[nodiscard]] std::string textOf(const SearchStep& step)
{
    const bool there = step.error == ERROR_SUCCESS;
    const std::string missing = "not there (error " + std::to_string(step.error) + ")";
    switch (step.kind)
    {
    case SearchStep::Kind::LoadedModule:
        return utf8(step.name) + ", already loaded: " + (there ? "yes" : "no");
    case SearchStep::Kind::Key:
        return "key " + utf8(step.name) + ": " + (there ? "there" : missing);
    case SearchStep::Kind::Value:
        return (step.name.empty() ? "default value" : "value " + utf8(step.name)) + ": " +
               (there ? '"' + utf8(step.text) + "\", type " + std::to_string(step.type) : missing);
    case SearchStep::Kind::Expansion:
        return "expanded: " + (there ? '"' + utf8(step.text) + '"' : "too long");
    case SearchStep::Kind::Component:
        return "component, asked of " + utf8(step.module.path) + ": " + (there ? '"' + utf8(step.text) + '"' : missing);
    case SearchStep::Kind::Load:
        break;
    }
    return "load " + utf8(step.module.name) + ": " +
           (step.module.fault == ModuleFault::None ? "can be loaded, " + utf8(step.module.path) : "can't be loaded");
}

[[nodiscard]] std::string textOf(const ProcessFacts& server)
{
    char integrity[16] = {};
    std::snprintf(integrity, sizeof(integrity), "0x%lx", static_cast<unsigned long>(server.integrity));
    return "  served by process " + std::to_string(server.id) + ", " + utf8(server.image) + "\n  user " +
           utf8(server.user) + ", session " + std::to_string(server.session) + ", integrity level " + integrity + '\n';
}

[[nodiscard]] std::string textOf(const Diagnosis& diagnosis)
{
    const Entry& entry = Page::builtIn().finding(diagnosis.code);
    return std::string(diagnosis.isProblem ? "  PROBLEM  " : "  note     ") + diagnosis.code +
           (diagnosis.subject.empty() ? std::string() : ": " + utf8(diagnosis.subject)) +
           "\n    Cause: " + entry.cause + "\n    Do:    " + entry.remedy + '\n';
}

[[nodiscard]] Json jsonOf(const Diagnosis& diagnosis)
{
    const Entry& entry = Page::builtIn().finding(diagnosis.code);
    return {
        {"code", diagnosis.code}, {"problem", diagnosis.isProblem}, {"subject", utf8(diagnosis.subject)},
        {"cause", entry.cause},   {"remedy", entry.remedy},         {"see", "docs/troubleshooting.md#" + entry.anchor}};
}

[[nodiscard]] std::string reportText(const AgentSearch& search, const HostPipe& pipe,
                                     const std::vector<Diagnosis>& ofMapi, const std::vector<Diagnosis>& ofPipe)
{
    std::string text = "MAPI runtime, as the agent looks for it:\n";
    for (const SearchStep& step : search.steps)
        text += "  " + textOf(step) + '\n';
    text += "  found: " + (search.found.empty() ? "nothing" : utf8(search.found)) + '\n';
    for (const Diagnosis& diagnosis : ofMapi)
        text += textOf(diagnosis);
    text += "\nPipe of the host:\n";
    if (pipe.server)
        text += textOf(*pipe.server);
    for (const Diagnosis& diagnosis : ofPipe)
        text += textOf(diagnosis);
    if (ofPipe.empty())
        text += "  served by this user, in this session, at this integrity level\n";
    return text;
}

[[nodiscard]] std::string reportJson(const AgentSearch& search, const HostPipe& pipe, const std::vector<Diagnosis>& all)
{
    Json json{{"steps", Json::array()},
              {"found", utf8(search.found)},
              {"pipeError", pipe.error},
              {"server", nullptr},
              {"findings", Json::array()}};
    for (const SearchStep& step : search.steps)
        json["steps"].push_back(textOf(step));
    if (pipe.server)
        json["server"] = {{"process", pipe.server->id},
                          {"image", utf8(pipe.server->image)},
                          {"user", utf8(pipe.server->user)},
                          {"session", pipe.server->session},
                          {"integrity", pipe.server->integrity}};
    for (const Diagnosis& diagnosis : all)
        json["findings"].push_back(jsonOf(diagnosis));
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}
} // namespace

Verdict reportMachine(const std::wstring& agentFolder, bool json, const Output& output)
{
    const AgentSearch search = searchAsTheAgent(agentFolder);
    const HostPipe pipe = lookAtPipe(hostPipeName);
    std::vector<Diagnosis> ofMapi = judge(search);
    std::ranges::move(lookAround(search), std::back_inserter(ofMapi));
    std::vector<Diagnosis> ofPipe;
    for (std::string& code : judge(pipe, factsOf(GetCurrentProcessId())))
    {
        // Hosts that users install for themselves lie where these may write.
        const bool isProblem = code != "server-image-writable";
        ofPipe.push_back({std::move(code), isProblem, pipe.error != 0 ? L"error " + std::to_wstring(pipe.error) : L""});
    }
    std::vector<Diagnosis> all = ofMapi;
    all.insert(all.end(), ofPipe.begin(), ofPipe.end());

    output(json ? reportJson(search, pipe, all) : reportText(search, pipe, ofMapi, ofPipe));
    return std::ranges::any_of(all, &Diagnosis::isProblem) ? Verdict::Bad : Verdict::Good;
}
} // namespace diagnosis
