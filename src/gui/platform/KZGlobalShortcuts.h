#pragma once

#include <QKeyCombination>
#include <QObject>
#include <QString>

// Key combinations that reach Binwise from any application. One implementation per kind of
// session (X11 key grabs, the desktop portal on Wayland, or none); the application controller
// talks to this interface only, so it stays Qt Core. Main thread.
class KZGlobalShortcuts : public QObject
{
    Q_OBJECT

public:
    struct Availability
    {
        bool available = false;
        // Why hot keys cannot work in this session, in words for the preferences; empty when
        // they can.
        QString reason;
    };

    using QObject::QObject;

    [[nodiscard]] virtual Availability availability() const = 0;
    // Registers combination under id. False when the system refuses it (another program holds
    // it): the hot key then stays off. An id already registered must be unregistered first.
    virtual bool registerShortcut(const QString &id, QKeyCombination combination) = 0;
    // Nothing happens for an id that is not registered.
    virtual void unregisterShortcut(const QString &id) = 0;
    [[nodiscard]] virtual bool isRegistered(const QString &id) const = 0;

Q_SIGNALS:
    // The combination registered under id was pressed. Emitted from the event loop, never from
    // inside the platform's event dispatch.
    void activated(const QString &id);
};
