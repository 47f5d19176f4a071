#include "KZAlertDialog.h"

#include "KZSpinner.h"
#include "format/KZLocalizedStrings.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// Logical pixels: the layout scales with the screen.
constexpr int kIconSize = 48;
constexpr int kTextWidth = 400;

// The alert's symbol drawn as vectors, for a desktop whose icon theme has none: sharp at any
// scale, and in signal colours that read on light and dark windows alike.
QPixmap drawnIcon(KZAlertStyle style, qreal ratio)
{
    QPixmap pixmap(QSize(kIconSize, kIconSize) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal s = kIconSize;
    QPen mark(Qt::white, s / 9.0, Qt::SolidLine, Qt::RoundCap);
    switch (style) {
    case KZAlertStyle::Warning: {
        QPainterPath triangle;
        triangle.moveTo(s / 2, s * 0.06);
        triangle.lineTo(s * 0.97, s * 0.9);
        triangle.lineTo(s * 0.03, s * 0.9);
        triangle.closeSubpath();
        painter.setPen(
            QPen(QColor(0xe5, 0xa5, 0x0a), s / 12.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(QColor(0xe5, 0xa5, 0x0a));
        painter.drawPath(triangle);
        mark.setColor(QColor(0x24, 0x1f, 0x31));
        painter.setPen(mark);
        painter.drawLine(QPointF(s / 2, s * 0.36), QPointF(s / 2, s * 0.6));
        painter.drawPoint(QPointF(s / 2, s * 0.76));
        break;
    }
    case KZAlertStyle::Informational:
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0x35, 0x84, 0xe4));
        painter.drawEllipse(QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92));
        painter.setPen(mark);
        painter.drawPoint(QPointF(s / 2, s * 0.28));
        painter.drawLine(QPointF(s / 2, s * 0.46), QPointF(s / 2, s * 0.74));
        break;
    case KZAlertStyle::Critical:
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0xe0, 0x1b, 0x24));
        painter.drawEllipse(QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92));
        painter.setPen(mark);
        painter.drawLine(QPointF(s * 0.34, s * 0.34), QPointF(s * 0.66, s * 0.66));
        painter.drawLine(QPointF(s * 0.66, s * 0.34), QPointF(s * 0.34, s * 0.66));
        break;
    }
    return pixmap;
}

// The desktop's icon for the style, at the full size even where the theme has only smaller
// images; drawn by hand when the theme has none.
QPixmap iconForStyle(KZAlertStyle style, qreal ratio)
{
    QString name = QStringLiteral("dialog-warning");
    if (style == KZAlertStyle::Informational)
        name = QStringLiteral("dialog-information");
    else if (style == KZAlertStyle::Critical)
        name = QStringLiteral("dialog-error");
    const QIcon themed = QIcon::fromTheme(name);
    if (themed.isNull())
        return drawnIcon(style, ratio);
    const QSize wanted = QSize(kIconSize, kIconSize) * ratio;
    QPixmap pixmap = themed.pixmap(QSize(kIconSize, kIconSize), ratio);
    if (pixmap.size() != wanted) {
        pixmap = pixmap.scaled(wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(ratio);
    }
    return pixmap;
}

// A file name may be one long word, which a label only breaks at spaces: it would stretch the
// alert past the screen. Such words get invisible break opportunities.
QString breakable(const QString &text)
{
    constexpr int kLongestUnbroken = 32;
    QString result;
    result.reserve(text.size() + text.size() / kLongestUnbroken);
    int run = 0;
    for (const QChar c : text) {
        run = c.isSpace() ? 0 : run + 1;
        if (run > kLongestUnbroken && !c.isLowSurrogate()) {
            result.append(QChar(0x200B));
            run = 1;
        }
        result.append(c);
    }
    return result;
}

QLabel *textLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(breakable(text), parent);
    // File names go into these texts: never read them as markup.
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setMinimumWidth(kTextWidth);
    label->setMaximumWidth(kTextWidth * 3 / 2);
    label->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    return label;
}

} // namespace

KZAlertDialog::KZAlertDialog(const KZAlertRequest &request, QWidget *parent)
    : QDialog(parent)
    , m_accessory(request.accessory)
    , m_cancelAnswer(request.cancelAnswer)
    , m_answer(request.cancelAnswer)
{
    setObjectName(request.identifier);
    setWindowTitle(KZLocalizedString(QStringLiteral("alert_window_title")));
    setSizeGripEnabled(false);

    auto *outer = new QHBoxLayout(this);
    outer->setSizeConstraint(QLayout::SetFixedSize);
    outer->setSpacing(16);
    outer->setContentsMargins(20, 20, 20, 16);

    auto *iconLabel = new QLabel(this);
    iconLabel->setObjectName(QStringLiteral("alertIcon"));
    iconLabel->setPixmap(iconForStyle(request.style, devicePixelRatio()));
    iconLabel->setFixedSize(kIconSize, kIconSize);
    outer->addWidget(iconLabel, 0, Qt::AlignTop);

    auto *column = new QVBoxLayout;
    column->setSpacing(8);
    outer->addLayout(column, 1);

    m_messageLabel = textLabel(request.messageText, this);
    m_messageLabel->setObjectName(QStringLiteral("alertMessage"));
    QFont bold = m_messageLabel->font();
    bold.setBold(true);
    m_messageLabel->setFont(bold);
    column->addWidget(m_messageLabel);

    if (!request.informativeText.isEmpty()) {
        m_informativeLabel = textLabel(request.informativeText, this);
        m_informativeLabel->setObjectName(QStringLiteral("alertInformative"));
        column->addWidget(m_informativeLabel);
    }

    if (m_accessory) {
        auto *line = new QHBoxLayout;
        line->setSpacing(8);
        m_accessoryLabel = textLabel(QString(), this);
        m_accessoryLabel->setObjectName(QStringLiteral("alertAccessory"));
        m_spinner = new KZSpinner(this);
        line->addWidget(m_accessoryLabel, 1);
        line->addWidget(m_spinner, 0, Qt::AlignVCenter);
        column->addSpacing(4);
        column->addLayout(line);
        connect(m_accessory, &KZAlertAccessory::changed, this, &KZAlertDialog::refreshAccessory);
        refreshAccessory();
    }

    if (!request.checkBoxTitle.isEmpty()) {
        m_checkBox = new QCheckBox(request.checkBoxTitle, this);
        m_checkBox->setObjectName(QStringLiteral("alertCheckBox"));
        m_checkBox->setChecked(request.checkBoxState);
        column->addSpacing(4);
        column->addWidget(m_checkBox);
    }

    // A message asks nothing: it still needs a way to be dismissed.
    QStringList titles = request.buttons;
    if (titles.isEmpty())
        titles.append(KZLocalizedStringFromTable(QStringLiteral("okay_btn"),
                                                 KZLocalizedStrings::kErrorsTable));

    // The default answer sits at the far right, where the eye ends; the others follow leftwards
    // in their order.
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch(1);
    QPushButton *defaultButton = nullptr;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        if (titles.at(i).isEmpty()) {
            m_buttons.append(nullptr);
            continue;
        }
        const int answer = KZAlertFirstButtonReturn + int(i);
        auto *button = new QPushButton(titles.at(i), this);
        button->setObjectName(QStringLiteral("alertButton%1").arg(answer));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, [this, answer] { done(answer); });
        buttons->insertWidget(1, button);
        m_buttons.append(button);
        if (!defaultButton)
            defaultButton = button;
    }
    if (defaultButton) {
        defaultButton->setDefault(true);
        defaultButton->setFocus();
    }
    column->addSpacing(8);
    column->addLayout(buttons);
}

KZAlertResponse KZAlertDialog::response() const
{
    return {m_answer, m_checkBox && m_checkBox->isChecked()};
}

QPushButton *KZAlertDialog::button(int answer) const
{
    return m_buttons.value(answer - KZAlertFirstButtonReturn);
}

QList<QPushButton *> KZAlertDialog::visibleButtons() const
{
    QList<QPushButton *> shown;
    for (QPushButton *button : m_buttons) {
        if (button)
            shown.append(button);
    }
    return shown;
}

void KZAlertDialog::done(int answer)
{
    m_answer = answer;
    QDialog::done(answer);
}

void KZAlertDialog::reject()
{
    done(m_cancelAnswer);
}

void KZAlertDialog::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    // Asked from a tray icon or a worker, the alert must not open behind other windows.
    raise();
    activateWindow();
}

void KZAlertDialog::refreshAccessory()
{
    if (!m_accessory)
        return;
    QFont font = m_accessoryLabel->font();
    font.setBold(m_accessory->isBold());
    m_accessoryLabel->setFont(font);
    m_accessoryLabel->setText(breakable(m_accessory->infoText()));
    m_spinner->setRunning(m_accessory->isBusy());
}
