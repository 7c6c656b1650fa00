#include "tests/support/LogFile.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace
{
using support::hasLogStamp;
using support::logLines;
using testing::ElementsAre;

TEST(LogFileTest, RefusesWhatIsNoStamp)
{
    for (const char* text :
         {"5.03.2024 14:07:09.042  text", "05.03.2024 14:07:09.42  text", "05.03.2024 24:07:09.042  t",
          "05.13.2024 14:07:09.042  text", "00.03.2024 14:07:09.042  text", "05.03.2024 14:07:09.042 text",
          "05.03.2024  14:07:09.042  text", ""})
    {
        EXPECT_FALSE(hasLogStamp(text)) << text;
    }
}

TEST(LogFileTest, GivesLinesWithoutStamps)
{
    EXPECT_THAT(logLines("05.03.2024 14:07:09.042  one\r\ntwo\r\n\r\n05.03.2024 14:07:09.042  three"),
                ElementsAre("one", "| two", "", "three"));
}

TEST(LogFileTest, ThrowsWhenALineEndIsIncomplete)
{
    EXPECT_THROW((void)logLines("one\ntwo"), std::runtime_error);
    EXPECT_THROW((void)logLines("one\rtwo"), std::runtime_error);
    EXPECT_THROW((void)logLines("one\r\r\ntwo"), std::runtime_error);
}
} // namespace
