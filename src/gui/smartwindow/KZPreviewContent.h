#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>
#include <QUrl>

#include <optional>

// What the preview window shows for one Trash item: a picture, the start of a text, the first
// page of a PDF, or only the facts. Reading never follows a symbolic link (the item inside the
// Trash may be one that points anywhere) and opens nothing but regular files, so a FIFO or a
// device in the Trash is never opened. Any thread.
class KZPreviewContent
{
public:
    enum class Kind { Facts, Image, Text, Pdf };

    // How much of a text is shown, and the largest picture or PDF read whole.
    static constexpr qint64 kTextLimit = 64 * 1024;
    static constexpr qint64 kDocumentLimit = 64 * 1024 * 1024;

    // Whether PDFs show their first page (Qt PDF was there when Binwise was built).
    [[nodiscard]] static bool showsPdfPages();

    // Reads the item at itemURL. A picture keeps its size in points (one pixel a point) unless
    // it is larger than fitInto (points), a page is scaled to fit it; both are rendered with
    // devicePixelRatio pixels a point.
    [[nodiscard]] static KZPreviewContent load(const QUrl &itemURL, const QSize &fitInto,
                                               qreal devicePixelRatio = 1);

    // Up to limit bytes of the regular file at path: opened relative to its folder with
    // O_NOFOLLOW | O_NONBLOCK, and only after the open descriptor is seen to be a regular
    // file. Nothing for a link, a FIFO, a device, a socket, a folder or a read error.
    [[nodiscard]] static std::optional<QByteArray>
    readRegularFile(const QByteArray &path, qint64 limit, bool *truncated = nullptr);
    // Whether the start of a file reads as text: no NUL byte, valid UTF-8 (a sequence cut at
    // the end allowed), few control characters.
    [[nodiscard]] static bool looksLikeText(const QByteArray &head);

    [[nodiscard]] Kind kind() const { return m_kind; }
    [[nodiscard]] const QImage &image() const { return m_image; }
    [[nodiscard]] const QString &text() const { return m_text; }
    // The text stops before the end of the file.
    [[nodiscard]] bool isTruncated() const { return m_truncated; }

private:
    Kind m_kind = Kind::Facts;
    QImage m_image;
    QString m_text;
    bool m_truncated = false;
};
