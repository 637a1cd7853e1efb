// The front end's own command line.
#include "core/frontendargs.h"

#include <gtest/gtest.h>

TEST(FrontEndArgs, HelpAndVersionNeedNoToolkit)
{
    EXPECT_TRUE(front_end_wants_text_only({"--help"}));
    EXPECT_TRUE(front_end_wants_text_only({"tape.tap", "-h"}));
    EXPECT_TRUE(front_end_wants_text_only({"--version"}));
    EXPECT_FALSE(front_end_wants_text_only({}));
    EXPECT_FALSE(front_end_wants_text_only({"tape.tap"}));
    EXPECT_FALSE(front_end_wants_text_only({"--", "--help"}));  // a file of that name
}

TEST(FrontEndArgs, OneFileAtMost)
{
    EXPECT_EQ(parse_front_end_args({"game.tap"}).file, "game.tap");
    EXPECT_TRUE(parse_front_end_args({}).file.empty());
    EXPECT_EQ(parse_front_end_args({"--", "-odd name.tap"}).file, "-odd name.tap");
    const FrontEndArgs two = parse_front_end_args({"a.tap", "b.tap"});
    EXPECT_EQ(two.error, "one tape at most (got \"a.tap\" and \"b.tap\")");
    EXPECT_EQ(parse_front_end_args({"--frobnicate"}).error, "unknown option \"--frobnicate\"");
    // A lone "-" is a file name.
    EXPECT_EQ(parse_front_end_args({"-"}).file, "-");
}

TEST(FrontEndArgs, Texts)
{
    EXPECT_EQ(front_end_usage_text().rfind("usage: quillmarfe [OPTION...] [FILE]\n", 0), 0u);
    EXPECT_EQ(front_end_version_text(), "quillmarfe 0.40 (Quillmar Front End)\n");
}
