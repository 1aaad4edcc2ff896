// A plain Qt window on the Wayland platform, for the integration tests: its app_id is the first
// argument, and it prints each size it takes and each key it receives.
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
    window.resize(640, 400);
    window.show();
    return app.exec();
}
