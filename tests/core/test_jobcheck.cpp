// What the front end checks after a console job.
#include "core/jobcheck.h"
#include "common/temp_folder.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

namespace {

constexpr int64_t SECOND = 1000000000;

bool mentions(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

JobOutcome good_test(const std::string &tape)
{
    JobOutcome o;
    o.kind = JobKind::Test;
    o.started = true;
    o.exit_known = true;
    o.console_folder = "/opt/quillmar";
    o.report_path = "/opt/quillmar/qmreport.txt";
    o.report_new = true;
    o.report_tape = tape;
    o.expected_tape = tape;
    return o;
}

} // namespace

TEST(JobFiles, AFileIsNewOnlyWhenTheJobWroteIt)
{
    FileStamp before;
    FileStamp after;
    after.exists = true;
    after.inode = 7;
    after.mtime_ns = after.ctime_ns = 100 * SECOND;
    EXPECT_TRUE(job_file_is_new(before, after, 100 * SECOND));      // did not exist before
    EXPECT_FALSE(job_file_is_new(after, after, 90 * SECOND));       // unchanged
    EXPECT_FALSE(job_file_is_new(before, FileStamp(), 90 * SECOND)); // not there
    FileStamp changed = after;
    changed.ctime_ns += 1;
    EXPECT_TRUE(job_file_is_new(after, changed, 100 * SECOND + 5));  // the same second
    EXPECT_TRUE(job_file_is_new(after, changed, 101 * SECOND + 5));  // a second of slack
    EXPECT_FALSE(job_file_is_new(after, changed, 102 * SECOND));     // older than the job
}

TEST(JobFiles, StampsOfRealFiles)
{
    TempFolder temp{"quillmarfe job 'é'-XXXXXX"};
    const std::string path = temp.path() + "/qmreport.txt";
    EXPECT_FALSE(job_file_stamp(path).exists);
    const int64_t start = job_clock_ns();
    temp.write("qmreport.txt", "TAP Name    : /t/a b.tap\nTAP Size    : 30\nRead test         : PASS\n");
    const FileStamp first = job_file_stamp(path);
    EXPECT_TRUE(first.exists);
    EXPECT_EQ(first.size, 67);
    EXPECT_TRUE(job_file_is_new(FileStamp(), first, start));
    EXPECT_FALSE(job_file_is_new(first, job_file_stamp(path), start));
    EXPECT_EQ(job_report_tape_name(path), std::optional<std::string>("/t/a b.tap"));
    temp.write("other.txt", "Read test         : PASS\nTAP Name    : late\n");
    EXPECT_EQ(job_report_tape_name(temp.path() + "/other.txt"), std::nullopt);
    EXPECT_EQ(job_report_tape_name(temp.path() + "/missing.txt"), std::nullopt);
}

TEST(JobFiles, SameFileThroughLinksAndDots)
{
    TempFolder temp{"quillmarfe same-XXXXXX"};
    const std::string tape = temp.write("game.tap", "x");
    ASSERT_EQ(symlink(tape.c_str(), (temp.path() + "/link.tap").c_str()), 0);
    EXPECT_TRUE(job_same_file(tape, temp.path() + "/link.tap"));
    EXPECT_TRUE(job_same_file(tape, temp.path() + "/./game.tap"));
    EXPECT_FALSE(job_same_file(tape, temp.path() + "/other.tap"));
    EXPECT_TRUE(job_same_file("/no/such/a/../b.tap", "/no/such/b.tap"));
}

TEST(JobReport, AGoodReportOfTheTapeIsShown)
{
    EXPECT_EQ(job_report_problem(good_test("/t/game.tap")), "");
    JobOutcome failed_but_reported = good_test("/t/game.tap");
    failed_but_reported.exit_status = 1;  // it explains itself in its report
    EXPECT_EQ(job_report_problem(failed_but_reported), "");
}

TEST(JobReport, EveryReasonNotToShowAReport)
{
    JobOutcome o = good_test("/t/game.tap");
    o.started = false;
    o.start_error = "Failed to execute child process";
    std::string text = job_report_problem(o);
    EXPECT_TRUE(mentions(text, "The console program could not be run:\nFailed to execute child process")) << text;
    EXPECT_TRUE(mentions(text, "It was looked for in /opt/quillmar. Choose the folder that holds it on the Options page"));

    o = good_test("/t/game.tap");
    o.report_new = false;
    o.exit_status = 2;
    EXPECT_TRUE(mentions(job_report_problem(o), "failed (exit status 2) and wrote no report"));
    o.exit_status = 0;
    EXPECT_TRUE(mentions(job_report_problem(o), "wrote no new report (/opt/quillmar/qmreport.txt)"));

    o = good_test("/t/game.tap");
    o.report_tape = "/t/other.tap";
    EXPECT_TRUE(mentions(job_report_problem(o), "The report describes /t/other.tap, not the tape just processed (/t/game.tap)"));

    o = good_test("/t/game.tap");
    o.report_tape.reset();
    o.exit_status = 2;
    text = job_report_problem(o);
    EXPECT_TRUE(mentions(text, "does not say which tape it describes. The console program failed (exit status 2).")) << text;

    o = good_test("");
    o.kind = JobKind::Batch;
    o.report_tape.reset();
    EXPECT_EQ(job_report_problem(o), "");
    o.report_new = false;
    EXPECT_NE(job_report_problem(o), "");
}

TEST(JobOutput, RecordedAudioAndVerdicts)
{
    EXPECT_EQ(job_recorded_audio_path("/t/my game.tap", true), "/t/my game.au");
    EXPECT_EQ(job_recorded_audio_path("/t/a.b.DMP", false), "/t/a.b.wav");
    EXPECT_EQ(job_recorded_audio_path("/t/.hidden", false), "/t/.hidden.wav");
    EXPECT_EQ(job_recorded_audio_path("/t/noext", true), "/t/noext.au");

    JobOutcome o = good_test("/t/game.tap");
    OutputVerdict v = job_output_verdict("/t/clean.game.tap", true, o);
    EXPECT_TRUE(v.written);
    EXPECT_EQ(v.log_line, "Written: /t/clean.game.tap\n");
    EXPECT_EQ(v.dialog_text, "");
    o.exit_status = 1;
    v = job_output_verdict("/t/clean.game.tap", false, o);
    EXPECT_FALSE(v.written);
    EXPECT_EQ(v.log_line, "");
    EXPECT_TRUE(mentions(v.dialog_text, "Nothing was written: the console program did not write /t/clean.game.tap"));
    EXPECT_TRUE(mentions(v.dialog_text, "exit status 1"));
    o.started = false;
    v = job_output_verdict("/t/game.wav", false, o);
    EXPECT_TRUE(mentions(v.dialog_text, "could not be run"));
    EXPECT_TRUE(mentions(v.dialog_text, "Nothing was written: /t/game.wav"));
}
