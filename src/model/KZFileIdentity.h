#pragma once

#include <QtGlobal>

#include <sys/stat.h>

#include <functional>

// What makes a file the same file under several names: its device and inode. Walks keep the
// identities of multiply-linked files they have counted, so that each counts once.
struct KZFileIdentity
{
    quint32 major = 0;
    quint32 minor = 0;
    quint64 ino = 0;

    [[nodiscard]] static KZFileIdentity of(const struct statx &st)
    {
        return {st.stx_dev_major, st.stx_dev_minor, st.stx_ino};
    }
    bool operator==(const KZFileIdentity &) const = default;

    struct Hash
    {
        size_t operator()(const KZFileIdentity &key) const
        {
            return std::hash<quint64>()(key.ino ^ (quint64(key.major) << 52)
                                        ^ (quint64(key.minor) << 32));
        }
    };
};
