// The Options page: its widgets are the only store of the options; this
// module loads them from, and saves them to, "user.ini".
#pragma once
#include "core/optionsfile.h"

#include <string>

void options_module_init();
void options_init_checkbuttons();
void options_set_child_prg_checkbuttons_status(bool active);
void options_load_from_file();
// True when the file could be opened for writing.
bool options_save_to_file();
void options_set_defaults();
void options_set_max_tolerance();

// Applies what a key file asks of the widgets; absent keys leave them.
void set_options_from_config(const OptionsUpdate &update);
// The widgets' current states, as "Save options" writes them.
OptionsState options_read_widgets();

const std::string &options_config_file();
