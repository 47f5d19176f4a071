// binwise-cells-demo [--screenshot FILE.png]
// Shows the cells; with --screenshot, saves a picture of the window once it is on screen and
// exits (1 when the picture could not be made).
#include "KZCellsDemo.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QImage>
#include <QPixmap>
#include <QWindow>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the window and exit."),
                                        QStringLiteral("file"));
    parser.addOption(screenshot);
    parser.process(app);

    KZCellsDemo demo;
    demo.show();
    demo.selectSampleRows();
    demo.activateWindow();
    if (!parser.isSet(screenshot))
        return app.exec();

    // Without a window manager activation is immediate, but give the server a moment.
    QElapsedTimer waited;
    waited.start();
    while ((!demo.isActiveWindow() || !demo.windowHandle()->isExposed()) && waited.elapsed() < 3000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    QCoreApplication::processEvents();

    const QImage picture = demo.grab().toImage();
    const QString file = parser.value(screenshot);
    if (picture.isNull() || !picture.save(file)) {
        std::fprintf(stderr, "binwise-cells-demo: could not save %s\n", qPrintable(file));
        return 1;
    }
    std::printf("%s: %dx%d pixels, scale %.2f, window %s\n", qPrintable(file), picture.width(),
                picture.height(), picture.devicePixelRatio(),
                demo.isActiveWindow() ? "active" : "inactive");
    return 0;
}
