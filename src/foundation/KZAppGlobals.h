#pragma once

#include <QtGlobal>

// Process-wide values set once at start-up and read elsewhere: whether the privileged helper
// can be used (each erase job copies it when it starts) and the system version code. Any
// thread.
class KZAppGlobals
{
public:
    [[nodiscard]] static bool isHelperAvailable();
    static void setHelperAvailable(bool available);

    // Compared with 0x10100 by code that picks a modern or a legacy path; Linux builds set a
    // value at or above it.
    [[nodiscard]] static quint32 systemVersion();
    static void setSystemVersion(quint32 version);
};
