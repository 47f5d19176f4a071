#include "format/KZLocalizedStrings.h"

#include <gtest/gtest.h>

#include <QHash>

#include <vector>

namespace {

using S = KZLocalizedStrings;

struct Keys
{
    const QString &table;
    int places; // "%@" places the callers fill
    std::vector<const char *> keys;
};

// Every key the program looks up, with the number of names its callers fill in.
const Keys kKeys[] = {
    Keys(S::kGeneralTable, 0,
         {"byte", "Kb", "Mb", "Gb", "Tb", "unknown", "Folder", "selected", "Trash_empty",
          "language", "supportEmail", "newsLetterSubscription", "No_trash"}),
    Keys(S::kGeneralTable, 0,
         {"Gathering_info", "eraseAll", "smartErase", "empty_trash", "secure_empty_trash",
          "erase_checked", "secure_erase_checked", "cancel", "apply_to_all", "skip", "erase"}),
    Keys(S::kGeneralTable, 0,
         {"start_delete_all", "end_delete_all", "start_delete_checked", "end_delete_checked",
          "start_delete_single", "end_delete_single", "all_vols_log_name",
          "selected_items_log_name", "isSecure_erase", "undeletedLockedSingMsg",
          "undeletedNoPermissionsSingMsg", "undeletedLockedNoHelperMsg",
          "undeletedNoPermissionsNoHelperMsg"}),
    Keys(S::kGeneralTable, 0,
         {"erasing_untitled", "progress_window_title", "progress_count_label",
          "progress_size_label", "stop", "alert_window_title", "preview_kind", "preview_size",
          "preview_where", "preview_added"}),
    Keys(S::kGeneralTable, 2, {"preview_text_start"}),
    Keys(S::kGeneralTable, 0,
         {"menu_preferences", "pref_window_title", "pref_hot_keys", "pref_empty_trash_key",
          "pref_smart_delete_key", "pref_hot_keys_note", "pref_general", "pref_launch_at_login",
          "pref_show_alert", "pref_delete_locked", "pref_write_log", "pref_new_log_every",
          "pref_log_day", "pref_check_updates", "pref_restore", "pref_done"}),
    Keys(S::kGeneralTable, 1, {"pref_hot_keys_off", "pref_log_days"}),
    Keys(S::kGeneralTable, 0,
         {"menu_empty_all", "menu_trashes", "menu_smart_delete", "menu_show_panel", "menu_about",
          "menu_quit", "about_text", "tray_tooltip_empty"}),
    Keys(S::kGeneralTable, 1, {"tray_tooltip"}),
    Keys(S::kGeneralTable, 0,
         {"menu_services",       "menu_welcome",         "menu_support",
          "menu_newsletter",     "welcome_window_title", "welcome_back_btn",
          "welcome_next_btn",    "welcome_start_btn",    "welcome_subscribe_btn",
          "welcome_login_check", "welcome_page1_title",  "welcome_page1_text",
          "welcome_page2_title", "welcome_page2_text",   "welcome_page3_title",
          "welcome_page3_text",  "welcome_page4_title",  "welcome_page5_title",
          "welcome_page5_text",  "welcome_page6_title",  "welcome_page6_text",
          "welcome_page7_title", "welcome_page7_text",   "web_promo_title"}),
    Keys(S::kGeneralTable, 1, {"welcome_page4_text"}),
    Keys(S::kGeneralTable, 1,
         {"gettingSize_info", "eraseVol", "deleteMess", "erasing", "log_name",
          "undeletedLockedSingStr", "undeletedNoPermissionsSingStr", "%@ trash"}),
    Keys(S::kGeneralTable, 2, {"all_disks", "smart_erase", "item_size", "items_size", "of"}),
    Keys(S::kGeneralTable, 3, {"single_disk", "items_erased", "trash_volume_unreadable"}),
    Keys(S::kGeneralTable, 2, {"trash_unusable"}),
    Keys(S::kErrorsTable, 0,
         {"userNotAuthorized", "Busy_Sing", "open_log_file_error", "srm_not_available",
          "srm_not_available_msg", "update_helper_tool", "update_helper_tool_mess",
          "cantCreateMenu", "cantCreateMenuMess", "disclaimer"}),
    Keys(S::kErrorsTable, 0,
         {"yes_btn", "no_btn", "okay_btn", "cancel_btn", "agree_btn", "disagree_btn",
          "dont_unistall_btn", "unistall_btn", "old_binwise_was_found",
          "old_binwise_was_found_mess", "Do not show me again"}),
    Keys(S::kErrorsTable, 1, {"Busy_Plur", "login_item_error"}),
    Keys(S::kErrorsTable, 2, {"notErased_Sing", "log_write_error"}),
    Keys(S::kErrorsTable, 3, {"notErased_Plur"}),
    Keys(S::kCommonHelperTable, 0, {"Binwise is trying to erase with root authorization."}),
};

} // namespace

TEST(LocalizedStrings, TablesHoldExactlyTheKeysCallersAskForWithTheirPlaces)
{
    const S strings({QStringLiteral("en")});
    QHash<QString, QStringList> expected;
    for (const Keys &group : kKeys) {
        for (const char *key : group.keys) {
            const QString name = QString::fromUtf8(key);
            expected[group.table] << name;
            ASSERT_TRUE(strings.hasKey(name, group.table)) << "missing: " << key;
            const QString text = strings.stringForKey(name, group.table);
            EXPECT_FALSE(text.isEmpty()) << key;
            EXPECT_EQ(text.count(QStringLiteral("%@")), group.places) << key;
        }
    }
    for (auto table = expected.cbegin(); table != expected.cend(); ++table) {
        for (const QString &key : strings.keysOfTable(table.key()))
            EXPECT_TRUE(table->contains(key)) << "unknown: " << key.toStdString();
    }
}

TEST(LocalizedStrings, MissingKeysShowAsThemselvesAndNamesFillThePlacesInOrder)
{
    const S strings({QStringLiteral("en")});
    EXPECT_EQ(strings.stringForKey(QStringLiteral("no_such_key")), QStringLiteral("no_such_key"));
    // Tables are separate: a key of the general table is not in the errors table.
    EXPECT_EQ(strings.stringForKey(QStringLiteral("Trash_empty"), S::kErrorsTable),
              QStringLiteral("Trash_empty"));

    const QString english = strings.stringForKey(QStringLiteral("Trash_empty"));
    EXPECT_EQ(S({QStringLiteral("de-DE")}).stringForKey(QStringLiteral("Trash_empty")), english);

    // Filling takes the first open place each time; surplus names are dropped.
    const QString three = QStringLiteral("%@ and %@ and %@");
    const QStringList abc = {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
    EXPECT_EQ(S::replaceContentOfString(three, abc.mid(0, 2)), QStringLiteral("a and b and %@"));
    EXPECT_EQ(S::replaceContentOfString(QStringLiteral("x %@ y"), abc), QStringLiteral("x a y"));
    // A name holding "%@" hands that place on to the next name: formats are pre-filled in two
    // steps this way.
    EXPECT_EQ(S::replaceContentOfString(QStringLiteral("%@ / %@"),
                                        {QStringLiteral("%@"), QStringLiteral("b")}),
              QStringLiteral("b / %@"));

    // A single item reads the plural line less its last two characters, plus a full stop, so
    // the lines must end in "items." for "1 item." to come out.
    for (const char *key : {"all_disks", "single_disk", "smart_erase"}) {
        QString line = strings.stringForKey(QLatin1String(key));
        while (line.contains(QStringLiteral("%@")))
            line = S::replaceContentOfString(line, {QStringLiteral("1")});
        EXPECT_TRUE(line.endsWith(QStringLiteral("1 items."))) << line.toStdString();
    }
}
