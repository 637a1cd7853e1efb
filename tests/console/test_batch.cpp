// -b: the tapes of a folder (and its subfolders) summarised in qmbatch.txt,
// in path order or by CBM CRC.
#include "console_support.h"

#include "core/cbmencode.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cstdio>

namespace {

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// The numbered tape lines ("N. PATH") of a batch report, in order.
std::vector<std::string> listed_tapes(const std::string &report)
{
    std::vector<std::string> paths;
    for (int n = 1;; ++n) {
        const std::vector<std::string> v = report_values(report, std::to_string(n) + ". ");
        if (v.empty())
            return paths;
        paths.push_back(v.front());
    }
}

// The CBM CRC of a tape holding one program: its header payload, then its data.
std::string cbm_crc_of(const std::string &name, const Bytes &prg)
{
    const uint16_t load = uint16_t(prg[0] | (prg[1] << 8));
    const Bytes header = cbm_header_payload(CBM_HEADER_RELOCATABLE, load, uint16_t(load + prg.size() - 2), name);
    uint32_t crc = crc32_update(0, header.data(), header.size());
    crc = crc32_update(crc, prg.data() + 2, prg.size() - 2);
    char text[16];
    std::snprintf(text, sizeof text, "%08X", unsigned(crc));
    return text;
}

class Batch : public ConsoleTest {
protected:
    std::string folder, a, b, c, sub, damaged, empty, notes;
    Bytes prg_a, prg_b, prg_c, prg_sub;

    void SetUp() override
    {
        ConsoleTest::SetUp();
        folder = path("batch 'folder' \xC3\xB8");
        ASSERT_EQ(g_mkdir(folder.c_str(), 0700), 0);
        ASSERT_EQ(g_mkdir((folder + "/sub dir").c_str(), 0700), 0);
        prg_a = make_prg(0x0801, 100, 1);
        prg_b = make_prg(0x0801, 120, 2);
        prg_c = make_prg(0xC000, 80, 3);
        prg_sub = make_prg(0x0801, 60, 4);
        a = folder + "/a.tap";
        b = folder + "/B.TAP";
        c = folder + "/c.Dmp";
        sub = folder + "/sub dir/d.tap";
        damaged = folder + "/e damaged.tap";
        empty = folder + "/f empty.tap";
        notes = folder + "/notes.txt";
        write_bytes(a, read_bytes(mktap("a.tap", {{"ALPHA", prg_a}})));
        write_bytes(b, read_bytes(mktap("b.tap", {{"BRAVO", prg_b}})));
        write_bytes(c, read_bytes(mktap("c.tap", {{"CHARLIE", prg_c}})));
        write_bytes(sub, read_bytes(mktap("d.tap", {{"DELTA", prg_sub}})));
        ASSERT_EQ(run_program(QM_SAMPLETOOL, {"damage", a, damaged}).status, 0);
        write_bytes(empty, {});
        write_bytes(notes, {'h', 'i'});
    }
};

} // namespace

TEST_F(Batch, ListsEveryTapeOfTheFolderByPath)
{
    const ProgramRun r = run({"-b", folder});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = read_text(batch_path());
    EXPECT_EQ(listed_tapes(text), (std::vector<std::string>{b, a, c, damaged, empty}));
    EXPECT_TRUE(contains(text, "Tapes       : 5 found, 3 passed both tests, 1 with errors, 1 not scanned\n")) << text;
    EXPECT_TRUE(contains(text, "    Checksum test : FAIL - 3 of 4 checksummed files OK\n"));
    EXPECT_TRUE(contains(text, "    Read test     : FAIL - 1 read error\n"));
    EXPECT_TRUE(contains(text, "    Error         : the file is empty\n"));
    EXPECT_TRUE(contains(text, "    Size          : " + std::to_string(read_bytes(a).size()) + " bytes\n"));
    EXPECT_TRUE(contains(text, "    Program       : \"ALPHA\" $0801-$0865, 100 bytes, PASS\n")) << text;
    EXPECT_TRUE(contains(text, "    Files found   : 4 (2 C64 ROM-TAPE HEADER, 2 C64 ROM-TAPE DATA); 1 pause(s), "
                               "0 unrecognized stretch(es)\n"))
        << text;
    EXPECT_FALSE(contains(text, "sub dir"));
    EXPECT_FALSE(contains(text, "notes.txt"));
    // A batch leaves the tape report alone.
    EXPECT_FALSE(g_file_test(report_path().c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(Batch, IncsubdirsTakesSubfoldersAndSortbycrcOrdersByCbmCrc)
{
    const ProgramRun r = run({"-incsubdirs", "-sortbycrc", "-b", folder});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = read_text(batch_path());
    const std::vector<std::string> listed = listed_tapes(text);
    ASSERT_EQ(listed.size(), 6u);
    EXPECT_EQ(listed.back(), empty);  // not scanned: last
    // The CBM CRC of each tape: its header and data payloads, one copy each.
    const std::vector<std::string> crcs = report_values(text, "    CBM CRC       : ");
    ASSERT_EQ(crcs.size(), 5u);
    for (std::size_t i = 1; i < crcs.size(); ++i)
        EXPECT_LE(crcs[i - 1].substr(0, 8), crcs[i].substr(0, 8));
    const auto crc_of_listed = [&](const std::string &tape) {
        for (std::size_t i = 0; i < crcs.size(); ++i)
            if (listed[i] == tape)
                return crcs[i].substr(0, 8);
        return std::string("<missing>");
    };
    EXPECT_EQ(crc_of_listed(a), cbm_crc_of("ALPHA", prg_a));
    EXPECT_EQ(crc_of_listed(sub), cbm_crc_of("DELTA", prg_sub));
    // The damaged copy of tape a reads right from its REPEAT: same contents, same CRC, next to it.
    EXPECT_EQ(crc_of_listed(damaged), crc_of_listed(a));
    EXPECT_TRUE(contains(text, "(same as the tape above)"));
    EXPECT_TRUE(contains(text, "Subfolders  : included\n"));
    EXPECT_TRUE(contains(text, "Order       : by CBM CRC, then by path\n"));
}

TEST_F(Batch, AMissingFolderIsExitOneAndSaidInTheBatchReport)
{
    const ProgramRun r = run({"-b", folder + "/nowhere"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "does not exist"));
    EXPECT_TRUE(contains(read_text(batch_path()), "Error       : the folder does not exist"));
    const ProgramRun f = run({"-b", a});
    EXPECT_EQ(f.status, 1);
    EXPECT_TRUE(contains(read_text(batch_path()), "not a folder"));
}

TEST_F(Batch, AnEmptyFolderGivesAnEmptyList)
{
    const std::string none = path("nothing here");
    ASSERT_EQ(g_mkdir(none.c_str(), 0700), 0);
    ASSERT_EQ(run({"-b", none}).status, 0);
    EXPECT_TRUE(contains(read_text(batch_path()), "Tapes       : 0 found"));
}
