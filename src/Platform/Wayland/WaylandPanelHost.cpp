#include "Platform/Wayland/WaylandPanelHost.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/UI/QtKeyCodes.h"
#include "Platform/Wayland/WaylandShortcutInhibitor.h"

#include <QExposeEvent>
#include <QFocusEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

namespace mosaro {

namespace {

// How long a panel moved to another display waits for the focus to follow it.
constexpr int refocusMs = 250;
// How long a showing waits for the compositor to give it the keyboard: the messaging timeout.
constexpr int handOverMs = 1000;
constexpr const char* frameSentMessage = "panel frame sent: %d rectangles";
constexpr const char* inputRegionMessage = "the panel on Wayland takes no pointer input; input region ignored";

// A key of the panel's window in the portable key model. The native modifiers of Qt's Wayland
// keyboard are the XKB state, whose first eight bits are the core protocol's. A key with no place
// in the key model still reaches the overlay, which closes on it.
KeyEvent keyEvent(const QKeyEvent& key)
{
    const std::uint16_t code = portableKeyCode(key).value_or(0xFFFF);
    const KeyEvent::Type type = isModifierKeyCode(code)          ? KeyEvent::Type::flagsChanged
                                : key.type() == QEvent::KeyPress ? KeyEvent::Type::keyDown
                                                                 : KeyEvent::Type::keyUp;
    return KeyEvent{type, code, modifierFlagsFromX11State(std::uint16_t(key.nativeModifiers() & 0xFF)), nullptr};
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The keyboard of one showing

class WaylandPanelKeyboard final : public PanelKeyboard {
public:
    explicit WaylandPanelKeyboard(WaylandPanelHost& host) : m_host(host) {}
    ~WaylandPanelKeyboard() override
    {
        if (m_host.m_owner == this)
            m_host.m_owner = nullptr;
    }

    void request() override
    {
        m_host.m_owner = this;
        m_released = false;
    }
    void settle() override
    {
        // A panel moving to another display keeps the focus it has, also when the showing before
        // this one let it go but the window stayed mapped (kept for the turn) and focused.
        if (m_host.m_owner == this &&
            (m_host.m_focused || (m_host.m_keptMapping && m_host.m_window && m_host.m_window->isActive()))) {
            m_host.m_focused = true;
            held();
            return;
        }
        // The focus may have gone on before Qt saw it arrive (taken away at once, its coming and
        // going then both unseen): a hand-over that never completes is a keyboard not had.
        QTimer::singleShot(handOverMs, &m_timerContext, [this] {
            if (!m_held && !m_released && m_host.m_owner == this && onLost)
                onLost();
        });
    }
    void release() override
    {
        if (m_released)
            return;
        m_released = true;
        m_held = false;
        if (m_host.m_owner != this)
            return;
        m_host.m_owner = nullptr;
        // The focus is on its way to the target: a showing that follows at once (a jump to another
        // display) must wait for its own focus rather than take this one's. The compositor's
        // shortcuts stay inhibited while the window is mapped: a jump keeps the window, and the
        // next jump's keys are the compositor's own bindings.
        m_host.m_focused = false;
        if (m_host.m_hook.returnKeyboard)
            m_host.m_hook.returnKeyboard();
    }

    void held()
    {
        if (m_held || m_released)
            return;
        m_held = true;
        if (onHeld)
            onHeld();
    }
    void lost()
    {
        if (!m_held || m_released)
            return;
        m_held = false;
        if (onLost)
            onLost();
    }

private:
    WaylandPanelHost& m_host;
    QObject m_timerContext; // the hand-over's deadline goes with the showing
    bool m_held = false;
    bool m_released = false;
};

// ---------------------------------------------------------------------------------------------
// WaylandPanelWindow

WaylandPanelWindow::WaylandPanelWindow(std::function<void(QEvent*)> onEvent)
    : m_onEvent(std::move(onEvent)), m_store(this)
{
    setSurfaceType(QSurface::RasterSurface);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
    // No decoration, and an empty input region: clicks reach the windows below.
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowTransparentForInput | Qt::WindowStaysOnTopHint);
    setTitle(QString::fromLatin1(title));
}

WaylandPanelWindow::~WaylandPanelWindow() = default;

void WaylandPanelWindow::prepare(QSize size)
{
    if (m_image.size() == size) {
        m_kept = true;
        return;
    }
    m_image = QImage(size, QImage::Format_ARGB32_Premultiplied);
    m_image.fill(Qt::transparent);
    m_kept = false;
    resize(size);
    m_store.resize(size);
    m_dirty = QRegion(m_image.rect());
}

void WaylandPanelWindow::setInputRegion(const QRegion& region)
{
    if (!region.isEmpty())
        Log::overlay().debug(inputRegionMessage);
}

void WaylandPanelWindow::show()
{
    if (m_shown)
        return;
    m_shown = true;
    // Hidden and shown again in one turn (a jump to another display): still mapped, and moved by
    // the compositor rather than mapped anew, so the focus never leaves it.
    if (QWindow::isVisible()) {
        flush();
        return;
    }
    // A new mapping starts from an empty buffer: everything goes.
    m_dirty = QRegion(m_image.rect());
    QWindow::show();
    WaylandShortcutInhibitor::shared().inhibit(this);
    flush();
}

void WaylandPanelWindow::hide()
{
    if (!m_shown)
        return;
    m_shown = false;
    if (m_keepMapped)
        QTimer::singleShot(0, this, [this] { finishHiding(); });
    else
        finishHiding();
}

void WaylandPanelWindow::finishHiding()
{
    if (m_shown || !QWindow::isVisible())
        return;
    WaylandShortcutInhibitor::shared().release();
    // Unmapped: a window kept mapped between showings (sway's scratchpad) measured slower to bring
    // back than a new mapping is to show (bench/results.md).
    QWindow::hide();
    // Sent now: the caller may block on the compositor next (a placement), and Qt flushes its
    // requests only when the event loop runs.
    if (auto* native = QGuiApplication::platformNativeInterface())
        if (auto* display = static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display")))
            wl_display_flush(display);
}

void WaylandPanelWindow::fillRects(const std::vector<QRect>& rects, QRgb pixel)
{
    for (const QRect& r : rects) {
        const QRect clipped = r.intersected(m_image.rect());
        if (clipped.isEmpty())
            continue;
        for (int y = clipped.top(); y <= clipped.bottom(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(m_image.scanLine(y));
            std::fill(line + clipped.left(), line + clipped.right() + 1, pixel);
        }
        m_dirty += clipped;
    }
}

void WaylandPanelWindow::putImage(const QImage& image, QPoint at)
{
    QPainter painter(&m_image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(at, image);
    m_dirty += QRect(at, image.size()).intersected(m_image.rect());
}

void WaylandPanelWindow::flush()
{
    if (!m_shown || !isExposed() || m_dirty.isEmpty())
        return;
    send(std::exchange(m_dirty, QRegion()));
}

void WaylandPanelWindow::send(const QRegion& region)
{
    if (m_store.size() != m_image.size())
        m_store.resize(m_image.size());
    m_store.beginPaint(region);
    if (QPaintDevice* device = m_store.paintDevice()) {
        QPainter painter(device);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        for (const QRect& r : region)
            painter.drawImage(r.topLeft(), m_image, r);
    }
    m_store.endPaint();
    m_store.flush(region);
    // On its way before anything the compositor is asked over its own channel.
    WaylandShortcutInhibitor::shared().flushConnection();
    Log::overlay().debug(frameSentMessage, int(region.rectCount()));
}

void WaylandPanelWindow::exposeEvent(QExposeEvent* event)
{
    QWindow::exposeEvent(event);
    if (!isExposed())
        return;
    // The compositor showed the window with nothing of ours yet, or lost its buffer.
    m_dirty = QRegion(m_image.rect());
    flush();
}

bool WaylandPanelWindow::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
        if (m_onEvent)
            m_onEvent(event);
        return true;
    default:
        return QWindow::event(event);
    }
}

// ---------------------------------------------------------------------------------------------
// WaylandPanelHost

WaylandPanelHost::WaylandPanelHost(const ScreenList& screens, WaylandPanelHook hook)
    : m_screens(screens), m_hook(std::move(hook))
{}

WaylandPanelHost::~WaylandPanelHost() = default;

std::unique_ptr<PanelKeyboard> WaylandPanelHost::makeKeyboard()
{
    return std::make_unique<WaylandPanelKeyboard>(*this);
}

PanelSurface& WaylandPanelHost::surfaceFor(const Rect& frame)
{
    // Made at the first showing, and kept.
    if (!m_window) {
        m_window = std::make_unique<WaylandPanelWindow>([this](QEvent* event) { handle(event); });
        m_window->setKeepMappedForATurn(m_hook.keepMappedForATurn);
        // Qt 6.4 sends no empty input region for WindowTransparentForInput (a click reached the panel
        // on KWin); a mask becomes the input region: one pixel in the corner, clicks elsewhere go through.
        if (m_hook.maskInput)
            m_window->setMask(QRegion(0, 0, 1, 1));
    }
    // Hidden and shown again in one turn, a panel kept mapped for the turn is still the same window.
    const bool mapped = m_window->isShown() || m_window->isMapped();
    m_keptMapping = mapped;
    const bool moved = mapped && !(frame == m_frame);
    m_frame = frame;
    if (!mapped && m_hook.prepare)
        m_hook.prepare();
    m_window->prepare(QSize(int(frame.width), int(frame.height)));
    // Shown already (the panel goes to another display): the compositor moves it now. The focus
    // may leave it on the way and come back; only a focus that stays away is the keyboard lost.
    if (moved) {
        m_refocusing = true;
        QTimer::singleShot(refocusMs, m_window.get(), [this] {
            m_refocusing = false;
            if (!m_focused && m_owner)
                m_owner->lost();
        });
    }
    if (m_hook.place)
        m_hook.place(frame);
    return *m_window;
}

void WaylandPanelHost::keyboardLost()
{
    // Said over the compositor's channel, which knows better than a focus event that may be late or
    // never come. On its way to another display the panel may lose the focus for a moment: it is asked for
    // again, and only a focus that stays away (the refocus timer) is the keyboard lost.
    if (m_refocusing && m_hook.place && m_window && m_window->isShown()) {
        m_hook.place(m_frame);
        return;
    }
    m_focused = false;
    if (m_owner)
        m_owner->lost();
}

ScreenRef WaylandPanelHost::screenOf(const Rect& frame) const
{
    for (const ScreenRef& screen : m_screens.screens())
        if (screen->frame().contains(frame.midpoint()))
            return screen;
    return nullptr;
}

void WaylandPanelHost::handle(QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusIn:
        m_focused = true;
        m_refocusing = false;
        if (m_owner)
            m_owner->held();
        break;
    case QEvent::FocusOut:
        m_focused = false;
        if (m_owner && !m_refocusing)
            m_owner->lost();
        break;
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        const KeyEvent key = keyEvent(*static_cast<QKeyEvent*>(event));
        if (m_hook.takeKey && m_hook.takeKey(key))
            break;
        if (m_owner && m_owner->onKey)
            m_owner->onKey(key);
        break;
    }
    case QEvent::ShortcutOverride:
        // Every key is the panel's: nothing in the application takes it as a shortcut.
        event->accept();
        break;
    default:
        break;
    }
}

} // namespace mosaro
