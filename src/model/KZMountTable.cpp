#include "KZMountTable.h"

#include <QFile>

#include <sys/sysmacros.h>

#include <array>

namespace {

const std::array kPseudoFileSystems
    = {"proc",     "sysfs",    "cgroup",    "cgroup2",     "devpts", "devtmpfs",
       "mqueue",   "debugfs",  "tracefs",   "securityfs",  "pstore", "bpf",
       "configfs", "fusectl",  "hugetlbfs", "binfmt_misc", "autofs", "rpc_pipefs",
       "nsfs",     "efivarfs", "overlay",   "squashfs",    "ramfs"};

const std::array kSystemTrees = {"/proc", "/sys", "/dev", "/run", "/snap", "/boot"};

const std::array kTmpfsPlaces = {"/tmp", "/media", "/mnt", "/run/media"};

bool hasOption(const QByteArray &options, const QByteArray &option)
{
    for (const QByteArray &each : options.split(',')) {
        if (each == option)
            return true;
    }
    return false;
}

} // namespace

QList<KZMountEntry> KZMountTable::read(const QString &mountInfoPath)
{
    QFile file(mountInfoPath);
    // /proc files report size 0, so read until the end rather than by size.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    return parse(file.readAll());
}

QList<KZMountEntry> KZMountTable::parse(const QByteArray &content)
{
    QList<KZMountEntry> entries;
    for (const QByteArray &line : content.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        // id parent major:minor root mountpoint options [optional...] - type source superopts
        const qsizetype separator = fields.indexOf("-");
        if (separator < 6 || fields.size() < separator + 3)
            continue;
        KZMountEntry entry;
        bool ok = false;
        entry.mountID = fields[0].toULongLong(&ok);
        if (!ok)
            continue;
        entry.parentID = fields[1].toULongLong();
        const QList<QByteArray> device = fields[2].split(':');
        if (device.size() == 2)
            entry.device = makedev(device[0].toUInt(), device[1].toUInt());
        entry.root = unescape(fields[3]);
        entry.mountPoint = unescape(fields[4]);
        entry.mountOptions = fields[5];
        entry.fileSystemType = unescape(fields[separator + 1]);
        entry.source = unescape(fields[separator + 2]);
        if (separator + 3 < fields.size())
            entry.superOptions = fields[separator + 3];
        entries.append(entry);
    }
    return entries;
}

QByteArray KZMountTable::unescape(const QByteArray &field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const char c = field[i];
        if (c == '\\' && i + 3 < field.size()) {
            const QByteArray digits = field.mid(i + 1, 3);
            bool ok = false;
            const int value = digits.toInt(&ok, 8);
            if (ok && digits.size() == 3 && value < 256) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(c);
    }
    return out;
}

bool KZMountTable::isAtOrUnder(const QByteArray &path, const QByteArray &base)
{
    if (base == "/")
        return path.startsWith('/');
    return path == base || (path.startsWith(base) && path.at(base.size()) == '/');
}

bool KZMountTable::isHidden(const KZMountEntry &entry, const QByteArray &home,
                            const QByteArray &userName)
{
    for (const char *type : kPseudoFileSystems) {
        if (entry.fileSystemType == type)
            return true;
    }
    const QByteArray &point = entry.mountPoint;
    const QByteArray userMediaRoot = "/run/media/" + userName;
    const bool userMedia
        = !userName.isEmpty() && isAtOrUnder(point, userMediaRoot) && point != userMediaRoot;
    for (const char *tree : kSystemTrees) {
        if (isAtOrUnder(point, tree) && !userMedia)
            return true;
    }
    if (entry.root != "/")
        return true;
    for (const QByteArray *options : {&entry.mountOptions, &entry.superOptions}) {
        if (hasOption(*options, "x-gvfs-hide") || hasOption(*options, "x-gvfs-notrash"))
            return true;
    }
    if (entry.fileSystemType == "tmpfs") {
        bool inPlace = !home.isEmpty() && home != "/" && isAtOrUnder(point, home);
        for (const char *place : kTmpfsPlaces) {
            if (isAtOrUnder(point, place) && point != place)
                inPlace = true;
        }
        if (!inPlace)
            return true;
    }
    return false;
}
