// Which messages reach the stream, by level, section and terminal.
#include "base/logger.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tarq {

namespace {

/// Writes one message "N" per level N from -1 to 4.
std::string written_levels(int verbosity)
{
    std::ostringstream out;
    Logger logger(&out);
    logger.set_level(verbosity);
    for (int n = -1; n <= 4; ++n) {
        logger("S") << loglevel(n) << n << FlushLog;
        EXPECT_EQ(logger.enabled(n, "S"), 0 <= n && n <= verbosity);
    }
    return out.str();
}

} // namespace

TEST(Logger, writes_levels_from_zero_to_its_own)
{
    EXPECT_EQ(written_levels(0), "0");
    EXPECT_EQ(written_levels(2), "012");
}

TEST(Logger, sections_mute_messages_until_the_end_of_the_message)
{
    std::ostringstream out;
    Logger logger(&out);
    logger.set_level(1);
    logger("A") << "a" << EndLog;
    logger.enable_section("B");
    logger("A") << loglevel(1) << "lost" << EndLog;
    logger("B") << loglevel(1) << "b" << 1 << EndLog;
    logger("B") << loglevel(2) << "too high" << EndLog;
    logger << "no section" << EndLog; // the mute and the level ended with their messages
    EXPECT_FALSE(logger.enabled(1, "A"));
    EXPECT_TRUE(logger.enabled(1, "B"));
    logger.disable_sections();
    logger("B") << "lost" << EndLog;
    logger.enable_all_sections();
    logger("C") << "c" << FlushLog;
    EXPECT_EQ(out.str(), "a\nb1\nno section\nc");
}

TEST(Logger, TTYLog_suppresses_the_rest_of_the_message_without_a_terminal)
{
    std::ostringstream out;
    Logger logger(&out);
    logger.set_level(1);
    logger << "kept " << TTYLog << "lost" << EndLog;
    logger << "next" << EndLog;
    logger.set_output(&out, true);
    logger << TTYLog << "shown" << EndLog;
    EXPECT_EQ(out.str(), "kept next\nshown\n");
}

TEST(Logger, ticker_turns_on_a_terminal_only)
{
    std::ostringstream out;
    Logger logger(&out);
    logger.set_level(1);
    logger.tick();
    EXPECT_EQ(out.str(), "");
    logger.set_output(&out, true);
    for (int i = 0; i < 5; ++i) {
        logger.tick();
    }
    EXPECT_EQ(out.str(), "-\b\\\b|\b/\b-\b");
    logger.set_level(0);
    logger.tick();
    EXPECT_EQ(out.str(), "-\b\\\b|\b/\b-\b");
}

} // namespace tarq
