#pragma once

#include "model/KZTrashLocation.h"

#include <QImage>
#include <QTimer>
#include <QWidget>

class KZTraySpinner;

// One volume's row in the tray panel: the volume's icon, its name and, once its Trash is
// measured on the shared size pool, how many items the Trash holds and their size. A row that
// is not enabled (its Trash is empty, or an erase is under way) reads as empty and is never
// measured. Choosing an enabled row blinks it three times, as a menu item does, and then
// reports it; choosing a disabled one only asks for the panel to close.
class KZDiskMenuItemView : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(KZTrashLocation diskDict READ diskDict)
    Q_PROPERTY(QString info READ info WRITE setInfo NOTIFY infoChanged)
    Q_PROPERTY(bool isSelected READ isSelected WRITE setIsSelected NOTIFY isSelectedChanged)
    Q_PROPERTY(bool sizeIsWorking READ sizeIsWorking)

public:
    // Between the four turns of the highlight when a row is chosen, and before it reports.
    static constexpr int kBlinkIntervalMs = 50;

    KZDiskMenuItemView(const KZTrashLocation &diskDict, bool enabled, QWidget *parent = nullptr);
    ~KZDiskMenuItemView() override;

    // The volume's record; itemsSize and itemsCount are filled in once the row has measured.
    [[nodiscard]] const KZTrashLocation &diskDict() const { return m_diskDict; }
    // The measured second line, or a null string while unknown.
    [[nodiscard]] QString info() const { return m_info; }
    void setInfo(const QString &info);
    [[nodiscard]] bool isSelected() const { return m_isSelected; }
    void setIsSelected(bool selected);
    // True once this row has asked for its measurement; it never asks twice.
    [[nodiscard]] bool sizeIsWorking() const { return m_sizeIsWorking; }
    // Whether choosing the row empties its Trash (the widget itself stays enabled, so that a
    // click on a dimmed row still closes the panel).
    [[nodiscard]] bool isMenuItemEnabled() const { return m_enabled; }
    // The two lines as drawn: "name…", then the measured text, "Gathering_info" or
    // "Trash_empty".
    [[nodiscard]] QString firstLine() const;
    [[nodiscard]] QString secondLine() const;
    // True from a choice until the row has reported it (the blink runs meanwhile).
    [[nodiscard]] bool isBlinking() const { return m_choosing; }

    // The row was chosen (mouse up, Return or space).
    void choosenItemAction();

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    // An enabled row was chosen and has blinked: its Trash is to be emptied.
    void chosen(const KZTrashLocation &record);
    // A disabled row was chosen: the panel closes, nothing else happens.
    void dismissed();
    void infoChanged(const QString &info);
    void isSelectedChanged(bool selected);

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void viewWillDraw();
    void measure();
    void animateDismiss();
    void sendAction();
    void updateColors();
    void layoutSpinner();
    [[nodiscard]] bool showsSpinner() const { return m_enabled && m_info.isNull(); }
    [[nodiscard]] QRect secondLineRect() const;
    [[nodiscard]] QColor diskNameTxtColor() const;
    [[nodiscard]] QColor subNameTxtColor() const;
    [[nodiscard]] QFont subNameFont() const;
    [[nodiscard]] QImage volumeIcon(qreal ratio);

    KZTrashLocation m_diskDict;
    QString m_info;
    KZTraySpinner *m_spinner = nullptr;
    QTimer m_blinkTimer;
    QImage m_icon;
    qreal m_iconRatio = 0;
    qint16 m_fireTimes = 0;
    bool m_enabled = false;
    bool m_isSelected = false;
    bool m_sizeIsWorking = false;
    // A release chooses only after a press on the row, so that the button let go of on the
    // tray icon that opened the panel under the cursor chooses nothing.
    bool m_pressed = false;
    bool m_choosing = false;
};
