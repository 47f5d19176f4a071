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
};
