#include "KZTestMount.h"

#include <QDir>
#include <QProcess>

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

bool canMount(QString *whyNot)
{
    if (::geteuid() != 0) {
        *whyNot = QStringLiteral("mounting needs root");
        return false;
    }
    return true;
}

} // namespace

KZTestMount::KZTestMount(QByteArray mountPoint, QByteArray image)
    : m_mountPoint(std::move(mountPoint))
    , m_image(std::move(image))
{}

KZTestMount::~KZTestMount()
{
    // A test may leave a file busy for a moment; a lazy detach still frees the mount point.
    if (::umount2(m_mountPoint.constData(), 0) != 0)
        ::umount2(m_mountPoint.constData(), MNT_DETACH);
    if (!m_image.isEmpty())
        ::unlink(m_image.constData());
}

std::unique_ptr<KZTestMount> KZTestMount::tmpfs(const QByteArray &mountPoint, QString *whyNot,
                                                int sizeMiB)
{
    if (!canMount(whyNot))
        return nullptr;
    QDir().mkpath(QString::fromLocal8Bit(mountPoint));
    const QByteArray options = "size=" + QByteArray::number(sizeMiB) + "m,mode=0755";
    if (::mount("binwise-test", mountPoint.constData(), "tmpfs", 0, options.constData()) != 0) {
        *whyNot = QStringLiteral("cannot mount tmpfs: %1")
                      .arg(QString::fromLocal8Bit(std::strerror(errno)));
        return nullptr;
    }
    return std::unique_ptr<KZTestMount>(new KZTestMount(mountPoint));
}

std::unique_ptr<KZTestMount> KZTestMount::ext4Image(const QByteArray &mountPoint,
                                                    const QByteArray &label, QString *whyNot,
                                                    int sizeMiB)
{
    if (!canMount(whyNot))
        return nullptr;
    QDir().mkpath(QString::fromLocal8Bit(mountPoint));
    const QByteArray image = mountPoint + ".img";
    if (::truncate(image.constData(), 0) != 0) {
        QFile file(QString::fromLocal8Bit(image));
        file.open(QIODevice::WriteOnly);
    }
    if (::truncate(image.constData(), off_t(sizeMiB) * 1024 * 1024) != 0) {
        *whyNot = QStringLiteral("cannot make the image file");
        return nullptr;
    }
    QProcess mkfs;
    mkfs.start(QStringLiteral("mkfs.ext4"),
               {QStringLiteral("-q"), QStringLiteral("-F"), QStringLiteral("-L"),
                QString::fromLocal8Bit(label), QString::fromLocal8Bit(image)});
    if (!mkfs.waitForFinished(60000) || mkfs.exitStatus() != QProcess::NormalExit
        || mkfs.exitCode() != 0) {
        ::unlink(image.constData());
        *whyNot = QStringLiteral("mkfs.ext4 failed: %1")
                      .arg(QString::fromLocal8Bit(mkfs.readAllStandardError()));
        return nullptr;
    }
    // mount(8) finds a free loop device and lets it go again at unmount (autoclear).
    QProcess mount;
    mount.start(QStringLiteral("mount"),
                {QStringLiteral("-o"), QStringLiteral("loop"), QString::fromLocal8Bit(image),
                 QString::fromLocal8Bit(mountPoint)});
    if (!mount.waitForFinished(60000) || mount.exitStatus() != QProcess::NormalExit
        || mount.exitCode() != 0) {
        ::unlink(image.constData());
        *whyNot = QStringLiteral("cannot loop-mount the image: %1")
                      .arg(QString::fromLocal8Bit(mount.readAllStandardError()));
        return nullptr;
    }
    return std::unique_ptr<KZTestMount>(new KZTestMount(mountPoint, image));
}

bool KZTestMount::remount(bool readOnly)
{
    return ::mount(nullptr, m_mountPoint.constData(), nullptr,
                   MS_REMOUNT | (readOnly ? MS_RDONLY : 0), nullptr)
           == 0;
}
