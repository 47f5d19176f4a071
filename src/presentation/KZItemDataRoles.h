#pragma once

#include <Qt>

// The item-data roles that Binwise's models answer and its cells draw. Qt::DisplayRole is the
// title (a volume's "%@ trash" title, an item's name, a formatted size, the badge's "%@ - %@"
// text; for the date column the seconds when KZSecondsRole is empty) and Qt::DecorationRole the
// icon (a QImage as the model's icon functions give it, a QPixmap or a QIcon). A role that a
// model leaves empty reads as nothing, 0 or false.
enum KZItemDataRole : int {
    // Away from the roles a window's own model may use for itself.
    KZSizeRole = Qt::UserRole + 0x4b5a, // quint64 bytes in the volume's Trash / of the item
    KZItemsCountRole,                   // number of items in the volume's Trash
    KZIsDirectoryRole,                  // bool: a folder (a volume row of size 0 reads "-")
    KZIsInvisibleRole,                  // bool: the volume's Trash is empty / the row is dimmed
    KZPathRole,                         // QString or path bytes of the original location
    KZSecondsRole,                      // double: seconds since 1 January 2001 UTC
    KZCheckedCountRole,                 // number of ticked items of the volume
    KZURLRole,                          // QUrl of the item (its icon, its preview)
};
