#include "KZPreviewContent.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPainter>
#include <QStringDecoder>

#if BINWISE_HAS_QT_PDF
#include <QPdfDocument>
#endif

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    {}
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    [[nodiscard]] int get() const { return m_fd; }

private:
    int m_fd;
};

QSize fitted(QSize size, const QSize &into)
{
    if (size.isEmpty() || into.isEmpty())
        return size;
    // Small pictures stay at their own size; only larger ones shrink.
    if (size.width() <= into.width() && size.height() <= into.height())
        return size;
    return size.scaled(into, Qt::KeepAspectRatio);
}

QImage readImage(const QByteArray &data, const QSize &fitInto, qreal ratio)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid())
        reader.setScaledSize(fitted(size, fitInto) * ratio);
    QImage image = reader.read();
    if (!image.isNull() && !size.isValid())
        image = image.scaled(fitted(image.size(), fitInto) * ratio, Qt::KeepAspectRatio,
                             Qt::SmoothTransformation);
    image.setDevicePixelRatio(ratio);
    return image;
}

#if BINWISE_HAS_QT_PDF
QImage readPdfPage(const QByteArray &data, const QSize &fitInto, qreal ratio)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QPdfDocument document;
    document.load(&buffer);
    if (document.status() != QPdfDocument::Status::Ready || document.pageCount() < 1)
        return {};
    // Page sizes are in points; render at the size that fits.
    const QSizeF points = document.pagePointSize(0);
    if (points.isEmpty())
        return {};
    const QSize pixels = (points.scaled(fitInto, Qt::KeepAspectRatio) * ratio).toSize();
    QImage page = document.render(0, pixels);
    if (page.isNull())
        return {};
    // Pages come with a transparent background; paper is white.
    QImage paper(page.size(), QImage::Format_ARGB32_Premultiplied);
    paper.fill(Qt::white);
    {
        QPainter painter(&paper);
        painter.drawImage(0, 0, page);
    }
    paper.setDevicePixelRatio(ratio);
    return paper;
}
#endif
} // namespace

bool KZPreviewContent::showsPdfPages()
{
    return BINWISE_HAS_QT_PDF;
}

std::optional<QByteArray> KZPreviewContent::readRegularFile(const QByteArray &path, qint64 limit,
                                                            bool *truncated)
{
    if (truncated)
        *truncated = false;
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0 || slash == path.size() - 1)
        return std::nullopt;
    const QByteArray folder = slash == 0 ? QByteArray("/") : path.left(slash);
    const QByteArray name = path.mid(slash + 1);
    const FileDescriptor dir(::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() < 0)
        return std::nullopt;
    struct stat before
    {
    };
    if (::fstatat(dir.get(), name.constData(), &before, AT_SYMLINK_NOFOLLOW) != 0
        || !S_ISREG(before.st_mode))
        return std::nullopt;
    // O_NONBLOCK: should a FIFO take the file's place between the look and the open, the open
    // does not hang; the check on the descriptor then refuses it.
    const FileDescriptor file(::openat(dir.get(), name.constData(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.get() < 0)
        return std::nullopt;
    struct stat opened
    {
    };
    if (::fstat(file.get(), &opened) != 0 || !S_ISREG(opened.st_mode))
        return std::nullopt;

    QByteArray data;
    const qint64 wanted = qMin<qint64>(limit, opened.st_size);
    data.resize(wanted);
    qint64 done = 0;
    while (done < wanted) {
        const ssize_t got = ::read(file.get(), data.data() + done, size_t(wanted - done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        done += got;
    }
    data.resize(done);
    if (truncated)
        *truncated = opened.st_size > done;
    return data;
}

bool KZPreviewContent::looksLikeText(const QByteArray &head)
{
    if (head.contains('\0'))
        return false;
    QByteArray body = head;
    // The read may have cut the last character in the middle; drop an unfinished sequence.
    qsizetype cut = body.size();
    for (int back = 1; back <= 3 && cut - back >= 0; ++back) {
        const auto c = static_cast<unsigned char>(body.at(cut - back));
        if ((c & 0xC0) == 0x80)
            continue;
        const int length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (length > back)
            body.truncate(cut - back);
        break;
    }
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(body);
    if (decoder.hasError())
        return false;
    qsizetype control = 0;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 && u != '\n' && u != '\r' && u != '\t' && u != '\f')
            ++control;
    }
    return control * 20 <= text.size();
}

KZPreviewContent KZPreviewContent::load(const QUrl &itemURL, const QSize &fitInto,
                                        qreal devicePixelRatio)
{
    KZPreviewContent content;
    if (!itemURL.isLocalFile())
        return content;
    const QByteArray path = QFile::encodeName(itemURL.toLocalFile());
    // Only the start is needed to tell the kind; documents are read whole afterwards.
    bool truncated = false;
    const std::optional<QByteArray> head = readRegularFile(path, kTextLimit, &truncated);
    if (!head)
        return content;

    const QMimeType type = QMimeDatabase().mimeTypeForFileNameAndData(
        QFileInfo(itemURL.toLocalFile()).fileName(), *head);
    const bool image = type.name().startsWith(QLatin1String("image/"))
                       && QImageReader::supportedMimeTypes().contains(type.name().toLatin1());
    const bool pdf = type.inherits(QStringLiteral("application/pdf"));
    if (image || pdf) {
        const std::optional<QByteArray> whole
            = truncated ? readRegularFile(path, kDocumentLimit) : head;
        if (whole && image) {
            content.m_image = readImage(*whole, fitInto, devicePixelRatio);
            if (!content.m_image.isNull())
                content.m_kind = Kind::Image;
        }
#if BINWISE_HAS_QT_PDF
        if (whole && pdf) {
            content.m_image = readPdfPage(*whole, fitInto, devicePixelRatio);
            if (!content.m_image.isNull())
                content.m_kind = Kind::Pdf;
        }
#endif
        if (content.m_kind != Kind::Facts)
            return content;
    }
    if (looksLikeText(*head)) {
        content.m_kind = Kind::Text;
        content.m_text = QString::fromUtf8(*head);
        content.m_truncated = truncated;
    }
    return content;
}
