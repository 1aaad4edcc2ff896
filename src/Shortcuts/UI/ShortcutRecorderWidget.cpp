#include "Shortcuts/UI/ShortcutRecorderWidget.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/UI/DesktopShortcuts.h"
#include "Platform/UI/QtKeyCodes.h"
#include "Platform/UI/Symbols.h"
#include "Shortcuts/ShortcutRecorder.h"
#include "Shortcuts/UI/ConflictAlert.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QToolButton>

namespace mosaro {

QPointer<ShortcutRecorderWidget> ShortcutRecorderWidget::s_active;

namespace {

// The modifier a modifier key stands for (none for Caps Lock and Fn, which never take part).
std::uint64_t flagOfModifierKey(std::uint16_t code)
{
    switch (code) {
    case 54: // right Command
    case 55:
        return ModifierFlag::command;
    case 56:
    case 60:
        return ModifierFlag::shift;
    case 58:
    case 61:
        return ModifierFlag::option;
    case 59:
    case 62:
        return ModifierFlag::control;
    default:
        return 0;
    }
}

} // namespace

std::optional<KeyEvent> keyEventFromQt(const QKeyEvent& event)
{
    const auto code = portableKeyCode(event);
    if (!code)
        return std::nullopt;
    // The X state is the one before this key: a modifier key's own bit comes from the key itself.
    std::uint64_t flags = modifierFlagsFromX11State(static_cast<std::uint16_t>(event.nativeModifiers() & 0xFFFF));
    const bool press = event.type() == QEvent::KeyPress;
    if (isModifierKeyCode(*code)) {
        const std::uint64_t own = flagOfModifierKey(*code);
        flags = press ? (flags | own) : (flags & ~own);
        return KeyEvent{KeyEvent::Type::flagsChanged, *code, flags};
    }
    return KeyEvent{press ? KeyEvent::Type::keyDown : KeyEvent::Type::keyUp, *code, flags};
}

ShortcutRecorderWidget::ShortcutRecorderWidget(QString label, HotkeyAction action, QWidget* parent)
    : QWidget(parent), m_label(std::move(label)), m_action(action),
      m_confirm([](QWidget* owner, const ShortcutConflict& conflict, const KeyboardShortcuts::Shortcut& captured,
                   const QString& rowLabel) { return confirmConflict(owner, conflict, captured, rowLabel); })
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);

    m_main = new QPushButton(this);
    m_main->setObjectName(QStringLiteral("recorderButton"));
    m_main->setMinimumWidth(150);
    m_main->setAccessibleName(m_label);
    layout->addWidget(m_main);

    m_clear = new QToolButton(this);
    m_clear->setObjectName(QStringLiteral("clearShortcutButton"));
    m_clear->setAutoRaise(true);
    m_clear->setIcon(drawnSymbolIcon(Symbol::xmarkCircleFill, palette().color(QPalette::PlaceholderText)));
    m_clear->setToolTip(QStringLiteral("Clear shortcut"));
    m_clear->setAccessibleName(QStringLiteral("Clear shortcut"));
    layout->addWidget(m_clear);

    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("cancelRecordingButton"));
    m_cancel->setVisible(false);
    layout->addWidget(m_cancel);

    connect(m_main, &QPushButton::clicked, this, [this] { setRecording(!m_isRecording); });
    connect(m_clear, &QToolButton::clicked, this, &ShortcutRecorderWidget::clear);
    connect(m_cancel, &QPushButton::clicked, this, [this] { setRecording(false); });
    reload();
}

ShortcutRecorderWidget::~ShortcutRecorderWidget()
{
    setRecording(false);
    if (m_filterInstalled)
        qApp->removeEventFilter(this);
}

ShortcutRecorderWidget* ShortcutRecorderWidget::activeRecorder()
{
    return s_active;
}

QString ShortcutRecorderWidget::controlText() const
{
    return recorderControlText(m_action, m_currentShortcut, m_isRecording, m_liveModifiers);
}

void ShortcutRecorderWidget::setRecording(bool recording)
{
    if (recording == m_isRecording)
        return;
    if (recording) {
        if (s_active && s_active != this)
            s_active->setRecording(false);
        m_isRecording = true;
        s_active = this;
        startCapture();
    } else {
        endCapture();
        m_isRecording = false;
        m_liveModifiers = 0;
        if (s_active == this)
            s_active = nullptr;
    }
    refresh();
    Q_EMIT recordingChanged(m_isRecording);
}

void ShortcutRecorderWidget::startCapture()
{
    // The trigger's own keys must reach us rather than open the overlay.
    m_resumeHotkeysTo = KeyboardShortcuts::isEnabled();
    KeyboardShortcuts::setEnabled(false);
    m_swallowReleaseOf.reset();
    if (!m_filterInstalled) {
        qApp->installEventFilter(this);
        m_filterInstalled = true;
    }
    m_capturing = true;
    m_main->setFocus(Qt::OtherFocusReason);
    // Keys the window manager would otherwise take for itself come to us too.
    grabKeyboard();
    if (DesktopShortcuts::inhibitFor)
        DesktopShortcuts::inhibitFor(window()->windowHandle());
}

void ShortcutRecorderWidget::endCapture()
{
    if (!m_capturing)
        return;
    m_capturing = false;
    releaseKeyboard();
    if (DesktopShortcuts::restore)
        DesktopShortcuts::restore();
    KeyboardShortcuts::setEnabled(m_resumeHotkeysTo);
    if (!m_swallowReleaseOf && m_filterInstalled) {
        qApp->removeEventFilter(this);
        m_filterInstalled = false;
    }
}

bool ShortcutRecorderWidget::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::KeyPress && type != QEvent::KeyRelease && type != QEvent::ShortcutOverride)
        return QWidget::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);

    if (!m_capturing) {
        // After a capture, the captured key's repeats and release belong to it too, so that a
        // focused button does not take them as a click.
        if (!m_swallowReleaseOf || key->nativeScanCode() != *m_swallowReleaseOf)
            return QWidget::eventFilter(watched, event);
        if (type == QEvent::KeyRelease && !key->isAutoRepeat()) {
            m_swallowReleaseOf.reset();
            qApp->removeEventFilter(this);
            m_filterInstalled = false;
        }
        return true;
    }

    if (type == QEvent::ShortcutOverride) {
        event->accept(); // no window shortcut fires while capturing
        return true;
    }
    const auto translated = keyEventFromQt(*key);
    if (!translated)
        return true;
    if (translated->type == KeyEvent::Type::flagsChanged) {
        setLiveModifiers(translated->modifierFlags);
        return true;
    }
    if (translated->type == KeyEvent::Type::keyDown) {
        m_swallowReleaseOf = key->nativeScanCode();
        capture(capturedShortcut(translated->keyCode, translated->modifierFlags));
    }
    return true;
}

void ShortcutRecorderWidget::capture(const KeyboardShortcuts::Shortcut& shortcut)
{
    // The hotkeys come back before anything is stored, so a new trigger registers as usual.
    endCapture();
    const QPointer<ShortcutRecorderWidget> self(this);
    const bool stored = applyCapturedShortcut(m_action, shortcut, [&](const ShortcutConflict& conflict) {
        return m_confirm && m_confirm(window(), conflict, shortcut, m_label);
    });
    if (!self)
        return;
    if (stored)
        m_currentShortcut = shortcut;
    setRecording(false);
    if (stored)
        Q_EMIT shortcutChanged();
}

void ShortcutRecorderWidget::setLiveModifiers(std::uint64_t flags)
{
    const std::uint64_t live = liveModifiersFrom(flags);
    if (live == m_liveModifiers)
        return;
    m_liveModifiers = live;
    refresh();
}

void ShortcutRecorderWidget::clear()
{
    setRecording(false);
    clearRecordedShortcut(m_action);
    m_currentShortcut.reset();
    refresh();
    Q_EMIT shortcutChanged();
}

void ShortcutRecorderWidget::reload()
{
    m_currentShortcut = KeyboardShortcuts::getShortcut(nameFor(m_action));
    refresh();
}

void ShortcutRecorderWidget::refresh()
{
    m_main->setText(controlText());
    QPalette colors = palette();
    if (m_isRecording)
        colors.setColor(QPalette::ButtonText, QColor(0xD7, 0x26, 0x26));
    m_main->setPalette(colors);
    m_clear->setVisible(!m_isRecording);
    m_clear->setEnabled(m_currentShortcut.has_value());
    m_cancel->setVisible(m_isRecording);
}

void ShortcutRecorderWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_isRecording)
        reload();
}

void ShortcutRecorderWidget::hideEvent(QHideEvent* event)
{
    // Closing the window or leaving the tab ends a capture; the hotkeys come back with it.
    setRecording(false);
    QWidget::hideEvent(event);
}

} // namespace mosaro
