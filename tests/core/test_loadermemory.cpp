// The loader variables kept between runs: "ID: TEXT" lines, read back as
// written, other lines skipped.
#include "core/loadermemory.h"

#include <gtest/gtest.h>

TEST(LoaderMemory, LinesGoAndComeBack)
{
    LoaderMemory m;
    m.values["burner"] = "pilot=5A sync=C3 order=lsb";
    m.values["visiload"] = "threshold=438";
    const std::string text = m.to_text();
    EXPECT_EQ(text, "burner: pilot=5A sync=C3 order=lsb\nvisiload: threshold=438\n");
    const LoaderMemory back = LoaderMemory::from_text(text);
    EXPECT_EQ(back.values, m.values);
    ASSERT_NE(back.find("burner"), nullptr);
    EXPECT_EQ(*back.find("burner"), "pilot=5A sync=C3 order=lsb");
    EXPECT_EQ(back.find("ocean"), nullptr);
}

TEST(LoaderMemory, OtherLinesAreSkipped)
{
    const LoaderMemory m = LoaderMemory::from_text("nonsense\n: no id\ntwo words: x\nburner: a b\r\n\n");
    ASSERT_EQ(m.values.size(), 1u);
    EXPECT_EQ(*m.find("burner"), "a b");
    EXPECT_TRUE(LoaderMemory::from_text("").empty());
}
