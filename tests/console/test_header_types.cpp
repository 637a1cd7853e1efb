// Header types on one tape: a non-relocatable program (type 3), a sequential
// file (type 4) with its data block, an end-of-tape header (type 5), and a
// data block with no header before it. Only data announced by a program
// header (type 1 or 3) becomes a PRG file; LA/EA/SZ stand with headers and
// with the data that follows one.
#include "console_support.h"

#include "core/cbmencode.h"

namespace {

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// The report's entry blocks, each from its "File Type: " line to the next.
std::vector<std::string> entry_blocks(const std::string &report)
{
    std::vector<std::string> blocks;
    std::size_t at = report.find("\nFile Type: ");
    while (at != std::string::npos) {
        const std::size_t next = report.find("\nFile Type: ", at + 1);
        blocks.push_back(report.substr(at + 1, next == std::string::npos ? std::string::npos : next - at));
        at = next;
    }
    return blocks;
}

// A block recorded twice, as SAVE does: FIRST with its leader, 79 S, REPEAT, 78 S.
void both_copies(Bytes &tap, const Bytes &payload, std::size_t leader)
{
    const CbmPulseSet p;
    cbm_append_copy(tap, payload.data(), payload.size(), false, leader, p);
    cbm_append_copy(tap, payload.data(), payload.size(), true, CBM_COPY_GAP_PULSES, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
}

Bytes random_bytes(std::size_t size, uint32_t seed)
{
    const Bytes prg = make_prg(0, size, seed);
    return Bytes(prg.begin() + 2, prg.end());
}

} // namespace

TEST_F(ConsoleTest, OnlyProgramHeadersGivePrgFilesAndHeaderlessDataHasNoAddresses)
{
    const Bytes lone = random_bytes(100, 1);      // no header before it
    const Bytes program = random_bytes(150, 2);   // after a type 3 header
    Bytes seq_block = random_bytes(192, 3);       // a sequential file's data block
    seq_block[0] = 2;
    const uint32_t pause = 2 * machine_clock_hz(false, false);

    Bytes tap = tap_file_header(1, false, false, 0);
    both_copies(tap, lone, CBM_DATA_LEADER_PULSES);
    tap_append_pause(tap, pause, 1);
    both_copies(tap, cbm_header_payload(CBM_HEADER_ABSOLUTE, 0xC000, 0xC096, "MCODE"), CBM_HEADER_LEADER_PULSES);
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, 1);
    both_copies(tap, program, CBM_DATA_LEADER_PULSES);
    tap_append_pause(tap, pause, 1);
    both_copies(tap, cbm_header_payload(CBM_HEADER_SEQ, 0x033C, 0x03FC, "NOTES"), CBM_HEADER_LEADER_PULSES);
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, 1);
    both_copies(tap, seq_block, CBM_DATA_LEADER_PULSES);
    tap_append_pause(tap, pause, 1);
    both_copies(tap, cbm_header_payload(CBM_HEADER_END_OF_TAPE, 0x0000, 0x0000, "THE END"), CBM_HEADER_LEADER_PULSES);
    tap_fix_data_size(tap);
    const std::string tape = path("types.tap");
    write_bytes(tape, tap);

    const ProgramRun r = run({"-doprg", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(report_path(), tape);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 12 of 12 checksummed files OK");

    // 1-2 lone data, 3 pause, 4-5 header type 3, 6 pause, 7-8 its data, 9 pause,
    // 10-11 header type 4, 12 pause, 13-14 its data block, 15 pause, 16-17 header type 5.
    const std::vector<std::string> blocks = entry_blocks(text);
    ASSERT_EQ(blocks.size(), 17u);
    const auto type_of = [&](std::size_t i) { return report_value(blocks[i], "File Type: "); };
    const auto la_of = [&](std::size_t i) { return report_value(blocks[i], "LA: "); };
    const auto name_of = [&](std::size_t i) { return report_value(blocks[i], "File Name: "); };
    for (std::size_t i : {2u, 5u, 8u, 11u, 14u})
        EXPECT_EQ(type_of(i), "PAUSE") << i;
    for (std::size_t i : {3u, 4u, 9u, 10u, 15u, 16u})
        EXPECT_EQ(type_of(i), "C64 ROM-TAPE HEADER") << i;
    for (std::size_t i : {0u, 1u, 6u, 7u, 12u, 13u})
        EXPECT_EQ(type_of(i), "C64 ROM-TAPE DATA") << i;

    // Data without a header: no LA/EA/SZ, no name.
    for (std::size_t i : {0u, 1u}) {
        EXPECT_EQ(la_of(i), "<none>") << blocks[i];
        EXPECT_EQ(name_of(i), "<none>") << blocks[i];
        EXPECT_EQ(report_value(blocks[i], "CRC32: "), crc_text(lone));
    }
    // Type 3 and the program after it.
    for (std::size_t i : {3u, 4u, 6u, 7u}) {
        EXPECT_EQ(la_of(i), "$C000  EA: $C096  SZ: 150") << i;
        EXPECT_EQ(name_of(i), "MCODE") << i;
    }
    EXPECT_EQ(report_value(blocks[6], "CRC32: "), crc_text(program));
    // Type 4 and its data block, which shows the header's buffer addresses.
    for (std::size_t i : {9u, 10u, 12u, 13u}) {
        EXPECT_EQ(la_of(i), "$033C  EA: $03FC  SZ: 192") << i;
        EXPECT_EQ(name_of(i), "NOTES") << i;
    }
    EXPECT_EQ(report_value(blocks[12], "CRC32: "), crc_text(seq_block));
    // Type 5.
    for (std::size_t i : {15u, 16u}) {
        EXPECT_EQ(la_of(i), "$0000  EA: $0000  SZ: 0") << i;
        EXPECT_EQ(name_of(i), "THE END") << i;
    }

    // One PRG: the program of the type 3 header, at its own load address. The
    // lone data and the sequential file's block are counted as skipped.
    Bytes expected = {0x00, 0xC0};
    expected.insert(expected.end(), program.begin(), program.end());
    EXPECT_EQ(prg_files(), std::vector<std::string>{"007-MCODE.prg"});
    EXPECT_EQ(read_bytes(bin + "/prg/007-MCODE.prg"), expected);
    EXPECT_TRUE(contains(text, "Note: 2 data block(s) without a program header; no PRG file for them\n")) << text;
}
