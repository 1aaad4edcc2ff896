// Shows the settings window, the conflict alert and the welcome window on a private X server with
// a window manager, writes a PNG of each, and checks that every text in them fits: nothing
// clipped by its container, nothing elided. Run with --scale 2 for a high-density screen.
//
//   mosaro_settings_screenshots --out DIR [--scale N]

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Permission/OnboardingPresenter.h"
#include "Permission/PermissionGate.h"
#include "Permission/UI/OnboardingWidget.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/QtScheduler.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/XkbKeyboardLayout.h"
#include "Preferences/PreferencesFile.h"
#include "Settings/UI/GeneralPane.h"
#include "Settings/UI/SettingsWindow.h"
#include "Settings/UI/ShortcutsPane.h"
#include "Shortcuts/UI/ShortcutRecorderWidget.h"
#include "support/EventLoopWait.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSettingsPlatform.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/x11/X11Session.h"
#include "support/x11/XTestKeyboard.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QWindow>

#include <functional>

#include <cstdio>
#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

QStringList g_problems;

QString describe(const QWidget* w)
{
    QString text;
    if (const auto* label = qobject_cast<const QLabel*>(w))
        text = label->text();
    else if (const auto* button = qobject_cast<const QAbstractButton*>(w))
        text = button->text();
    else if (const auto* box = qobject_cast<const QGroupBox*>(w))
        text = box->title();
    return QStringLiteral("%1 \"%2\"").arg(QString::fromLatin1(w->metaObject()->className()), text.left(60));
}

// The widget lies within every ancestor up to the window, except that a scroll area may scroll
// it vertically (never sideways).
bool insideAncestors(const QWidget* w)
{
    const QWidget* child = w;
    QRect rect = w->rect();
    for (const QWidget* parent = w->parentWidget(); parent; parent = parent->parentWidget()) {
        rect.translate(child->pos());
        if (rect.left() < 0 || rect.right() > parent->width() - 1)
            return false;
        if (qobject_cast<const QScrollArea*>(parent->parentWidget())) {
            // A viewport: what lies above or below it is scrolled away, not cut off.
            rect = rect.intersected(parent->rect());
            if (rect.isEmpty())
                return true;
        } else if (rect.top() < 0 || rect.bottom() > parent->height() - 1) {
            return false;
        }
        if (parent->isWindow())
            break;
        child = parent;
    }
    return true;
}

void checkFits(QWidget* root, const QString& where)
{
    for (QWidget* w : root->findChildren<QWidget*>()) {
        if (!w->isVisibleTo(root) || w->size().isEmpty())
            continue;
        QSize need; // what the widget's text needs
        QString problem;
        if (auto* label = qobject_cast<QLabel*>(w)) {
            if (label->text().isEmpty())
                continue;
            need = label->wordWrap() ? QSize(0, label->heightForWidth(label->width())) : label->sizeHint();
        } else if (qobject_cast<QAbstractButton*>(w)) {
            need = w->minimumSizeHint().expandedTo(w->sizeHint());
        } else if (qobject_cast<QSpinBox*>(w)) {
            need = w->minimumSizeHint();
        } else if (auto* box = qobject_cast<QGroupBox*>(w)) {
            need = QSize(box->fontMetrics().horizontalAdvance(box->title()) + 16, 0);
        } else if (auto* bar = qobject_cast<QTabBar*>(w)) {
            for (int i = 0; i < bar->count(); ++i)
                if (bar->tabRect(i).width() <
                    bar->fontMetrics().horizontalAdvance(bar->tabText(i)) + bar->iconSize().width())
                    problem = QStringLiteral("tab %1 is squeezed").arg(bar->tabText(i));
            need = QSize(bar->sizeHint().width(), 0);
        } else {
            continue;
        }
        if (problem.isEmpty() && (w->width() < need.width() || w->height() < need.height()))
            problem = QStringLiteral("needs %1x%2, has %3x%4")
                          .arg(need.width())
                          .arg(need.height())
                          .arg(w->width())
                          .arg(w->height());
        if (problem.isEmpty() && !insideAncestors(w))
            problem = QStringLiteral("clipped by its container");
        if (!problem.isEmpty())
            g_problems << QStringLiteral("%1: %2: %3").arg(where, describe(w), problem);
    }
}

X11Session* g_session = nullptr;

// The window manager shows the window in its frame.
bool framed(const QWidget* widget)
{
    X11Connection& x = g_session->connection();
    const auto tree = x.ask<xcb_query_tree_reply>(xcb_query_tree, xcb_window_t(widget->winId()));
    if (!tree || tree->parent == tree->root)
        return false;
    const auto parent = x.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, tree->parent);
    return parent && parent->map_state == XCB_MAP_STATE_VIEWABLE;
}

// The window with the frame the window manager drew around it, as a person sees it; then the
// check that its texts fit.
void shoot(QWidget* window, const QString& file, const QString& where)
{
    if (!g_session->saveScreenshot(g_session->outerFrame(xcb_window_t(window->winId())), file))
        g_problems << QStringLiteral("could not write %1").arg(file);
    checkFits(window, where);
}

QString argument(int argc, char** argv, const char* name, const char* fallback)
{
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], name) == 0)
            return QString::fromLocal8Bit(argv[i + 1]);
    return QString::fromLatin1(fallback);
}

} // namespace

int main(int argc, char** argv)
{
    const QString scale = argument(argc, argv, "--scale", "1");
    const QString out = argument(argc, argv, "--out", ".");
    QDir().mkpath(out);

    X11Session session({1600, 1400, QStringLiteral("openbox")});
    if (!session.ok()) {
        std::fprintf(stderr, "no X session: %s\n", qPrintable(session.error()));
        return 1;
    }
    g_session = &session;
    qputenv("DISPLAY", session.displayName().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_SCALE_FACTOR", scale.toLocal8Bit());
    qputenv("XDG_DATA_HOME", session.tempPath().toLocal8Bit() + "/data");
    QApplication app(argc, argv);

    X11Connection connection(session.displayName());
    connection.attachToEventLoop();
    X11ScreenList screens(connection);
    XkbKeyboardLayout layout(connection);
    X11AccessibilityTrust trust(connection);
    InMemoryDefaultsStore defaults;
    NotificationCenter center;
    KeyboardShortcuts::configure({&defaults, nullptr, &layout, &center});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));
    KeyboardShortcuts::storeActionShortcut(KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key(38), 0),
                                           nameFor(HotkeyAction::navigateDown));

    FakeLoginItems loginItems;
    loginItems.registered = LoginItemService::RegistrationStatus::enabled;
    FakeUpdateService updates;
    UpdaterController updater(updates);
    FakeUrlOpener urls;
    QtScheduler scheduler;
    PermissionGate gate(trust, defaults, urls);
    QtOnboardingWindowFactory welcomeWindows(center);
    OnboardingPresenter& onboarding = OnboardingPresenter::shared();
    onboarding.configure(&gate, &welcomeWindows, nullptr);

    const QString prefsPath = preferencesFileURL();
    Preferences prefs;
    prefs.proSettings.margin = 8;
    prefs.proSettings.perDisplayGrids.overrides = {{QStringLiteral("Projector"), {4, 2}}};
    (void)savePreferences(prefs, prefsPath);

    SettingsWindowController controller(SettingsEnvironment{
        center, screens, loginItems, updater, gate, scheduler, onboarding,
        BundleFacts{QStringLiteral("0.1.0"), QStringLiteral("1"), QStringLiteral("tech.brenmark.mosaro")}, prefsPath});
    // Each step waits for the drawing it causes (this process's windows and the window
    // manager's frames) before the next shot.
    const auto drawn = [&](const std::function<void()>& step) {
        session.waitForDrawing(step, 150, 5000, [] { QApplication::processEvents(QEventLoop::AllEvents, 20); });
    };
    drawn([&] { controller.show(); });
    SettingsWindow* window = controller.window();
    waitFor([&] { return window->isVisible() && window->windowHandle()->isExposed(); });
    const QString prefix = QDir(out).filePath(QStringLiteral("settings-%1x-").arg(scale));

    shoot(window, prefix + QStringLiteral("general.png"), QStringLiteral("General"));
    drawn([&] { window->generalPane()->perDisplaySwitch()->click(); });
    shoot(window, prefix + QStringLiteral("general-per-display.png"), QStringLiteral("General, per display"));

    drawn([&] { window->selectPane(SettingsPane::shortcuts); });
    shoot(window, prefix + QStringLiteral("shortcuts.png"), QStringLiteral("Shortcuts"));

    drawn([&] { window->selectPane(SettingsPane::about); });
    shoot(window, prefix + QStringLiteral("about.png"), QStringLiteral("About"));

    // The conflict alert, reached as a person would: Super+Q typed into the "Move up" recorder.
    drawn([&] { window->selectPane(SettingsPane::shortcuts); });
    bool alertSeen = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible() || alertSeen)
            return;
        alertSeen = true;
        poll.stop();
        // Shown is not yet framed: the window manager takes it on, then it is drawn.
        waitFor([&] { return framed(box); });
        drawn([&] { box->repaint(); });
        shoot(box, prefix + QStringLiteral("conflict-alert.png"), QStringLiteral("Conflict alert"));
        for (QAbstractButton* b : box->buttons())
            if (b->text() == QStringLiteral("Cancel"))
                b->click();
    });
    poll.start(50);
    ShortcutRecorderWidget* moveUp = window->shortcutsPane()->recorder(HotkeyAction::navigateUp);
    drawn([&] { moveUp->mainButton()->click(); });
    XTestKeyboard keyboard(connection);
    keyboard.sendKeyCombination(12, ModifierFlag::command);
    waitFor([&] { return alertSeen && !moveUp->isRecording(); }, 8000);
    if (!alertSeen)
        g_problems << QStringLiteral("the conflict alert did not appear for Super+Q");

    // The welcome window, opened from the About tab.
    window->selectPane(SettingsPane::about);
    drawn([&] { onboarding.show([] {}); });
    QWidget* welcome = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (qobject_cast<OnboardingWidget*>(w) && w->isVisible())
            welcome = w;
    if (welcome)
        shoot(welcome, prefix + QStringLiteral("welcome.png"), QStringLiteral("Welcome"));
    else
        g_problems << QStringLiteral("the welcome window did not open");
    onboarding.resetForTesting();
    window->close();
    QApplication::processEvents();
    KeyboardShortcuts::resetForTesting();

    for (const QString& problem : g_problems)
        std::fprintf(stderr, "%s\n", qPrintable(problem));
    std::printf("%s\n", g_problems.isEmpty() ? "every text fits" : "some texts do not fit");
    return g_problems.isEmpty() ? 0 : 1;
}
