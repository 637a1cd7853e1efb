#include "console_support.h"

#include "core/tapescan.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>

ProgramRun spawn_program(const std::vector<std::string> &argv_in, const std::string &cwd, const std::string &path_env)
{
    std::vector<gchar *> argv;
    for (const std::string &a : argv_in)
        argv.push_back(const_cast<gchar *>(a.c_str()));
    argv.push_back(nullptr);
    gchar **envp = g_get_environ();
    GSpawnFlags flags = G_SPAWN_DEFAULT;
    if (!path_env.empty()) {
        envp = g_environ_setenv(envp, "PATH", path_env.c_str(), TRUE);
        flags = G_SPAWN_SEARCH_PATH_FROM_ENVP;
    }
    ProgramRun run;
    gchar *out = nullptr, *err = nullptr;
    gint wait = 0;
    GError *error = nullptr;
    const bool spawned = g_spawn_sync(cwd.empty() ? nullptr : cwd.c_str(), argv.data(), envp, flags, nullptr, nullptr,
                                      &out, &err, &wait, &error);
    EXPECT_TRUE(spawned) << (error != nullptr ? error->message : "");
    g_clear_error(&error);
    g_strfreev(envp);
    run.out = out != nullptr ? out : "";
    run.err = err != nullptr ? err : "";
    g_free(out);
    g_free(err);
    run.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    return run;
}

ProgramRun run_program(const std::string &program, const std::vector<std::string> &args)
{
    std::vector<std::string> argv = {program};
    argv.insert(argv.end(), args.begin(), args.end());
    return spawn_program(argv, "", "");
}

Bytes zorv_dump_of(const Bytes &tap)
{
    Bytes dump = {'Z', 'O', 'R', 'V', '-', 'T', 'A', 'P', '-', 'R', 'A', 'W', 1, 0, 0, 0, 0, 0, 0, 0};
    for (std::size_t i = 20; i < tap.size(); ++i) {
        if (tap[i] == 0) {  // v1 long pulse: a few ZORV samples of silence
            for (int k = 0; k < 4; ++k)
                dump.insert(dump.end(), {0xFE, 0xFF});
            i += 3;
            continue;
        }
        const unsigned ticks = unsigned(tap[i] * 8 * 2000000.0 / 985248 + 0.5);
        dump.push_back(uint8_t(ticks & 0xFF));
        dump.push_back(uint8_t(ticks >> 8));
    }
    return dump;
}

Bytes make_prg(uint16_t load, std::size_t size, uint32_t seed)
{
    Bytes p = {uint8_t(load & 0xFF), uint8_t(load >> 8)};
    uint32_t x = seed * 2654435761u + 7;
    for (std::size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        p.push_back(uint8_t(x >> 16));
    }
    return p;
}

std::string crc_text(const Bytes &bytes)
{
    char text[16];
    std::snprintf(text, sizeof text, "%08X", unsigned(crc32_of(bytes)));
    return text;
}

Bytes read_bytes(const std::string &path)
{
    gchar *text = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &text, &length, nullptr))
        return {};
    Bytes b(reinterpret_cast<uint8_t *>(text), reinterpret_cast<uint8_t *>(text) + length);
    g_free(text);
    return b;
}

std::string read_text(const std::string &path)
{
    const Bytes b = read_bytes(path);
    return std::string(b.begin(), b.end());
}

void write_bytes(const std::string &path, const Bytes &bytes)
{
    ASSERT_TRUE(g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(bytes.data()), gssize(bytes.size()),
                                    nullptr));
}

std::string sha256_of_file(const std::string &path)
{
    const Bytes b = read_bytes(path);
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, b.data(), b.size());
    std::string s = sum;
    g_free(sum);
    return s;
}

std::vector<std::string> report_values(const std::string &report, const std::string &key)
{
    std::vector<std::string> values;
    std::size_t pos = 0;
    while (pos < report.size()) {
        std::size_t end = report.find('\n', pos);
        if (end == std::string::npos)
            end = report.size();
        if (report.compare(pos, key.size(), key) == 0)
            values.push_back(report.substr(pos + key.size(), end - pos - key.size()));
        pos = end + 1;
    }
    return values;
}

std::string report_value(const std::string &report, const std::string &key)
{
    const std::vector<std::string> v = report_values(report, key);
    return v.empty() ? "<none>" : v.front();
}

void ConsoleTest::SetUp()
{
    gchar *made = g_dir_make_tmp("quillmar-test-XXXXXX", nullptr);
    ASSERT_NE(made, nullptr);
    root = made;
    g_free(made);
    bin = root + "/console 'q' \xC3\xB8";
    dir = root + "/tapes 'n' \xC3\xA6\xC3\xB8\xC3\xA5";
    ASSERT_EQ(g_mkdir(bin.c_str(), 0700), 0);
    ASSERT_EQ(g_mkdir(dir.c_str(), 0700), 0);
    quillmar = bin + "/quillmar";
    write_bytes(quillmar, read_bytes(QM_QUILLMAR));
    ASSERT_EQ(g_chmod(quillmar.c_str(), 0755), 0);
}

void ConsoleTest::TearDown()
{
    gchar *quoted = g_shell_quote(root.c_str());
    gchar *command = g_strdup_printf("rm -rf %s", quoted);
    EXPECT_EQ(system(command), 0);
    g_free(command);
    g_free(quoted);
}

ProgramRun ConsoleTest::run_line(const std::string &line)
{
    gchar **argv = nullptr;
    GError *error = nullptr;
    EXPECT_TRUE(g_shell_parse_argv(line.c_str(), nullptr, &argv, &error)) << (error ? error->message : "");
    g_clear_error(&error);
    std::vector<std::string> args;
    for (gchar **a = argv + 1; argv != nullptr && *a != nullptr; ++a)
        args.push_back(*a);
    const std::string program = argv != nullptr ? argv[0] : "";
    g_strfreev(argv);
    return run_program(program, args);
}

std::vector<std::string> ConsoleTest::prg_files() const
{
    std::vector<std::string> names;
    GDir *d = g_dir_open((bin + "/prg").c_str(), 0, nullptr);
    if (d == nullptr)
        return names;
    while (const gchar *n = g_dir_read_name(d)) {
        if (n[0] != '.')
            names.push_back(n);
    }
    g_dir_close(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> ConsoleTest::written_list() const
{
    std::vector<std::string> names;
    gchar *text = nullptr;
    if (!g_file_get_contents((bin + "/prg/.quillmar-written.txt").c_str(), &text, nullptr, nullptr))
        return names;
    gchar **lines = g_strsplit(text, "\n", -1);
    for (gchar **l = lines; *l != nullptr; ++l) {
        if (**l != '\0')
            names.push_back(*l);
    }
    g_strfreev(lines);
    g_free(text);
    std::sort(names.begin(), names.end());
    return names;
}

std::string ConsoleTest::mktap(const std::string &tape_name, const std::vector<NamedPrg> &prgs,
                               const std::vector<std::string> &flags)
{
    std::vector<std::string> args = {"mktap"};
    args.insert(args.end(), flags.begin(), flags.end());
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const std::string prg = path("input-" + std::to_string(i) + ".prg");
        write_bytes(prg, prgs[i].bytes);
        args.push_back("--name");
        args.push_back(prgs[i].name);
        args.push_back(prg);
    }
    const std::string tape = path(tape_name);
    args.push_back(tape);
    const ProgramRun r = run_program(QM_CLI, args);
    EXPECT_EQ(r.status, 0) << r.err;
    return tape;
}

void expect_consistent_report(const std::string &report_path, const std::string &tape)
{
    const std::string text = read_text(report_path);
    const ParsedReport r = report_parse_file(report_path, ReportTotals());
    ASSERT_TRUE(r.opened);
    ASSERT_TRUE(r.totals.path_last_report.has_value());
    EXPECT_EQ(*r.totals.path_last_report, tape);
    const long long size = (long long)read_bytes(tape).size();
    EXPECT_EQ(r.totals.total_size, size - 20);
    EXPECT_EQ(r.totals.checksum_test_passed, report_value(text, "Checksum test     : ").rfind("PASS", 0) == 0);
    EXPECT_EQ(r.totals.read_test_passed, report_value(text, "Read test         : ").rfind("PASS", 0) == 0);
    // Entries cover every byte after the header, in order.
    long long expected_start = 20;
    int recognized = 0;
    for (const ReportEntry &e : r.entries) {
        EXPECT_EQ(e.start, expected_start) << "entry " << e.index;
        EXPECT_LE(e.start, e.inner_start);
        EXPECT_LE(e.inner_start, e.inner_end);
        EXPECT_LE(e.inner_end, e.end);
        expected_start = (long long)e.end + 1;
        if (!report_type_unrecognised(e.type))
            recognized += e.pulses;
    }
    if (size > 20) {
        EXPECT_EQ(expected_start, size);
    }
    EXPECT_EQ(r.totals.recognized_size, recognized);
    // The test lines agree with the entries.
    int checksummed = 0, ok = 0, read_errors = 0;
    for (const ReportEntry &e : r.entries) {
        if (e.checkbyte) {
            ++checksummed;
            ok += *e.checkbyte == "OK" ? 1 : 0;
        }
        if (e.read_errors)
            read_errors += std::stoi(*e.read_errors);
    }
    // A pass means something was checked.
    EXPECT_EQ(report_value(text, "Checksum test     : "),
              checksummed == 0 ? std::string("FAIL - no file with a checksum was found")
                               : std::string(ok == checksummed ? "PASS" : "FAIL") + " - " + std::to_string(ok) +
                                     " of " + std::to_string(checksummed) + " checksummed files OK");
    // The recognised share is the files' share of the bytes after the header.
    long long in_files = 0;
    for (const ReportEntry &e : r.entries)
        if (e.type != "PAUSE" && !report_type_unrecognised(e.type))
            in_files += (long long)e.end + 1 - (long long)e.start;
    double share = -1;
    std::sscanf(report_value(text, "Recognised  : ").c_str(), "%lf", &share);
    EXPECT_NEAR(share, size > 20 ? 100.0 * double(in_files) / double(size - 20) : 0.0, 0.05);
    EXPECT_EQ(report_value(text, "Read test         : ").substr(0, 4 + 3 + std::to_string(read_errors).size()),
              std::string(read_errors == 0 ? "PASS" : "FAIL") + " - " + std::to_string(read_errors));
}

std::string all_scanner_ids()
{
    std::string ids;
    for (const TapeScanner *s : builtin_scanners())
        ids += (ids.empty() ? "" : ", ") + std::string(s->id);
    return ids;
}
