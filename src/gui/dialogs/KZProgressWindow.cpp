#include "KZProgressWindow.h"

#include "erase/KZProgressUI.h"
#include "format/KZLocalizedStrings.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include <limits>

namespace {

constexpr int kMinimumWidth = 380; // logical pixels

QLabel *valueLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

KZProgressWindow::KZProgressWindow(KZProgressUI *ui)
    : m_ui(ui)
    , m_window(new QWidget(nullptr, Qt::Dialog | Qt::WindowStaysOnTopHint | Qt::CustomizeWindowHint
                                        | Qt::WindowTitleHint | Qt::WindowCloseButtonHint))
{
    QWidget *window = m_window;
    window->setObjectName(QStringLiteral("progressWindow"));
    window->setWindowTitle(KZLocalizedString(QStringLiteral("progress_window_title")));
    window->setWindowModality(Qt::NonModal);
    window->setMinimumWidth(kMinimumWidth);
    window->installEventFilter(this);

    auto *layout = new QVBoxLayout(window);
    layout->setSpacing(10);
    layout->setContentsMargins(20, 16, 20, 16);

    m_titleLabel = valueLabel(window);
    m_titleLabel->setObjectName(QStringLiteral("progressTitle"));
    m_titleLabel->setWordWrap(true);
    QFont bold = m_titleLabel->font();
    bold.setBold(true);
    m_titleLabel->setFont(bold);
    layout->addWidget(m_titleLabel);

    m_progressBar = new QProgressBar(window);
    m_progressBar->setObjectName(QStringLiteral("progressBar"));
    m_progressBar->setTextVisible(false);
    m_progressBar->setRange(0, 0);
    layout->addWidget(m_progressBar);

    auto *bottom = new QHBoxLayout;
    auto *figures = new QFormLayout;
    figures->setLabelAlignment(Qt::AlignLeft);
    figures->setHorizontalSpacing(8);
    figures->setVerticalSpacing(4);
    m_countLabel = valueLabel(window);
    m_countLabel->setObjectName(QStringLiteral("progressCount"));
    m_sizeLabel = valueLabel(window);
    m_sizeLabel->setObjectName(QStringLiteral("progressSize"));
    figures->addRow(KZLocalizedString(QStringLiteral("progress_count_label")), m_countLabel);
    figures->addRow(KZLocalizedString(QStringLiteral("progress_size_label")), m_sizeLabel);
    bottom->addLayout(figures);
    bottom->addStretch(1);
    m_stopButton = new QPushButton(KZLocalizedString(QStringLiteral("stop")), window);
    m_stopButton->setObjectName(QStringLiteral("progressStop"));
    bottom->addWidget(m_stopButton, 0, Qt::AlignBottom);
    layout->addLayout(bottom);

    connect(m_stopButton, &QPushButton::clicked, this, &KZProgressWindow::stop);
    update(QString(), QString(), QString(), 0, 0);
}

KZProgressWindow::~KZProgressWindow()
{
    m_closing = true;
    // Widgets cannot be destroyed once the application object is gone (a shared engine lives
    // until the process exits); the window then goes with the process.
    if (m_window && QCoreApplication::instance()) {
        m_window->removeEventFilter(this);
        delete m_window.data();
    }
}

void KZProgressWindow::open()
{
    if (!m_window)
        return;
    m_window->adjustSize();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void KZProgressWindow::update(const QString &title, const QString &countText,
                              const QString &sizeText, quint64 value, quint64 maximum)
{
    if (!m_window)
        return; // the labels went with it
    // Until the engine names what it erases (a smart erase never does), say what happens.
    m_titleLabel->setText(title.isEmpty() ? KZLocalizedString(QStringLiteral("erasing_untitled"))
                                          : title);
    m_countLabel->setText(countText.isEmpty() ? QStringLiteral("0") : countText);
    m_sizeLabel->setText(sizeText.isEmpty() ? QStringLiteral("0") : sizeText);
    if (maximum == 0) {
        m_progressBar->setRange(0, 0);
        return;
    }
    // The bar counts in int: very large jobs are drawn at a coarser step.
    int shift = 0;
    while ((maximum >> shift) > quint64(std::numeric_limits<int>::max()))
        ++shift;
    m_progressBar->setRange(0, int(maximum >> shift));
    m_progressBar->setValue(int(qMin(value, maximum) >> shift));
}

void KZProgressWindow::close()
{
    if (!m_window)
        return;
    m_closing = true;
    m_window->hide();
    m_closing = false;
}

void KZProgressWindow::stop()
{
    // The controller closes this window as part of Stop.
    m_ui->stopAction();
}

bool KZProgressWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window.data() && event->type() == QEvent::Close && !m_closing) {
        event->ignore();
        stop();
        return true;
    }
    return QObject::eventFilter(watched, event);
}
