#pragma once

#include "Overlay/OverlayViewModel.h"
#include "Overlay/OverlayWindow.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/System.h"
#include "WindowControl/WindowManipulating.h"
#include "support/FakeScreens.h"

#include <QSize>

#include <functional>
#include <map>
#include <vector>

namespace mosaro::test {

// A resizable window's presentation on a display that the grid fills.
inline OverlayPresentation presentation(const GridLayout& grid, HighlightedRegion region)
{
    FocusedWindow w;
    w.isResizable = true;
    return {DisplayRegion{std::make_shared<FakeScreen>(grid.displayBounds, grid.displayBounds, "Display")}, w, grid,
            region};
}
inline OverlayPresentation presentation(std::int64_t columns, std::int64_t rows, HighlightedRegion region, QSize size)
{
    return presentation({columns, rows, {0, 0, double(size.width()), double(size.height())}, 0}, region);
}

struct FakeBeeper : Beeper {
    void beep() override { ++beeps; }
    int beeps = 0;
};

struct FakeApplication : Application {
    void activateIgnoringOtherApps() override { ++activations; }
    int activations = 0;
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
                                  : event.type == KeyEvent::Type::keyUp ? EventMask::keyUp
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

// What the presenter did to one panel; outlives the panel itself.
struct FakePanelRecord {
    const void* window = nullptr; // the panel's identity while it existed
    Rect frame;
    std::shared_ptr<OverlayViewModel> content;
    bool key = false;
    bool visible = false;
    bool closed = false;
    bool keyboardTakenFirst = false; // asked for the keyboard before it had content or was shown
};

class FakeOverlayWindow : public OverlayWindow {
public:
    FakeOverlayWindow(std::vector<std::string>* journal, NotificationCenter* center,
                      std::shared_ptr<FakePanelRecord> record)
        : m_journal(journal), m_center(center), m_record(std::move(record))
    {
        m_record->window = this;
    }

    void setFrame(const Rect& frame) override { m_record->frame = frame; }
    void setContent(std::shared_ptr<OverlayViewModel> viewModel) override { m_record->content = std::move(viewModel); }
    void takeKeyboard() override { m_record->keyboardTakenFirst = !m_record->content && !m_record->visible; }
    void makeKeyAndOrderFront() override
    {
        m_record->key = true;
        m_record->visible = true;
        if (m_journal)
            m_journal->push_back("panel shown");
    }
    void resignKeyWindow() override
    {
        // A real panel announces losing the keyboard; the presenter must not re-enter dismiss.
        if (m_record->key) {
            m_record->key = false;
            m_center->post(PlatformNotifications::windowDidResignKey, this);
        }
    }
    void orderOut() override { m_record->visible = false; }
    void close() override
    {
        m_record->closed = true;
        if (m_journal)
            m_journal->push_back("panel closed");
    }
    Rect frame() const override { return m_record->frame; }
    bool isKeyWindow() const override { return m_record->key; }
    bool isVisible() const override { return m_record->visible; }
    ScreenRef screen() const override { return nullptr; }

private:
    std::vector<std::string>* m_journal;
    NotificationCenter* m_center;
    std::shared_ptr<FakePanelRecord> m_record;
};

struct FakeOverlayWindowFactory : OverlayWindowFactory {
    std::unique_ptr<OverlayWindow> makeOverlayWindow() override
    {
        made.push_back(std::make_shared<FakePanelRecord>());
        return std::make_unique<FakeOverlayWindow>(journal, center, made.back());
    }
    std::vector<std::string>* journal = nullptr;
    NotificationCenter* center = nullptr;
    std::vector<std::shared_ptr<FakePanelRecord>> made;
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
