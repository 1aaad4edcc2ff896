// Screenshots of the update check's three answers, each a real window on a private Xvfb:
//   mosaro-update-answer-shots <output folder>
// writes update-up-to-date.png, update-available.png and update-failed.png.

#include "Updates/UI/UpdateAnswerDialog.h"
#include "support/x11/X11Session.h"

#include <QApplication>
#include <QDir>
#include <QLabel>

#include <cstdio>

using namespace mosaro;

namespace {

struct NoOpener : UrlOpener {
    bool openUrl(const QString&) override { return true; }
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const QString outDir = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(outDir);

    // No window manager: the dialogs are shown and grabbed exactly as Qt draws them.
    test::X11Session session({900, 600, QString()});
    if (!session.ok()) {
        std::fprintf(stderr, "could not start Xvfb: %s\n", qPrintable(session.error()));
        return 1;
    }
    qputenv("DISPLAY", session.displayName().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    QApplication app(argc, argv);

    NoOpener opener;
    const AppcastItem release{"0.3.0", "Mosaro 0.3.0", QUrl("https://mosaro.brenmark.tech/releases/0.3.0"),
                              QUrl("https://mosaro.brenmark.tech/download/mosaro_0.3.0_amd64.deb")};
    const std::vector<std::pair<QString, UpdateCheckAnswer>> answers{
        {"update-up-to-date", {UpdateCheckAnswer::Kind::upToDate, "0.2.0", std::nullopt, {}}},
        {"update-available", {UpdateCheckAnswer::Kind::updateAvailable, "0.2.0", release, {}}},
        {"update-failed",
         {UpdateCheckAnswer::Kind::failed, "0.2.0", std::nullopt, "Could not connect to the update server."}},
    };
    int failures = 0;
    for (const auto& [name, answer] : answers) {
        UpdateAnswerDialog dialog(answer, opener);
        // Shown once the server has drawn it.
        session.waitForDrawing([&] { dialog.show(); }, 150, 5000,
                               [] { QCoreApplication::processEvents(QEventLoop::AllEvents, 20); });
        const QString path = QDir(outDir).filePath(name + ".png");
        if (!session.saveScreenshot(session.outerFrame(xcb_window_t(dialog.winId())), path))
            ++failures;
        std::printf("  \"%s\"\n", qPrintable(dialog.findChild<QLabel*>("heading")->text()));
    }
    return failures == 0 ? 0 : 1;
}
