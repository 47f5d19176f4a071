#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

// A real file system mounted under a test's temporary folder, unmounted (and its loop device
// let go) when the object goes, whatever the test's outcome. Needs root; the factories answer
// null with the reason in *whyNot where mounting is not possible, for GTEST_SKIP().
class KZTestMount
{
public:
    ~KZTestMount();
    KZTestMount(const KZTestMount &) = delete;
    KZTestMount &operator=(const KZTestMount &) = delete;

    // A tmpfs of sizeMiB at mountPoint (made when missing).
    static std::unique_ptr<KZTestMount> tmpfs(const QByteArray &mountPoint, QString *whyNot,
                                              int sizeMiB = 16);
    // An ext4 image of sizeMiB made with mkfs.ext4 -L label next to mountPoint and mounted
    // through a loop device.
    static std::unique_ptr<KZTestMount> ext4Image(const QByteArray &mountPoint,
                                                  const QByteArray &label, QString *whyNot,
                                                  int sizeMiB = 8);

    [[nodiscard]] QByteArray mountPoint() const { return m_mountPoint; }
    // Makes the mounted file system read-only (or writable again).
    bool remount(bool readOnly);

private:
    explicit KZTestMount(QByteArray mountPoint, QByteArray image = {});

    QByteArray m_mountPoint;
    QByteArray m_image;
};
