#pragma once

#include "KZError.h"
#include "KZPath.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

class QImage;
class QSize;

// The file model's queries: volumes and their Trash folders, item attributes, folder sizes,
// item kinds, system locations and icons. One process-wide instance; queries answer a neutral
// value (empty, false, 0) when the file system cannot answer.
class KZFilesUtilities
{
public:
    static KZFilesUtilities &sharedControl();

    // ---- Volumes and Trash locations ----------------------------------------------------

    // ---- Item attributes ------------------------------------------------------------------

    // ---- Folder sizes and item counts -----------------------------------------------------

    // ---- Item kinds and type tables -------------------------------------------------------

    // ---- System items and locations -------------------------------------------------------

    // ---- Icons (defined in binwise_gui) ---------------------------------------------------
    // Sizes are logical (points): each answer's deviceIndependentSize() is the size asked for,
    // with at least 36 points' worth of pixels per side at the screens' highest scale, so a
    // row may draw it larger than asked without blur. All four run on any thread and answer
    // QImages, never pixmaps: worker threads load icons, the GUI thread turns them into
    // pixmaps when it draws them. Static, as they need no state of the instance; call them
    // through the shared instance like the other queries. The answer belongs to the caller.

    // The icon the desktop shows for the item: a custom icon (a folder's .directory Icon=,
    // a desktop entry's Icon=), else for a mount point its drive's icon by kind, else the icon
    // of its type from the icon theme, else Qt's file icon provider's. The URL wins over the
    // path; a null image when both are empty or the item does not exist.
    [[nodiscard]] static QImage iconOfItem(const QByteArray &path, const QUrl &url,
                                           const QSize &forSize);
    // The icon of the item at path as iconOfItem finds it, or of its type by name when it does
    // not exist. A width of exactly 0 keeps the icon's natural size, 32 x 32 points.
    [[nodiscard]] static QImage iconForItemPath(const QByteArray &path, const QSize &withSize);
    // The image file at path at ofSize (stretched to it; an empty size keeps the image's own
    // pixels). An empty 0 x 0 image when the file is no image.
    [[nodiscard]] static QImage imageWithPath(const QByteArray &path, const QSize &ofSize);
    // A forSize image holding icon drawn once at the top-left origin at its own size and 50 %
    // opacity: a larger icon is clipped, not scaled.
    [[nodiscard]] static QImage ghostIconWithIcon(const QImage &icon, const QSize &forSize);
};
