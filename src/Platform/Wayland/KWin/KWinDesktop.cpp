#include "Platform/Wayland/KWin/KWinDesktop.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QKeySequence>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>

#include <unistd.h>

#include <cmath>

namespace mosaro {

namespace {

constexpr const char* settledElsewhereMessage = "KWin placed window %{public}s at %{public}s, asked %{public}s";
constexpr const char* placeFailedMessage = "KWin did not place window %{public}s: %{public}s";
constexpr const char* heldByDesktopMessage = "KDE already binds %{public}s to %{public}s; Mosaro leaves it alone";
constexpr const char* refusedMessage = "KDE refused the shortcut %{public}s";
// KWin takes any frame; one past this is a mistake, not a request.
constexpr double coordinateLimit = 1e6;

class KWinScreen : public Screen {
public:
    KWinScreen(Rect frame, Rect visible, QString name, double scale)
        : m_frame(frame), m_visible(visible), m_name(std::move(name)), m_scale(scale)
    {}
    Rect frame() const override { return m_frame; }
    Rect visibleFrame() const override { return m_visible; }
    QString localizedName() const override { return m_name; }
    double backingScaleFactor() const override { return m_scale; }

private:
    const Rect m_frame;
    const Rect m_visible;
    const QString m_name;
    const double m_scale;
};

class KWinAppElement : public AXElement {
public:
    explicit KWinAppElement(std::int32_t pid) : processID(pid) {}
    const std::int32_t processID;
};

class KWinWindowElement : public AXElement {
public:
    explicit KWinWindowElement(QString id) : windowId(std::move(id)) {}
    const QString windowId;
};

Rect flipped(const Rect& r, double height)
{
    return {r.x, height - r.y - r.height, r.width, r.height};
}

// The Wayland output Qt knows at that geometry: its model and scale.
const QScreen* qtScreenAt(const Rect& frame)
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return nullptr;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect g = screen->geometry();
        if (g.x() == int(frame.x) && g.y() == int(frame.y) && g.width() == int(frame.width) &&
            g.height() == int(frame.height))
            return screen;
    }
    return nullptr;
}

// KDE's shortcut service: "Action (component)" of every action holding the key, ours left out.
QStringList serviceActionsHolding(QDBusConnection& bus, int key)
{
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/kglobalaccel"),
                                               QStringLiteral("org.kde.KGlobalAccel"),
                                               QStringLiteral("getGlobalShortcutsByKey"));
    call.setArguments({key});
    const QDBusMessage reply = bus.call(call, QDBus::Block, KWinScripting::timeoutMs);
    QStringList found;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty() ||
        reply.signature() != QLatin1String("a(ssssssaiai)"))
        return found;
    const QDBusArgument list = reply.arguments().first().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString context, contextName, component, componentName, action, actionName;
        QList<int> keys, defaults;
        list.beginStructure();
        list >> context >> contextName >> component >> componentName >> action >> actionName >> keys >> defaults;
        list.endStructure();
        if (component == QLatin1String("kwin") && action.startsWith(QLatin1String(KWinScripting::shortcutPrefix)))
            continue;
        found << QStringLiteral("%1 (%2)").arg(actionName.isEmpty() ? action : actionName,
                                               componentName.isEmpty() ? component : componentName);
    }
    list.endArray();
    return found;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Displays

KWinScreenList::KWinScreenList(KWinScripting& kwin) : m_kwin(kwin)
{}

KWinScreenList::~KWinScreenList() = default;

void KWinScreenList::take(const std::vector<KWin::Output>& outputs) const
{
    if (outputs.empty())
        return;
    if (outputs != m_outputs || m_last.empty()) {
        m_outputs = outputs;
        const auto origin = std::find_if(outputs.begin(), outputs.end(),
                                         [](const KWin::Output& o) { return o.frame.x == 0 && o.frame.y == 0; });
        const double height = (origin != outputs.end() ? *origin : outputs.front()).frame.height;
        m_last.clear();
        for (const auto& output : outputs) {
            const QScreen* qt = qtScreenAt(output.frame);
            QString key = output.model;
            if (key.isEmpty() && qt)
                key = qt->model();
            if (key.isEmpty())
                key = !output.name.isEmpty() ? output.name : (qt ? qt->name() : QString());
            m_last.push_back(std::make_shared<KWinScreen>(flipped(output.frame, height),
                                                          flipped(output.visible, height), key,
                                                          qt ? qt->devicePixelRatio() : 1.0));
        }
    }
    m_fresh = true;
}

std::vector<ScreenRef> KWinScreenList::read() const
{
    if (m_fresh)
        return m_last;
    const auto answer = m_kwin.request({{QStringLiteral("op"), QStringLiteral("outputs")}});
    // Without an answer the last list stands: the displays did not go away because KWin is slow.
    if (const auto outputs = answer ? KWin::outputs(answer->value(QStringLiteral("outputs"))) : std::nullopt)
        take(*outputs);
    return m_last;
}

std::vector<ScreenRef> KWinScreenList::screens() const
{
    return read();
}

ScreenRef KWinScreenList::mainScreen() const
{
    const auto list = read();
    for (const auto& screen : list)
        if (screen->frame().x == 0 && screen->frame().y == 0)
            return screen;
    return list.empty() ? nullptr : list.front();
}

Rect KWinScreenList::toKWin(const Rect& frame) const
{
    const auto main = mainScreen();
    return flipped(frame, main ? main->frame().height : 0);
}

// ---------------------------------------------------------------------------------------------
// Windows

void KWinAccessibility::setShortcutWindow(std::optional<KWin::Window> window, bool active)
{
    m_shortcutWindow = std::move(window);
    m_shortcutActive = active;
}

std::int32_t KWinAccessibility::currentProcessID()
{
    return std::int32_t(::getpid());
}

std::optional<std::int32_t> KWinAccessibility::frontmostApplicationProcessID()
{
    flush();
    m_written = false;
    if (m_shortcutActive) {
        m_focused = m_shortcutWindow;
    } else {
        const auto answer = m_kwin.request({{QStringLiteral("op"), QStringLiteral("window")}});
        m_focused = answer ? KWin::window(answer->value(QStringLiteral("window"))) : std::nullopt;
    }
    if (!m_focused)
        return std::nullopt;
    if (m_focused->pid != currentProcessID())
        m_target = m_focused->id;
    return m_focused->pid;
}

AXElementRef KWinAccessibility::createApplicationElement(std::int32_t processID)
{
    return std::make_shared<KWinAppElement>(processID);
}

AXError KWinAccessibility::setMessagingTimeout(const AXElementRef& element, float)
{
    // Every request is bounded by the channel's own second.
    return element ? AXErrorCode::success : AXErrorCode::illegalArgument;
}

const KWin::Window* KWinAccessibility::windowOf(const AXElementRef& element) const
{
    const auto* window = dynamic_cast<const KWinWindowElement*>(element.get());
    return window && m_focused && m_focused->id == window->windowId ? &*m_focused : nullptr;
}

AXError KWinAccessibility::copyAttributeValue(const AXElementRef& element, const QString& attribute,
                                              std::optional<AXValue>& value)
{
    value.reset();
    if (const auto* app = dynamic_cast<const KWinAppElement*>(element.get())) {
        if (attribute != AXAttribute::focusedWindow)
            return AXErrorCode::attributeUnsupported;
        if (!m_focused || m_focused->pid != app->processID)
            return AXErrorCode::noValue;
        value = AXValue{AXElementRef(std::make_shared<KWinWindowElement>(m_focused->id))};
        return AXErrorCode::success;
    }
    const KWin::Window* window = windowOf(element);
    if (!window)
        return element ? AXErrorCode::invalidUIElement : AXErrorCode::illegalArgument;
    if (attribute == AXAttribute::position)
        value = AXValue{AXGeometry{AXGeometry::Kind::point, window->frame.x, window->frame.y}};
    else if (attribute == AXAttribute::size)
        value = AXValue{AXGeometry{AXGeometry::Kind::size, window->frame.width, window->frame.height}};
    else if (attribute == AXAttribute::title)
        value = AXValue{window->caption};
    else if (attribute == AXAttribute::fullScreen)
        value = AXValue{window->fullScreen};
    else if (attribute == AXAttribute::minimized)
        value = AXValue{window->minimized};
    else
        return AXErrorCode::attributeUnsupported;
    return AXErrorCode::success;
}

AXError KWinAccessibility::isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable)
{
    settable = false;
    if (dynamic_cast<const KWinAppElement*>(element.get()))
        return attribute == AXAttribute::focusedWindow ? AXErrorCode::success : AXErrorCode::attributeUnsupported;
    const KWin::Window* window = windowOf(element);
    if (!window)
        return AXErrorCode::invalidUIElement;
    settable = (attribute == AXAttribute::position && window->moveable) ||
               (attribute == AXAttribute::size && window->resizeable);
    return AXErrorCode::success;
}

AXError KWinAccessibility::setAttributeValue(const AXElementRef& element, const QString& attribute,
                                             const AXValue& value)
{
    const bool isPosition = attribute == AXAttribute::position;
    if (!isPosition && attribute != AXAttribute::size)
        return AXErrorCode::attributeUnsupported;
    const KWin::Window* window = windowOf(element);
    if (!window)
        return element ? AXErrorCode::invalidUIElement : AXErrorCode::illegalArgument;
    const auto* g = std::get_if<AXGeometry>(&value);
    const double low = isPosition ? -coordinateLimit : 1;
    if (!g || g->kind != (isPosition ? AXGeometry::Kind::point : AXGeometry::Kind::size) || !std::isfinite(g->a) ||
        !std::isfinite(g->b) || g->a < low || g->b < low || g->a > coordinateLimit || g->b > coordinateLimit)
        return AXErrorCode::illegalArgument;
    const double a = std::round(g->a), b = std::round(g->b);
    if (isPosition) {
        const Rect asked{a, b, window->frame.width, window->frame.height};
        // The position written again after the size usually holds already.
        if (m_written && asked == window->frame)
            return AXErrorCode::success;
        // A first position waits for the size that follows, to travel with it in one request; alone,
        // it goes at the next turn of the event loop.
        if (!m_written && !m_pendingPosition) {
            m_pendingPosition = Point{a, b};
            QTimer::singleShot(0, &m_flushContext, [this] { flush(); });
            return AXErrorCode::success;
        }
        return place(QJsonArray{QJsonObject{{QStringLiteral("x"), a}, {QStringLiteral("y"), b}}}, asked);
    }
    QJsonArray writes;
    Rect asked{window->frame.x, window->frame.y, a, b};
    if (const auto position = std::exchange(m_pendingPosition, std::nullopt)) {
        writes.append(QJsonObject{{QStringLiteral("x"), position->x}, {QStringLiteral("y"), position->y}});
        asked.x = position->x;
        asked.y = position->y;
    }
    writes.append(QJsonObject{{QStringLiteral("width"), a}, {QStringLiteral("height"), b}});
    return place(writes, asked);
}

void KWinAccessibility::flush()
{
    const auto position = std::exchange(m_pendingPosition, std::nullopt);
    if (position && m_focused)
        place(QJsonArray{QJsonObject{{QStringLiteral("x"), position->x}, {QStringLiteral("y"), position->y}}},
              Rect{position->x, position->y, m_focused->frame.width, m_focused->frame.height});
}

AXError KWinAccessibility::place(const QJsonArray& writes, const Rect& asked)
{
    // The first write of a placement also takes a maximized window out of its maximized state.
    const QString id = m_focused->id;
    const auto answer = m_kwin.request({{QStringLiteral("op"), QStringLiteral("place")},
                                        {QStringLiteral("id"), id},
                                        {QStringLiteral("writes"), writes}});
    m_written = true;
    if (!answer)
        return AXErrorCode::cannotComplete;
    const QString error = answer->value(QStringLiteral("error")).toString();
    const auto frame = KWin::rect(answer->value(QStringLiteral("frame")));
    if (frame && m_focused)
        m_focused->frame = *frame;
    if (error == QLatin1String("gone")) {
        m_focused.reset();
        return AXErrorCode::invalidUIElement;
    }
    if (!error.isEmpty() || !frame) {
        Log::windowmanager().error(placeFailedMessage, id, error.isEmpty() ? QStringLiteral("no frame") : error);
        return AXErrorCode::failure;
    }
    if (!(*frame == asked))
        Log::windowmanager().info(settledElsewhereMessage, id, describe(*frame), describe(asked));
    return AXErrorCode::success;
}

bool KWinAccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    // Asked again, KWin gets another chance: it may have been restarted.
    if (!m_kwin.loaded() && prompt)
        m_kwin.load(m_kwin.shortcuts());
    const bool trusted = m_notice.update(m_kwin.loaded(), [&] {
        return QStringLiteral("Mosaro's KWin script is not running (%1), so Mosaro cannot move windows; run "
                              "`mosaro --check` for details")
            .arg(m_kwin.problem());
    });
    if (!trusted && prompt && showPrompt)
        showPrompt();
    return trusted;
}

// ---------------------------------------------------------------------------------------------
// Hotkeys

KWinHotKeyService::KWinHotKeyService(KWinScripting& kwin,
                                     std::function<std::optional<int>(std::uint32_t, std::uint32_t)> kdeKey)
    : m_kwin(kwin), m_kdeKey(std::move(kdeKey))
{}

std::vector<KWinShortcut> KWinHotKeyService::shortcuts() const
{
    std::vector<KWinShortcut> list;
    for (const auto& [ref, registration] : m_registrations)
        list.push_back(registration.shortcut);
    return list;
}

std::optional<QString> KWinHotKeyService::desktopBinding(std::uint32_t keyCode, std::uint32_t modifiers)
{
    const auto key = m_kdeKey(keyCode, modifiers);
    if (!key)
        return std::nullopt;
    QStringList actions = serviceActionsHolding(m_kwin.bus(), *key);
    QFile file(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
               QStringLiteral("/kglobalshortcutsrc"));
    if (file.open(QIODevice::ReadOnly))
        actions << KWin::actionsHolding(QString::fromUtf8(file.read(1 << 20)), *key,
                                        QLatin1String(KWinScripting::shortcutPrefix));
    actions.removeDuplicates();
    return actions.isEmpty() ? std::nullopt : std::optional<QString>(actions.join(QStringLiteral(", ")));
}

OSStatus KWinHotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                                EventHotKeyRef& out)
{
    out = 0;
    const auto key = m_kdeKey(keyCode, modifiers);
    if (!key)
        return HotKeyStatus::hotKeyInvalid;
    for (const auto& [ref, existing] : m_registrations)
        if (existing.keyCode == keyCode && existing.modifiers == modifiers)
            return HotKeyStatus::hotKeyExists;
    const QString keys = QKeySequence(QKeyCombination::fromCombined(*key)).toString(QKeySequence::PortableText);
    if (const auto held = desktopBinding(keyCode, modifiers)) {
        Log::lifecycle().error(heldByDesktopMessage, keys, *held);
        return HotKeyStatus::hotKeyExists;
    }
    const EventHotKeyRef ref = m_nextRef++;
    Registration registration{
        id, keyCode, modifiers,
        KWinShortcut{QStringLiteral("%1%2").arg(QLatin1String(KWinScripting::shortcutPrefix)).arg(id.id),
                     QStringLiteral("Mosaro: shortcut %1").arg(id.id), keys}};
    m_registrations.emplace(ref, registration);
    if (!m_kwin.load(shortcuts())) {
        m_registrations.erase(ref);
        return HotKeyStatus::paramErr;
    }
    // KDE refuses a key another action holds without a word: the entry then has no key.
    const auto held = m_kwin.keysOf(registration.shortcut);
    if (std::find(held.begin(), held.end(), *key) == held.end()) {
        Log::lifecycle().error(refusedMessage, keys);
        m_registrations.erase(ref);
        m_kwin.load(shortcuts());
        return HotKeyStatus::hotKeyExists;
    }
    out = ref;
    return HotKeyStatus::noErr;
}

OSStatus KWinHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    if (m_registrations.erase(ref) == 0)
        return HotKeyStatus::paramErr;
    m_kwin.load(shortcuts());
    return HotKeyStatus::noErr;
}

void KWinHotKeyService::fire(const QString& name)
{
    for (const auto& [ref, registration] : m_registrations) {
        if (registration.shortcut.name == name) {
            const EventHotKeyID id = registration.id;
            m_handlers.dispatch(HotKeyEventKind::hotKeyPressed, HotKeyIDEvent(HotKeyEventKind::hotKeyPressed, id));
            return;
        }
    }
}

bool KWinHotKeyService::takeKey(const KeyEvent& key)
{
    if (key.type != KeyEvent::Type::keyDown)
        return false;
    const std::uint16_t pressed = x11ModifiersFromFlags(key.modifierFlags);
    for (const auto& [ref, registration] : m_registrations) {
        if (registration.keyCode == key.keyCode && x11ModifiersFromCarbon(registration.modifiers) == pressed) {
            const EventHotKeyID id = registration.id;
            m_handlers.dispatch(HotKeyEventKind::hotKeyPressed, HotKeyIDEvent(HotKeyEventKind::hotKeyPressed, id));
            return true;
        }
    }
    return false;
}

bool KWinHotKeyService::holds(std::uint32_t keyCode, std::uint32_t modifiers) const
{
    return std::any_of(m_registrations.begin(), m_registrations.end(), [&](const auto& entry) {
        return entry.second.keyCode == keyCode && entry.second.modifiers == modifiers;
    });
}

// ---------------------------------------------------------------------------------------------
// Dismissals

KWinDesktopWatcher::KWinDesktopWatcher(KWinScripting& kwin, KWinScreenList& screens,
                                       NotificationCenter& workspaceCenter, NotificationCenter& defaultCenter,
                                       std::function<void()> panelDeactivated)
{
    kwin.onDismissal = [&screens, &workspaceCenter, &defaultCenter,
                        panelDeactivated = std::move(panelDeactivated)](const QString& dismissal) {
        if (dismissal == QLatin1String("desktop")) {
            workspaceCenter.post(PlatformNotifications::activeSpaceDidChange);
        } else if (dismissal == QLatin1String("outputs")) {
            screens.invalidate();
            defaultCenter.post(PlatformNotifications::screenParametersDidChange);
        } else if (dismissal == QLatin1String("panelDeactivated") && panelDeactivated) {
            panelDeactivated();
        }
    };
}

} // namespace mosaro
