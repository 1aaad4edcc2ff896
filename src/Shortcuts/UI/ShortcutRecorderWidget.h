#pragma once

// moc cannot read the C++20 library headers these bring in; it needs none of them.
#ifndef Q_MOC_RUN
#include "KeyboardShortcuts/Shortcut.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/KeyEvent.h"
#include "Shortcuts/ShortcutConflict.h"
#endif

#include <QPointer>
#include <QWidget>
#include <functional>
#include <optional>

class QKeyEvent;
class QPushButton;
class QToolButton;

namespace mosaro {

// A key event of the X11 platform in the portable key model, by physical key (the X keycode is
// the evdev code plus 8), so the result is the same in every keyboard layout. Modifier keys come
// as flags-changed events carrying the modifiers held after them. Nothing for keys the key model
// has no place for, or when the platform gave no keycode.
std::optional<KeyEvent> keyEventFromQt(const QKeyEvent& event);

// One row's recorder: a button showing the action's shortcut that, when clicked, captures the
// next key combination, checks it for conflicts, asks when there is one, and stores it. While it
// captures, the system-wide hotkeys are suspended, so that the trigger's own keys can be recorded
// and nothing else answers them; they come back as soon as the capture ends.
class ShortcutRecorderWidget : public QWidget {
    Q_OBJECT
public:
    using ConfirmConflict = std::function<bool(QWidget* parent, const ShortcutConflict& conflict,
                                               const KeyboardShortcuts::Shortcut& captured, const QString& label)>;

    ShortcutRecorderWidget(QString label, HotkeyAction action, QWidget* parent = nullptr);
    ~ShortcutRecorderWidget() override;

    const QString& label() const { return m_label; }
    HotkeyAction action() const { return m_action; }
    const std::optional<KeyboardShortcuts::Shortcut>& currentShortcut() const { return m_currentShortcut; }
    bool isRecording() const { return m_isRecording; }
    std::uint64_t liveModifiers() const { return m_liveModifiers; }
    QString controlText() const;

    // Starts or stops capturing; stopping stores nothing.
    void setRecording(bool recording);
    // The clear button.
    void clear();
    // Reads the stored shortcut again.
    void reload();

    // The alert used when a capture conflicts; the warning dialog unless replaced.
    void setConfirmConflict(ConfirmConflict confirm) { m_confirm = std::move(confirm); }

    QPushButton* mainButton() const { return m_main; }
    QToolButton* clearButton() const { return m_clear; }
    QPushButton* cancelButton() const { return m_cancel; }

    // The recorder capturing right now, if any: one at a time.
    static ShortcutRecorderWidget* activeRecorder();

Q_SIGNALS:
    // A capture was stored or the shortcut cleared.
    void shortcutChanged();
    void recordingChanged(bool recording);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void startCapture();
    void endCapture();
    void capture(const KeyboardShortcuts::Shortcut& shortcut);
    void setLiveModifiers(std::uint64_t flags);
    void refresh();

    QString m_label;
    HotkeyAction m_action;
    std::optional<KeyboardShortcuts::Shortcut> m_currentShortcut;
    bool m_isRecording = false;
    bool m_capturing = false;
    bool m_resumeHotkeysTo = true;
    std::uint64_t m_liveModifiers = 0;
    std::optional<quint32> m_swallowReleaseOf; // the captured key's own release
    bool m_filterInstalled = false;
    ConfirmConflict m_confirm;

    QPushButton* m_main = nullptr;
    QToolButton* m_clear = nullptr;
    QPushButton* m_cancel = nullptr;

    static QPointer<ShortcutRecorderWidget> s_active;
};

} // namespace mosaro
