// Product texts: release notes and the About dialog.
#include "core/appinfo.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

gint64 utc(int year, int month, int day, int hour)
{
    GDateTime *moment = g_date_time_new_utc(year, month, day, hour, 0, 0);
    const gint64 seconds = g_date_time_to_unix(moment);
    g_date_time_unref(moment);
    return seconds;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

TEST(ReleaseNotes, FirstLineNamesProductAndVersion)
{
    const std::vector<std::string> lines = lines_of(release_notes_text());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "Quillmar Front End 0.40");
}

TEST(ReleaseNotes, ChangelogOfDatedEntriesNewestFirstThenAcknowledgementsAndCredits)
{
    const std::string text = release_notes_text();
    const size_t changelog = text.find("Changelog:");
    const size_t acknowledgements = text.find("Acknowledgements:");
    const size_t credits = text.find("Credits:");
    ASSERT_NE(changelog, std::string::npos);
    ASSERT_NE(acknowledgements, std::string::npos);
    ASSERT_NE(credits, std::string::npos);
    EXPECT_LT(changelog, acknowledgements);
    EXPECT_LT(acknowledgements, credits);

    const std::regex date_line(R"((\d\d) (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) (\d{4}))");
    std::vector<gint64> dates;
    bool after_date = false;
    for (const std::string &line : lines_of(text.substr(changelog, acknowledgements - changelog))) {
        std::smatch match;
        if (std::regex_match(line, match, date_line)) {
            const char *months = "JanFebMarAprMayJunJulAugSepOctNovDec";
            const int month = int(std::string(months).find(match[2].str())) / 3 + 1;
            dates.push_back(utc(std::stoi(match[3]), month, std::stoi(match[1]), 0));
            after_date = true;
        } else if (after_date && !line.empty()) {
            EXPECT_EQ(line.rfind(" - ", 0), 0u) << line;
        }
    }
    ASSERT_GE(dates.size(), 2u);
    for (size_t i = 1; i < dates.size(); ++i)
        EXPECT_GT(dates[i - 1], dates[i]) << "entries run newest first";
}

TEST(AboutPicture, SeasonalOnlyInDecemberUtc)
{
    EXPECT_TRUE(about_shows_seasonal_picture(utc(2026, 12, 1, 0)));
    EXPECT_TRUE(about_shows_seasonal_picture(utc(2026, 12, 31, 23)));
    EXPECT_FALSE(about_shows_seasonal_picture(utc(2026, 11, 30, 23)));
    EXPECT_FALSE(about_shows_seasonal_picture(utc(2027, 1, 1, 0)));
    EXPECT_FALSE(about_shows_seasonal_picture(utc(2026, 6, 15, 12)));
}

TEST(AboutText, BuildDateCompilerAndToolkitVersions)
{
    EXPECT_EQ(about_build_text("Nov 22 2026", 12, 2, 0, 2, 24, 33),
              "Multi-platform tape handling tool\n\nCompiled on: Nov 22 2026\n"
              "Compiled with gcc version: 12.2.0\nGTK+ runtime in use: 2.24.33");
    EXPECT_EQ(about_build_text("Jan  2 2027", 1, 0, 0, 2, 0, 0),
              "Multi-platform tape handling tool\n\nCompiled on: Jan  2 2027\n"
              "Compiled with gcc version: 1.0.0\nGTK+ runtime in use: 2.0.0");
}
