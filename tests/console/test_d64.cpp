// "quillmarfe-cli d64": the programs the console extracted from a tape, on
// a D64 disk image. The image is read back here with a reader of the 1541's
// own layout (35 tracks, the directory on track 18), independent of cc1541.
#include "console_support.h"

#include <glib.h>

namespace {

struct DiskFile {
    uint8_t type = 0;
    std::string name; // PETSCII, padding ($A0) removed
    int blocks = 0;
    Bytes bytes;
};

struct Disk {
    std::string name;
    std::vector<DiskFile> files;
};

std::size_t sector_offset(int track, int sector)
{
    static const int per_track[] = {21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 21, 19,
                                    19, 19, 19, 19, 19, 19, 18, 18, 18, 18, 18, 18, 17, 17, 17, 17, 17};
    std::size_t sectors = 0;
    for (int t = 1; t < track; ++t)
        sectors += static_cast<std::size_t>(per_track[t - 1]);
    return (sectors + static_cast<std::size_t>(sector)) * 256;
}

std::string petscii_name(const uint8_t *bytes, std::size_t size)
{
    std::string name(reinterpret_cast<const char *>(bytes), size);
    return name.substr(0, name.find('\xA0'));
}

Disk read_d64(const Bytes &image)
{
    Disk disk;
    EXPECT_EQ(image.size(), 174848u) << "a 35-track D64";
    if (image.size() != 174848u)
        return disk;
    disk.name = petscii_name(&image[sector_offset(18, 0) + 0x90], 16);
    int track = 18, sector = 1, guard = 0;
    while (track != 0 && guard++ < 18) {
        const std::size_t at = sector_offset(track, sector);
        for (int e = 0; e < 8; ++e) {
            const uint8_t *entry = &image[at + 32 * static_cast<std::size_t>(e)];
            if (entry[2] == 0)
                continue;
            DiskFile f;
            f.type = entry[2];
            f.name = petscii_name(entry + 5, 16);
            f.blocks = entry[30] | (entry[31] << 8);
            int t = entry[3], s = entry[4], chain = 0;
            while (t != 0 && chain++ < 700) {
                const std::size_t o = sector_offset(t, s);
                const int next_t = image[o], next_s = image[o + 1];
                const std::size_t used = next_t != 0 ? 254 : static_cast<std::size_t>(next_s) - 1;
                f.bytes.insert(f.bytes.end(), image.begin() + static_cast<long>(o + 2),
                               image.begin() + static_cast<long>(o + 2 + used));
                t = next_t;
                s = next_s;
            }
            disk.files.push_back(f);
        }
        track = image[at];
        sector = image[at + 1];
    }
    return disk;
}

class D64Export : public ConsoleTest {
protected:
    static ProgramRun cli(const std::vector<std::string> &args) { return run_program(QM_CLI, args); }
};

TEST_F(D64Export, TheDirectoryListsEveryProgramInTapeOrderWithItsBlocksAndBytes)
{
    const std::vector<NamedPrg> prgs = {{"INTRO", make_prg(0x0801, 300, 1)},
                                        {"MAIN GAME", make_prg(0x0801, 9000, 2)},
                                        {"HISCORE", make_prg(0xC000, 64, 3)},
                                        {"MAIN GAME", make_prg(0x2000, 508, 4)}};
    const std::string tape = mktap("four programs.tap", prgs);
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    const std::string report = path("report.txt");
    write_bytes(report, read_bytes(report_path()));
    const std::string image = path("the 'disk'.d64");

    const ProgramRun r = cli({"d64", "--report", report, "--name", "Four programs", bin + "/prg", image});
    ASSERT_EQ(r.status, 0) << r.err;
    const Disk disk = read_d64(read_bytes(image));
    EXPECT_EQ(disk.name, "FOUR PROGRAMS");
    ASSERT_EQ(disk.files.size(), 4u);
    // A second program of one name gets a number: a directory cannot tell them apart.
    const char *const names[] = {"INTRO", "MAIN GAME", "HISCORE", "MAIN GAME 2"};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(disk.files[i].type, 0x82) << "a closed PRG";
        EXPECT_EQ(disk.files[i].name, names[i]);
        EXPECT_EQ(disk.files[i].bytes, prgs[i].bytes) << names[i];
        EXPECT_EQ(disk.files[i].blocks, static_cast<int>((prgs[i].bytes.size() + 253) / 254)) << names[i];
    }
}

TEST_F(D64Export, ProgramsThatDoNotFitAreSaidAndNoImageIsWritten)
{
    const std::string folder = path("prg");
    g_mkdir_with_parents(folder.c_str(), 0700);
    for (int i = 1; i <= 3; ++i)
        write_bytes(folder + "/00" + std::to_string(i) + "-BIG.prg", make_prg(0x0801, 60000, static_cast<uint32_t>(i)));
    const std::string image = path("full.d64");
    const ProgramRun r = cli({"d64", folder, image});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("a D64 disk holds 664 blocks"), std::string::npos) << r.err;
    EXPECT_FALSE(g_file_test(image.c_str(), G_FILE_TEST_EXISTS));
    EXPECT_FALSE(g_file_test((image + ".part").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(D64Export, WithoutCc1541TheReasonIsGiven)
{
    const std::string folder = path("prg");
    g_mkdir_with_parents(folder.c_str(), 0700);
    write_bytes(folder + "/002-ONE.prg", make_prg(0x0801, 100, 1));
    const ProgramRun r = spawn_program({QM_CLI, "d64", folder, path("none.d64")}, "", "/nonexistent");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("cc1541"), std::string::npos) << r.err;
    EXPECT_FALSE(g_file_test(path("none.d64").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(D64Export, AnExistingImageIsReplacedOnlyWhenAsked)
{
    const std::string folder = path("prg");
    g_mkdir_with_parents(folder.c_str(), 0700);
    write_bytes(folder + "/002-ONE.prg", make_prg(0x0801, 100, 1));
    const std::string image = path("kept.d64");
    write_bytes(image, Bytes{1, 2, 3});
    EXPECT_EQ(cli({"d64", folder, image}).status, 1);
    EXPECT_EQ(read_bytes(image), (Bytes{1, 2, 3}));
    ASSERT_EQ(cli({"d64", "--force", folder, image}).status, 0);
    const Disk disk = read_d64(read_bytes(image));
    ASSERT_EQ(disk.files.size(), 1u);
    EXPECT_EQ(disk.files[0].name, "ONE");
}

} // namespace
