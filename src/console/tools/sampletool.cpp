// qmsampletool: makes the sample material of the build folder.
//
//   qmsampletool prgs FOLDER      writes the three sample programs:
//       hello-basic.prg  BASIC at $0801: PRINT with {CLR}, colours, cursor
//                        moves and reverse video inside quotes, FOR/NEXT, POKE
//       mcode-demo.prg   machine code at $C000 (SYS 49152): CHROUT, GETIN,
//                        border and background ($D020/$D021), a SID tone
//       sys-boot.prg     "10 SYS2061" at $0801 followed by machine code
//   qmsampletool damage IN OUT    copies the tape, damaging the FIRST copy of
//       its first data block: one bit of payload byte 5 is turned over (its
//       two pulses swapped, so the checkbyte fails) and one short pulse of
//       byte 9 is made far too short (one read error)
//   qmsampletool damage-repeat IN OUT   the same on the REPEAT copy of the
//       first data block
//   qmsampletool noise IN OUT     copies the tape with 2000 pulses of noise
//       inserted after every program but the last (after the trailer of
//       each program's data REPEAT copy), so three programs get two runs
//   qmsampletool turbo-mix OUT    one tape holding, for every turbo loader
//       of a C64 TAP version 1, its CBM boot file followed by the sample
//       programs "MCODE DEMO" and "HELLO BASIC" in its format, one after
//       the other with pauses between
//
// The programs are written out byte by byte below; the tapes themselves are
// made from them by "quillmarfe-cli mktap" (see CMakeLists.txt).
#include "core/cbmscan.h"
#include "core/cbmencode.h"
#include "core/loaders/registry.h"
#include "core/tapescan.h"

#include <glib.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void add(Bytes &b, std::initializer_list<uint8_t> bytes) { b.insert(b.end(), bytes.begin(), bytes.end()); }
void add(Bytes &b, const char *text) { b.insert(b.end(), text, text + std::strlen(text)); }

// --- BASIC ------------------------------------------------------------------

// Tokens of CBM BASIC V2.
constexpr uint8_t T_END = 0x80, T_FOR = 0x81, T_NEXT = 0x82, T_POKE = 0x97, T_PRINT = 0x99, T_SYS = 0x9E,
                  T_TO = 0xA4, T_EQUAL = 0xB2;
// PETSCII control characters, as they stand between quotes.
constexpr uint8_t WHITE = 0x05, DOWN = 0x11, RVS_ON = 0x12, HOME = 0x13, RED = 0x1C, RIGHT = 0x1D, GREEN = 0x1E,
                  BLUE = 0x1F, RVS_OFF = 0x92, CLR = 0x93, UP = 0x91, LEFT = 0x9D, YELLOW = 0x9E,
                  LIGHT_BLUE = 0x9A;
constexpr uint8_t Q = '"';

struct BasicLine {
    uint16_t number;
    Bytes text;  // tokenised, without the link, number and end byte
};

// A BASIC program as a PRG: load address, then per line the link to the next
// line, the line number and the text ending in 0; two zero bytes end it.
Bytes basic_prg(uint16_t load, const std::vector<BasicLine> &lines)
{
    Bytes prg = {uint8_t(load & 0xFF), uint8_t(load >> 8)};
    uint16_t address = load;
    for (const BasicLine &l : lines) {
        const uint16_t next = uint16_t(address + 4 + l.text.size() + 1);
        add(prg, {uint8_t(next & 0xFF), uint8_t(next >> 8), uint8_t(l.number & 0xFF), uint8_t(l.number >> 8)});
        prg.insert(prg.end(), l.text.begin(), l.text.end());
        prg.push_back(0);
        address = next;
    }
    add(prg, {0, 0});
    return prg;
}

Bytes hello_basic()
{
    std::vector<BasicLine> lines(6);
    // 10 PRINT "{CLR}{WHT}HELLO FROM QUILLMAR"
    lines[0].number = 10;
    add(lines[0].text, {T_PRINT, ' ', Q, CLR, WHITE});
    add(lines[0].text, "HELLO FROM QUILLMAR");
    add(lines[0].text, {Q});
    // 20 PRINT "{DOWN}{DOWN}{RED}RED {GRN}GREEN {BLU}BLUE{LBLU}"
    lines[1].number = 20;
    add(lines[1].text, {T_PRINT, ' ', Q, DOWN, DOWN, RED});
    add(lines[1].text, "RED ");
    add(lines[1].text, {GREEN});
    add(lines[1].text, "GREEN ");
    add(lines[1].text, {BLUE});
    add(lines[1].text, "BLUE");
    add(lines[1].text, {LIGHT_BLUE, Q});
    // 30 FOR I=1 TO 3:PRINT "{RVS ON} LINE";I;"{RVS OFF}":NEXT
    lines[2].number = 30;
    add(lines[2].text, {T_FOR, ' ', 'I', T_EQUAL, '1', ' ', T_TO, ' ', '3', ':', T_PRINT, ' ', Q, RVS_ON});
    add(lines[2].text, " LINE");
    add(lines[2].text, {Q, ';', 'I', ';', Q, RVS_OFF, Q, ':', T_NEXT});
    // 40 POKE 53280,0:POKE 53281,6
    lines[3].number = 40;
    add(lines[3].text, {T_POKE, ' '});
    add(lines[3].text, "53280,0:");
    add(lines[3].text, {T_POKE, ' '});
    add(lines[3].text, "53281,6");
    // 50 PRINT "{HOME}{RIGHT}{RIGHT}{YEL}DONE{UP}{LEFT}"
    lines[4].number = 50;
    add(lines[4].text, {T_PRINT, ' ', Q, HOME, RIGHT, RIGHT, YELLOW});
    add(lines[4].text, "DONE");
    add(lines[4].text, {UP, LEFT, Q});
    // 60 END
    lines[5].number = 60;
    add(lines[5].text, {T_END});
    return basic_prg(0x0801, lines);
}

// --- Machine code -----------------------------------------------------------

Bytes mcode_demo()
{
    Bytes prg = {0x00, 0xC0};  // load address $C000
    add(prg, {
        0xA9, 0x93,             // C000  LDA #$93      clear screen
        0x20, 0xD2, 0xFF,       // C002  JSR $FFD2     CHROUT
        0xA9, 0x00,             // C005  LDA #$00
        0x8D, 0x20, 0xD0,       // C007  STA $D020     border black
        0xA9, 0x06,             // C00A  LDA #$06
        0x8D, 0x21, 0xD0,       // C00C  STA $D021     background blue
        0xA2, 0x00,             // C00F  LDX #$00
        0xBD, 0x45, 0xC0,       // C011  LDA $C045,X   message
        0xF0, 0x06,             // C014  BEQ $C01C
        0x20, 0xD2, 0xFF,       // C016  JSR $FFD2     CHROUT
        0xE8,                   // C019  INX
        0xD0, 0xF5,             // C01A  BNE $C011
        0xA9, 0x0F,             // C01C  LDA #$0F
        0x8D, 0x18, 0xD4,       // C01E  STA $D418     SID volume
        0xA9, 0x09,             // C021  LDA #$09
        0x8D, 0x05, 0xD4,       // C023  STA $D405     voice 1 attack/decay
        0xA9, 0x00,             // C026  LDA #$00
        0x8D, 0x06, 0xD4,       // C028  STA $D406     voice 1 sustain/release
        0xA9, 0x22,             // C02B  LDA #$22
        0x8D, 0x01, 0xD4,       // C02D  STA $D401     voice 1 frequency high
        0xA9, 0x4B,             // C030  LDA #$4B
        0x8D, 0x00, 0xD4,       // C032  STA $D400     voice 1 frequency low
        0xA9, 0x11,             // C035  LDA #$11
        0x8D, 0x04, 0xD4,       // C037  STA $D404     triangle, gate on
        0x20, 0xE4, 0xFF,       // C03A  JSR $FFE4     GETIN
        0xF0, 0xFB,             // C03D  BEQ $C03A     until a key
        0xA9, 0x10,             // C03F  LDA #$10
        0x8D, 0x04, 0xD4,       // C041  STA $D404     gate off
        0x60,                   // C044  RTS
    });
    if (prg.size() != 2 + 0x45)
        return {};  // the code must end where the message begins
    // C045: the message, ended by 0.
    add(prg, {0x0D});
    add(prg, "QUILLMAR SAMPLE TAPE");
    add(prg, {0x0D});
    add(prg, "PRESS A KEY");
    add(prg, {0x0D, 0x00});
    return prg;
}

Bytes sys_boot()
{
    Bytes prg = {0x01, 0x08};  // load address $0801
    // 10 SYS2061: link $080B, line 10, SYS, "2061", end of line; end of program.
    add(prg, {0x0B, 0x08, 0x0A, 0x00, T_SYS, '2', '0', '6', '1', 0x00, 0x00, 0x00});
    add(prg, {
        0xA2, 0x00,             // 080D  LDX #$00
        0xBD, 0x28, 0x08,       // 080F  LDA $0828,X   text
        0xF0, 0x06,             // 0812  BEQ $081A
        0x20, 0xD2, 0xFF,       // 0814  JSR $FFD2     CHROUT
        0xE8,                   // 0817  INX
        0xD0, 0xF5,             // 0818  BNE $080F
        0xEE, 0x20, 0xD0,       // 081A  INC $D020     flash the border
        0x20, 0xE4, 0xFF,       // 081D  JSR $FFE4     GETIN
        0xF0, 0xF8,             // 0820  BEQ $081A     until a key
        0xA9, 0x0E,             // 0822  LDA #$0E
        0x8D, 0x20, 0xD0,       // 0824  STA $D020     light blue border again
        0x60,                   // 0827  RTS
    });
    if (prg.size() != 2 + 0x27)
        return {};  // the code must end where the text begins
    // 0828: the text, ended by 0.
    add(prg, {0x0D});
    add(prg, "SYS BOOT SAMPLE - PRESS A KEY");
    add(prg, {0x0D, 0x00});
    return prg;
}

// --- Files ------------------------------------------------------------------

bool write_file(const std::string &path, const Bytes &bytes)
{
    GError *error = nullptr;
    if (g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(bytes.data()), gssize(bytes.size()), &error))
        return true;
    std::fprintf(stderr, "qmsampletool: %s\n", error->message);
    g_error_free(error);
    return false;
}

bool read_file(const std::string &path, Bytes &bytes)
{
    gchar *text = nullptr;
    gsize length = 0;
    GError *error = nullptr;
    if (!g_file_get_contents(path.c_str(), &text, &length, &error)) {
        std::fprintf(stderr, "qmsampletool: %s\n", error->message);
        g_error_free(error);
        return false;
    }
    bytes.assign(reinterpret_cast<uint8_t *>(text), reinterpret_cast<uint8_t *>(text) + length);
    g_free(text);
    return true;
}

int write_prgs(const std::string &folder)
{
    if (mcode_demo().empty() || sys_boot().empty()) {
        std::fprintf(stderr, "qmsampletool: a sample program is out of shape\n");
        return 1;
    }
    const bool ok = write_file(folder + "/hello-basic.prg", hello_basic()) &&
                    write_file(folder + "/mcode-demo.prg", mcode_demo()) &&
                    write_file(folder + "/sys-boot.prg", sys_boot());
    return ok ? 0 : 1;
}

// The first CBM ROM data copy of the tape with the wanted copy id.
const TapeEntry *first_data(const TapeScan &scan, CopyId copy)
{
    for (const TapeEntry &e : scan.entries)
        if (e.kind == EntryKind::File && e.type == CBM_TYPE_DATA && e.copy == copy)
            return &e;
    return nullptr;
}

// Damages the given copy of the first data block (see the top of this file).
int damage(const std::string &in, const std::string &out, CopyId copy)
{
    Bytes tape;
    if (!read_file(in, tape))
        return 1;
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    const TapeEntry *data = first_data(scan, copy);
    if (data == nullptr || data->payload.size() < 10 || scan.pulses.width != 1) {
        std::fprintf(stderr, "qmsampletool: %s: no TAP data block of at least 10 bytes\n", in.c_str());
        return 1;
    }
    // A byte is (L, M), then 8 bits and the parity bit as pulse pairs.
    const std::size_t byte5 = data->inner_start_pulse + 5 * CBM_PULSES_PER_BYTE;
    std::swap(tape[scan.pulses.offset(byte5 + 2)], tape[scan.pulses.offset(byte5 + 3)]);
    const std::size_t byte9 = data->inner_start_pulse + 9 * CBM_PULSES_PER_BYTE;
    for (std::size_t p = byte9 + 2; p < byte9 + 18; ++p) {
        if (scan.pulse_class(p) == PulseClass::Short) {
            tape[scan.pulses.offset(p)] = uint8_t(scan.pulses.units(p) / 2);
            break;
        }
    }
    return write_file(out, tape) ? 0 : 1;
}

int noise(const std::string &in, const std::string &out)
{
    Bytes tape;
    if (!read_file(in, tape))
        return 1;
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    std::vector<uint64_t> ends;  // last byte of every data REPEAT copy, in tape order
    for (const TapeEntry &e : scan.entries)
        if (e.kind == EntryKind::File && e.type == CBM_TYPE_DATA && e.copy == CopyId::Repeat)
            ends.push_back(e.end);
    if (ends.size() < 2) {
        std::fprintf(stderr, "qmsampletool: %s: fewer than two programs with a REPEAT data copy\n", in.c_str());
        return 1;
    }
    ends.pop_back();  // nothing after the last program
    // One generator for all runs, drawn in tape order, so the first run is
    // the same whatever follows it.
    std::vector<Bytes> runs(ends.size());
    uint32_t x = 20240607;
    for (Bytes &run : runs) {
        for (int i = 0; i < 2000; ++i) {
            x = x * 1103515245u + 12345u;
            run.push_back(uint8_t(0x20 + (x >> 16) % 0xC0));  // 0x20..0xDF: never silence
        }
    }
    // From the back, so the offsets of the earlier places stay valid.
    for (std::size_t i = ends.size(); i-- > 0;)
        tape.insert(tape.begin() + std::ptrdiff_t(ends[i] + 1), runs[i].begin(), runs[i].end());
    tap_fix_data_size(tape);
    return write_file(out, tape) ? 0 : 1;
}

int turbo_mix(const std::string &out)
{
    PrgInput mcode, hello;
    mcode.bytes = mcode_demo();
    mcode.name = "MCODE DEMO";
    hello.bytes = hello_basic();
    hello.name = "HELLO BASIC";
    Bytes tape = tap_file_header(1, false, false, 0);
    for (const TurboLoader &loader : turbo_loaders()) {
        std::string error;
        const Bytes one = loader.encode({mcode, hello}, turbo::TapeOptions(), error);
        if (one.empty()) {
            std::fprintf(stderr, "qmsampletool: %s: %s\n", loader.id, error.c_str());
            return 1;
        }
        if (one[TAP_OFFSET_VERSION] != 1 || one[TAP_OFFSET_PLATFORM] != 0)
            continue;  // another machine's tape
        tape.insert(tape.end(), one.begin() + TAP_HEADER_SIZE, one.end());
        tap_append_pause(tape, 2 * machine_clock_hz(false, false), 1);
    }
    tap_fix_data_size(tape);
    return write_file(out, tape) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "turbo-mix") == 0)
        return turbo_mix(argv[2]);
    if (argc == 3 && std::strcmp(argv[1], "prgs") == 0)
        return write_prgs(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "damage") == 0)
        return damage(argv[2], argv[3], CopyId::First);
    if (argc == 4 && std::strcmp(argv[1], "damage-repeat") == 0)
        return damage(argv[2], argv[3], CopyId::Repeat);
    if (argc == 4 && std::strcmp(argv[1], "noise") == 0)
        return noise(argv[2], argv[3]);
    std::fprintf(stderr, "usage: qmsampletool prgs FOLDER | damage IN.tap OUT.tap | damage-repeat IN.tap OUT.tap"
                         " | noise IN.tap OUT.tap\n");
    return 2;
}
