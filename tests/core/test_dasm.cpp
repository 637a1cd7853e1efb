// The disassembler: code marking, the two optimization rules and their
// counter, targets and labels, the listing layout.
#include "core/dasm.h"

#include "dasm_testing.h"

#include <gtest/gtest.h>

using namespace dasm_testing;

namespace {

const std::string RTS = line("RTS           ") + "\n";

}  // namespace

TEST(DasmListing, AllZeroFileListsAsDataLinesOf16)
{
    std::string expected = header(0, 0x1000) + data_line("1000", 0, 16) + data_line("1010", 0, 16) +
                           data_line("1020", 0, 8) + "\n";
    EXPECT_EQ(run(prg(0x1000, repeat(0x00, 40))), expected);
}

TEST(DasmListing, LoneTwoByteInstructionBetweenDataBecomesData)
{
    // LDA #$05 between two BRK bytes: an island of two code bytes.
    EXPECT_EQ(run(prg(0x1000, {0x00, 0xA9, 0x05, 0x00})),
              header(2, 0x1000) + "\nT1000   .byte $00,$A9,$05,$00" + "\n");
}

TEST(DasmListing, FiveEqualBytesBecomeDataAlthoughTheyDecode)
{
    // LDA #$A9, LDA #$A9, LDA #$EA: the run of five $A9 is data; the byte
    // after it (the last operand) is listed as an instruction of its own.
    auto file = prg(0x1000, join({repeat(0xA9, 5), repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file), header(1, 0x1000) + "\nT1000   .byte $A9,$A9,$A9,$A9,$A9" + "\n" + nops(9) + RTS + "\n");
}

TEST(DasmListing, FiveNopsStayInstructions)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 5), {0x60}}))), header(0, 0x1000) + nops(5) + RTS + "\n");
}

TEST(DasmListing, OnlyRepeatRuleChangingReportsOneOptimization)
{
    std::string listing = run(prg(0x1000, join({repeat(0xE8, 5), repeat(0xEA, 9), {0x60}})));
    EXPECT_EQ(listing, header(1, 0x1000) + "\nT1000   .byte $E8,$E8,$E8,$E8,$E8" + "\n" + nops(9) + RTS + "\n");
    EXPECT_NE(listing.find("; DASM performed 1 optimization\n;"), std::string::npos);
}

TEST(DasmListing, IslandRuleCountsTwoPerPassWhateverItChanged)
{
    // Two islands in one pass: the rule adds 1, the pass adds 1.
    EXPECT_EQ(run(prg(0x1000, {0x00, 0xA9, 0x05, 0x00, 0xE8, 0xE8, 0x00})),
              header(2, 0x1000) + "\nT1000   .byte $00,$A9,$05,$00,$E8,$E8,$00" + "\n");
}

TEST(DasmListing, CodeAtZeroBeforeDataBecomesDataUncounted)
{
    EXPECT_EQ(run(prg(0x1000, {0xE8, 0x00, 0x00})), header(0, 0x1000) + "\nT1000   .byte $E8,$00,$00" + "\n");
}

TEST(DasmListing, NineCodeBytesFromPositionZeroBeforeDataBecomeData)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 9), {0x00}}))),
              header(2, 0x1000) + "\nT1000   .byte $EA,$EA,$EA,$EA,$EA,$EA,$EA,$EA,$EA,$00" + "\n");
}

TEST(DasmListing, TenCodeBytesFromPositionZeroStayCode)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 10), {0x00}}))),
              header(0, 0x1000) + nops(10) + "\n" + "\nT100A   .byte $00" + "\n");
}

TEST(DasmListing, EightCodeBytesBetweenDataBecomeData)
{
    EXPECT_EQ(run(prg(0x1000, join({{0x00}, repeat(0xEA, 8), {0x00}}))),
              header(2, 0x1000) + "\nT1000   .byte $00,$EA,$EA,$EA,$EA,$EA,$EA,$EA,$EA,$00" + "\n");
}

TEST(DasmListing, NineCodeBytesBetweenDataStayCode)
{
    EXPECT_EQ(run(prg(0x1000, join({{0x00}, repeat(0xEA, 9), {0x00}}))),
              header(0, 0x1000) + "\nT1000   .byte $00" + "\n" + nops(9) + "\n" + "\nT100A   .byte $00" + "\n");
}

TEST(DasmListing, CodeRunReachingTheEndStaysCode)
{
    EXPECT_EQ(run(prg(0x1000, {0x00, 0xEA, 0xEA})), header(0, 0x1000) + "\nT1000   .byte $00" + "\n" + nops(2) + "\n");
}

TEST(DasmListing, EndOfFileRunCountsTheByteAtQTwoEqualBytesBecomeData)
{
    // The byte at q counts: $E8 $E8 at the end are two equal bytes.
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 10), repeat(0xE8, 2)}))),
              header(1, 0x1000) + nops(10) + "\n" + "\nT100A   .byte $E8,$E8" + "\n");
}

TEST(DasmListing, ThreeEqualBytesEndingTheFileBecomeData)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 10), repeat(0xE8, 3)}))),
              header(1, 0x1000) + nops(10) + "\n" + "\nT100A   .byte $E8,$E8,$E8" + "\n");
}

TEST(DasmListing, FourEqualBytesEndingTheFileBecomeData)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 10), repeat(0xE8, 4)}))),
              header(1, 0x1000) + nops(10) + "\n" + "\nT100A   .byte $E8,$E8,$E8,$E8" + "\n");
}

TEST(DasmListing, OneByteEndingTheFileStaysCode)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 10), {0xE8}}))),
              header(0, 0x1000) + nops(10) + line("INX           ") + "\n");
}

TEST(DasmListing, ShortBranchPrintsRelativeOffsetWithoutLabel)
{
    // BNE $FB: offset -5, printed as *-3; $1000 gets no label.
    EXPECT_EQ(run(prg(0x1000, {0xEA, 0xEA, 0xEA, 0xD0, 0xFB, 0x60})),
              header(0, 0x1000) + nops(3) + line("BNE *-3       ") + RTS + "\n");
}

TEST(DasmListing, ForwardShortBranchEndsAtPlusSix)
{
    // BEQ +6 is short (*+8); BEQ +7 gets a label at its target $200B.
    auto file = prg(0x2000, join({{0xF0, 0x06, 0xF0, 0x07}, repeat(0xEA, 12), {0x60}}));
    EXPECT_EQ(run(file), header(0, 0x2000) + line("BEQ *+8       ") + line("BEQ B200B     ") + nops(7) +
                             "\nB200B   NOP           " + nops(4) + RTS + "\n");
}

TEST(DasmListing, BackwardShortBranchEndsAtMinusTen)
{
    // BEQ -10 is short (*-8); BEQ -11 gets a label at $2005.
    auto file = prg(0x2000, join({repeat(0xEA, 12), {0xF0, 0xF6, 0xF0, 0xF5, 0x60}}));
    EXPECT_EQ(run(file), header(0, 0x2000) + nops(5) + "\nB2005   NOP           " + nops(6) +
                             line("BEQ *-8       ") + line("BEQ B2005     ") + RTS + "\n");
}

TEST(DasmListing, JsrOutsidePrintsDollarInsidePrintsLabel)
{
    auto file = prg(0x1000, {0x20, 0x00, 0x20, 0x20, 0x0A, 0x10, 0xEA, 0xEA, 0xEA, 0xEA, 0x60});
    EXPECT_EQ(run(file), header(0, 0x1000, "", "\n;   100A: 1003 ") + line("JSR $2000     ") +
                             line("JSR S100A     ") + nops(4) + "\nS100A   RTS           \n" + "\n");
}

TEST(DasmListing, SubroutineCallsListEveryCallerInOrder)
{
    auto file = prg(0x1000, join({{0x20, 0x0E, 0x10, 0x20, 0x10, 0x10, 0x20, 0x0E, 0x10}, repeat(0xEA, 6),
                                  {0x60, 0xEA, 0x60}}));
    EXPECT_EQ(run(file), header(0, 0x1000, "", "\n;   100E: 1000 1006 \n;   1010: 1003 ") +
                             line("JSR S100E     ") + line("JSR S1010     ") + line("JSR S100E     ") +
                             nops(5) + "\nS100E   NOP           " + RTS + "\nS1010   NOP           " + RTS +
                             "\n");
}

TEST(DasmListing, JumpTargetsGetJUnlessAlsoCalled)
{
    auto file = prg(0x1000, {0x4C, 0x0A, 0x10, 0x20, 0x0A, 0x10, 0x4C, 0x0B, 0x10, 0xEA, 0xEA, 0x60});
    EXPECT_EQ(run(file), header(0, 0x1000, "", "\n;   100A: 1003 ", "\n;   100A: 1000 \n;   100B: 1006 ") +
                             line("JMP S100A     ") + "\n" + line("JSR S100A     ") + line("JMP J100B     ") +
                             "\n" + nops(1) + "\nS100A   NOP           " + "\nJ100B   RTS           \n" + "\n");
}

TEST(DasmListing, BranchLabelWinsOverSubroutineLabel)
{
    auto file = prg(0x1000, join({{0xD0, 0x0C, 0x20, 0x0E, 0x10}, repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file), header(0, 0x1000, "", "\n;   100E: 1002 ") + line("BNE B100E     ") +
                             line("JSR B100E     ") + nops(9) + "\nB100E   RTS           \n" + "\n");
}

TEST(DasmListing, DataReferencesStartLinesAndDataTargetsPrintT)
{
    // LDA $1015, STA $101A, JSR $1013 (a data byte: "T", but no new line).
    auto file = prg(0x1000, join({{0xAD, 0x15, 0x10, 0x8D, 0x1A, 0x10, 0x20, 0x13, 0x10, 0x60}, repeat(0, 22)}));
    EXPECT_EQ(run(file), header(0, 0x1000, "", "\n;   1013: 1006 ") + line("LDA T1015     ") +
                             line("STA T101A     ") + line("JSR T1013     ") + RTS + "\n" +
                             data_line("100A", 0, 6) + data_line("1010", 0, 5) + data_line("1015", 0, 5) +
                             data_line("101A", 0, 6) + "\n");
}

TEST(DasmListing, DataLinesBreakAtMultiplesOfSixteenFromTheLoadAddress)
{
    auto file = prg(0x1000, join({repeat(0xEA, 9), {0x60}, repeat(0, 31)}));
    EXPECT_EQ(run(file), header(0, 0x1000) + nops(9) + RTS + "\n" + data_line("100A", 0, 6) +
                             data_line("1010", 0, 16) + data_line("1020", 0, 9) + "\n");
}

TEST(DasmListing, DataLinesCountFromTheLoadAddressNotFromPageBoundaries)
{
    auto file = prg(0x1008, repeat(0, 20));
    EXPECT_EQ(run(file), header(0, 0x1008) + data_line("1008", 0, 16) + data_line("1018", 0, 4) + "\n");
}

TEST(DasmListing, InstructionRightAfterOriginHasNoEmptyLine)
{
    EXPECT_EQ(run(prg(0x1000, join({repeat(0xEA, 3), {0x60}}))), header(0, 0x1000) + nops(3) + RTS + "\n");
}

TEST(DasmListing, DataRightAfterOriginStartsALineAndCodeAfterDataGetsAnEmptyLine)
{
    EXPECT_EQ(run(prg(0x1000, join({{0x00}, repeat(0xEA, 9), {0x60}}))),
              header(0, 0x1000) + "\nT1000   .byte $00" + "\n" + nops(9) + RTS + "\n");
}

TEST(DasmListing, DataAfterFlowEndingInstructionGetsItsOwnEmptyLine)
{
    // RTS closes its block with an empty line; the data line adds another.
    std::string listing = run(prg(0x1000, join({repeat(0xEA, 9), {0x60, 0x00}})));
    EXPECT_EQ(listing, header(0, 0x1000) + nops(9) + "\n        RTS           \n\n\nT100A   .byte $00" + "\n");
}

TEST(DasmListing, FlowEndingInstructionsCloseTheirBlock)
{
    // RTI, JMP $2000, JMP ($2000), RTS, each followed by NOP.
    auto file = prg(0x1000, {0x40, 0xEA, 0x4C, 0x00, 0x20, 0xEA, 0x6C, 0x00, 0x20, 0xEA, 0x60, 0xEA});
    EXPECT_EQ(run(file), header(0, 0x1000) + line("RTI           ") + "\n" + nops(1) + line("JMP $2000     ") +
                             "\n" + nops(1) + line("JMP ($2000)   ") + "\n" + nops(1) + RTS + nops(1) + "\n");
}

TEST(DasmListing, AccumulatorFormsPrintA)
{
    auto file = prg(0x1000, join({{0x0A, 0x2A, 0x4A, 0x6A}, repeat(0xEA, 6), {0x60}}));
    EXPECT_EQ(run(file), header(0, 0x1000) + line("ASL A         ") + line("ROL A         ") +
                             line("LSR A         ") + line("ROR A         ") + nops(6) + RTS + "\n");
}

TEST(DasmListing, UndocumentedOpcodeReachedInCodeListsAsData)
{
    // LDA $ADAD, LDA $02AD: after the run of $AD turns into data, the operand
    // $02 (JAM*) cannot be listed as an instruction and joins the data line.
    auto file = prg(0x1000, join({repeat(0xAD, 5), {0x02}, repeat(0xEA, 8), {0x60}}));
    EXPECT_EQ(run(file), header(1, 0x1000) + "\nT1000   .byte $AD,$AD,$AD,$AD,$AD,$02" + "\n" + nops(8) + RTS + "\n");
}

TEST(DasmListing, InstructionRunningPastTheEndListsAsData)
{
    auto file = prg(0x1000, {0xAD, 0xAD, 0xAD, 0xAD, 0xAD, 0x20});
    EXPECT_EQ(run(file), header(1, 0x1000) + "\nT1000   .byte $AD,$AD,$AD,$AD,$AD,$20" + "\n");
}

TEST(DasmListing, IoAreaCarriesNoLabelButDataLinesKeepT)
{
    // $CFF8 JSR $D002, JMP $D000 into the program's I/O part; two branches back to $CFF8.
    auto file = prg(0xCFF8, join({{0x20, 0x02, 0xD0, 0x4C, 0x00, 0xD0}, repeat(0xEA, 5),
                                  {0xD0, 0xF3, 0xD0, 0xF1, 0x60, 0x00, 0x00, 0x00}}));
    EXPECT_EQ(run(file), header(0, 0xCFF8, "\n;   CFF8: D003 D005 ", "\n;   D002: CFF8 ", "\n;   D000: CFFB ") +
                             "\nBCFF8   JSR $D002     " + line("JMP $D000     ") + "\n" + nops(5) +
                             line("BNE BCFF8     ") + line("BNE BCFF8     ") + RTS + "\n" +
                             "\nTD008   .byte $00,$00,$00" + "\n");
}

TEST(DasmListing, BranchIntoTheIoAreaPrintsDollarAndLabelsNothing)
{
    // $CFF0 BNE +16 reaches $D002 inside the program, in the I/O area.
    auto file = prg(0xCFF0, join({{0xD0, 0x10}, repeat(0xEA, 18), {0x60}}));
    EXPECT_EQ(run(file), header(0, 0xCFF0) + line("BNE $D002     ") + nops(18) + RTS + "\n");
}

TEST(DasmListing, AddressesWrapAroundTheTopOfMemory)
{
    // Loaded at $FFF0: JSR $0002 calls position 18, inside the program.
    auto file = prg(0xFFF0, join({{0x20, 0x02, 0x00}, repeat(0xEA, 15), {0x60}}));
    EXPECT_EQ(run(file), header(0, 0xFFF0, "", "\n;   0002: FFF0 ") + line("JSR S0002     ") + nops(15) +
                             "\nS0002   RTS           \n" + "\n");
}

TEST(DasmCrossReference, BranchWindowMissesTheFarthestForwardReferrers)
{
    // Target $107E (position 126) is reached from $1000 (+124), $1078 (+4,
    // short) and $108C (-16); the window starts at position 1 and misses $1000.
    std::vector<uint8_t> bytes = repeat(0xEA, 150);
    bytes[0] = 0x10, bytes[1] = 0x7C;
    bytes[120] = 0x10, bytes[121] = 0x04;
    bytes[140] = 0x10, bytes[141] = 0xF0;
    bytes[149] = 0x60;
    std::string listing = run(prg(0x1000, bytes));
    std::string expected_header = header(0, 0x1000, "\n;   107E: 1078 108C ");
    EXPECT_EQ(listing.substr(0, expected_header.size()), expected_header);
    EXPECT_EQ(listing.substr(expected_header.size(), 23), line("BPL B107E     "));
    EXPECT_NE(listing.find(line("BPL *+6       ")), std::string::npos);
    EXPECT_NE(listing.find("\nB107E   NOP           "), std::string::npos);
}

TEST(DasmCrossReference, BranchWindowStartsAtZeroNearTheStart)
{
    // Target $1014 (position 20) from $1000 (+18) and $1028 (-22).
    std::vector<uint8_t> bytes = repeat(0xEA, 60);
    bytes[0] = 0xD0, bytes[1] = 0x12;
    bytes[40] = 0xD0, bytes[41] = 0xEA;
    bytes[59] = 0x60;
    std::string listing = run(prg(0x1000, bytes));
    std::string expected_header = header(0, 0x1000, "\n;   1014: 1000 1028 ");
    EXPECT_EQ(listing.substr(0, expected_header.size()), expected_header);
}

TEST(DasmCrossReference, TargetWithOneReferrerIsNotListed)
{
    std::vector<uint8_t> bytes = repeat(0xEA, 60);
    bytes[0] = 0xD0, bytes[1] = 0x12;
    bytes[59] = 0x60;
    std::string listing = run(prg(0x1000, bytes));
    std::string expected_header = header(0, 0x1000);
    EXPECT_EQ(listing.substr(0, expected_header.size()), expected_header);
    EXPECT_NE(listing.find("\nB1014   NOP           "), std::string::npos);
}

TEST(DasmHeaderRange, ExcludedHeaderIsListedAsDataBlock)
{
    // $0330: 11 NOP, RTS, then 21 header bytes of $EA at $033C-$0350, 9 NOP, RTS.
    auto file = prg(0x0330, join({repeat(0xEA, 11), {0x60}, repeat(0xEA, 21), repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file, 1), header(0, 0x0330) + nops(11) + RTS + "\n\n; Cassette I/O Buffer - Header" +
                                data_line("033C", 0xEA, 4) + data_line("0340", 0xEA, 16) +
                                data_line("0350", 0xEA, 1) + "\n" + nops(9) + RTS + "\n");
}

TEST(DasmHeaderRange, IncludedHeaderIsDisassembled)
{
    auto file = prg(0x0330, join({repeat(0xEA, 11), {0x60}, repeat(0xEA, 21), repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file, 0), header(0, 0x0330) + nops(11) + RTS + nops(30) + RTS + "\n");
}

TEST(DasmHeaderRange, RealHeaderBytesAreNeverCode)
{
    // Type 3, start $0801, end $080D, name "HELLO" padded with blanks.
    auto header_bytes = join({{0x03, 0x01, 0x08, 0x0D, 0x08, 0x48, 0x45, 0x4C, 0x4C, 0x4F}, repeat(0x20, 11)});
    auto file = prg(0x0330, join({repeat(0xEA, 11), {0x60}, header_bytes, repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file, 1), header(0, 0x0330) + nops(11) + RTS + "\n\n; Cassette I/O Buffer - Header" +
                                "\nT033C   .byte $03,$01,$08,$0D" +
                                "\nT0340   .byte $08,$48,$45,$4C,$4C,$4F" + ",$20,$20,$20,$20,$20,$20,$20,$20,$20,$20" +
                                "\nT0350   .byte $20" + "\n" + nops(9) + RTS + "\n");
}

TEST(DasmHeaderRange, InstructionReachingIntoTheHeaderIsNotCode)
{
    // LDA $033C at $033A would cover $033C.
    auto bytes = join({repeat(0xEA, 10), {0xAD, 0x3C, 0x03}, repeat(0xEA, 20), repeat(0xEA, 9), {0x60}});
    EXPECT_EQ(run(prg(0x0330, bytes), 1),
              header(0, 0x0330) + nops(10) + "\n" + "\nT033A   .byte $AD,$3C" + "\n\n; Cassette I/O Buffer - Header" +
                  "\nT033C   .byte $03,$EA,$EA,$EA" + data_line("0340", 0xEA, 16) + data_line("0350", 0xEA, 1) +
                  "\n" + nops(9) + RTS + "\n");
    EXPECT_EQ(run(prg(0x0330, bytes), 0),
              header(0, 0x0330) + nops(10) + line("LDA $033C     ") + nops(29) + RTS + "\n");
}

TEST(DasmHeaderRange, DataAfterTheHeaderStartsALineWithoutExtraEmptyLine)
{
    auto file = prg(0x0330, join({repeat(0xEA, 11), {0x60}, repeat(0xEA, 21), repeat(0x00, 3)}));
    EXPECT_EQ(run(file, 1), header(0, 0x0330) + nops(11) + RTS + "\n\n; Cassette I/O Buffer - Header" +
                                data_line("033C", 0xEA, 4) + data_line("0340", 0xEA, 16) +
                                data_line("0350", 0xEA, 1) + "\n" + "\nT0351   .byte $00,$00,$00" + "\n");
}

TEST(DasmHeaderRange, HeaderEndingTheFileStillClosesWithEmptyLine)
{
    auto file = prg(0x0330, join({repeat(0xEA, 11), {0x60}, repeat(0xEA, 4)}));
    EXPECT_EQ(run(file, 1), header(0, 0x0330) + nops(11) + RTS + "\n\n; Cassette I/O Buffer - Header" +
                                data_line("033C", 0xEA, 4) + "\n" + "\n");
}

TEST(DasmHeaderRange, ProgramStartingInsideTheHeader)
{
    auto file = prg(0x0340, join({repeat(0xEA, 17), repeat(0xEA, 9), {0x60}}));
    EXPECT_EQ(run(file, 1), header(0, 0x0340) + "\n\n; Cassette I/O Buffer - Header" + data_line("0340", 0xEA, 16) +
                                data_line("0350", 0xEA, 1) + "\n" + nops(9) + RTS + "\n");
}

TEST(DasmStages, AttributesOfMarkingAndTargets)
{
    // $1000 JSR $1005; RTS; NOP; $1005 NOP; LDA $100C; RTS; data $00 x3 ($100C referenced).
    const uint8_t data[] = {0x20, 0x05, 0x10, 0x60, 0xEA, 0xEA, 0xAD, 0x0C, 0x10, 0x60, 0x00, 0x00, 0x00};
    uint8_t attributes[sizeof data];
    dasm_mark_code(data, sizeof data, 0x1000, 0, attributes);
    const uint8_t marked[] = {0, DASM_OPERAND, DASM_OPERAND, 0, 0, 0, 0, DASM_OPERAND, DASM_OPERAND, 0,
                              DASM_DATA, DASM_DATA, DASM_DATA};
    for (size_t i = 0; i < sizeof data; ++i)
        EXPECT_EQ(attributes[i], marked[i]) << i;
    EXPECT_EQ(dasm_optimize(data, sizeof data, attributes), 0);
    dasm_mark_targets(data, sizeof data, 0x1000, attributes);
    EXPECT_EQ(attributes[5], DASM_JSR_TARGET);
    EXPECT_EQ(attributes[12], DASM_DATA | DASM_DATA_REFERENCE);
    EXPECT_EQ(attributes[11], DASM_DATA);
}
