#include "Overlay/UI/PanelOverlayWindow.h"

#include "Overlay/UI/OverlayView.h"

#include <QGuiApplication>
#include <QPalette>

namespace mosaro {

// ---------------------------------------------------------------------------------------------
// PanelDrawing

void PanelDrawing::attach(PanelSurface& surface)
{
    if (m_surface && m_surface != &surface) {
        // The other mode's surface is done with.
        m_surface->hide();
        m_surface->onExposed = nullptr;
    }
    if (&surface != m_surface || !surface.keptPixels())
        m_contents.reset();
    m_surface = &surface;
}

OverlaySurface::Mode PanelDrawing::mode() const
{
    return m_surface ? m_surface->mode() : Mode::outline;
}

QSize PanelDrawing::size() const
{
    return m_surface ? m_surface->size() : QSize();
}

void PanelDrawing::fillRects(const std::vector<QRect>& rects, QRgb pixel)
{
    if (m_surface && m_surface->mode() == Mode::translucent)
        static_cast<TranslucentPanelSurface*>(m_surface)->fillRects(rects, pixel);
}

void PanelDrawing::putImage(const QImage& image, QPoint at)
{
    if (m_surface && m_surface->mode() == Mode::translucent)
        static_cast<TranslucentPanelSurface*>(m_surface)->putImage(image, at);
}

void PanelDrawing::setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour)
{
    if (m_surface && m_surface->mode() == Mode::outline)
        static_cast<OutlinePanelSurface*>(m_surface)->setOutline(lines, lineColour, outline, outlineColour);
}

void PanelDrawing::flush()
{
    if (m_surface)
        m_surface->flush();
}

// ---------------------------------------------------------------------------------------------
// PanelOverlayWindow

PanelOverlayWindow::PanelOverlayWindow(PanelHost& host, PanelDrawing& drawing, LocalEventMonitors& monitors,
                                       NotificationCenter& defaultCenter, QColor accent)
    : m_host(host), m_drawing(drawing), m_monitors(monitors), m_center(defaultCenter),
      m_view(std::make_unique<OverlayView>(drawing, accent)), m_keyboard(host.makeKeyboard())
{
    m_keyboard->onKey = [this](KeyEvent event) {
        event.window = static_cast<const OverlayWindow*>(this);
        if (auto passed = m_monitors.dispatch(event); passed && passed->type == KeyEvent::Type::keyDown)
            keyDown(*passed);
    };
    m_keyboard->onHeld = [this] { m_isKey = true; };
    m_keyboard->onLost = [this] {
        m_isKey = false;
        m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
    };
}

PanelOverlayWindow::~PanelOverlayWindow()
{
    if (!m_closed)
        close();
}

void PanelOverlayWindow::setContent(std::shared_ptr<OverlayViewModel> viewModel)
{
    m_view->setViewModel(std::move(viewModel));
}

void PanelOverlayWindow::takeKeyboard()
{
    if (m_keyboardAsked || m_closed)
        return;
    m_keyboardAsked = true;
    m_drawing.owner = this;
    m_keyboard->request();
    m_host.anticipateSurface();
}

void PanelOverlayWindow::makeKeyAndOrderFront()
{
    if (m_closed)
        return;
    takeKeyboard();
    m_drawing.owner = this;
    // Drawn before it is shown: the first frame on screen is complete. The only wait is for
    // what the surface depends on, asked for together with the keyboard.
    PanelSurface& surface = m_host.surfaceFor(m_frame);
    m_drawing.attach(surface);
    surface.setInputRegion(QRegion());
    surface.onExposed = [this](const QRegion& region) {
        m_view->repaint(region);
        m_drawing.flush();
    };
    m_view->show();
    surface.show();
    m_keyboard->settle();
}

void PanelOverlayWindow::loseKey()
{
    if (!m_isKey)
        return;
    m_isKey = false;
    m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
}

void PanelOverlayWindow::resignKeyWindow()
{
    m_keyboard->release();
    loseKey();
}

void PanelOverlayWindow::orderOut()
{
    if (!drawing())
        return;
    m_view->hide();
    if (PanelSurface* surface = m_drawing.surface())
        surface->hide();
}

void PanelOverlayWindow::close()
{
    if (m_closed)
        return;
    onKeyDown = nullptr;
    m_keyboard->release();
    m_closed = true;
    m_isKey = false;
    m_view->hide();
    m_view->setViewModel(nullptr);
    if (!drawing())
        return;
    if (PanelSurface* surface = m_drawing.surface()) {
        surface->hide();
        surface->onExposed = nullptr;
    }
    m_drawing.owner = nullptr;
}

bool PanelOverlayWindow::isVisible() const
{
    return !m_closed && drawing() && m_drawing.surface() && m_drawing.surface()->isShown();
}

ScreenRef PanelOverlayWindow::screen() const
{
    return m_host.screenOf(m_frame);
}

// ---------------------------------------------------------------------------------------------
// PanelOverlayWindowFactory

PanelOverlayWindowFactory::PanelOverlayWindowFactory(PanelHost& host, LocalEventMonitors& monitors,
                                                     NotificationCenter& defaultCenter)
    : m_host(host), m_monitors(monitors), m_center(defaultCenter)
{}

std::unique_ptr<OverlayWindow> PanelOverlayWindowFactory::makeOverlayWindow()
{
    const QColor accent = qobject_cast<QGuiApplication*>(QCoreApplication::instance())
                              ? QGuiApplication::palette().color(QPalette::Highlight)
                              : QColor(48, 140, 198);
    return std::make_unique<PanelOverlayWindow>(m_host, m_drawing, m_monitors, m_center, accent);
}

} // namespace mosaro
