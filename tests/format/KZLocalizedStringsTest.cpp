#include "format/KZLocalizedStrings.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <algorithm>

namespace {

const QString &general = KZLocalizedStrings::kGeneralTable;
const QString &errors = KZLocalizedStrings::kErrorsTable;

qsizetype placeholders(const QString &text)
{
    return text.count(QStringLiteral("%@"));
}

struct Entry
{
    const char *table;
    const char *key;
    int places; // "%@" places the callers fill
};

// Every key the program looks up, with the number of names its callers fill in.
const Entry kEntries[] = {
    {"Localizable", "byte", 0},
    {"Localizable", "Kb", 0},
    {"Localizable", "Mb", 0},
    {"Localizable", "Gb", 0},
    {"Localizable", "Tb", 0},
    {"Localizable", "unknown", 0},
    {"Localizable", "gettingSize_info", 1},
    {"Localizable", "Gathering_info", 0},
    {"Localizable", "eraseAll", 0},
    {"Localizable", "smartErase", 0},
    {"Localizable", "eraseVol", 1},
    {"Localizable", "deleteMess", 1},
    {"Localizable", "all_disks", 2},
    {"Localizable", "single_disk", 3},
    {"Localizable", "smart_erase", 2},
    {"Localizable", "empty_trash", 0},
    {"Localizable", "secure_empty_trash", 0},
    {"Localizable", "erase_checked", 0},
    {"Localizable", "secure_erase_checked", 0},
    {"Localizable", "cancel", 0},
    {"Localizable", "erasing", 1},
    {"Localizable", "start_delete_all", 0},
    {"Localizable", "end_delete_all", 0},
    {"Localizable", "start_delete_checked", 0},
    {"Localizable", "end_delete_checked", 0},
    {"Localizable", "start_delete_single", 0},
    {"Localizable", "end_delete_single", 0},
    {"Localizable", "all_vols_log_name", 0},
    {"Localizable", "selected_items_log_name", 0},
    {"Localizable", "isSecure_erase", 0},
    {"Localizable", "log_name", 1},
    {"Localizable", "items_erased", 3},
    {"Localizable", "undeletedLockedSingStr", 1},
    {"Localizable", "undeletedLockedSingMsg", 0},
    {"Localizable", "undeletedNoPermissionsSingStr", 1},
    {"Localizable", "undeletedNoPermissionsSingMsg", 0},
    {"Localizable", "apply_to_all", 0},
    {"Localizable", "skip", 0},
    {"Localizable", "erase", 0},
    {"Localizable", "Trash_empty", 0},
    {"Localizable", "item_size", 2},
    {"Localizable", "items_size", 2},
    {"Localizable", "%@ trash", 1},
    {"Localizable", "selected", 0},
    {"Localizable", "of", 2},
    {"Localizable", "language", 0},
    {"Localizable", "supportEmail", 0},
    {"Localizable", "newsLetterSubscription", 0},
    {"Localizable", "Folder", 0},
    {"Errors", "userNotAuthorized", 0},
    {"Errors", "Busy_Sing", 0},
    {"Errors", "Busy_Plur", 1},
    {"Errors", "open_log_file_error", 0},
    {"Errors", "yes_btn", 0},
    {"Errors", "no_btn", 0},
    {"Errors", "okay_btn", 0},
    {"Errors", "cancel_btn", 0},
    {"Errors", "srm_not_available", 0},
    {"Errors", "srm_not_available_msg", 0},
    {"Errors", "update_helper_tool", 0},
    {"Errors", "update_helper_tool_mess", 0},
    {"Errors", "cantCreateMenu", 0},
    {"Errors", "cantCreateMenuMess", 0},
    {"Errors", "disclaimer", 0},
    {"Errors", "agree_btn", 0},
    {"Errors", "disagree_btn", 0},
    {"Errors", "old_binwise_was_found", 0},
    {"Errors", "old_binwise_was_found_mess", 0},
    {"Errors", "dont_unistall_btn", 0},
    {"Errors", "unistall_btn", 0},
    {"Errors", "Do not show me again", 0},
    {"KZCommonHelper", "Binwise is trying to erase with root authorization.", 0},
};

} // namespace

TEST(LocalizedStrings, EveryKeyHasATextWithThePlacesItsCallersFill)
{
    const KZLocalizedStrings strings({QStringLiteral("en")});
    for (const Entry &entry : kEntries) {
        const QString table = QLatin1String(entry.table);
        const QString key = QString::fromUtf8(entry.key);
        SCOPED_TRACE(key.toStdString());
        ASSERT_TRUE(strings.hasKey(key, table));
        const QString text = strings.stringForKey(key, table);
        EXPECT_FALSE(text.isEmpty());
        EXPECT_EQ(placeholders(text), entry.places);
    }
}

TEST(LocalizedStrings, TablesHoldNoKeyNobodyAsksFor)
{
    const KZLocalizedStrings strings({QStringLiteral("en")});
    for (const QString &table : {general, errors, KZLocalizedStrings::kCommonHelperTable}) {
        for (const QString &key : strings.keysOfTable(table)) {
            const bool known
                = std::any_of(std::begin(kEntries), std::end(kEntries), [&](const Entry &e) {
                      return table == QLatin1String(e.table) && key == QString::fromUtf8(e.key);
                  });
            EXPECT_TRUE(known) << table.toStdString() << ": " << key.toStdString();
        }
    }
}

TEST(LocalizedStrings, MissingKeysShowAsThemselves)
{
    const KZLocalizedStrings strings({QStringLiteral("en")});
    EXPECT_EQ(strings.stringForKey(QStringLiteral("no_such_key")), QStringLiteral("no_such_key"));
    // Tables are separate: an error key is not in the general table, and the reverse.
    EXPECT_EQ(strings.stringForKey(QStringLiteral("userNotAuthorized"), general),
              QStringLiteral("userNotAuthorized"));
    EXPECT_EQ(strings.stringForKey(QStringLiteral("Trash_empty"), errors),
              QStringLiteral("Trash_empty"));
    EXPECT_EQ(strings.stringForKey(QStringLiteral("byte"), QStringLiteral("NoSuchTable")),
              QStringLiteral("byte"));
}

TEST(LocalizedStrings, UntranslatedLanguagesFallBackToEnglish)
{
    const KZLocalizedStrings strings({QStringLiteral("de-DE"), QStringLiteral("fr")});
    EXPECT_EQ(strings.languages(), (QStringList{QStringLiteral("de_DE"), QStringLiteral("de"),
                                                QStringLiteral("fr"), QStringLiteral("en")}));
    const KZLocalizedStrings english({QStringLiteral("en")});
    EXPECT_EQ(strings.stringForKey(QStringLiteral("Trash_empty")),
              english.stringForKey(QStringLiteral("Trash_empty")));
}

TEST(LocalizedStrings, FillingUsesNamesInOrderAndLeavesTheRest)
{
    using S = KZLocalizedStrings;
    const QString three = QStringLiteral("%@ and %@ and %@");
    EXPECT_EQ(S::replaceContentOfString(three, {QStringLiteral("a"), QStringLiteral("b")}),
              QStringLiteral("a and b and %@"));
    EXPECT_EQ(
        S::replaceContentOfString(QStringLiteral("x %@ y"),
                                  {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}),
        QStringLiteral("x 1 y"));
    EXPECT_EQ(S::replaceContentOfString(three, {}), three);
    EXPECT_EQ(S::replaceContentOfString(QStringLiteral("no places"), {QStringLiteral("a")}),
              QStringLiteral("no places"));
    // The first open place is searched from the start each time, so a name holding "%@" hands
    // that place on to the next name: this is how formats are pre-filled in two steps.
    EXPECT_EQ(S::replaceContentOfString(QStringLiteral("%@ / %@"),
                                        {QStringLiteral("%@"), QStringLiteral("b")}),
              QStringLiteral("b / %@"));
}

TEST(LocalizedStrings, SingularCutTurnsThePluralLinesIntoSingularOnes)
{
    // A single item reads the plural line less its last two characters, plus a full stop.
    const KZLocalizedStrings strings({QStringLiteral("en")});
    for (const char *key : {"all_disks", "single_disk", "smart_erase"}) {
        QString line = strings.stringForKey(QLatin1String(key));
        while (placeholders(line) > 0)
            line = KZLocalizedStrings::replaceContentOfString(line, {QStringLiteral("1")});
        const QString singular = line.chopped(2) + QLatin1Char('.');
        EXPECT_TRUE(line.endsWith(QStringLiteral("1 items."))) << line.toStdString();
        EXPECT_TRUE(singular.endsWith(QStringLiteral("1 item."))) << singular.toStdString();
    }
}
