// The subcommands of quillmarfe-cli. Each runs with the arguments after its
// name and returns the exit status, or -1 for a usage error.
#pragma once

struct Subcommand {
    const char *name;
    const char *usage;
    const char *help;
    int (*run)(int argc, char **argv);
};

int run_header(int argc, char **argv);
int run_summary(int argc, char **argv);
int run_mktap(int argc, char **argv);
int run_hex(int argc, char **argv);
int run_basic(int argc, char **argv);
int run_dasm(int argc, char **argv);
int run_split(int argc, char **argv);
int run_repair(int argc, char **argv);
int run_pulses(int argc, char **argv);
int run_edit(int argc, char **argv);
int run_audio2tap(int argc, char **argv);
int run_idx(int argc, char **argv);
int run_d64(int argc, char **argv);
int run_speed(int argc, char **argv);
int run_histogram(int argc, char **argv);
