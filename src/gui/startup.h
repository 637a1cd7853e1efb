// The start-up sequence of the front end, shared by main and the GUI tests:
// everything up to showing the main window and running the main loop.
#pragma once

void quillmarfe_startup(int *argc, char ***argv);
