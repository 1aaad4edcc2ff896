#pragma once

#include "Platform/KeyEvent.h"
#include "Platform/Screen.h"
#include "Platform/UI/PanelSurface.h"

#include <QBackingStore>
#include <QImage>
#include <QWindow>

#include <functional>
#include <memory>

namespace mosaro {

class WaylandPanelKeyboard;
class WaylandShortcutInhibitor;

// What the compositor's channel does for the panel, which no Wayland client may do for itself:
// float it above the other windows, put it over a display's visible frame, and hand the keyboard
// back to the window the trigger found. Each backend supplies its own.
struct WaylandPanelHook {
    // Before a showing maps the window: what makes the compositor float it without borders must
    // be in place by then.
    std::function<void()> prepare;
    // Each showing, and each move to another display: the frame (screen coordinates) it must show
    // over, once the compositor has mapped it.
    std::function<void(const Rect& frame)> place;
    // The panel closed: the keyboard goes back to the target window.
    std::function<void()> returnKeyboard;
    // A key the panel received that is the backend's own (a hotkey the panel's inhibitor kept from
    // the compositor): true when the backend took it.
    std::function<bool(const KeyEvent& key)> takeKey;
    // A hidden panel stays mapped until the end of the turn, so that a jump to another display
    // (hidden and shown again at once) moves it instead of mapping it anew: GNOME Shell would
    // give the focus to another window in between.
    bool keepMappedForATurn = false;
    // The panel's input region is set as a one-pixel mask, for a compositor that gives the panel the
    // clicks otherwise (KWin); elsewhere the panel keeps the input region Qt gives it.
    bool maskInput = false;
};

// The panel's window: an ordinary Qt window on the Wayland platform (frameless, translucent, an
// empty input region), drawn through its backing store from a copy of the drawing kept here, so
// that a showing only sends what changed and a new mapping gets every pixel at once.
class WaylandPanelWindow final : public QWindow, public TranslucentPanelSurface {
public:
    // The title the backends recognise the window by; its app_id is the application's.
    static constexpr const char* title = "Mosaro overlay";

    explicit WaylandPanelWindow(std::function<void(QEvent*)> onEvent);
    ~WaylandPanelWindow() override;

    // Readies a showing over the frame of that size.
    void prepare(QSize size);
    void setKeepMappedForATurn(bool keep) { m_keepMapped = keep; }
    // A hide kept for the end of the turn happens now.
    void finishHiding();

    QSize size() const override { return m_image.size(); }
    bool keptPixels() const override { return m_kept; }
    void setInputRegion(const QRegion& region) override;
    void show() override;
    void hide() override;
    bool isShown() const override { return m_shown; }
    // Still mapped: shown, or hidden in this turn with the mapping kept for it.
    bool isMapped() const { return QWindow::isVisible(); }
    void flush() override;
    void fillRects(const std::vector<QRect>& rects, QRgb pixel) override;
    void putImage(const QImage& image, QPoint at) override;

protected:
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;

private:
    void send(const QRegion& region);

    std::function<void(QEvent*)> m_onEvent;
    QBackingStore m_store;
    QImage m_image; // what the panel shows, premultiplied ARGB
    QRegion m_dirty;
    bool m_kept = false;
    bool m_shown = false;
    bool m_keepMapped = false;
};

// The overlay panel on Wayland, common to every compositor: one window kept between showings,
// shown over the display's visible frame by the backend's hook. The keyboard is the window's
// focus: the hand-over completes when the compositor focuses the window, the focus leaving it is
// the keyboard lost, and the release focuses the target window again. While it shows, the
// compositor's own shortcuts are inhibited on its surface.
class WaylandPanelHost final : public PanelHost {
public:
    WaylandPanelHost(const ScreenList& screens, WaylandPanelHook hook);
    ~WaylandPanelHost() override;

    std::unique_ptr<PanelKeyboard> makeKeyboard() override;
    // The compositor's channel says the panel lost the keyboard, where no focus event may come
    // (GNOME Shell 43's overview takes the keyboard without telling the client) or come late.
    void keyboardLost();
    // Whether a showing has asked for the keyboard and not released it.
    bool isAsked() const { return m_owner != nullptr; }
    // Before a window under the panel is placed: a closed panel is unmapped now, since a covered
    // window gets no frame callbacks and so never takes its new size.
    void finishHiding()
    {
        if (m_window)
            m_window->finishHiding();
    }
    PanelSurface& surfaceFor(const Rect& frame) override;
    ScreenRef screenOf(const Rect& frame) const override;

private:
    friend class WaylandPanelKeyboard;
    void handle(QEvent* event);

    const ScreenList& m_screens;
    WaylandPanelHook m_hook;
    std::unique_ptr<WaylandPanelWindow> m_window;
    Rect m_frame;
    WaylandPanelKeyboard* m_owner = nullptr; // the showing that asked last receives the keys
    bool m_focused = false;
    bool m_refocusing = false;  // moved by the compositor, the focus on its way back
    bool m_keptMapping = false; // the showing under way found the window still mapped
};

} // namespace mosaro
