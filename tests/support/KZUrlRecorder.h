#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>

// Stands in for the desktop's browser and mail program: while it lives, QDesktopServices hands
// it every URL of its schemes instead of starting a program.
class KZUrlRecorder : public QObject
{
    Q_OBJECT

public:
    explicit KZUrlRecorder(const QStringList &schemes, QObject *parent = nullptr);
    ~KZUrlRecorder() override;

    [[nodiscard]] QList<QUrl> urls() const { return m_urls; }

public Q_SLOTS:
    void openUrl(const QUrl &url);

Q_SIGNALS:
    void opened(const QUrl &url);

private:
    QStringList m_schemes;
    QList<QUrl> m_urls;
};
