#include "KZX11GlobalShortcuts.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMetaObject>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <memory>

Q_LOGGING_CATEGORY(lcX11Shortcuts, "binwise.hotkeys.x11")

namespace {

// X keysyms of the keys Qt names apart from their characters.
constexpr struct
{
    Qt::Key key;
    quint32 keysym;
} kSpecialKeys[] = {
    {Qt::Key_Backspace, 0xff08}, {Qt::Key_Tab, 0xff09},     {Qt::Key_Return, 0xff0d},
    {Qt::Key_Enter, 0xff8d},     {Qt::Key_Escape, 0xff1b},  {Qt::Key_Delete, 0xffff},
    {Qt::Key_Insert, 0xff63},    {Qt::Key_Home, 0xff50},    {Qt::Key_End, 0xff57},
    {Qt::Key_Left, 0xff51},      {Qt::Key_Up, 0xff52},      {Qt::Key_Right, 0xff53},
    {Qt::Key_Down, 0xff54},      {Qt::Key_PageUp, 0xff55},  {Qt::Key_PageDown, 0xff56},
    {Qt::Key_Pause, 0xff13},     {Qt::Key_Print, 0xff61},   {Qt::Key_Menu, 0xff67},
    {Qt::Key_Space, 0x0020},     {Qt::Key_Backtab, 0xfe20},
};

// Modifier bits of the core protocol.
constexpr std::uint16_t kShiftMask = XCB_MOD_MASK_SHIFT;
constexpr std::uint16_t kLockMask = XCB_MOD_MASK_LOCK;
constexpr std::uint16_t kControlMask = XCB_MOD_MASK_CONTROL;
constexpr std::uint16_t kAltMask = XCB_MOD_MASK_1;
// Super: where every common keymap puts the logo keys.
constexpr std::uint16_t kSuperMask = XCB_MOD_MASK_4;
constexpr quint32 kNumLockKeysym = 0xff7f;
constexpr std::uint8_t kBadAccess = 10;

} // namespace

KZX11GlobalShortcuts::KZX11GlobalShortcuts(QObject *parent)
    : KZGlobalShortcuts(parent)
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return;
    m_connection = x11->connection();
    m_keySymbols = xcb_key_symbols_alloc(m_connection);
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    if (!screens.rem || !m_keySymbols) {
        m_connection = nullptr;
        return;
    }
    m_root = screens.data->root;
    findNumLockMask();
    QCoreApplication::instance()->installNativeEventFilter(this);
}

KZX11GlobalShortcuts::~KZX11GlobalShortcuts()
{
    if (!m_connection)
        return;
    QCoreApplication::instance()->removeNativeEventFilter(this);
    const QList<std::uint16_t> variants = lockVariants();
    for (const Grab &grab : std::as_const(m_grabs))
        ungrab(grab, variants);
    xcb_flush(m_connection);
    xcb_key_symbols_free(m_keySymbols);
}

KZGlobalShortcuts::Availability KZX11GlobalShortcuts::availability() const
{
    if (m_connection)
        return {true, {}};
    return {false, QStringLiteral("the X server could not be reached.")};
}

void KZX11GlobalShortcuts::findNumLockMask()
{
    // Num Lock sits on a keymap-dependent modifier (Mod2 on most); its state must be ignored.
    xcb_keycode_t *numLock = xcb_key_symbols_get_keycode(m_keySymbols, kNumLockKeysym);
    const std::unique_ptr<xcb_get_modifier_mapping_reply_t, decltype(&std::free)> mapping(
        xcb_get_modifier_mapping_reply(m_connection, xcb_get_modifier_mapping(m_connection),
                                       nullptr),
        &std::free);
    if (numLock && mapping) {
        const xcb_keycode_t *codes = xcb_get_modifier_mapping_keycodes(mapping.get());
        const int perModifier = mapping->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8 && !m_numLockMask; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t code = codes[modifier * perModifier + i];
                for (const xcb_keycode_t *n = numLock; code && *n != XCB_NO_SYMBOL; ++n) {
                    if (*n == code)
                        m_numLockMask = std::uint16_t(1u << modifier);
                }
            }
        }
    }
    std::free(numLock);
    if (!m_numLockMask)
        m_numLockMask = XCB_MOD_MASK_2;
}

quint32 KZX11GlobalShortcuts::keysymForKey(Qt::Key key)
{
    for (const auto &special : kSpecialKeys) {
        if (special.key == key)
            return special.keysym;
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return 0xffbe + quint32(key - Qt::Key_F1);
    // Latin-1 keys are their own keysyms; letters are grabbed by their unshifted keysym, as
    // the keymap lists them.
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return quint32(key) + 0x20;
    if (key > Qt::Key_Space && key <= 0xff)
        return quint32(key);
    return 0;
}

std::uint16_t KZX11GlobalShortcuts::modifierMask(Qt::KeyboardModifiers modifiers) const
{
    std::uint16_t mask = 0;
    if (modifiers & Qt::ShiftModifier)
        mask |= kShiftMask;
    if (modifiers & Qt::ControlModifier)
        mask |= kControlMask;
    if (modifiers & Qt::AltModifier)
        mask |= kAltMask;
    if (modifiers & Qt::MetaModifier)
        mask |= kSuperMask;
    return mask;
}

QList<std::uint16_t> KZX11GlobalShortcuts::lockVariants() const
{
    return {0, kLockMask, m_numLockMask, std::uint16_t(kLockMask | m_numLockMask)};
}

void KZX11GlobalShortcuts::ungrab(const Grab &grab, const QList<std::uint16_t> &variants)
{
    for (const std::uint8_t code : grab.keycodes) {
        for (const std::uint16_t variant : variants)
            xcb_ungrab_key(m_connection, code, m_root, std::uint16_t(grab.modifiers | variant));
    }
}

bool KZX11GlobalShortcuts::registerShortcut(const QString &id, QKeyCombination combination)
{
    Q_ASSERT(!m_grabs.contains(id));
    if (!m_connection || m_grabs.contains(id))
        return false;
    const quint32 keysym = keysymForKey(combination.key());
    xcb_keycode_t *codes = keysym ? xcb_key_symbols_get_keycode(m_keySymbols, keysym) : nullptr;
    Grab grab;
    grab.modifiers = modifierMask(combination.keyboardModifiers());
    for (const xcb_keycode_t *code = codes; code && *code != XCB_NO_SYMBOL; ++code) {
        if (!grab.keycodes.contains(*code))
            grab.keycodes.append(*code);
    }
    std::free(codes);
    if (grab.keycodes.isEmpty()) {
        qCInfo(lcX11Shortcuts) << "no key code for" << combination;
        return false;
    }

    const QList<std::uint16_t> variants = lockVariants();
    QList<xcb_void_cookie_t> cookies;
    for (const std::uint8_t code : std::as_const(grab.keycodes)) {
        for (const std::uint16_t variant : variants)
            cookies.append(xcb_grab_key_checked(m_connection, 1, m_root,
                                                std::uint16_t(grab.modifiers | variant), code,
                                                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    bool taken = false;
    for (const xcb_void_cookie_t cookie : std::as_const(cookies)) {
        if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookie)) {
            // BadAccess: another client grabbed it first. Any other error leaves it off too.
            if (error->error_code != kBadAccess)
                qCWarning(lcX11Shortcuts) << "grab failed with X error" << error->error_code;
            taken = true;
            std::free(error);
        }
    }
    if (taken) {
        // Another client holds the combination: release the variants this one got, so that
        // the other keeps working in every lock state.
        qCInfo(lcX11Shortcuts) << combination << "is taken by another client";
        ungrab(grab, variants);
        xcb_flush(m_connection);
        return false;
    }
    m_grabs.insert(id, grab);
    return true;
}

void KZX11GlobalShortcuts::unregisterShortcut(const QString &id)
{
    const auto found = m_grabs.constFind(id);
    if (found == m_grabs.constEnd())
        return;
    ungrab(*found, lockVariants());
    xcb_flush(m_connection);
    m_grabs.erase(found);
}

bool KZX11GlobalShortcuts::isRegistered(const QString &id) const
{
    return m_grabs.contains(id);
}

bool KZX11GlobalShortcuts::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
        return false;
    const auto *press = static_cast<const xcb_key_press_event_t *>(message);
    if (press->event != m_root)
        return false;
    const std::uint16_t state = press->state & (kShiftMask | kControlMask | kAltMask | kSuperMask);
    for (auto it = m_grabs.cbegin(); it != m_grabs.cend(); ++it) {
        if (it->modifiers == state && it->keycodes.contains(press->detail)) {
            // Out of Qt's event dispatch first: the action may open windows and dialogs.
            QMetaObject::invokeMethod(
                this, [this, id = it.key()] { Q_EMIT activated(id); }, Qt::QueuedConnection);
            return true;
        }
    }
    return false;
}
