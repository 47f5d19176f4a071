#pragma once

#include "gui/platform/KZGlobalShortcuts.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QList>

#include <cstdint>

struct xcb_connection_t;
struct _XCBKeySymbols; // xcb_key_symbols_t

// Hot keys of an X11 session: passive key grabs on the root window through Qt's own xcb
// connection, one for each key code of the key and each state of Caps Lock and Num Lock, and the
// key presses read in a native event filter. A combination that another client grabbed first is
// refused by the server (BadAccess) and stays off. Main thread.
class KZX11GlobalShortcuts : public KZGlobalShortcuts, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    // Works on the application's X11 connection; unavailable on any other platform.
    explicit KZX11GlobalShortcuts(QObject *parent = nullptr);
    ~KZX11GlobalShortcuts() override;

    [[nodiscard]] Availability availability() const override;
    bool registerShortcut(const QString &id, QKeyCombination combination) override;
    void unregisterShortcut(const QString &id) override;
    [[nodiscard]] bool isRegistered(const QString &id) const override;

    // The X keysym of a Qt key, 0 when there is none.
    [[nodiscard]] static quint32 keysymForKey(Qt::Key key);

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    struct Grab
    {
        QList<std::uint8_t> keycodes;
        std::uint16_t modifiers = 0;
    };

    [[nodiscard]] std::uint16_t modifierMask(Qt::KeyboardModifiers modifiers) const;
    [[nodiscard]] QList<std::uint16_t> lockVariants() const;
    void ungrab(const Grab &grab, const QList<std::uint16_t> &variants);
    void findNumLockMask();

    xcb_connection_t *m_connection = nullptr;
    _XCBKeySymbols *m_keySymbols = nullptr;
    std::uint32_t m_root = 0;
    std::uint16_t m_numLockMask = 0;
    QHash<QString, Grab> m_grabs;
};
