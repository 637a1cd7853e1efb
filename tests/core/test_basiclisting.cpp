// The BASIC V2 listing of PRG files: the line-link walk, its failures, the
// keyword and control-character vocabulary, quote mode and unreadable files.
#include "core/basiclisting.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

struct Listed {
    int result = -1;
    std::string text;
};

Listed list(const Bytes &bytes, const DecodeHooks &hooks = {})
{
    GString *text = g_string_sized_new(1048576);
    Listed out;
    out.result = untokenize_bytes(bytes.data(), bytes.size(), text, hooks);
    out.text.assign(text->str, text->len);
    g_string_free(text, TRUE);
    return out;
}

void put16(Bytes &b, unsigned value)
{
    b.push_back(static_cast<uint8_t>(value & 0xFF));
    b.push_back(static_cast<uint8_t>((value >> 8) & 0xFF));
}

// A well-formed program: the load address, each line linked to the next one
// right after its terminator, and the final 0 link.
Bytes program(unsigned load, const std::vector<std::pair<unsigned, Bytes>> &lines)
{
    Bytes b;
    put16(b, load);
    unsigned address = load;
    for (const auto &line : lines) {
        unsigned next = address + 4 + static_cast<unsigned>(line.second.size()) + 1;
        put16(b, next);
        put16(b, line.first);
        b.insert(b.end(), line.second.begin(), line.second.end());
        b.push_back(0);
        address = next;
    }
    put16(b, 0);
    return b;
}

// A one-line program at $0801.
Bytes one_line(unsigned number, const Bytes &body)
{
    return program(0x0801, {{number, body}});
}

Bytes range(unsigned first, unsigned last)
{
    Bytes b;
    for (unsigned c = first; c <= last; c++)
        b.push_back(static_cast<uint8_t>(c));
    return b;
}

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes b;
    for (const Bytes &p : parts)
        b.insert(b.end(), p.begin(), p.end());
    return b;
}

struct LoadErrorLog {
    int calls = 0;
    std::string path;
    std::string message;
};

void record_load_error(const char *path, const char *message, void *user)
{
    auto *log = static_cast<LoadErrorLog *>(user);
    log->calls++;
    log->path = path;
    log->message = message;
}

void count_progress(double, void *user)
{
    ++*static_cast<int *>(user);
}

// A fresh folder under the temporary folder, removed (one level deep) at the end.
struct TempFolder {
    std::string path;

    explicit TempFolder(const char *name_template)
    {
        GError *error = nullptr;
        gchar *made = g_dir_make_tmp(name_template, &error);
        EXPECT_NE(made, nullptr) << (error ? error->message : "");
        if (error)
            g_error_free(error);
        path = made ? made : "";
        g_free(made);
    }

    ~TempFolder()
    {
        if (GDir *dir = g_dir_open(path.c_str(), 0, nullptr)) {
            while (const gchar *name = g_dir_read_name(dir)) {
                gchar *child = g_build_filename(path.c_str(), name, nullptr);
                g_remove(child); // files and empty folders alike
                g_free(child);
            }
            g_dir_close(dir);
        }
        g_rmdir(path.c_str());
    }

    std::string file(const char *name) const
    {
        gchar *p = g_build_filename(path.c_str(), name, nullptr);
        std::string s = p;
        g_free(p);
        return s;
    }

    std::string write(const char *name, const Bytes &bytes) const
    {
        std::string p = file(name);
        GError *error = nullptr;
        EXPECT_TRUE(g_file_set_contents(p.c_str(), reinterpret_cast<const gchar *>(bytes.data()),
                                        static_cast<gssize>(bytes.size()), &error))
            << (error ? error->message : "");
        if (error)
            g_error_free(error);
        return p;
    }
};

Listed list_file(const std::string &path, const DecodeHooks &hooks = {}, const char *before = "")
{
    GString *text = g_string_new(before);
    Listed out;
    out.result = untokenize(path.c_str(), text, hooks);
    out.text.assign(text->str, text->len);
    g_string_free(text, TRUE);
    return out;
}

#define EXPECT_LISTS(bytes, expected)                                                                        \
    do {                                                                                                     \
        Listed l_ = list(bytes);                                                                             \
        EXPECT_EQ(l_.result, 1);                                                                             \
        EXPECT_EQ(l_.text, expected);                                                                        \
    } while (0)

#define EXPECT_FAILS_AFTER(bytes, partial)                                                                   \
    do {                                                                                                     \
        Listed l_ = list(bytes);                                                                             \
        EXPECT_EQ(l_.result, 0);                                                                             \
        EXPECT_EQ(l_.text, partial);                                                                         \
    } while (0)

// ---------------------------------------------------------------------------
// Hand-made programs

TEST(BasicListing, HelloProgramGolden)
{
    // 10 PRINT "HELLO"
    // 20 GOTO 10
    const Bytes file{
        0x01, 0x08,                                                                   // load $0801
        0x0F, 0x08, 0x0A, 0x00, 0x99, 0x20, 0x22, 0x48, 0x45, 0x4C, 0x4C, 0x4F, 0x22, 0x00, // $0801
        0x18, 0x08, 0x14, 0x00, 0x89, 0x20, 0x31, 0x30, 0x00,                         // $080F
        0x00, 0x00,                                                                   // $0818
    };
    EXPECT_LISTS(file, "\n10 PRINT \"HELLO\"\n20 GOTO 10\n");
}

TEST(BasicListing, SmallProgramGolden)
{
    const Bytes file = program(0x0801, {
        // FORI=1TO10:PRINTI:NEXT
        {10, {0x81, 0x49, 0xB2, 0x31, 0xA4, 0x31, 0x30, 0x3A, 0x99, 0x49, 0x3A, 0x82}},
        // PRINT"{CLEAR}{RED}HI{CRSR DOWN}"
        {20, {0x99, 0x22, 0x93, 0x1C, 0x48, 0x49, 0x11, 0x22}},
        // POKE53280,0:SYS2061
        {30, {0x97, 0x35, 0x33, 0x32, 0x38, 0x30, 0x2C, 0x30, 0x3A, 0x9E, 0x32, 0x30, 0x36, 0x31}},
        // IF A$="Y" THEN GOTO 10
        {40, {0x8B, 0x20, 0x41, 0x24, 0xB2, 0x22, 0x59, 0x22, 0x20, 0xA7, 0x20, 0x89, 0x20, 0x31, 0x30}},
    });
    EXPECT_LISTS(file, "\n10 FORI=1TO10:PRINTI:NEXT"
                       "\n20 PRINT\"{CLEAR}{RED}HI{CRSR DOWN}\""
                       "\n30 POKE53280,0:SYS2061"
                       "\n40 IF A$=\"Y\" THEN GOTO 10"
                       "\n");
}

TEST(BasicListing, EveryKeywordAndEveryControlNameGolden)
{
    const Bytes file = program(0x0801, {
        {100, range(0x80, 0xCB)},                                 // every token, outside quotes
        {110, range(0x05, 0x1F)},                                 // control bytes outside quotes
        {120, concat({{0x99, 0x22}, range(0x81, 0xA0), {0x22}})}, // PRINT"...": control bytes in quotes
        {130, concat({{0x22}, range(0x05, 0x1F), {0x22}})},       // low control bytes in quotes
    });
    EXPECT_LISTS(file,
                 "\n100 ENDFORNEXTDATAINPUT#INPUTDIMREADLETGOTORUNIFRESTOREGOSUBRETURNREM"
                 "STOPONWAITLOADSAVEVERIFYDEFPOKEPRINT#PRINTCONTLISTCLRCMDSYSOPEN"
                 "CLOSEGETNEWTAB(TOFNSPC(THENNOTSTEP+-*/^ANDOR>=<SGNINTABSUSR"
                 "FREPOSSQRRNDLOGEXPCOSSINTANATNPEEKLENSTR$VALASCCHR$LEFT$RIGHT$MID$GO"
                 "\n110 {WHITE}{LOCK}{UNLOCK}{RETURN}{LOWER CASE}{CRSR DOWN}{REVS ON}{HOME}{DEL}"
                 "{RED}{CRSR RIGHT}{GREEN}{BLUE}"
                 "\n120 PRINT\"{ORANGE}{F1}{F3}{F5}{F7}{F2}{F4}{F6}{F8}{SHIFT+RETURN}{UPPER CASE}"
                 "{BLACK}{CRSR UP}{REVS OFF}{CLEAR}{INSERT}{BROWN}{LIGHT RED}{DARK GREY}"
                 "{MEDIUM GREY}{LIGHT GREEN}{LIGHT BLUE}{LIGHT GREY}{PURPLE}{CRSR LEFT}{YELLOW}"
                 "{CYAN}{SHIFT+SPACE}\""
                 "\n130 \"{WHITE}{LOCK}{UNLOCK}{RETURN}{LOWER CASE}{CRSR DOWN}{REVS ON}{HOME}{DEL}"
                 "{RED}{CRSR RIGHT}{GREEN}{BLUE}\""
                 "\n");
}

TEST(BasicListing, EachKeywordTokenOnItsOwn)
{
    const char *const keywords[76] = {
        "END",  "FOR",  "NEXT", "DATA", "INPUT#", "INPUT", "DIM",  "READ", "LET",   "GOTO",   "RUN",  "IF",
        "RESTORE", "GOSUB", "RETURN", "REM", "STOP", "ON", "WAIT", "LOAD", "SAVE", "VERIFY", "DEF", "POKE",
        "PRINT#", "PRINT", "CONT", "LIST", "CLR", "CMD",  "SYS",  "OPEN", "CLOSE", "GET",    "NEW",  "TAB(",
        "TO",   "FN",   "SPC(", "THEN", "NOT",   "STEP", "+",    "-",    "*",     "/",      "^",    "AND",
        "OR",   ">",    "=",    "<",    "SGN",   "INT",  "ABS",  "USR",  "FRE",   "POS",    "SQR",  "RND",
        "LOG",  "EXP",  "COS",  "SIN",  "TAN",   "ATN",  "PEEK", "LEN",  "STR$",  "VAL",    "ASC",  "CHR$",
        "LEFT$", "RIGHT$", "MID$", "GO",
    };
    for (unsigned t = 0x80; t <= 0xCB; t++)
        EXPECT_LISTS(one_line(1, {0x41, static_cast<uint8_t>(t), 0x42}),
                     std::string("\n1 A") + keywords[t - 0x80] + "B\n");
}

TEST(BasicListing, LineNumbersAreUnsignedDecimal)
{
    EXPECT_LISTS(program(0x0801, {{0, {}}, {65535, {0x41}}, {1000, {0x42}}, {256, {}}}),
                 "\n0 \n65535 A\n1000 B\n256 \n");
}

TEST(BasicListing, EmptyBodyListsNumberAndBlank)
{
    EXPECT_LISTS(one_line(5, {}), "\n5 \n");
}

TEST(BasicListing, AppendsAfterExistingText)
{
    Bytes file = one_line(7, {0x80});
    GString *text = g_string_new("before");
    EXPECT_EQ(untokenize_bytes(file.data(), file.size(), text), 1);
    EXPECT_EQ(std::string(text->str), "before\n7 END\n");
    g_string_free(text, TRUE);
}

TEST(BasicListing, OtherLoadAddressesWork)
{
    // $1C01 (the VIC-20 with memory expansion) and $0401 (PET).
    EXPECT_LISTS(program(0x1C01, {{1, {0x80}}, {2, {0x41}}}), "\n1 END\n2 A\n");
    EXPECT_LISTS(program(0x0401, {{1, {0x80}}, {2, {0x41}}}), "\n1 END\n2 A\n");
}

// ---------------------------------------------------------------------------
// Rendering rules

TEST(BasicListingEdge, BlueAndWhiteAreNamedAlsoOutsideQuotes)
{
    EXPECT_LISTS(one_line(10, {0x1F, 0x05, 0x41, 0x22, 0x1F, 0x05, 0x22}), "\n10 {BLUE}{WHITE}A\"{BLUE}{WHITE}\"\n");
}

TEST(BasicListingEdge, ClearIsNamedOnlyInsideQuotesAndIsLoadOutside)
{
    // PRINT"{CLEAR}":LOAD
    EXPECT_LISTS(one_line(10, {0x99, 0x22, 0x93, 0x22, 0x3A, 0x93}), "\n10 PRINT\"{CLEAR}\":LOAD\n");
}

TEST(BasicListingEdge, Byte80IsDotInsideQuotesAndEndOutside)
{
    EXPECT_LISTS(one_line(10, {0x22, 0x80, 0x22, 0x80}), "\n10 \".\"END\n");
}

TEST(BasicListingEdge, ShiftedCharactersInsideQuotesAreDots)
{
    EXPECT_LISTS(one_line(10, concat({{0x22}, range(0xC1, 0xDA), {0x22}})),
                 "\n10 \"..........................\"\n");
}

TEST(BasicListing, ShiftedCharactersOutsideQuotesAreKeywordsUpToCBThenDots)
{
    EXPECT_LISTS(one_line(10, {0xC1, 0xCA, 0xCB, 0xCC, 0xDA, 0xFF}), "\n10 ATNMID$GO...\n");
}

TEST(BasicListingDecision, PrintableMeansBytes32To126)
{
    EXPECT_LISTS(one_line(10, range(0x20, 0x7E)),
                 "\n10  !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                 "abcdefghijklmnopqrstuvwxyz{|}~\n");
}

TEST(BasicListingDecision, BytesOutside32To126AreDots)
{
    // 1..4 and 127 everywhere; 128 and 161..255 inside quotes; 204..255 outside.
    EXPECT_LISTS(one_line(10, {0x01, 0x02, 0x03, 0x04, 0x7F, 0xCC, 0xE0, 0xFF, 0x22, 0x01, 0x04, 0x7F, 0x80, 0xA1,
                               0xCB, 0xCC, 0xFF, 0x22}),
                 "\n10 ........\"........\"\n");
}

TEST(BasicListing, UnnamedControlBytesVanish)
{
    // Outside quotes the unnamed low bytes vanish; inside quotes also $82..$84 and $8F.
    EXPECT_LISTS(one_line(10, {0x41, 0x06, 0x07, 0x0A, 0x0B, 0x0C, 0x0F, 0x10, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A,
                               0x1B, 0x42, 0x22, 0x06, 0x1B, 0x82, 0x83, 0x84, 0x8F, 0x22}),
                 "\n10 AB\"\"\n");
}

TEST(BasicListing, UnnamedHighControlBytesAreKeywordsOutsideQuotes)
{
    EXPECT_LISTS(one_line(10, {0x82, 0x83, 0x84, 0x8F}), "\n10 NEXTDATAINPUT#REM\n");
}

TEST(BasicListing, RulesApplyInOrder)
{
    // $0D: named in quotes too. $85/$A0: names in quotes, keywords outside.
    // $A1: keyword outside, "." inside (past the named range).
    EXPECT_LISTS(one_line(10, {0x0D, 0x85, 0xA0, 0xA1, 0x22, 0x0D, 0x85, 0xA0, 0xA1, 0x22}),
                 "\n10 {RETURN}INPUTCLOSEGET\"{RETURN}{F1}{SHIFT+SPACE}.\"\n");
}

TEST(BasicListing, QuoteModeStartsOffOnEveryLine)
{
    EXPECT_LISTS(program(0x0801, {{10, {0x99, 0x22, 0x41}}, {20, {0x93}}}), "\n10 PRINT\"A\n20 LOAD\n");
}

TEST(BasicListing, KeywordsNeverChangeQuoteMode)
{
    // REM"{CLEAR}  and  "A"="{CLEAR}
    EXPECT_LISTS(program(0x0801, {{10, {0x8F, 0x22, 0x93}}, {20, {0x22, 0x41, 0x22, 0xB2, 0x22, 0x93}}}),
                 "\n10 REM\"{CLEAR}\n20 \"A\"=\"{CLEAR}\n");
}

TEST(BasicListing, EveryDoubleQuoteToggles)
{
    EXPECT_LISTS(one_line(10, {0x22, 0x93, 0x22, 0x22, 0x93, 0x22, 0x93}), "\n10 \"{CLEAR}\"\"{CLEAR}\"LOAD\n");
}

// ---------------------------------------------------------------------------
// The link walk

TEST(BasicListingEdge, ThreeByteFileFails)
{
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x00}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x05}), "");
}

TEST(BasicListingDecision, FourByteFileWhoseLinkIsZeroListsNewline)
{
    EXPECT_LISTS((Bytes{0x01, 0x08, 0x00, 0x00}), "\n");
}

TEST(BasicListingDecision, OtherThreeAndFourByteFilesFail)
{
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x00}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0xFF}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x05, 0x08}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x00, 0x01}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x01, 0x00}), "");
}

TEST(BasicListingEdge, TwoBytesOrLessFail)
{
    EXPECT_FAILS_AFTER(Bytes{}, "");
    EXPECT_FAILS_AFTER((Bytes{0x01}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08}), "");
}

TEST(BasicListingEdge, FirstLinkZeroListsSingleNewline)
{
    EXPECT_LISTS((Bytes{0x01, 0x08, 0x00, 0x00, 0x0A, 0x00, 0x41, 0x00}), "\n");
    EXPECT_LISTS((Bytes{0x01, 0x08, 0x00, 0x00, 0x00}), "\n");
}

TEST(BasicListingEdge, LinkIntoTheMiddleOfTheProgramIsFollowed)
{
    const Bytes file{
        0x01, 0x08,                               // load $0801
        0x0B, 0x08, 0x0A, 0x00, 0x41, 0x00,       // offset 0: line 10 "A", links to offset 10
        0x58, 0x58, 0x58, 0x58,                   // offsets 6..9: skipped
        0x11, 0x08, 0x14, 0x00, 0x42, 0x00,       // offset 10: line 20 "B", links to offset 16
        0x00, 0x00,                               // offset 16: end
    };
    EXPECT_LISTS(file, "\n10 A\n20 B\n");
}

TEST(BasicListing, LinkIntoALineBodyIsFollowed)
{
    // Line 10 links to its own second body byte, where the bytes read as a
    // line: link $080B (the end), number 7 (whose high byte 0 is line 10's
    // terminator), body "C".
    const Bytes file{
        0x01, 0x08,                               // load $0801
        0x06, 0x08, 0x0A, 0x00,                   // offset 0: line 10, links to offset 5
        0x41, 0x0B, 0x08, 0x07, 0x00,             // body "A", $0B (unnamed), $08, $07 (unnamed), 0
        0x43, 0x00,                               // offset 9: "C"; offset 10: its terminator and
        0x00, 0x00,                               // the end link's low byte, then its high byte
    };
    EXPECT_LISTS(file, "\n10 A{LOCK}\n7 C\n");
}

TEST(BasicListingEdge, LinkEqualToTheLoadAddressFails)
{
    Bytes first = one_line(10, {0x41});
    first[2] = 0x01; // the first link points back at $0801
    first[3] = 0x08;
    EXPECT_FAILS_AFTER(first, "");

    Bytes second = program(0x0801, {{10, {0x41}}, {20, {0x42}}});
    second[8] = 0x01; // line 20's link points back at $0801
    second[9] = 0x08;
    EXPECT_FAILS_AFTER(second, "\n10 A");
}

TEST(BasicListingEdge, LinkBelowTheLoadAddressFails)
{
    Bytes file = one_line(10, {0x41});
    file[2] = 0x00; // $0800
    file[3] = 0x08;
    EXPECT_FAILS_AFTER(file, "\n10 A");

    Bytes low = one_line(10, {0x41});
    low[2] = 0x01; // $0001
    low[3] = 0x00;
    EXPECT_FAILS_AFTER(low, "\n10 A");
}

TEST(BasicListing, LinkPastTheEndOfTheFileFails)
{
    Bytes file = one_line(10, {0x41});
    file[2] = 0x00; // $C000
    file[3] = 0xC0;
    EXPECT_FAILS_AFTER(file, "\n10 A");
}

TEST(BasicListing, LineWithoutTerminatorFails)
{
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x0A, 0x08, 0x0A, 0x00, 0x41, 0x42}), "\n10 AB");
}

TEST(BasicListing, LineHeaderCutShortFails)
{
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x07, 0x08, 0x0A}), "");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x07, 0x08, 0x0A, 0x00}), "");
    // The shortest listable line, but nothing after it.
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x06, 0x08, 0x0A, 0x00, 0x00}), "\n10 ");
}

TEST(BasicListing, EndLinkNeedsBothZeroBytes)
{
    // The last line links to offset 6; the file ends after its terminator,
    // after one zero byte, and after both zero bytes.
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x07, 0x08, 0x0A, 0x00, 0x41, 0x00}), "\n10 A");
    EXPECT_FAILS_AFTER((Bytes{0x01, 0x08, 0x07, 0x08, 0x0A, 0x00, 0x41, 0x00, 0x00}), "\n10 A");
    EXPECT_LISTS((Bytes{0x01, 0x08, 0x07, 0x08, 0x0A, 0x00, 0x41, 0x00, 0x00, 0x00}), "\n10 A\n");
}

TEST(BasicListing, BytesAfterTheEndLinkAreIgnored)
{
    Bytes file = one_line(10, {0x41});
    file.insert(file.end(), {0x0A, 0x08, 0x14, 0x00, 0x42, 0x00});
    EXPECT_LISTS(file, "\n10 A\n");
}

// ---------------------------------------------------------------------------
// The line ceiling

// `count` lines numbered 1..count with empty bodies.
Bytes many_lines(unsigned count)
{
    std::vector<std::pair<unsigned, Bytes>> lines;
    for (unsigned j = 1; j <= count; j++)
        lines.push_back({j, {}});
    return program(0x0801, lines);
}

std::string many_lines_text(unsigned count)
{
    std::string s;
    for (unsigned j = 1; j <= count; j++)
        s += "\n" + std::to_string(j) + " ";
    return s;
}

TEST(BasicListingEdge, At6484LinesTheProgramLists)
{
    EXPECT_LISTS(many_lines(6484), many_lines_text(6484) + "\n");
}

TEST(BasicListingEdge, The6485thLineFails)
{
    EXPECT_FAILS_AFTER(many_lines(6485), many_lines_text(6484));
}

TEST(BasicListing, LinkLoopFailsAtTheLineCeiling)
{
    // Line 20 links to itself: it is listed until the 6485th line.
    Bytes file = program(0x0801, {{10, {}}, {20, {}}});
    file[7] = 0x06; // line 20 sits at $0806
    file[8] = 0x08;
    std::string partial = "\n10 ";
    for (int j = 0; j < 6483; j++)
        partial += "\n20 ";
    EXPECT_FAILS_AFTER(file, partial);
}

// ---------------------------------------------------------------------------
// Files, hooks and the failure text

TEST(BasicListing, NotValidText)
{
    EXPECT_STREQ(BASIC_NOT_VALID_TEXT, "\nNot a valid CBM BASIC listing!\n");
}

TEST(BasicListing, NoProgressIsReported)
{
    int calls = 0;
    DecodeHooks hooks;
    hooks.progress = count_progress;
    hooks.user = &calls;
    EXPECT_EQ(list(many_lines(300), hooks).result, 1);
    EXPECT_EQ(calls, 0);
}

TEST(BasicListingFile, ListsAFile)
{
    TempFolder folder("qm-basic-XXXXXX");
    std::string path = folder.write("hello.prg", one_line(10, {0x99, 0x22, 0x48, 0x49, 0x22}));
    Listed l = list_file(path);
    EXPECT_EQ(l.result, 1);
    EXPECT_EQ(l.text, "\n10 PRINT\"HI\"\n");
}

TEST(BasicListingFile, MissingFileReportsLoadErrorAndFails)
{
    TempFolder folder("qm-basic-XXXXXX");
    std::string path = folder.file("absent.prg");
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    Listed l = list_file(path, hooks, "kept");
    EXPECT_EQ(l.result, 0);
    EXPECT_EQ(l.text, "kept");
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.path, path);
    EXPECT_FALSE(log.message.empty());
}

TEST(BasicListingFile, FolderReportsLoadErrorAndFails)
{
    TempFolder folder("qm-basic-XXXXXX");
    std::string path = folder.file("a folder");
    ASSERT_EQ(g_mkdir(path.c_str(), 0700), 0);
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    Listed l = list_file(path, hooks, "kept");
    EXPECT_EQ(l.result, 0);
    EXPECT_EQ(l.text, "kept");
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.path, path);
    EXPECT_FALSE(log.message.empty());
}

TEST(BasicListingFile, UnreadableFileWithoutHooksJustFails)
{
    Listed l = list_file("/nonexistent-qm-folder/x.prg");
    EXPECT_EQ(l.result, 0);
    EXPECT_EQ(l.text, "");
}

TEST(BasicListingFile, InvalidFileFailsWithoutLoadError)
{
    TempFolder folder("qm-basic-XXXXXX");
    std::string path = folder.write("data.prg", {0x00, 0xC0, 0x01, 0x02, 0x03, 0x04});
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    Listed l = list_file(path, hooks);
    EXPECT_EQ(l.result, 0);
    EXPECT_EQ(log.calls, 0);
}

TEST(BasicListingFile, PathsWithBlanksApostropheAndNonAsciiCharacters)
{
    TempFolder folder("qm basic l'\xC3\xA9t\xC3\xA9 \xC3\xBC XXXXXX");
    std::string path = folder.write("Spiel f\xC3\xBCr 'Oma' \xE2\x86\x92 1.prg", one_line(1, {0x80}));
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    Listed l = list_file(path, hooks);
    EXPECT_EQ(l.result, 1);
    EXPECT_EQ(l.text, "\n1 END\n");
    EXPECT_EQ(log.calls, 0);
}

} // namespace
