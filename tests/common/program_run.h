// Runs a program of the project as a child process and keeps what it printed.
#pragma once
#include <glib.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/wait.h>
#include <vector>

struct ProgramRun {
    int status = -1; // exit status, -1 when it did not exit normally
    std::string out, err;
};

// `program` then `args`, run synchronously from `folder` (null: the current one).
inline ProgramRun run_program(const std::string &program, const std::vector<std::string> &args,
                              const char *folder = nullptr)
{
    std::vector<gchar *> argv = {const_cast<gchar *>(program.c_str())};
    for (const std::string &a : args)
        argv.push_back(const_cast<gchar *>(a.c_str()));
    argv.push_back(nullptr);
    ProgramRun run;
    gchar *out = nullptr, *err = nullptr;
    gint wait = 0;
    EXPECT_TRUE(g_spawn_sync(folder, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err,
                             &wait, nullptr));
    run.out = out ? out : "";
    run.err = err ? err : "";
    g_free(out);
    g_free(err);
    run.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    return run;
}
