// Prints the content type the desktop (GIO and the shared MIME database)
// gives each file named on the command line, from its name and its first
// bytes, as a file manager decides which program opens it.
#include <gio/gio.h>

#include <cstdio>

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        gchar *data = nullptr;
        gsize size = 0;
        if (!g_file_get_contents(argv[i], &data, &size, nullptr)) {
            std::fprintf(stderr, "mimeguess: cannot read %s\n", argv[i]);
            return 1;
        }
        gboolean uncertain = FALSE;
        gchar *type = g_content_type_guess(argv[i], reinterpret_cast<const guchar *>(data),
                                           size < 4096 ? size : 4096, &uncertain);
        gchar *mime = g_content_type_get_mime_type(type);
        std::printf("%s\n", mime ? mime : type);
        g_free(mime);
        g_free(type);
        g_free(data);
    }
    return 0;
}
