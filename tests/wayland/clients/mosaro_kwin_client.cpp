// What the KWin tests do from outside Mosaro, on KWin's own terms:
//
//   keys TOKEN...        types through KWin's fake-input protocol; a token is a key name or evdev
//                        code ("Escape", "28"), or a chord pressed in order and released in reverse
//                        ("Meta+Shift+Left"), or a left click ("click:X,Y"); "-" reads lines of
//                        tokens from standard input and answers "ok" once KWin has each line
//   window TITLE [WxH [fixed|maximized|fullscreen|minimized]]
//                        a window that prints "key <evdev code>" for each key it receives, "click"
//                        for a button press, its focus ("focus in", "focus out") and state
//                        ("state maximized", ...)
//   frames SCRIPT        loads the read-only script that reports every window's frame, prints
//                        its report (JSON) and unloads it
//   desktop-entry        the .desktop text that has KWin grant this program fake input
//
// KWin offers fake input only to a program whose executable a .desktop file names, and finds the
// executable through /proc, so this program runs as KWin's own user.

#include "fake-input-client-protocol.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QRasterWindow>
#include <wayland-client.h>

#include <linux/input-event-codes.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

int keyCode(const std::string& name)
{
    static const std::pair<const char*, int> names[] = {
        {"Meta", KEY_LEFTMETA}, {"Shift", KEY_LEFTSHIFT}, {"Ctrl", KEY_LEFTCTRL}, {"Alt", KEY_LEFTALT},
        {"Return", KEY_ENTER},  {"Escape", KEY_ESC},      {"Left", KEY_LEFT},     {"Right", KEY_RIGHT},
        {"Up", KEY_UP},         {"Down", KEY_DOWN},       {"Space", KEY_SPACE},   {"Tab", KEY_TAB},
        {"F1", KEY_F1},         {"F11", KEY_F11},         {"F12", KEY_F12}};
    for (const auto& [n, code] : names) {
        if (name == n)
            return code;
    }
    // Letters and digits in the order of their evdev codes.
    static const std::string rows[] = {"1234567890", "qwertyuiop", "asdfghjkl", "zxcvbnm"};
    static const int firsts[] = {KEY_1, KEY_Q, KEY_A, KEY_Z};
    for (int r = 0; r < 4 && name.size() == 1; ++r) {
        const auto at = rows[r].find(char(std::tolower(name[0])));
        if (at != std::string::npos)
            return firsts[r] + int(at);
    }
    char* end = nullptr;
    const long code = std::strtol(name.c_str(), &end, 10);
    return (!name.empty() && *end == '\0' && code > 0 && code < KEY_MAX) ? int(code) : -1;
}

struct FakeInput {
    wl_display* display = nullptr;
    org_kde_kwin_fake_input* input = nullptr;
    bool pointerShown = false;
};

void onGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t)
{
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0) {
        static_cast<FakeInput*>(data)->input = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
    }
}

void onGlobalRemove(void*, wl_registry*, uint32_t)
{}

// Sends one line of tokens; false on an unknown key name.
bool typeLine(FakeInput& fake, const std::string& line)
{
    std::istringstream tokens(line);
    std::string token;
    while (tokens >> token) {
        int x = 0, y = 0;
        if (std::sscanf(token.c_str(), "click:%d,%d", &x, &y) == 2) {
            if (!fake.pointerShown) {
                // The seat gains a pointer with this program's first pointer event; clients bind it
                // some time later and miss whatever came before.
                org_kde_kwin_fake_input_pointer_motion_absolute(fake.input, wl_fixed_from_int(x + 1),
                                                                wl_fixed_from_int(y));
                wl_display_roundtrip(fake.display);
                usleep(200 * 1000);
                fake.pointerShown = true;
            }
            org_kde_kwin_fake_input_pointer_motion_absolute(fake.input, wl_fixed_from_int(x), wl_fixed_from_int(y));
            wl_display_roundtrip(fake.display);
            org_kde_kwin_fake_input_button(fake.input, BTN_LEFT, WL_POINTER_BUTTON_STATE_PRESSED);
            org_kde_kwin_fake_input_button(fake.input, BTN_LEFT, WL_POINTER_BUTTON_STATE_RELEASED);
            continue;
        }
        if (token.rfind("sleep:", 0) == 0) {
            wl_display_flush(fake.display);
            usleep(useconds_t(std::atoi(token.c_str() + 6)) * 1000);
            continue;
        }
        std::vector<int> chord;
        std::stringstream parts(token);
        for (std::string part; std::getline(parts, part, '+');) {
            chord.push_back(keyCode(part));
            if (chord.back() < 0) {
                std::fprintf(stderr, "unknown key: %s\n", part.c_str());
                return false;
            }
        }
        for (int code : chord)
            org_kde_kwin_fake_input_keyboard_key(fake.input, code, WL_KEYBOARD_KEY_STATE_PRESSED);
        for (auto it = chord.rbegin(); it != chord.rend(); ++it)
            org_kde_kwin_fake_input_keyboard_key(fake.input, *it, WL_KEYBOARD_KEY_STATE_RELEASED);
    }
    return wl_display_roundtrip(fake.display) >= 0;
}

int keys(const std::vector<std::string>& args)
{
    FakeInput fake;
    fake.display = wl_display_connect(nullptr);
    if (!fake.display) {
        std::fprintf(stderr, "no Wayland display\n");
        return 1;
    }
    static const wl_registry_listener listener = {onGlobal, onGlobalRemove};
    wl_registry_add_listener(wl_display_get_registry(fake.display), &listener, &fake);
    wl_display_roundtrip(fake.display);
    if (!fake.input) {
        std::fprintf(stderr, "the compositor does not offer %s to this program\n",
                     org_kde_kwin_fake_input_interface.name);
        return 2;
    }
    org_kde_kwin_fake_input_authenticate(fake.input, "Mosaro tests", "types the keys of the integration tests");
    int status = 0;
    if (args.size() == 1 && args[0] == "-") {
        for (std::string line; status == 0 && std::getline(std::cin, line);) {
            status = typeLine(fake, line) ? 0 : 1;
            std::cout << (status == 0 ? "ok" : "failed") << std::endl;
        }
    } else {
        std::string line;
        for (const auto& arg : args)
            line += arg + ' ';
        status = typeLine(fake, line) ? 0 : 1;
    }
    wl_display_disconnect(fake.display);
    return status;
}

class KeyWindow : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).fillRect(0, 0, width(), height(), QColor(0x30, 0x60, 0x90));
    }
    void keyPressEvent(QKeyEvent* event) override
    {
        // Wayland's key codes are evdev's plus 8, as in XKB.
        std::printf("key %u\n", event->nativeScanCode() - 8);
        std::fflush(stdout);
    }
    void mousePressEvent(QMouseEvent*) override { std::puts("click"), std::fflush(stdout); }
    void focusInEvent(QFocusEvent*) override { std::puts("focus in"), std::fflush(stdout); }
    void focusOutEvent(QFocusEvent*) override { std::puts("focus out"), std::fflush(stdout); }
};

int window(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    KeyWindow w;
    w.setTitle(QString::fromLocal8Bit(argv[2]));
    int width = 640;
    int height = 400;
    if (argc > 3)
        std::sscanf(argv[3], "%dx%d", &width, &height);
    w.resize(width, height);
    const QString initial = argc > 4 ? QString::fromLatin1(argv[4]) : QString();
    if (initial == QLatin1String("fixed"))
        w.setMinimumSize(w.size()), w.setMaximumSize(w.size());
    QObject::connect(&w, &QWindow::windowStateChanged, [](Qt::WindowState state) {
        std::printf("state %s\n", state == Qt::WindowMaximized    ? "maximized"
                                  : state == Qt::WindowFullScreen ? "fullscreen"
                                  : state == Qt::WindowMinimized  ? "minimized"
                                                                  : "normal");
        std::fflush(stdout);
    });
    if (initial == QLatin1String("maximized"))
        w.showMaximized();
    else if (initial == QLatin1String("fullscreen"))
        w.showFullScreen();
    else if (initial == QLatin1String("minimized"))
        w.showMinimized();
    else
        w.show();
    return app.exec();
}

// Receives the frames script's report; a virtual object needs no meta-object of its own.
class Probe : public QDBusVirtualObject {
public:
    QString text;
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() != QLatin1String("report"))
            return false;
        text = message.arguments().value(0).toString();
        connection.send(message.createReply());
        return true;
    }
};

QDBusMessage callKWin(const QString& path, const QString& interface, const QString& method, const QVariantList& args)
{
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.KWin"), path, interface, method);
    call.setArguments(args);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
}

bool waitFor(const QString& text, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (text.isEmpty() && clock.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    return !text.isEmpty();
}

int frames(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    auto bus = QDBusConnection::sessionBus();
    Probe probe;
    const QString path = QStringLiteral("/tech/brenmark/mosaro/TestProbe");
    QFile body(QString::fromLocal8Bit(argv[2]));
    if (!bus.registerVirtualObject(path, &probe) || !body.open(QIODevice::ReadOnly))
        return 1;
    const QString name = QStringLiteral("mosaro-test-frames-%1").arg(QCoreApplication::applicationPid());
    QFile script(qEnvironmentVariable("XDG_RUNTIME_DIR") + QLatin1Char('/') + name + QStringLiteral(".js"));
    if (!script.open(QIODevice::WriteOnly))
        return 1;
    script.write(QStringLiteral("var probe = {service: \"%1\", path: \"%2\", interface: \"%3\"};\n")
                     .arg(bus.baseService(), path, QStringLiteral("tech.brenmark.mosaro.TestProbe"))
                     .toUtf8() +
                 body.readAll());
    script.close();
    const QString scripting = QStringLiteral("org.kde.kwin.Scripting");
    const auto loaded =
        callKWin(QStringLiteral("/Scripting"), scripting, QStringLiteral("loadScript"), {script.fileName(), name});
    const int id = loaded.arguments().value(0, -1).toInt();
    // KWin 6 keeps a script at /Scripting/Script<id>, 5.27 at /<id>. An id can be one a script still
    // loaded holds (ids count the scripts loaded), so start() runs whatever has not run yet.
    for (const auto& object : {QStringLiteral("/Scripting/Script%1"), QStringLiteral("/%1")}) {
        if (callKWin(object.arg(id), QStringLiteral("org.kde.kwin.Script"), QStringLiteral("run"), {}).type() ==
            QDBusMessage::ReplyMessage)
            break;
    }
    if (id >= 0 && !waitFor(probe.text, 300))
        callKWin(QStringLiteral("/Scripting"), scripting, QStringLiteral("start"), {});
    waitFor(probe.text, 2000);
    callKWin(QStringLiteral("/Scripting"), scripting, QStringLiteral("unloadScript"), {name});
    script.remove();
    if (probe.text.isEmpty()) {
        std::fprintf(stderr, "the frames script did not report (load: %d)\n", id);
        return 2;
    }
    std::puts(qPrintable(probe.text));
    return 0;
}

int desktopEntry()
{
    char exe[4096] = {};
    if (readlink("/proc/self/exe", exe, sizeof exe - 1) <= 0)
        return 1;
    std::printf("[Desktop Entry]\nType=Application\nName=Mosaro KWin test client\nExec=%s\nNoDisplay=true\n"
                "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input\n",
                exe);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "keys" && argc > 2)
        return keys(std::vector<std::string>(argv + 2, argv + argc));
    if (command == "window" && argc > 2)
        return window(argc, argv);
    if (command == "frames" && argc == 3)
        return frames(argc, argv);
    if (command == "desktop-entry")
        return desktopEntry();
    std::fprintf(stderr, "usage: %s keys TOKEN...|- | window TITLE [WxH [STATE]] | frames SCRIPT | desktop-entry\n",
                 argv[0]);
    return 64;
}
