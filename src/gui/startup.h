// The start-up sequence of the front end, shared by main and the GUI tests:
// everything up to showing the main window and running the main loop.
#pragma once

// Binds the "quillmarfe" catalogue beside the program and takes the user's
// locale: the texts printed before the window (--help, errors) are translated too.
void bind_message_catalogue();

void quillmarfe_startup(int *argc, char ***argv);
