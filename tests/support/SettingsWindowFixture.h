#pragma once

#include "Diagnostics/Log/Log.h"
#include "Permission/OnboardingPresenter.h"
#include "Permission/PermissionGate.h"
#include "Permission/UI/OnboardingWidget.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"
#include "Settings/UI/SettingsWindow.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/FakeSettingsPlatform.h"
#include "support/ShortcutPackageFixture.h"

#include <QApplication>
#include <QDesktopServices>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>
#include <gtest/gtest.h>

#include <memory>

namespace mosaro::test {

// A key as the X11 platform delivers it: the X keycode as native scan code and the X modifier
// state from before the key.
inline void sendKey(QEvent::Type type, std::uint16_t macKeyCode, std::uint64_t heldFlags)
{
    const auto evdev = evdevForMacKeyCode(macKeyCode);
    ASSERT_TRUE(evdev.has_value()) << macKeyCode;
    QKeyEvent event(type, Qt::Key_unknown, Qt::NoModifier, *evdev + x11KeycodeOffset, 0,
                    x11ModifiersFromFlags(heldFlags));
    QWidget* target = QApplication::focusWidget() ? QApplication::focusWidget() : QApplication::activeWindow();
    if (!target && !QApplication::topLevelWidgets().isEmpty())
        target = QApplication::topLevelWidgets().front();
    QApplication::sendEvent(target, &event);
}

// Holds the modifiers (in the order a person presses them), taps the key, lets go of everything.
inline void typeCombination(std::uint16_t macKeyCode, std::uint64_t flags = 0)
{
    std::uint64_t held = 0;
    std::vector<std::pair<std::uint16_t, std::uint64_t>> modifiers;
    for (const auto& [code, flag] : {std::pair<std::uint16_t, std::uint64_t>{59, ModifierFlag::control},
                                     {58, ModifierFlag::option},
                                     {56, ModifierFlag::shift},
                                     {55, ModifierFlag::command}}) {
        if (flags & flag) {
            sendKey(QEvent::KeyPress, code, held);
            held |= flag;
            modifiers.emplace_back(code, flag);
        }
    }
    sendKey(QEvent::KeyPress, macKeyCode, held);
    sendKey(QEvent::KeyRelease, macKeyCode, held);
    for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) {
        sendKey(QEvent::KeyRelease, it->first, held);
        held &= ~it->second;
    }
}

// Answers the next modal alert with the button of that text, and remembers what it said.
struct AlertAnswer {
    QString informativeText;
    QString defaultButton;
};
inline std::shared_ptr<AlertAnswer> answerNextAlert(const QString& button)
{
    auto answer = std::make_shared<AlertAnswer>();
    QTimer::singleShot(0, [answer, button] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        answer->informativeText = box->informativeText();
        if (box->defaultButton())
            answer->defaultButton = box->defaultButton()->text();
        for (QAbstractButton* b : box->buttons())
            if (b->text() == button)
                b->click();
    });
    return answer;
}

// Remembers the links the desktop was asked to open.
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    UrlCatcher();
    ~UrlCatcher() override;
    QStringList opened;
public Q_SLOTS:
    void open(const QUrl& url) { opened.push_back(url.toString()); }
};

// The shortcut package, the permission, the displays, the updater and a preferences file, all
// stand-ins, around a real settings window. The program registers the QApplication environment.
class SettingsWindowTest : public ShortcutPackageTest {
protected:
    void SetUp() override
    {
        ShortcutPackageTest::SetUp();
        Log::Store::shared().clear();
        PermissionGate::resetRecordedStateForTesting();
        OnboardingPresenter::shared().resetForTesting();
        ASSERT_TRUE(dir.isValid());
        KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));
        KeyboardShortcuts::onKeyDown(nameFor(HotkeyAction::trigger), [this] { ++triggers; });
        OnboardingPresenter::shared().configure(&gate, &welcomeWindows, nullptr);
    }
    void TearDown() override
    {
        window.reset();
        OnboardingPresenter::shared().resetForTesting();
        for (QWidget* w : QApplication::topLevelWidgets())
            delete w;
        ShortcutPackageTest::TearDown();
    }

    SettingsEnvironment environment()
    {
        return {center, screens, loginItems, updater, gate, scheduler, OnboardingPresenter::shared(), bundle, path};
    }
    SettingsWindow& open(SettingsPane pane = SettingsPane::general)
    {
        window = std::make_unique<SettingsWindow>(environment());
        window->show();
        window->selectPane(pane);
        QApplication::processEvents();
        return *window;
    }

    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("Mosaro/preferences.json"));
    FakeScreens screens;
    FakeLoginItems loginItems;
    FakeUpdateService updates;
    UpdaterController updater{updates};
    FakeAccessibilityTrust trust;
    FakeUrlOpener urls;
    PermissionGate gate{trust, defaults, urls};
    FakeScheduler scheduler;
    QtOnboardingWindowFactory welcomeWindows{center};
    BundleFacts bundle{QStringLiteral("0.1.0"), QStringLiteral("12"), QStringLiteral("tech.brenmark.mosaro")};
    std::unique_ptr<SettingsWindow> window;
    int triggers = 0;
};

} // namespace mosaro::test
