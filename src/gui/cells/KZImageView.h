#pragma once

#include <QLabel>

// An image view that lets the desktop blend translucent backgrounds through it.
class KZImageView : public QLabel
{
    Q_OBJECT

public:
    using QLabel::QLabel;

    [[nodiscard]] bool allowsVibrancy() const { return true; }
};
