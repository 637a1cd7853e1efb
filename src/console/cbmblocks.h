// CBM ROM copies taken together: every block is recorded twice (FIRST and
// REPEAT), and the programs of a tape are its data blocks announced by a
// program header.
#pragma once

#include "core/tapescan.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One block: the indexes (into scan.entries) of its FIRST and REPEAT copies,
// -1 when that copy is missing. A REPEAT copy belongs to the FIRST copy of the
// same type when no other file lies between them (pauses and unrecognised
// stretches may); every other copy is a block of its own.
struct CbmBlock {
    int first = -1;
    int repeat = -1;
    bool header = false;
};

std::vector<CbmBlock> cbm_blocks(const TapeScan &scan);

// The copy whose payload stands for the block: the FIRST copy when its
// checkbyte passed, else the REPEAT copy when its checkbyte passed, else the
// FIRST copy (or the only one). *pass tells whether the chosen copy passed.
// (A program whose two copies each lost other bytes is put together from
// both: see merged_copies.)
int cbm_block_copy(const TapeScan &scan, const CbmBlock &block, bool *pass);

// A program: a data block whose load and end addresses come from a header of
// type 1 (relocatable) or 3 (non-relocatable program).
struct CbmProgram {
    int entry = -1;           // index of the chosen data copy
    bool pass = false;        // its checkbyte passed
    int header_entry = -1;    // the header the addresses came from
    std::string name;         // the header's name in ASCII
    std::string format = "CBM";  // the format, for a program without a name
    uint16_t load_address = 0;
    const std::vector<uint8_t> *data = nullptr;  // the chosen copy's payload
    // Both copies lost bytes in dropouts, each where the other read them:
    // the bytes put together (data points here) match the checkbyte.
    bool merged = false;
    std::shared_ptr<const std::vector<uint8_t>> merged_bytes;
};

// The payload of a block whose two copies both failed only because each
// lost bytes in dropouts: every byte from a copy that read it, and the
// result's XOR equal to the checkbyte a copy read. Null when they cannot be
// put together so (a byte lost in both, copies that disagree, sizes that
// differ, a checkbyte that does not match).
std::shared_ptr<const std::vector<uint8_t>> merged_copies(const TapeEntry &a, const TapeEntry &b);

// The programs of a tape in tape order. Data blocks that are no program
// (no header before them, or a header of another type) are counted in
// *skipped when it is given.
std::vector<CbmProgram> cbm_programs(const TapeScan &scan, unsigned *skipped = nullptr);

// The tape's CBM CRC: zlib's CRC-32 run over the payloads of every CBM ROM
// block in tape order, each taken from the copy cbm_block_copy chooses. It
// depends on the recorded contents only, so two dumps of the same tape that
// read correctly have the same CBM CRC; 0 for a tape without CBM ROM blocks.
uint32_t cbm_crc(const TapeScan &scan);
