// Tests of the console command line: executable quoting, tolerance, the
// switches of every check box in both states, the scanner switches, the
// additional parameters, the operations' pieces, the names of cleaned and
// converted tapes, the move after a Clean and the split into commands.
//
// Every expected line below was written out by hand from the line's rules.
#include "core/consolecmd.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

int flag_index(const char *key)
{
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (std::strcmp(configurable_options_console_flags[i].key, key) == 0)
            return i;
    ADD_FAILURE() << "no flag " << key;
    return 0;
}

void set_button(ConsoleSettings &s, const char *key, bool value)
{
    s.buttons[flag_index(key)] = value;
}

// Settings whose line holds the executable only: tolerance 10, every box in
// the state that writes nothing, only the built-in scanner, and it checked.
ConsoleSettings quiet_settings()
{
    ConsoleSettings s;
    s.console_location = "/usr/local/bin";
    s.tolerance = 10.0;
    for (bool &b : s.buttons)
        b = false;
    set_button(s, "noid", true);
    set_button(s, "noc64eof", true);
    set_button(s, "docyberfault", true);
    set_button(s, "noaddpause", true);
    s.excludeall = false;
    s.scanners = {{true, 10, "c64", "CBM ROM loader"}};
    s.additional_params.clear();
    return s;
}

const char *const EXE = "'/usr/local/bin/quillmar' ";

std::vector<ScannerRow> rows(std::initializer_list<std::pair<const char *, bool>> list)
{
    std::vector<ScannerRow> out;
    for (const auto &p : list)
        out.push_back(ScannerRow{p.second, 5, p.first, std::string("Name of ") + p.first});
    return out;
}

// Settings with a typical mix, used for the full lines of every operation:
// tolerance 12, PRG creation with uniting, subfolders, CRC sort and sine
// checked, three of four scanners checked, additional parameters "-foo bar".
ConsoleSettings typical_settings()
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 12.0;
    set_button(s, "doprg", true);
    set_button(s, "prgunite", true);
    set_button(s, "incsubdirs", true);
    set_button(s, "sortbycrc", true);
    set_button(s, "sine", true);
    s.scanners = rows({{"c64", true}, {"ace", true}, {"bleep", false}, {"cyber", true}});
    s.additional_params = "-foo bar";
    return s;
}

} // namespace

// ---- executable ------------------------------------------------------------

TEST(ConsoleCommand, ExecutableInSingleQuotesFollowedByOneBlank)
{
    EXPECT_EQ(prepare_console_command(quiet_settings(), 0, 0), "'/usr/local/bin/quillmar' ");
}

TEST(ConsoleCommand, LocationEndingInSeparatorIsJoinedOnce)
{
    ConsoleSettings s = quiet_settings();
    s.console_location = "/usr/local/bin/";
    EXPECT_EQ(prepare_console_command(s, 0, 0), "'/usr/local/bin/quillmar' ");
}

TEST(ConsoleCommand, LocationWithBlanksStaysInsideTheQuotes)
{
    ConsoleSettings s = quiet_settings();
    s.console_location = "/home/zoe/My Tape Tools";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/t/a.tap"),
              "'/home/zoe/My Tape Tools/quillmar' -t \"/t/a.tap\"");
}

TEST(ConsoleCommand, LocationWithApostropheIsNotEscapedAndBreaksTheQuotes)
{
    ConsoleSettings s = quiet_settings();
    s.console_location = "/home/o'brien/bin";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/t/a.tap"),
              "'/home/o'brien/bin/quillmar' -t \"/t/a.tap\"");
}

TEST(ConsoleCommand, LocationWithNonAsciiCharactersIsKeptByteForByte)
{
    ConsoleSettings s = quiet_settings();
    s.console_location = "/opt/Zo\xC3\xAB \xE2\x80\x93 tools";
    EXPECT_EQ(prepare_console_command(s, 0, 0),
              "'/opt/Zo\xC3\xAB \xE2\x80\x93 tools/quillmar' ");
}

// ---- tolerance -------------------------------------------------------------

TEST(ConsoleCommand, ToleranceTenWritesNothing)
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 10.0;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE));
}

TEST(ConsoleCommand, ToleranceIsTruncatedTowardZero)
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 9.9;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 9 ");
    s.tolerance = 9.5;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 9 ");
    s.tolerance = 10.9;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 10 ");
}

TEST(ConsoleCommand, ToleranceAtBothEndsOfTheRange)
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 0.0;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 0 ");
    s.tolerance = 15.0;
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 15 ");
}

TEST(ConsoleCommand, ToleranceComesBeforeTheSwitches)
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 3.0;
    set_button(s, "debug", true);
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 3 -debug ");
}

// ---- check boxes -------------------------------------------------------------

namespace {

struct BoxCase {
    const char *key;
    const char *written;  // the switch
    bool when_checked;    // written when checked (true) or when not checked (false)
    bool needs_batch;
    bool needs_record;
};

const BoxCase box_cases[] = {
    {"debug", "-debug ", true, false, false},
    {"noid", "-noid ", false, false, false},
    {"noc64eof", "-noc64eof ", false, false, false},
    {"docyberfault", "-docyberfault ", false, false, false},
    {"boostclean", "-boostclean ", true, false, false},
    {"noaddpause", "-noaddpause ", false, false, false},
    {"doprg", "-doprg ", true, false, false},
    {"extvisipatch", "-extvisipatch ", true, false, false},
    {"incsubdirs", "-incsubdirs ", true, true, false},
    {"sortbycrc", "-sortbycrc ", true, true, false},
    {"sine", "-sine ", true, false, true},
    {"preserve", "-preserve ", true, false, false},
};

} // namespace

TEST(ConsoleCommand, EachBoxWritesItsSwitchExactlyInTheTabledState)
{
    for (const BoxCase &c : box_cases) {
        for (int batch = 0; batch <= 1; ++batch) {
            for (int record = 0; record <= 1; ++record) {
                for (int state = 0; state <= 1; ++state) {
                    ConsoleSettings s = quiet_settings();
                    set_button(s, c.key, state == 1);
                    const bool expect = (state == 1) == c.when_checked &&
                                        (!c.needs_batch || batch == 1) &&
                                        (!c.needs_record || record == 1);
                    const std::string want = std::string(EXE) + (expect ? c.written : "");
                    EXPECT_EQ(prepare_console_command(s, batch, record), want)
                        << c.key << " state " << state << " batch " << batch << " record "
                        << record;
                }
            }
        }
    }
}

TEST(ConsoleCommand, PrgUniteNeedsPrgCreation)
{
    ConsoleSettings s = quiet_settings();
    set_button(s, "prgunite", true);
    set_button(s, "doprg", false);
    EXPECT_EQ(prepare_console_command(s, 1, 1), std::string(EXE));
    set_button(s, "doprg", true);
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-doprg -prgunite ");
    set_button(s, "prgunite", false);
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-doprg ");
}

TEST(ConsoleCommand, BatchAndRecordAreComparedWithOne)
{
    ConsoleSettings s = quiet_settings();
    set_button(s, "incsubdirs", true);
    set_button(s, "sine", true);
    EXPECT_EQ(prepare_console_command(s, 2, 2), std::string(EXE));
    EXPECT_EQ(prepare_console_command(s, -1, 0), std::string(EXE));
    EXPECT_EQ(prepare_console_command(s, 1, 0), std::string(EXE) + "-incsubdirs ");
    EXPECT_EQ(prepare_console_command(s, 0, 1), std::string(EXE) + "-sine ");
}

TEST(ConsoleCommand, AllBoxesCheckedInTableOrder)
{
    ConsoleSettings s = quiet_settings();
    for (bool &b : s.buttons)
        b = true;
    EXPECT_EQ(prepare_console_command(s, 1, 1),
              "'/usr/local/bin/quillmar' -debug -boostclean -doprg -prgunite -extvisipatch "
              "-incsubdirs -sortbycrc -sine -preserve ");
    EXPECT_EQ(prepare_console_command(s, 0, 0),
              "'/usr/local/bin/quillmar' -debug -boostclean -doprg -prgunite -extvisipatch "
              "-preserve ");
}

TEST(ConsoleCommand, AllBoxesUncheckedInTableOrder)
{
    ConsoleSettings s = quiet_settings();
    for (bool &b : s.buttons)
        b = false;
    EXPECT_EQ(prepare_console_command(s, 1, 1),
              "'/usr/local/bin/quillmar' -noid -noc64eof -docyberfault -noaddpause ");
    EXPECT_EQ(prepare_console_command(s, 0, 0),
              "'/usr/local/bin/quillmar' -noid -noc64eof -docyberfault -noaddpause ");
}

TEST(ConsoleCommand, DefaultOptionStatesWriteOnlyPrgSwitches)
{
    // The buttons as the default options file sets them: noid, noc64eof,
    // docyberfault, noaddpause, doprg and prgunite checked.
    ConsoleSettings s = quiet_settings();
    set_button(s, "doprg", true);
    set_button(s, "prgunite", true);
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-doprg -prgunite ");
}

// ---- scanners ----------------------------------------------------------------

TEST(ConsoleScanners, BuiltInIdIsAThreeCharacterPrefix)
{
    EXPECT_TRUE(scanner_id_is_builtin("c64"));
    EXPECT_TRUE(scanner_id_is_builtin("c64turbo"));
    EXPECT_TRUE(scanner_id_is_builtin("c64 "));
    EXPECT_FALSE(scanner_id_is_builtin("C64"));
    EXPECT_FALSE(scanner_id_is_builtin("c6"));
    EXPECT_FALSE(scanner_id_is_builtin("c"));
    EXPECT_FALSE(scanner_id_is_builtin(""));
    EXPECT_FALSE(scanner_id_is_builtin("xc64"));
    EXPECT_FALSE(scanner_id_is_builtin(nullptr));
}

TEST(ConsoleScanners, PerRowPieces)
{
    EXPECT_EQ(scanner_exclude_piece("ace"), "-noace ");
    EXPECT_EQ(scanner_include_piece("ace"), "-doace ");
    EXPECT_EQ(scanner_exclude_piece("c64"), "-noc64 ");
}

TEST(ConsoleScanners, ExcludeAllWritesOnlyDoC64WhateverTheList)
{
    ConsoleSettings s = quiet_settings();
    s.excludeall = true;
    const std::vector<std::vector<ScannerRow>> lists = {
        rows({{"c64", true}}),
        rows({{"c64", true}, {"ace", true}}),
        rows({{"c64", false}, {"ace", false}, {"bleep", false}}),
        rows({{"c64", true}, {"ace", false}, {"bleep", true}, {"cyber", false}}),
        {},
    };
    for (const auto &list : lists) {
        s.scanners = list;
        EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-doc64 ");
    }
    EXPECT_EQ(scanner_switches(true, rows({{"c64", false}, {"ace", false}})), "-doc64 ");
}

TEST(ConsoleScanners, TwoActiveWithBuiltInNamesTheOther)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", true}, {"ace", false}, {"bleep", true}, {"cyber", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-dobleep ");
}

TEST(ConsoleScanners, TwoActiveWithoutBuiltInNamesOnlyTheFirst)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", false}, {"ace", false}, {"bleep", true}, {"cyber", true}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-dobleep ");
}

TEST(ConsoleScanners, TwoActiveBothBuiltInLikeWritesNothing)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", true}, {"c64turbo", true}, {"ace", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE));
}

TEST(ConsoleScanners, TwoActiveSkipsAnIdBeginningWithC64)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", false}, {"c64x", true}, {"ace", false}, {"bleep", true}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-dobleep ");
}

TEST(ConsoleScanners, OneActiveNamesEveryInactiveInModelOrder)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", true}, {"ace", false}, {"bleep", false}, {"cyber", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-noace -nobleep -nocyber ");
}

TEST(ConsoleScanners, OneActiveOtherThanBuiltInWritesNoC64)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", false}, {"ace", true}, {"bleep", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-noc64 -nobleep ");
}

TEST(ConsoleScanners, AllActiveWritesNothing)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", true}, {"ace", true}, {"bleep", true}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE));
}

TEST(ConsoleScanners, NoneActiveNamesEveryRowIncludingBuiltIn)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", false}, {"ace", false}, {"bleep", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-noc64 -noace -nobleep ");
}

TEST(ConsoleScanners, UncheckedBuiltInWithThreeActiveIsWrittenAsNoC64)
{
    ConsoleSettings s = quiet_settings();
    s.scanners = rows({{"c64", false}, {"ace", true}, {"c64turbo", false}, {"bleep", true},
                       {"cyber", true}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-noc64 -noc64turbo ");
}

TEST(ConsoleScanners, EmptyListWritesNothing)
{
    ConsoleSettings s = quiet_settings();
    s.scanners.clear();
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE));
}

TEST(ConsoleScanners, ScannerSwitchesFollowTheCheckBoxes)
{
    ConsoleSettings s = quiet_settings();
    s.tolerance = 11.0;
    set_button(s, "preserve", true);
    s.scanners = rows({{"c64", true}, {"ace", false}});
    EXPECT_EQ(prepare_console_command(s, 0, 0), std::string(EXE) + "-tol 11 -preserve -noace ");
}

// ---- additional parameters and operations ------------------------------------

TEST(ConsoleCommand, OperationPieces)
{
    const std::string p = "/tapes/Game's.tap";
    EXPECT_EQ(console_operation_piece(ConsoleOperation::Test, p), "-t \"/tapes/Game's.tap\"");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::Clean, p), "-o \"/tapes/Game's.tap\"");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::Batch, "/tapes"), "-b \"/tapes\" ");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::ConvertV0, p),
              "-ct0 \"/tapes/Game's.tap\" ");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::ConvertV1, p),
              "-ct1 \"/tapes/Game's.tap\" ");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::RecordAu, p),
              "-au \"/tapes/Game's.tap\" ");
    EXPECT_EQ(console_operation_piece(ConsoleOperation::RecordWav, p),
              "-wav \"/tapes/Game's.tap\" ");
}

TEST(ConsoleCommand, FullLineOfTest)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::Test,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -nobleep -foo bar "
              "-t \"/tapes/Game's.tap\"");
}

TEST(ConsoleCommand, FullLineOfClean)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::Clean,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -nobleep -foo bar "
              "-o \"/tapes/Game's.tap\"");
}

TEST(ConsoleCommand, FullLineOfBatch)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::Batch,
                                    "/tapes/My Collection"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -incsubdirs -sortbycrc "
              "-nobleep -foo bar -b \"/tapes/My Collection\" ");
}

TEST(ConsoleCommand, FullLineOfConvertToV0)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::ConvertV0,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -nobleep "
              "-ct0 \"/tapes/Game's.tap\" ");
}

TEST(ConsoleCommand, FullLineOfConvertToV1)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::ConvertV1,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -nobleep "
              "-ct1 \"/tapes/Game's.tap\" ");
}

TEST(ConsoleCommand, FullLineOfRecordAsSunAu)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::RecordAu,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -sine -nobleep "
              "-au \"/tapes/Game's.tap\" ");
}

TEST(ConsoleCommand, FullLineOfRecordAsWav)
{
    EXPECT_EQ(build_console_command(typical_settings(), ConsoleOperation::RecordWav,
                                    "/tapes/Game's.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -sine -nobleep "
              "-wav \"/tapes/Game's.tap\" ");
}

TEST(ConsoleCommand, EmptyAdditionalParametersWriteNothing)
{
    ConsoleSettings s = quiet_settings();
    s.additional_params = "";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/t/a.tap"),
              "'/usr/local/bin/quillmar' -t \"/t/a.tap\"");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Batch, "/t"),
              "'/usr/local/bin/quillmar' -b \"/t\" ");
}

TEST(ConsoleCommand, BlanksOnlyAdditionalParametersArePassed)
{
    ConsoleSettings s = quiet_settings();
    s.additional_params = "   ";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/t/a.tap"),
              "'/usr/local/bin/quillmar'     -t \"/t/a.tap\"");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Clean, "/t/a.tap"),
              "'/usr/local/bin/quillmar'     -o \"/t/a.tap\"");
}

TEST(ConsoleCommand, AdditionalParametersAreVerbatim)
{
    ConsoleSettings s = quiet_settings();
    s.additional_params = " -x  'y z' \"w\" ";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Batch, "/t"),
              "'/usr/local/bin/quillmar'  -x  'y z' \"w\"  -b \"/t\" ");
}

TEST(ConsoleCommand, ConvertAndRecordNeverPassAdditionalParameters)
{
    ConsoleSettings s = quiet_settings();
    s.additional_params = "-foo";
    EXPECT_EQ(build_console_command(s, ConsoleOperation::ConvertV0, "/t/a.tap"),
              "'/usr/local/bin/quillmar' -ct0 \"/t/a.tap\" ");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::ConvertV1, "/t/a.tap"),
              "'/usr/local/bin/quillmar' -ct1 \"/t/a.tap\" ");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::RecordAu, "/t/a.tap"),
              "'/usr/local/bin/quillmar' -au \"/t/a.tap\" ");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::RecordWav, "/t/a.tap"),
              "'/usr/local/bin/quillmar' -wav \"/t/a.tap\" ");
}

TEST(ConsoleCommand, TestBatchAndRecordSwitchesOnlyWithTheirOperation)
{
    ConsoleSettings s = quiet_settings();
    set_button(s, "incsubdirs", true);
    set_button(s, "sortbycrc", true);
    set_button(s, "sine", true);
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "a"),
              "'/usr/local/bin/quillmar' -t \"a\"");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Clean, "a"),
              "'/usr/local/bin/quillmar' -o \"a\"");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::ConvertV1, "a"),
              "'/usr/local/bin/quillmar' -ct1 \"a\" ");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Batch, "a"),
              "'/usr/local/bin/quillmar' -incsubdirs -sortbycrc -b \"a\" ");
    EXPECT_EQ(build_console_command(s, ConsoleOperation::RecordAu, "a"),
              "'/usr/local/bin/quillmar' -sine -au \"a\" ");
}

TEST(ConsoleCommand, ExcludeAllLineEndsItsOptionPartWithDoC64)
{
    ConsoleSettings s = typical_settings();
    s.excludeall = true;
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/tapes/x.tap"),
              "'/usr/local/bin/quillmar' -tol 12 -doprg -prgunite -doc64 -foo bar "
              "-t \"/tapes/x.tap\"");
}

TEST(ConsoleCommand, TapePathWithApostropheAndBlanksIsOnlyDoubleQuoted)
{
    ConsoleSettings s = quiet_settings();
    EXPECT_EQ(build_console_command(s, ConsoleOperation::Test, "/my tapes/Zo\xC3\xAB's game.tap"),
              "'/usr/local/bin/quillmar' -t \"/my tapes/Zo\xC3\xAB's game.tap\"");
}

// ---- names, move and split ---------------------------------------------------

TEST(ConsoleNames, CleanedNames)
{
    EXPECT_EQ(cleaned_tape_name("game.DMP"), "clean.game.tap");
    EXPECT_EQ(cleaned_tape_name("x.dmp.DMP"), "clean.x.dmp.tap");
    EXPECT_EQ(cleaned_tape_name("a.DMP.dmp"), "clean.a.tap");
    EXPECT_EQ(cleaned_tape_name("game.Dmp"), "clean.game.Dmp");
    EXPECT_EQ(cleaned_tape_name("game.tap"), "clean.game.tap");
    EXPECT_EQ(cleaned_tape_name("game.dmp"), "clean.game.tap");
    EXPECT_EQ(cleaned_tape_name("x.DMP.tap"), "clean.x.DMP.tap");
    EXPECT_EQ(cleaned_tape_name("a.dmp.b.dmp"), "clean.a.dmp.b.tap");
    EXPECT_EQ(cleaned_tape_name("Zo\xC3\xAB's tape.DMP"), "clean.Zo\xC3\xAB's tape.tap");
    EXPECT_EQ(cleaned_tape_name(".DMP"), "clean..tap");
    EXPECT_EQ(cleaned_tape_name("GAMEDMP"), "clean.GAMEDMP");
}

TEST(ConsoleNames, ConvertedNames)
{
    EXPECT_EQ(converted_tape_name("game.DMP"), "converted.game.tap");
    EXPECT_EQ(converted_tape_name("x.dmp.DMP"), "converted.x.dmp.tap");
    EXPECT_EQ(converted_tape_name("a.DMP.dmp"), "converted.a.tap");
    EXPECT_EQ(converted_tape_name("game.Dmp"), "converted.game.Dmp");
    EXPECT_EQ(converted_tape_name("game.tap"), "converted.game.tap");
    EXPECT_EQ(converted_tape_name("game.TAP"), "converted.game.TAP");
}

TEST(ConsoleNames, MoveCommandPiece)
{
    EXPECT_EQ(move_command_piece("clean.game.tap", "/my tapes/clean.game.tap"),
              ";mv -f \"clean.game.tap\" \"/my tapes/clean.game.tap\"");
    EXPECT_EQ(move_command_piece("clean.Zo's.tap", "/t/clean.Zo's.tap"),
              ";mv -f \"clean.Zo's.tap\" \"/t/clean.Zo's.tap\"");
}

TEST(ConsoleSplit, EmptyPiecesAreSkipped)
{
    EXPECT_EQ(split_console_command("a;b;;c"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(split_console_command(";a;"), (std::vector<std::string>{"a"}));
    EXPECT_EQ(split_console_command(";;;"), (std::vector<std::string>{}));
    EXPECT_EQ(split_console_command(""), (std::vector<std::string>{}));
}

TEST(ConsoleSplit, LineWithoutSeparatorIsOnePiece)
{
    EXPECT_EQ(split_console_command("'/bin/quillmar' -t \"/a b.tap\""),
              (std::vector<std::string>{"'/bin/quillmar' -t \"/a b.tap\""}));
}

TEST(ConsoleSplit, BlanksBetweenSeparatorsAreKept)
{
    EXPECT_EQ(split_console_command(" ; x ;"), (std::vector<std::string>{" ", " x "}));
}

TEST(ConsoleSplit, CleanWithMoveSplitsIntoConsoleRunAndMove)
{
    ConsoleSettings s = quiet_settings();
    const std::string line =
        build_console_command(s, ConsoleOperation::Clean, "/my tapes/game.DMP") +
        move_command_piece(cleaned_tape_name("game.DMP"), "/my tapes/clean.game.tap");
    EXPECT_EQ(line, "'/usr/local/bin/quillmar' -o \"/my tapes/game.DMP\";"
                    "mv -f \"clean.game.tap\" \"/my tapes/clean.game.tap\"");
    EXPECT_EQ(split_console_command(line),
              (std::vector<std::string>{"'/usr/local/bin/quillmar' -o \"/my tapes/game.DMP\"",
                                        "mv -f \"clean.game.tap\" \"/my tapes/clean.game.tap\""}));
}

TEST(ConsoleSplit, SemicolonInATapePathSplitsTheLine)
{
    ConsoleSettings s = quiet_settings();
    EXPECT_EQ(split_console_command(build_console_command(s, ConsoleOperation::Test, "/t/a;b.tap")),
              (std::vector<std::string>{"'/usr/local/bin/quillmar' -t \"/t/a", "b.tap\""}));
}
