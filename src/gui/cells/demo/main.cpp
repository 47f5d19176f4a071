// binwise-cells-demo [--dark] [--screenshot FILE.png]
// Shows the cells; with --dark, in a dark palette (the light one otherwise, where the tests'
// palettes are built in); with --screenshot, saves a picture of the window once it is on screen
// and exits (1 when the picture could not be made).
#include "KZCellsDemo.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QImage>
#include <QPixmap>
#include <QWindow>

#include <cstdio>

#if __has_include("KZGuiTestSupport.h")
#include "KZGuiTestSupport.h"
#define BINWISE_DEMO_PALETTES 1
#endif

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the window and exit."),
                                        QStringLiteral("file"));
    parser.addOption(screenshot);
    const QCommandLineOption dark(QStringLiteral("dark"), QStringLiteral("Use a dark palette."));
    parser.addOption(dark);
    parser.process(app);
#ifdef BINWISE_DEMO_PALETTES
    // The palettes every window test looks at, so the pictures compare with theirs.
    KZGuiTestSupport::applyPalette(parser.isSet(dark));
#else
    if (parser.isSet(dark))
        std::fprintf(stderr, "binwise-cells-demo: built without the test palettes\n");
#endif

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
    std::printf("%s: %dx%d pixels, scale %.2f, window %s, %s palette\n", qPrintable(file),
                picture.width(), picture.height(), picture.devicePixelRatio(),
                demo.isActiveWindow() ? "active" : "inactive",
                demo.palette().color(QPalette::Window).lightness() < 128 ? "dark" : "light");
    return 0;
}
