#pragma once

#include "Platform/Accessibility.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/HotKeyHandlers.h"
#include "Platform/HotKeyService.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Platform/Wayland/KWin/KWinRecords.h"
#include "Platform/Wayland/KWin/KWinScripting.h"
#include "Platform/Wayland/WaylandTrustNotice.h"

#include <QJsonArray>
#include <QObject>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace mosaro {

// KWin's outputs as displays, in KWin's order. Frames are y-up from the bottom-left of the output
// at the layout origin (else the first); the visible frame is the area KWin leaves for windows
// (clientArea's placement area). The display key is the monitor's product name: KWin 6 tells the
// script, 5.27 does not, so the Wayland output Qt knows at the same geometry gives its model.
// A reading holds until the script says the outputs changed or a trigger brings fresh ones: a
// commit then reads no display list (KWin is busy taking the panel down just then).
class KWinScreenList : public ScreenList {
public:
    explicit KWinScreenList(KWinScripting& kwin);
    ~KWinScreenList() override;

    std::vector<ScreenRef> screens() const override;
    ScreenRef mainScreen() const override;

    // Outputs the script sent along (with a trigger): this turn's reading.
    void take(const std::vector<KWin::Output>& outputs) const;
    void invalidate() const { m_fresh = false; }
    // A y-up screen frame in KWin's coordinates.
    Rect toKWin(const Rect& frame) const;

private:
    std::vector<ScreenRef> read() const;

    KWinScripting& m_kwin;
    mutable std::vector<KWin::Output> m_outputs;
    mutable std::vector<ScreenRef> m_last;
    mutable bool m_fresh = false;
};

// Other applications' windows through the session script. The focused window is the one a
// shortcut found when it fired (Mosaro's own panel takes the keyboard as it shows), else the
// script's active window; a window element is KWin's internalId. A placement request answers once
// KWin reports the frame it settled at: a frame other than the one asked is that window's answer,
// logged. The first position of a placement travels with the size that follows it, in one request
// (one round trip and one wait for the client less); the position written again after the size
// costs nothing when it holds already.
class KWinAccessibility : public Accessibility {
public:
    explicit KWinAccessibility(KWinScripting& kwin) : m_kwin(kwin) {}

    bool isProcessTrusted() override { return m_kwin.loaded(); }
    std::optional<std::int32_t> frontmostApplicationProcessID() override;
    std::int32_t currentProcessID() override;
    AXElementRef createApplicationElement(std::int32_t processID) override;
    AXError setMessagingTimeout(const AXElementRef& element, float seconds) override;
    AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                               std::optional<AXValue>& value) override;
    AXError isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable) override;
    AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) override;

    // While a shortcut is handled: the window it found stands for the focused one.
    void setShortcutWindow(std::optional<KWin::Window> window, bool active);
    // The window another application had focused at the last trigger.
    std::optional<QString> target() const { return m_target; }

private:
    const KWin::Window* windowOf(const AXElementRef& element) const;
    AXError place(const QJsonArray& writes, const Rect& asked);
    void flush();

    KWinScripting& m_kwin;
    std::optional<KWin::Window> m_shortcutWindow;
    bool m_shortcutActive = false;
    std::optional<KWin::Window> m_focused;
    std::optional<QString> m_target;
    bool m_written = false; // a write of this placement went out
    std::optional<Point> m_pendingPosition;
    QObject m_flushContext;
};

// "Trusted" on KWin: its scripting interface answers and Mosaro's script loaded. When the answer
// turns into "no", one line says why on the notice stream.
class KWinAccessibilityTrust : public AccessibilityTrust {
public:
    explicit KWinAccessibilityTrust(KWinScripting& kwin, std::FILE* notices = stderr) : m_kwin(kwin), m_notice(notices)
    {}
    bool isProcessTrustedWithOptions(bool prompt) override;
    std::function<void()> showPrompt;

private:
    KWinScripting& m_kwin;
    WaylandTrustNotice m_notice;
};

// Mosaro's system-wide hotkeys as shortcuts the session script registers with KWin (KDE's
// shortcut service stores them under component "kwin"). A changed set reloads the script: KDE
// keeps the stored key of a name it knows, so the entry is removed and registered afresh. A
// combination KDE already binds is refused (hotKeyExists), read from kglobalshortcutsrc and from
// the shortcut service itself, Mosaro's own entries left out. While the panel holds the keyboard
// it inhibits KWin's shortcuts, the trigger among them, so the panel hands over the keys that are
// Mosaro's hotkeys (takeKey).
class KWinHotKeyService final : public HotKeyService {
public:
    KWinHotKeyService(KWinScripting& kwin, std::function<std::optional<int>(std::uint32_t, std::uint32_t)> kdeKey);

    OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                 EventHotKeyRef& out) override;
    OSStatus unregisterEventHotKey(EventHotKeyRef ref) override;
    OSStatus installEventHandler(Handler handler, const std::vector<EventTypeSpec>& types,
                                 EventHandlerRef& out) override
    {
        return m_handlers.install(std::move(handler), types, out);
    }
    OSStatus addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override
    {
        return m_handlers.change(handler, types, true);
    }
    OSStatus removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override
    {
        return m_handlers.change(handler, types, false);
    }
    std::optional<QString> desktopBinding(std::uint32_t keyCode, std::uint32_t modifiers) override;

    // A shortcut of the script fired.
    void fire(const QString& name);
    // A key the panel received: true when it is one of ours, delivered as a hotkey press.
    bool takeKey(const KeyEvent& key);
    bool holds(std::uint32_t keyCode, std::uint32_t modifiers) const;

private:
    struct Registration {
        EventHotKeyID id;
        std::uint32_t keyCode = 0;
        std::uint32_t modifiers = 0;
        KWinShortcut shortcut;
    };
    std::vector<KWinShortcut> shortcuts() const;

    KWinScripting& m_kwin;
    std::function<std::optional<int>(std::uint32_t, std::uint32_t)> m_kdeKey;
    std::map<EventHotKeyRef, Registration> m_registrations;
    HotKeyHandlers m_handlers;
    EventHotKeyRef m_nextRef = 1;
};

// The script's dismissals as the overlay's notifications: a desktop switch is an active-space
// change, a change of outputs a display-configuration change; the panel losing the keyboard goes
// to the panel.
class KWinDesktopWatcher {
public:
    KWinDesktopWatcher(KWinScripting& kwin, KWinScreenList& screens, NotificationCenter& workspaceCenter,
                       NotificationCenter& defaultCenter, std::function<void()> panelDeactivated);
};

} // namespace mosaro
