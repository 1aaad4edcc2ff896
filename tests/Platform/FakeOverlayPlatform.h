#pragma once

#include "Overlay/OverlayViewModel.h"
#include "Overlay/OverlayWindow.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/System.h"
#include "WindowControl/WindowManipulating.h"

#include <functional>
#include <map>
#include <vector>

namespace mosaro::test {

struct FakeBeeper : Beeper {
    void beep() override { ++beeps; }
    int beeps = 0;
};

struct FakeApplication : Application {
    void activateIgnoringOtherApps() override { ++activations; }
    int activations = 0;
};

struct FakeTrust : AccessibilityTrust {
    bool isProcessTrustedWithOptions(bool prompt) override
    {
        if (prompt)
            ++prompts;
        return trusted;
    }
    bool trusted = true;
    int prompts = 0;
};

struct FakeUrlOpener : UrlOpener {
    bool openUrl(const QString& url) override
    {
        opened.push_back(url);
        return true;
    }
    std::vector<QString> opened;
};

// Local monitors that tests feed events through, in installation order.
struct FakeEventMonitor : EventMonitor {
    Token addLocalMonitor(std::uint64_t mask, Handler handler) override
    {
        monitors.emplace(next, std::pair{mask, std::move(handler)});
        return next++;
    }
    void removeMonitor(Token token) override { monitors.erase(token); }

    // Runs the event through every monitor for its type; returns it unless one swallowed it.
    std::optional<KeyEvent> send(const KeyEvent& event)
    {
        const std::uint64_t bit = event.type == KeyEvent::Type::keyDown ? EventMask::keyDown
                                  : event.type == KeyEvent::Type::keyUp  ? EventMask::keyUp
                                                                         : EventMask::flagsChanged;
        std::optional<KeyEvent> current = event;
        auto copy = monitors;
        for (auto& [token, entry] : copy) {
            if (!current || !(entry.first & bit) || !monitors.count(token))
                continue;
            current = entry.second(*current);
        }
        return current;
    }

    std::map<Token, std::pair<std::uint64_t, Handler>> monitors;
    Token next = 1;
};

// A panel that records what the presenter does to it.
class FakeOverlayWindow : public OverlayWindow {
public:
    explicit FakeOverlayWindow(std::vector<std::string>* journal, NotificationCenter* center, ScreenRef screen)
        : m_screen(std::move(screen)), m_journal(journal), m_center(center) {}

    void setFrame(const Rect& frame) override { m_frame = frame; }
    void setContent(std::shared_ptr<OverlayViewModel> viewModel) override { content = std::move(viewModel); }
    void makeKeyAndOrderFront() override
    {
        m_key = true;
        m_visible = true;
        m_journal->push_back("panel shown");
    }
    void resignKeyWindow() override
    {
        // A real panel announces losing the keyboard; the presenter must not re-enter dismiss.
        if (m_key) {
            m_key = false;
            m_center->post(PlatformNotifications::windowDidResignKey, this);
        }
    }
    void orderOut() override { m_visible = false; }
    void close() override
    {
        closed = true;
        m_journal->push_back("panel closed");
    }
    Rect frame() const override { return m_frame; }
    bool isKeyWindow() const override { return m_key; }
    bool isVisible() const override { return m_visible; }
    ScreenRef screen() const override { return m_screen; }

    std::shared_ptr<OverlayViewModel> content;
    bool closed = false;
    ScreenRef m_screen;

private:
    std::vector<std::string>* m_journal;
    NotificationCenter* m_center;
    Rect m_frame;
    bool m_key = false;
    bool m_visible = false;
};

struct FakeOverlayWindowFactory : OverlayWindowFactory {
    std::unique_ptr<OverlayWindow> makeOverlayWindow() override
    {
        auto panel = std::make_unique<FakeOverlayWindow>(journal, center, screenForNext ? screenForNext() : nullptr);
        made.push_back(panel.get());
        return panel;
    }
    std::vector<std::string>* journal = nullptr;
    NotificationCenter* center = nullptr;
    std::function<ScreenRef()> screenForNext;
    std::vector<FakeOverlayWindow*> made;
};

// A manipulator that hands out a scripted window and records moves.
struct FakeWindowManipulator : WindowManipulating {
    Expected<std::optional<FocusedWindow>, WindowManipulationError> focusedWindow() override
    {
        if (resolveError)
            return unexpected(*resolveError);
        return window;
    }
    Status<WindowManipulationError> move(const FocusedWindow& target, const Rect& frame) override
    {
        moves.emplace_back(target, frame);
        if (onMove)
            onMove();
        if (moveError)
            return unexpected(*moveError);
        return Ok{};
    }

    std::optional<FocusedWindow> window;
    std::optional<WindowManipulationError> resolveError;
    std::optional<WindowManipulationError> moveError;
    std::vector<std::pair<FocusedWindow, Rect>> moves;
    std::function<void()> onMove;
};

} // namespace mosaro::test
