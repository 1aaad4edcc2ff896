#include "Platform/X11/X11OverlayWindow.h"

#include "Diagnostics/Log.h"
#include "Grid/ScreenGeometry.h"
#include "Overlay/UI/OverlayView.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/X11/X11HotKeyService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QWidget>

#include <cstring>

namespace mosaro {

namespace {
constexpr int kGrabAttempts = 25;
constexpr int kGrabRetryMs = 20;
} // namespace

X11OverlayWindow::X11OverlayWindow(X11Connection& connection, const ScreenList& screens, LocalEventMonitors& monitors,
                                   NotificationCenter& defaultCenter, X11HotKeyService* hotKeys)
    : m_connection(connection), m_screens(screens), m_monitors(monitors), m_center(defaultCenter), m_hotKeys(hotKeys),
      m_view(std::make_unique<OverlayView>())
{
    m_view->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::X11BypassWindowManagerHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus);
    m_view->setAttribute(Qt::WA_ShowWithoutActivating);
    m_view->setAttribute(Qt::WA_X11DoNotAcceptFocus);
    m_view->setGeometry(0, 0, 100, 100);
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) { return handleEvent(e); });
}

X11OverlayWindow::~X11OverlayWindow()
{
    m_connection.removeEventListener(m_listener);
    if (!m_closed)
        close();
}

xcb_window_t X11OverlayWindow::xWindow() const
{
    return m_view ? xcb_window_t(m_view->winId()) : xcb_window_t(XCB_WINDOW_NONE);
}

Rect X11OverlayWindow::xRect() const
{
    return flippedRect(m_frame, primaryScreenHeight(m_screens));
}

void X11OverlayWindow::setFrame(const Rect& frame)
{
    m_frame = frame;
    const Rect r = xRect();
    m_view->setGeometry(int(r.x), int(r.y), int(r.width), int(r.height));
}

void X11OverlayWindow::setContent(std::shared_ptr<OverlayViewModel> viewModel)
{
    m_view->setViewModel(std::move(viewModel));
}

bool X11OverlayWindow::compositorRunning()
{
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(m_connection.screenNumber());
    const xcb_atom_t selection = m_connection.atom(name.toStdString());
    if (selection == XCB_ATOM_NONE)
        return false;
    auto reply = m_connection.reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner_reply, xcb_get_selection_owner(m_connection.connection(), selection));
    return reply && (*reply)->owner != XCB_WINDOW_NONE;
}

void X11OverlayWindow::makeKeyAndOrderFront()
{
    if (!m_connection.isConnected())
        return;
    const Rect r = xRect();
    if (!compositorRunning()) {
        // No blending: show what is under the panel beneath the dimming.
        auto image = m_connection.reply<xcb_get_image_reply_t>(
            xcb_get_image_reply,
            xcb_get_image(m_connection.connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, m_connection.root(), std::int16_t(r.x),
                          std::int16_t(r.y), std::uint16_t(r.width), std::uint16_t(r.height), ~0u));
        if (image && (*image)->depth >= 24) {
            const int w = int(r.width), h = int(r.height);
            const auto* data = xcb_get_image_data(image->get());
            const int length = xcb_get_image_data_length(image->get());
            if (length >= w * h * 4) {
                QImage captured(w, h, QImage::Format_RGB32);
                for (int y = 0; y < h; ++y)
                    std::memcpy(captured.scanLine(y), data + std::size_t(y) * w * 4, std::size_t(w) * 4);
                m_view->setBackground(std::move(captured));
            }
        }
    }

    if (auto active = m_connection.windows(m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW")))
        m_activeAtShow = active->front();

    m_view->show();
    m_view->raise();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    if (auto* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        xcb_flush(native->connection());

    const xcb_window_t window = xWindow();
    const std::uint32_t events[] = {XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_KEY_PRESS |
                                    XCB_EVENT_MASK_KEY_RELEASE};
    xcb_change_window_attributes(m_connection.connection(), window, XCB_CW_EVENT_MASK, events);

    m_isKey = grabKeyboard();
    if (!m_isKey) {
        Log::overlay().error("overlay could not take the keyboard; another client holds it");
        // Announced once the presenter has its observer in place.
        QPointer<OverlayView> view = m_view.get();
        QTimer::singleShot(0, m_view.get(), [this, view] {
            if (view && !m_closed)
                m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
        });
    }
}

bool X11OverlayWindow::grabKeyboard()
{
    const xcb_window_t window = xWindow();
    for (int attempt = 0; attempt < kGrabAttempts; ++attempt) {
        auto attrs = m_connection.reply<xcb_get_window_attributes_reply_t>(
            xcb_get_window_attributes_reply, xcb_get_window_attributes(m_connection.connection(), window));
        if (!attrs)
            return false;
        if ((*attrs)->map_state == XCB_MAP_STATE_VIEWABLE) {
            auto grab = m_connection.reply<xcb_grab_keyboard_reply_t>(
                xcb_grab_keyboard_reply, xcb_grab_keyboard(m_connection.connection(), 0, window, XCB_CURRENT_TIME,
                                                           XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
            if (grab && (*grab)->status == XCB_GRAB_STATUS_SUCCESS)
                return true;
        }
        QThread::msleep(kGrabRetryMs);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        if (auto* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
            xcb_flush(native->connection());
    }
    return false;
}

void X11OverlayWindow::loseKey()
{
    if (!m_isKey)
        return;
    m_isKey = false;
    m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
}

bool X11OverlayWindow::handleEvent(xcb_generic_event_t* event)
{
    if (m_closed || !m_view)
        return false;
    const std::uint8_t type = event->response_type & 0x7f;
    const xcb_window_t window = xWindow();
    switch (type) {
    case XCB_KEY_PRESS:
    case XCB_KEY_RELEASE: {
        auto* key = reinterpret_cast<xcb_key_press_event_t*>(event);
        if (!m_isKey || key->event != window)
            return false;
        // A key with no place in the key model still reaches the overlay, which closes on it.
        const std::uint16_t code =
            macKeyCodeForEvdev(key->detail >= x11KeycodeOffset ? key->detail - x11KeycodeOffset : 0).value_or(0xFFFF);
        // Modifier keys alone change flags; they are not key presses of their own.
        const bool isModifier = code >= 54 && code <= 63;
        const KeyEvent::Type kind = isModifier              ? KeyEvent::Type::flagsChanged
                                    : type == XCB_KEY_PRESS ? KeyEvent::Type::keyDown
                                                            : KeyEvent::Type::keyUp;
        const KeyEvent keyEvent{kind, code, modifierFlagsFromX11State(key->state), static_cast<OverlayWindow*>(this)};
        if (auto passed = m_monitors.dispatch(keyEvent); passed && passed->type == KeyEvent::Type::keyDown)
            keyDown(*passed);
        return true;
    }
    case XCB_FOCUS_OUT: {
        auto* focus = reinterpret_cast<xcb_focus_out_event_t*>(event);
        if (focus->event == window && focus->mode == XCB_NOTIFY_MODE_UNGRAB)
            loseKey();
        return false;
    }
    case XCB_PROPERTY_NOTIFY: {
        auto* prop = reinterpret_cast<xcb_property_notify_event_t*>(event);
        if (m_isKey && prop->window == m_connection.root() && prop->atom == m_connection.atom("_NET_ACTIVE_WINDOW")) {
            const auto active = m_connection.windows(m_connection.root(), prop->atom);
            const xcb_window_t now = active ? active->front() : xcb_window_t(XCB_WINDOW_NONE);
            // Some window managers clear the active window when it goes away; that is not the
            // user moving the focus elsewhere, and the commit will answer for the lost window.
            const bool targetVanished = now == XCB_WINDOW_NONE && m_activeAtShow != XCB_WINDOW_NONE &&
                                        !m_connection.windowExists(m_activeAtShow);
            if (now != m_activeAtShow && now != window && !targetVanished)
                loseKey(); // another window became active: the overlay lost focus
        }
        return false;
    }
    default:
        return false;
    }
}

void X11OverlayWindow::releaseKeyboard()
{
    if (m_connection.isConnected()) {
        xcb_ungrab_keyboard(m_connection.connection(), XCB_CURRENT_TIME);
        m_connection.flush();
    }
    if (m_hotKeys)
        m_hotKeys->forgetHeldKeys();
}

void X11OverlayWindow::resignKeyWindow()
{
    releaseKeyboard();
    loseKey();
}

void X11OverlayWindow::orderOut()
{
    if (m_view)
        m_view->hide();
}

void X11OverlayWindow::close()
{
    if (m_closed)
        return;
    m_closed = true;
    onKeyDown = nullptr;
    if (m_isKey)
        releaseKeyboard();
    m_isKey = false;
    if (m_view) {
        m_view->hide();
        m_view->setViewModel(nullptr);
        m_view.release()->deleteLater();
    }
}

bool X11OverlayWindow::isVisible() const
{
    return m_view && m_view->isVisible();
}

ScreenRef X11OverlayWindow::screen() const
{
    return screenContaining(m_screens, m_frame.midpoint());
}

} // namespace mosaro
