// Quillmar Front End: a desktop front end for the quillmar tape cleaner.
#include "gui/appstate.h"
#include "gui/startup.h"

int main(int argc, char *argv[])
{
    quillmarfe_startup(&argc, &argv);
    gtk_widget_show(mainwindow);
    gtk_main();
    return 0;
}
