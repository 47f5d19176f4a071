#include "KZAlertDialog.h"

#include "KZSpinner.h"
#include "format/KZLocalizedStrings.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

// Logical pixels: the layout scales with the screen.
constexpr int kIconSize = 48;
constexpr int kTextWidth = 400;

QIcon iconForStyle(KZAlertStyle style, const QStyle *widgetStyle)
{
    QString themeName;
    QStyle::StandardPixmap fallback = QStyle::SP_MessageBoxWarning;
    switch (style) {
    case KZAlertStyle::Warning:
        themeName = QStringLiteral("dialog-warning");
        break;
    case KZAlertStyle::Informational:
        themeName = QStringLiteral("dialog-information");
        fallback = QStyle::SP_MessageBoxInformation;
        break;
    case KZAlertStyle::Critical:
        themeName = QStringLiteral("dialog-error");
        fallback = QStyle::SP_MessageBoxCritical;
        break;
    }
    const QIcon themed = QIcon::fromTheme(themeName);
    return themed.isNull() ? widgetStyle->standardIcon(fallback) : themed;
}

QLabel *textLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    // File names go into these texts: never read them as markup.
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setMinimumWidth(kTextWidth);
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
    const QIcon icon = iconForStyle(request.style, style());
    iconLabel->setPixmap(icon.pixmap(QSize(kIconSize, kIconSize), devicePixelRatio()));
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
    m_accessoryLabel->setText(m_accessory->infoText());
    m_spinner->setRunning(m_accessory->isBusy());
}
