// The recordings in docs/protocol-samples, by which the readers of hosts are tested: the agent must still write these bytes.
#include <algorithm>
#include <filesystem>
#include <map>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
const std::filesystem::path samples = LINKWELL_SOURCE_FOLDER "/docs/protocol-samples";
const std::filesystem::path recordings = LINKWELL_BUILD_FOLDER "/protocol-samples";

/// The mailbox and the requests of each recording, by its name.
std::map<std::string, Json> readRecipes()
{
    const std::string text = support::readBytes(LINKWELL_SOURCE_FOLDER "/tests/endtoend/protocol-samples.json");
    std::map<std::string, Json> recipes;
    for (const Json& recipe : Json::parse(text, nullptr, true, true))
        recipes.emplace(recipe.at("name"), recipe);
    return recipes;
}

class ProtocolSampleTest : public EndToEndTest, public testing::WithParamInterface<std::string>
{
};

TEST_P(ProtocolSampleTest, IsWhatTheAgentWrites)
{
    const Json recipe = readRecipes().at(GetParam());
    startAgentOn(recipe.at("mailbox").dump());
    ASSERT_TRUE(waitUntilSubscribed(recipe.value("lastStore", "Mailbox")));
    for (const Json& request : recipe.value("requests", Json::array()))
    {
        ask(request);
        ask({{"do", "wait"}, {"for", "idle"}});
    }
    ASSERT_TRUE(agent().postToWindow(WM_CLOSE));
    EXPECT_EQ(finish().exitValue, 0U);

    std::string bytes;
    for (const std::string& request : host().requests())
        bytes += request;
    const auto name = GetParam() + ".bin";
    std::filesystem::create_directories(recordings);
    support::writeBytes(recordings / name, bytes);
    EXPECT_FALSE(bytes.empty());
    EXPECT_EQ(bytes, support::readBytes(samples / name)) << "what has come now is in " << recordings / name;
}

std::vector<std::string> recipeNames()
{
    std::vector<std::string> names;
    for (const auto& [name, recipe] : readRecipes())
        names.push_back(name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Samples, ProtocolSampleTest, testing::ValuesIn(recipeNames()),
                         [](const auto& sample)
                         {
                             std::string name = sample.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });
} // namespace
} // namespace endtoend
