#pragma once

#include <QString>

class QWidget;

// What window tests share: the light and the dark palette every window is looked at in, and the
// pictures they leave for people to look at.
namespace KZGuiTestSupport {
// Sets the application's style to Fusion with a light or a dark palette (window, base, text,
// highlight and placeholder colours of a typical desktop theme). Widgets already shown follow.
void applyPalette(bool dark);
// The scale factor the run was started with (QT_SCALE_FACTOR), as a percentage: 100 or 200.
int scalePercent();
// Saves a picture of widget's window (its frame as the X server draws it, else the widget
// itself) as <build>/screenshots/<name>-<scale>-<light|dark>.png and answers the file's path.
// dark names the palette in use.
QString saveScreenshot(QWidget *widget, const QString &name, bool dark);
// The same picture in the light and then the dark palette; the light palette is back afterwards.
void saveScreenshots(QWidget *widget, const QString &name);
} // namespace KZGuiTestSupport
