#pragma once

#include <QString>

// A private X server for one test process, so that window tests run on a real X server and
// several test executables can run at once. Started before the QApplication exists.
namespace KZXvfb {
// Starts Xvfb on a free display (it picks one and tells it through -displayfd), points DISPLAY
// at it and selects Qt's xcb platform. False (with the reason in *error) when it cannot start.
bool start(QString *error);
// Ends the server started by start(), if any.
void stop();
} // namespace KZXvfb
