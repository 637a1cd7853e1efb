// The main window's skeleton: title, size, menus, toolbar, pages, views.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/support.h"

#include <gdk/gdkkeysyms.h>

#include <cstring>

namespace {

std::string tool_label(const char *name)
{
    return gtk_tool_button_get_label(GTK_TOOL_BUTTON(W(name)));
}

std::string tool_stock(const char *name)
{
    return gtk_tool_button_get_stock_id(GTK_TOOL_BUTTON(W(name)));
}

std::string tooltip(GtkWidget *widget)
{
    gchar *text = gtk_widget_get_tooltip_text(widget);
    std::string result = text ? text : "";
    g_free(text);
    return result;
}

std::string image_stock(GtkWidget *image)
{
    gchar *stock = nullptr;
    GtkIconSize size;
    gtk_image_get_stock(GTK_IMAGE(image), &stock, &size);
    return stock ? stock : "";
}

bool sensitive(const char *name)
{
    return GTK_WIDGET_SENSITIVE(W(name));
}

} // namespace

using MainWindow = GuiTest;

TEST_F(MainWindow, TitleAndDefaultSize)
{
    EXPECT_STREQ(gtk_window_get_title(GTK_WINDOW(mainwindow)), "Quillmar Front End");
    int width = 0, height = 0;
    gtk_window_get_default_size(GTK_WINDOW(mainwindow), &width, &height);
    EXPECT_EQ(width, 640);
    EXPECT_EQ(height, 400);
    EXPECT_EQ(W("mainwindow"), mainwindow);
}

TEST_F(MainWindow, WindowIconIsTheNormalCassette)
{
    GdkPixbuf *icon = gtk_window_get_icon(GTK_WINDOW(mainwindow));
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(gdk_pixbuf_get_width(icon), 48);
    EXPECT_EQ(gdk_pixbuf_get_height(icon), 48);
}

TEST_F(MainWindow, VerticalBoxHoldsMenuToolbarNotebookStatusbarInOrder)
{
    GtkWidget *vbox = gtk_bin_get_child(GTK_BIN(mainwindow));
    GList *children = gtk_container_get_children(GTK_CONTAINER(vbox));
    ASSERT_EQ(g_list_length(children), 4u);
    EXPECT_EQ(g_list_nth_data(children, 0), W("menubar_main"));
    EXPECT_EQ(g_list_nth_data(children, 1), W("toolbar_main"));
    EXPECT_EQ(g_list_nth_data(children, 2), W("notebook_main"));
    EXPECT_EQ(g_list_nth_data(children, 3), W("statusbar_mainwin"));
    g_list_free(children);
}

TEST_F(MainWindow, ToolbarItemsLabelsStockImagesAndTooltipsInOrder)
{
    struct Item { const char *name, *label, *stock, *tip; };
    const Item items[] = {
        {"toolbutton_open_file", "Open", "gtk-open", "Attach a file to test, clean, convert, or record"},
        {"separatortoolitem1", nullptr, nullptr, nullptr},
        {"toolbutton_batch", "Batch", "gtk-open", "Select a folder for batch scanning"},
        {"separatortoolitem2", nullptr, nullptr, nullptr},
        {"toolbutton_test", "Test", "gtk-properties", "Test the attached file"},
        {"toolbutton_clean", "Clean", "gtk-clear", "Clean the attached file"},
        {"menutoolbutton_convert", "Convert", "gtk-convert",
         "Test and convert the attached file to TAP v 0 or v 1"},
        {"menutoolbutton_recordaudio", "Record", "gtk-media-record",
         "Save the attached file to an audio file"},
    };
    GtkToolbar *toolbar = GTK_TOOLBAR(W("toolbar_main"));
    ASSERT_EQ(gtk_toolbar_get_n_items(toolbar), 8);
    EXPECT_EQ(gtk_toolbar_get_style(toolbar), GTK_TOOLBAR_BOTH);
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(items[i].name);
        GtkToolItem *item = gtk_toolbar_get_nth_item(toolbar, i);
        EXPECT_EQ(GTK_WIDGET(item), W(items[i].name));
        if (!items[i].label) {
            EXPECT_TRUE(GTK_IS_SEPARATOR_TOOL_ITEM(item));
            continue;
        }
        EXPECT_EQ(tool_label(items[i].name), items[i].label);
        EXPECT_EQ(tool_stock(items[i].name), items[i].stock);
        // A tool item keeps its tooltip on the button inside it.
        EXPECT_EQ(tooltip(gtk_bin_get_child(GTK_BIN(item))), items[i].tip);
    }
    EXPECT_TRUE(GTK_IS_MENU_TOOL_BUTTON(W("menutoolbutton_convert")));
    EXPECT_TRUE(GTK_IS_MENU_TOOL_BUTTON(W("menutoolbutton_recordaudio")));
}

TEST_F(MainWindow, NotebookPagesTabsImagesAndLabelsInOrder)
{
    struct Page { const char *box, *stock, *label; };
    const Page pages[] = {
        {"hbox_notebook_label_tab_report", "gtk-edit", "Report"},
        {"hbox_notebook_label_tab_scanners", "gtk-yes", "Scanners"},
        {"hbox_notebook_label_tab_options", "gtk-preferences", "Options"},
        {"hbox_notebook_label_tab_prg_files", "gtk-execute", "Prg Files"},
        {nullptr, "gtk-dialog-info", "Tools"},
        {"hbox_notebook_label_tab_syslog", "gtk-index", "System Log"},
    };
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    ASSERT_EQ(gtk_notebook_get_n_pages(notebook), 6);
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(pages[i].label);
        GtkWidget *tab = gtk_notebook_get_tab_label(notebook, gtk_notebook_get_nth_page(notebook, i));
        if (pages[i].box) {
            EXPECT_EQ(tab, W(pages[i].box));
        }
        GList *children = gtk_container_get_children(GTK_CONTAINER(tab));
        ASSERT_EQ(g_list_length(children), 2u);
        EXPECT_EQ(image_stock(GTK_WIDGET(children->data)), pages[i].stock);
        EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(children->next->data)), pages[i].label);
        g_list_free(children);
    }
    auto on_page = [&](const char *name, int page) {
        GtkWidget *contents = gtk_notebook_get_nth_page(notebook, page);
        return W(name) == contents || gtk_widget_is_ancestor(W(name), contents);
    };
    EXPECT_TRUE(on_page("notebook_report", 0));
    EXPECT_TRUE(on_page("treeview_scanners", 1));
    EXPECT_TRUE(on_page("hscale_tolerance", 2));
    EXPECT_TRUE(on_page("notebook_prg_views", 3));
    EXPECT_TRUE(on_page("notebook_tools", 4));
    EXPECT_TRUE(on_page("textview_log", 5));
}

TEST_F(MainWindow, MenuItemsLabelsImagesTooltips)
{
    auto label_of = [](const char *name) {
        return std::string(gtk_label_get_text(GTK_LABEL(gtk_bin_get_child(GTK_BIN(W(name))))));
    };
    EXPECT_EQ(label_of("menuitem_file"), "File");
    EXPECT_EQ(label_of("menuitem_help"), "Help");
    EXPECT_EQ(label_of("menuitem_help_about"), "About");
    EXPECT_EQ(label_of("menuitem_help_release_notes"), "Release notes");
    EXPECT_EQ(image_stock(W("image_menuitem_file")), "gtk-floppy");
    EXPECT_EQ(image_stock(W("image_menuitem_help")), "gtk-help");
    EXPECT_EQ(image_stock(W("image_menuitem_help_about")), "gtk-info");
    EXPECT_EQ(image_stock(W("image_menuitem_help_release_notes")), "gtk-about");
    EXPECT_EQ(tooltip(W("menuitem_file_open")), "Attach a file to test, clean, convert, or record");
    EXPECT_EQ(tooltip(W("menuitem_file_quit")), "Leave program");
    EXPECT_EQ(tooltip(W("menuitem_help_about")), "Show program credits");
    EXPECT_EQ(tooltip(W("menuitem_help_release_notes")), "Show release notes");
    EXPECT_EQ(gtk_menu_item_get_submenu(GTK_MENU_ITEM(W("menuitem_file"))), W("menuitem_file_menu"));
    EXPECT_EQ(gtk_menu_item_get_submenu(GTK_MENU_ITEM(W("menuitem_help"))), W("menuitem_help_menu"));
}

TEST_F(MainWindow, StockMenuItemsHaveTheirStandardShortcuts)
{
    GSList *groups = gtk_accel_groups_from_object(G_OBJECT(mainwindow));
    ASSERT_EQ(g_slist_length(groups), 1u);
    GtkAccelGroup *group = GTK_ACCEL_GROUP(groups->data);
    guint found = 0;
    for (guint key : {guint(GDK_o), guint(GDK_q)}) {
        guint n = 0;
        GtkAccelGroupEntry *entries = gtk_accel_group_query(group, key, GDK_CONTROL_MASK, &n);
        if (entries && n > 0)
            ++found;
    }
    EXPECT_EQ(found, 2u);
}

TEST_F(MainWindow, InitialSensitivitiesAndStatusText)
{
    EXPECT_TRUE(sensitive("toolbutton_open_file"));
    EXPECT_TRUE(sensitive("menuitem_file_open"));
    EXPECT_TRUE(sensitive("toolbutton_batch"));
    EXPECT_FALSE(sensitive("toolbutton_test"));
    EXPECT_FALSE(sensitive("toolbutton_clean"));
    EXPECT_FALSE(sensitive("menutoolbutton_convert"));
    EXPECT_FALSE(sensitive("menutoolbutton_recordaudio"));
    EXPECT_EQ(statusbar_text(), " No TAP/DMP file or folder attached for operation or batch scan");
}

TEST_F(MainWindow, TextViewsReadOnlyExceptTheLog)
{
    for (const char *name : {"textview_report", "textview_prgfiles_hex", "textview_prgfiles_dasm",
                             "textview_prgfiles_basic", "textview_cbm_file_repair"}) {
        SCOPED_TRACE(name);
        GtkTextView *view = GTK_TEXT_VIEW(W(name));
        EXPECT_FALSE(gtk_text_view_get_editable(view));
        EXPECT_FALSE(gtk_text_view_get_cursor_visible(view));
        EXPECT_EQ(gtk_text_view_get_left_margin(view), 3);
        EXPECT_EQ(gtk_text_view_get_right_margin(view), 3);
    }
    GtkTextView *log = GTK_TEXT_VIEW(W("textview_log"));
    EXPECT_TRUE(gtk_text_view_get_editable(log));
    EXPECT_TRUE(gtk_text_view_get_cursor_visible(log));
    EXPECT_EQ(gtk_text_view_get_left_margin(log), 3);
    EXPECT_EQ(gtk_text_view_get_right_margin(log), 3);
    EXPECT_FALSE(gtk_text_view_get_accepts_tab(GTK_TEXT_VIEW(W("textview_report"))));
}

TEST_F(MainWindow, ReleaseNotesFillThePlainReportAtStart)
{
    const std::string text = text_view_text("textview_report");
    EXPECT_EQ(text.rfind("Quillmar Front End 0.40\n", 0), 0u);
    EXPECT_NE(text.find("Changelog:"), std::string::npos);
    EXPECT_EQ(release_notes_on, 1);
}

TEST_F(MainWindow, WindowIsADropDestinationForUriLists)
{
    GtkTargetList *targets = gtk_drag_dest_get_target_list(mainwindow);
    ASSERT_NE(targets, nullptr);
    guint info = 99;
    EXPECT_TRUE(gtk_target_list_find(targets, gdk_atom_intern("text/uri-list", FALSE), &info));
    EXPECT_EQ(info, 0u);
}

TEST_F(MainWindow, ConvertAndRecordMenusAttachedWithSecondItemActive)
{
    GtkWidget *convert = gtk_menu_tool_button_get_menu(GTK_MENU_TOOL_BUTTON(W("menutoolbutton_convert")));
    GtkWidget *record = gtk_menu_tool_button_get_menu(GTK_MENU_TOOL_BUTTON(W("menutoolbutton_recordaudio")));
    ASSERT_NE(convert, nullptr);
    ASSERT_NE(record, nullptr);
    EXPECT_FALSE(gtk_check_menu_item_get_active(GTK_CHECK_MENU_ITEM(W("menuitem_convert_to_tap_v_0"))));
    EXPECT_TRUE(gtk_check_menu_item_get_active(GTK_CHECK_MENU_ITEM(W("menuitem_convert_to_tap_v_1"))));
    EXPECT_FALSE(gtk_check_menu_item_get_active(GTK_CHECK_MENU_ITEM(W("menuitem_record_as_sun_au"))));
    EXPECT_TRUE(gtk_check_menu_item_get_active(GTK_CHECK_MENU_ITEM(W("menuitem_record_as_microsoft_wav"))));
}
