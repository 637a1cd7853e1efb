// The options key file: default text, reading and writing.
#include "core/optionsfile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

int flag_index(const char *key)
{
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (std::strcmp(configurable_options_console_flags[i].key, key) == 0)
            return i;
    return -1;
}

OptionsUpdate parse(const std::string &text)
{
    OptionsUpdate update;
    EXPECT_TRUE(options_parse(text.data(), text.size(), update)) << text;
    return update;
}

} // namespace

TEST(OptionsDefaults, TextIsTwentyOneLinesOf356BytesWithoutFinalNewline)
{
    const std::string text(options_default_text);
    EXPECT_EQ(text.size(), 356u);
    EXPECT_EQ(OPTIONS_DEFAULT_TEXT_SIZE, 356u);
    EXPECT_NE(text.back(), '\n');
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 20);
    EXPECT_EQ(text.rfind("# Quillmar Front End config file - do NOT edit\n[console_values]\ntolerance=10\n"
                         "[console_flags]\ndebug=false\n", 0), 0u);
    const std::string tail =
        "preserve=false\n[frontend_flags]\nautomove=false\n[frontend_preferences]\nfont=courier 11";
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
}

TEST(OptionsDefaults, FlagTableOrderAndNames)
{
    const char *const keys[] = {"debug", "noid", "noc64eof", "docyberfault", "boostclean",
                                "noaddpause", "doprg", "prgunite", "extvisipatch",
                                "incsubdirs", "sortbycrc", "sine", "preserve"};
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        EXPECT_STREQ(configurable_options_console_flags[i].key, keys[i]);
    EXPECT_STREQ(configurable_options_console_flags[0].label,
                 "Allow detected files to _overlap (Debug mode)");
    EXPECT_STREQ(configurable_options_console_flags[12].tooltip,
                 "If this option is enabled then loader variables are stored and re-used for "
                 "subsequent test/clean operations");
}

TEST(OptionsDefaults, OnlyKeysBeginningWithNoAreInverted)
{
    EXPECT_TRUE(console_flag_is_inverted("noid"));
    EXPECT_TRUE(console_flag_is_inverted("noc64eof"));
    EXPECT_TRUE(console_flag_is_inverted("noaddpause"));
    // Stored as the state of its "ignore" button although its switch is negative.
    EXPECT_FALSE(console_flag_is_inverted("docyberfault"));
    EXPECT_FALSE(console_flag_is_inverted("debug"));
}

TEST(OptionsDefaults, ParsingTheDefaultsGivesTheInitialButtonStates)
{
    const OptionsUpdate update = parse(options_default_text);
    ASSERT_TRUE(update.tolerance.has_value());
    EXPECT_DOUBLE_EQ(*update.tolerance, 10.0);
    const bool expected[] = {false, true, true, true, false, true, true, true,
                             false, false, false, false, false};
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i) {
        ASSERT_TRUE(update.buttons[i].has_value());
        EXPECT_EQ(*update.buttons[i], expected[i]) << configurable_options_console_flags[i].key;
    }
    EXPECT_EQ(update.automove, false);
    EXPECT_EQ(update.font, std::string("courier 11"));
}

TEST(OptionsParse, ToleranceOutsideZeroToFifteenIsDropped)
{
    EXPECT_FALSE(parse("[console_values]\ntolerance=15.7\n").tolerance.has_value());
    EXPECT_FALSE(parse("[console_values]\ntolerance=-1\n").tolerance.has_value());
    EXPECT_DOUBLE_EQ(*parse("[console_values]\ntolerance=7.9\n").tolerance, 7.9);
    EXPECT_DOUBLE_EQ(*parse("[console_values]\ntolerance=15\n").tolerance, 15.0);
    EXPECT_DOUBLE_EQ(*parse("[console_values]\ntolerance=0\n").tolerance, 0.0);
}

TEST(OptionsParse, WrongTypeReadsAsZeroOrFalse)
{
    EXPECT_DOUBLE_EQ(*parse("[console_values]\ntolerance=lots\n").tolerance, 0.0);
    const OptionsUpdate update = parse("[console_flags]\ndebug=maybe\nnoid=maybe\n");
    EXPECT_EQ(update.buttons[flag_index("debug")], false);
    EXPECT_EQ(update.buttons[flag_index("noid")], true); // false, inverted
}

TEST(OptionsParse, NoIdTrueLeavesItsButtonInactive)
{
    EXPECT_EQ(parse("[console_flags]\nnoid=true\n").buttons[flag_index("noid")], false);
}

TEST(OptionsParse, MissingKeysLeaveTheirWidgets)
{
    const OptionsUpdate update = parse("[console_flags]\ndoprg=false\n");
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        EXPECT_EQ(update.buttons[i].has_value(), i == flag_index("doprg"));
    EXPECT_FALSE(update.tolerance.has_value());
    EXPECT_FALSE(update.automove.has_value());
    EXPECT_FALSE(update.font.has_value());
}

TEST(OptionsParse, MalformedTextIsRejected)
{
    OptionsUpdate update;
    const std::string text = "no key file [at all\n=x\n";
    EXPECT_FALSE(options_parse(text.data(), text.size(), update));
    EXPECT_FALSE(update.tolerance.has_value());
}

TEST(OptionsSerialize, DefaultsWrittenWithAFinalNewline)
{
    OptionsState state;
    const bool defaults[] = {false, true, true, true, false, true, true, true,
                             false, false, false, false, false};
    std::copy(std::begin(defaults), std::end(defaults), state.buttons);
    EXPECT_EQ(options_serialize(state), std::string(options_default_text) + "\n");
}

TEST(OptionsSerialize, ToleranceTruncatedTowardZero)
{
    OptionsState state;
    state.tolerance = 7.9;
    EXPECT_NE(options_serialize(state).find("\ntolerance=7\n"), std::string::npos);
    state.tolerance = 15.0;
    EXPECT_NE(options_serialize(state).find("\ntolerance=15\n"), std::string::npos);
}

TEST(OptionsSerialize, RoundTripKeepsEveryState)
{
    OptionsState state;
    state.tolerance = 4;
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        state.buttons[i] = i % 3 == 0;
    state.automove = true;
    state.font = "Monospace Bold 9";
    const std::string text = options_serialize(state);
    const OptionsUpdate update = parse(text);
    EXPECT_DOUBLE_EQ(*update.tolerance, 4.0);
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        EXPECT_EQ(*update.buttons[i], state.buttons[i]) << i;
    EXPECT_EQ(update.automove, true);
    EXPECT_EQ(update.font, std::string("Monospace Bold 9"));
}

// The font is written as the key file escapes a string, so that whatever a
// user.ini held comes back from a saved file: a line break or a tab (from
// "\n" and "\t"), a backslash, and blanks at either end.
TEST(OptionsSerialize, FontWithEscapedCharactersComesBackUnchanged)
{
    for (const char *font : {"a\nb", "tab\there", "back\\slash", " leading blank", "trailing blank ",
                             "\\s", "cr\rlf"}) {
        OptionsState state;
        state.font = font;
        const std::string text = options_serialize(state);
        OptionsUpdate update;
        ASSERT_TRUE(options_parse(text.data(), text.size(), update)) << text;
        EXPECT_EQ(update.font, std::string(font)) << text;
        EXPECT_EQ(text.back(), '\n');
    }
}
