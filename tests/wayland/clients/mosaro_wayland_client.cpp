// A plain Qt window on the Wayland platform, for the integration tests: its app_id and title are
// the first argument, then an optional size ("700x500") and "maximized". It prints each size it
// takes, each key it receives and, started maximized, each state it is put in ("state normal").
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QRasterWindow>
#include <QResizeEvent>

#include <cstdio>

namespace {

class Window : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(0, 0, width(), height(), QColor(40, 90, 160)); }
    void resizeEvent(QResizeEvent* event) override
    {
        std::printf("size %dx%d\n", event->size().width(), event->size().height());
        std::fflush(stdout);
    }
    void keyPressEvent(QKeyEvent* event) override
    {
        std::printf("key %d %x\n", event->key(), unsigned(event->modifiers()));
        std::fflush(stdout);
    }
};

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("mosaro-qt"));
    Window window;
    window.setTitle(QGuiApplication::desktopFileName());
    int width = 640, height = 400;
    if (argc > 2)
        std::sscanf(argv[2], "%dx%d", &width, &height);
    window.resize(width, height);
    // A window started maximized says when it is no longer (the others' logs end with their size).
    if (argc > 3 && QByteArray(argv[3]) == "maximized") {
        QObject::connect(&window, &QWindow::windowStateChanged, [](Qt::WindowState state) {
            std::printf("state %s\n", state == Qt::WindowMaximized ? "maximized" : "normal");
            std::fflush(stdout);
        });
        window.showMaximized();
    } else
        window.show();
    return app.exec();
}
