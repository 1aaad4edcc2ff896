#include "Platform/Wayland/Gnome/GnomeDesktop.h"

#include "Diagnostics/Log/Log.h"

#include <QAbstractEventDispatcher>

#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace mosaro {

namespace {

constexpr const char* settledElsewhereMessage = "GNOME Shell placed window %llu at %{public}s, asked %{public}s";
constexpr const char* placeFailedMessage = "GNOME Shell did not place window %llu: %{public}s: %{public}s";
constexpr const char* focusFailedMessage = "the focused window could not be read: %{public}s: %{public}s";
constexpr const char* installFailedMessage = "Mosaro's GNOME Shell extension could not be installed: %{public}s";
constexpr const char* heldByShellMessage =
    "GNOME Shell already binds %{public}s to \"%{public}s\"; Mosaro leaves it alone";
constexpr const char* grabRefusedMessage = "GNOME Shell refused to grab %{public}s";
constexpr const char* grabFailedMessage = "the trigger %{public}s could not be grabbed: %{public}s";
constexpr const char* grabWaitsMessage = "the trigger %{public}s waits for Mosaro's GNOME Shell extension";
constexpr const char* dismissedMessage = "GNOME Shell dismissed the panel: %{public}s";
constexpr double coordinateLimit = 1e6;

class GnomeAppElement : public AXElement {
public:
    explicit GnomeAppElement(std::int32_t pid) : processID(pid) {}
    const std::int32_t processID;
};

class GnomeWindowElement : public AXElement {
public:
    explicit GnomeWindowElement(std::uint64_t window) : id(window) {}
    const std::uint64_t id;
};

class GnomeScreen : public Screen {
public:
    GnomeScreen(Rect frame, Rect visible, QString name) : m_frame(frame), m_visible(visible), m_name(std::move(name)) {}
    Rect frame() const override { return m_frame; }
    Rect visibleFrame() const override { return m_visible; }
    QString localizedName() const override { return m_name; }
    // The Shell's logical pixels are what frames are given in.
    double backingScaleFactor() const override { return 1; }
    bool sameAs(const Screen& other) const
    {
        return m_frame == other.frame() && m_visible == other.visibleFrame() && m_name == other.localizedName();
    }

private:
    const Rect m_frame;
    const Rect m_visible;
    const QString m_name;
};

AXError codeFor(const Gnome::CallError& error)
{
    if (error.name == QLatin1String("NoWindow"))
        return AXErrorCode::invalidUIElement;
    if (error.name == QLatin1String("NotAllowed"))
        return AXErrorCode::apiDisabled;
    if (error.name == QLatin1String("NotResizable"))
        return AXErrorCode::attributeUnsupported;
    if (error.name == QLatin1String("Failed"))
        return AXErrorCode::failure;
    // The bus's own: no reply in time, the extension gone.
    return AXErrorCode::cannotComplete;
}

bool usable(const AXGeometry& g, bool isSize)
{
    const double low = isSize ? 1 : -coordinateLimit;
    return std::isfinite(g.a) && std::isfinite(g.b) && g.a >= low && g.b >= low && g.a <= coordinateLimit &&
           g.b <= coordinateLimit;
}

// GTK's modifier names and XKB's, as the key tables write them.
struct ModifierPair {
    const char* gtk;
    const char* xkb;
};
constexpr ModifierPair modifierPairs[] = {
    {"Super", "Mod4"}, {"Shift", "Shift"}, {"Control", "Ctrl"}, {"Primary", "Ctrl"},
    {"Ctrl", "Ctrl"},  {"Alt", "Mod1"},    {"Mod1", "Mod1"},    {"Mod4", "Mod4"},
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Coordinates

Rect GnomeCoordinates::toAccessibility(const Rect& s) const
{
    return {s.x - primary.x, s.y - primary.y, s.width, s.height};
}

Rect GnomeCoordinates::fromAccessibility(const Rect& a) const
{
    return {a.x + primary.x, a.y + primary.y, a.width, a.height};
}

Rect GnomeCoordinates::toScreen(const Rect& s) const
{
    return {s.x - primary.x, primary.maxY() - s.maxY(), s.width, s.height};
}

Rect GnomeCoordinates::fromScreen(const Rect& r) const
{
    return {r.x + primary.x, primary.maxY() - r.maxY(), r.width, r.height};
}

// ---------------------------------------------------------------------------------------------
// Displays

GnomeScreenList::GnomeScreenList(Gnome::ShellChannel& channel) : m_channel(channel)
{
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
    }
}

GnomeScreenList::~GnomeScreenList() = default;

std::vector<ScreenRef> GnomeScreenList::read() const
{
    if (m_turnWatch && m_readTurn == m_turn)
        return m_last;
    const auto monitors = m_channel.monitors();
    // Without an answer the last list stands: the displays did not go away because the Shell is slow.
    if (!monitors || monitors->empty())
        return m_last;
    m_monitors = *monitors;
    const GnomeCoordinates coordinates = this->coordinates();
    std::vector<ScreenRef> list;
    std::map<QString, std::shared_ptr<Screen>> cache;
    for (const auto& monitor : m_monitors) {
        const QString key = monitor.connector.isEmpty() ? QString::number(monitor.index) : monitor.connector;
        auto screen =
            std::make_shared<GnomeScreen>(coordinates.toScreen(monitor.frame), coordinates.toScreen(monitor.workArea),
                                          monitor.product.isEmpty() ? key : monitor.product);
        const auto known = m_cache.find(key);
        std::shared_ptr<Screen> kept = screen;
        if (known != m_cache.end() && screen->sameAs(*known->second))
            kept = known->second;
        cache[key] = kept;
        list.push_back(kept);
    }
    m_cache = std::move(cache);
    m_last = list;
    m_readTurn = m_turn;
    return list;
}

std::vector<ScreenRef> GnomeScreenList::screens() const
{
    return read();
}

ScreenRef GnomeScreenList::mainScreen() const
{
    const auto list = read();
    for (std::size_t i = 0; i < list.size() && i < m_monitors.size(); ++i) {
        if (m_monitors[i].primary)
            return list[i];
    }
    return list.empty() ? nullptr : list.front();
}

GnomeCoordinates GnomeScreenList::coordinates() const
{
    if (m_monitors.empty())
        read();
    const auto primary = std::find_if(m_monitors.begin(), m_monitors.end(), [](const auto& m) { return m.primary; });
    if (primary != m_monitors.end())
        return {primary->frame};
    return {m_monitors.empty() ? Rect{} : m_monitors.front().frame};
}

// ---------------------------------------------------------------------------------------------
// Windows

GnomeAccessibility::GnomeAccessibility(Gnome::ShellChannel& channel, const GnomeScreenList& screens)
    : m_channel(channel), m_screens(screens)
{}

bool GnomeAccessibility::isProcessTrusted()
{
    return m_channel.isRegistered();
}

std::int32_t GnomeAccessibility::currentProcessID()
{
    return std::int32_t(getpid());
}

std::optional<std::int32_t> GnomeAccessibility::frontmostApplicationProcessID()
{
    // Each trigger starts from a fresh reading: the window that came with the press, else asked.
    m_focused = m_channel.triggeredWindow();
    if (!m_focused) {
        const auto read = m_channel.focusedWindow();
        if (!read) {
            Log::windowmanager().error(focusFailedMessage, read.error().name, read.error().message);
            return std::nullopt;
        }
        m_focused = *read;
    }
    if (!m_focused)
        return std::nullopt;
    return std::int32_t(m_focused->pid);
}

AXElementRef GnomeAccessibility::createApplicationElement(std::int32_t processID)
{
    return std::make_shared<GnomeAppElement>(processID);
}

AXError GnomeAccessibility::setMessagingTimeout(const AXElementRef& element, float)
{
    // Every call is bounded by the channel's own timeout of one second.
    return element ? AXErrorCode::success : AXErrorCode::illegalArgument;
}

AXError GnomeAccessibility::copyAttributeValue(const AXElementRef& element, const QString& attribute,
                                               std::optional<AXValue>& value)
{
    value.reset();
    if (const auto* app = dynamic_cast<const GnomeAppElement*>(element.get())) {
        if (attribute != AXAttribute::focusedWindow)
            return AXErrorCode::attributeUnsupported;
        if (!m_focused || m_focused->pid != app->processID)
            return AXErrorCode::noValue;
        value = AXValue{AXElementRef(std::make_shared<GnomeWindowElement>(m_focused->id))};
        return AXErrorCode::success;
    }
    const auto* window = dynamic_cast<const GnomeWindowElement*>(element.get());
    if (!window)
        return AXErrorCode::illegalArgument;
    if (!m_focused || m_focused->id != window->id)
        return AXErrorCode::invalidUIElement;
    const Rect frame = m_screens.coordinates().toAccessibility(m_focused->frame);
    if (attribute == AXAttribute::position)
        value = AXValue{AXGeometry{AXGeometry::Kind::point, frame.x, frame.y}};
    else if (attribute == AXAttribute::size)
        value = AXValue{AXGeometry{AXGeometry::Kind::size, frame.width, frame.height}};
    else if (attribute == AXAttribute::title)
        value = m_focused->title ? std::optional<AXValue>(AXValue{*m_focused->title}) : std::nullopt;
    else if (attribute == AXAttribute::fullScreen)
        value = AXValue{m_focused->fullscreen};
    else if (attribute == AXAttribute::minimized)
        value = AXValue{m_focused->minimized};
    else
        return AXErrorCode::attributeUnsupported;
    return value ? AXErrorCode::success : AXErrorCode::noValue;
}

AXError GnomeAccessibility::isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable)
{
    settable = false;
    if (dynamic_cast<const GnomeAppElement*>(element.get()))
        return attribute == AXAttribute::focusedWindow ? AXErrorCode::success : AXErrorCode::attributeUnsupported;
    const auto* window = dynamic_cast<const GnomeWindowElement*>(element.get());
    if (!window)
        return AXErrorCode::illegalArgument;
    if (!m_focused || m_focused->id != window->id)
        return AXErrorCode::invalidUIElement;
    // The extension places only windows that take a size (whatever their maximized state).
    settable = (attribute == AXAttribute::position || attribute == AXAttribute::size) && m_focused->resizable;
    return AXErrorCode::success;
}

AXError GnomeAccessibility::setAttributeValue(const AXElementRef& element, const QString& attribute,
                                              const AXValue& value)
{
    const auto* window = dynamic_cast<const GnomeWindowElement*>(element.get());
    if (!window)
        return element ? AXErrorCode::attributeUnsupported : AXErrorCode::illegalArgument;
    const bool isPosition = attribute == AXAttribute::position;
    if (!isPosition && attribute != AXAttribute::size)
        return AXErrorCode::attributeUnsupported;
    if (!m_focused || m_focused->id != window->id)
        return AXErrorCode::invalidUIElement;
    const auto* geometry = std::get_if<AXGeometry>(&value);
    const auto kind = isPosition ? AXGeometry::Kind::point : AXGeometry::Kind::size;
    if (!geometry || geometry->kind != kind || !usable(*geometry, !isPosition))
        return AXErrorCode::illegalArgument;
    const Rect now = m_screens.coordinates().toAccessibility(m_focused->frame);
    const double a = std::round(geometry->a);
    const double b = std::round(geometry->b);
    const Rect asked = isPosition ? Rect{a, b, now.width, now.height} : Rect{now.x, now.y, a, b};
    // A write of the frame the window has costs nothing, unless it is maximized: that must end.
    if (asked == now && !m_focused->maximized)
        return AXErrorCode::success;
    return place(window->id, asked);
}

AXError GnomeAccessibility::place(std::uint64_t id, const Rect& asked)
{
    if (beforePlacement)
        beforePlacement();
    const GnomeCoordinates coordinates = m_screens.coordinates();
    const auto placed = m_channel.moveResize(id, coordinates.fromAccessibility(asked));
    if (!placed) {
        Log::windowmanager().error(placeFailedMessage, static_cast<unsigned long long>(id), placed.error().name,
                                   placed.error().message);
        return codeFor(placed.error());
    }
    m_focused->frame = placed->frame;
    m_focused->maximized = false;
    if (!placed->settled)
        Log::windowmanager().info(settledElsewhereMessage, static_cast<unsigned long long>(id),
                                  describe(coordinates.toAccessibility(placed->frame)), describe(asked));
    return AXErrorCode::success;
}

// ---------------------------------------------------------------------------------------------
// Trust

Gnome::ExtensionFacts readExtensionFacts(Gnome::ShellChannel* channel, const QDBusConnection& bus,
                                         const QString& mosaroVersion, QString* shellVersion)
{
    Gnome::ExtensionFacts facts;
    facts.mosaroVersion = mosaroVersion;
    facts.answeredVersion = channel ? channel->extensionVersion() : Gnome::extensionVersion(bus);
    const auto shell = Gnome::readShellFacts(bus, QLatin1String(Gnome::extensionUuid));
    if (shellVersion)
        *shellVersion = shell.shellVersion;
    facts.userExtensionsEnabled = shell.userExtensionsEnabled;
    facts.shellState = shell.extensionState;
    const auto copy = Gnome::readInstalledCopy(Gnome::userExtensionFolder());
    facts.installed = copy.has_value();
    if (copy) {
        facts.installedVersion = copy->version;
        const auto major = Gnome::shellMajor(shell.shellVersion);
        facts.installedFitsShell = !major || copy->shellVersions.contains(QString::number(*major));
    }
    return facts;
}

GnomeAccessibilityTrust::GnomeAccessibilityTrust(Gnome::ShellChannel& channel, QDBusConnection bus,
                                                 QString mosaroVersion, std::FILE* notices)
    : m_channel(channel), m_bus(std::move(bus)), m_mosaroVersion(std::move(mosaroVersion)), m_notice(notices)
{}

Gnome::ExtensionState GnomeAccessibilityTrust::state()
{
    return Gnome::extensionState(readExtensionFacts(&m_channel, m_bus, m_mosaroVersion, &m_shellVersion));
}

bool GnomeAccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    // The answer of the extension alone: the Shell's registry is read only to say why not.
    const auto answered = m_channel.extensionVersion();
    bool trusted = answered && *answered == m_mosaroVersion;
    if (trusted && !m_channel.isRegistered())
        trusted = m_channel.registerClient();
    m_notice.update(trusted, [&] {
        return QStringLiteral("Mosaro's GNOME Shell extension is %1, so Mosaro cannot move windows; run `mosaro "
                              "--check` for details")
            .arg(Gnome::describe(state()));
    });
    if (!trusted && prompt) {
        install();
        if (showPrompt)
            showPrompt();
    }
    return trusted;
}

void GnomeAccessibilityTrust::install()
{
    const Gnome::ExtensionState now = state();
    const QString uuid = QLatin1String(Gnome::extensionUuid);
    if (now == Gnome::ExtensionState::notInstalled || now == Gnome::ExtensionState::otherVersion) {
        const auto major = Gnome::shellMajor(m_shellVersion);
        if (!major) {
            Log::permission().error(installFailedMessage, QStringLiteral("GNOME Shell's version is unknown"));
            return;
        }
        const auto installed = Gnome::installExtension(Gnome::shippedExtensionsFolder(), *major,
                                                       Gnome::userExtensionFolder(), m_mosaroVersion);
        if (!installed) {
            Log::permission().error(installFailedMessage, installed.error());
            return;
        }
    }
    if (now == Gnome::ExtensionState::userExtensionsOff || now == Gnome::ExtensionState::failed)
        return; // the user's own switch, or a fault the help explains
    if (!Gnome::enableAtLogIn(uuid))
        return;
    // Known to the running Shell: enabled now. A new copy waits for the next log-in.
    Gnome::enableExtension(m_bus, uuid);
}

// ---------------------------------------------------------------------------------------------
// Keys

std::optional<QString> xkbTextOfAccelerator(const QString& accelerator)
{
    QStringList parts;
    QString rest = accelerator.trimmed();
    while (rest.startsWith(QLatin1Char('<'))) {
        const qsizetype end = rest.indexOf(QLatin1Char('>'));
        if (end < 0)
            return std::nullopt;
        const QString name = rest.mid(1, end - 1);
        const auto pair = std::find_if(std::begin(modifierPairs), std::end(modifierPairs), [&](const ModifierPair& p) {
            return name.compare(QLatin1String(p.gtk), Qt::CaseInsensitive) == 0;
        });
        // Meta, Hyper and the like: no shortcut of Mosaro's can hold them.
        if (pair == std::end(modifierPairs))
            return std::nullopt;
        if (!parts.contains(QLatin1String(pair->xkb)))
            parts << QLatin1String(pair->xkb);
        rest = rest.mid(end + 1);
    }
    if (rest.isEmpty() || rest.contains(QLatin1Char('<')))
        return std::nullopt;
    parts << rest;
    return parts.join(QLatin1Char('+'));
}

QString acceleratorOfXkbText(const QString& text)
{
    QStringList parts = text.split(QLatin1Char('+'));
    const QString key = parts.takeLast();
    QString accelerator;
    for (const QString& part : parts) {
        const auto pair = std::find_if(std::begin(modifierPairs), std::end(modifierPairs),
                                       [&](const ModifierPair& p) { return part == QLatin1String(p.xkb); });
        if (pair != std::end(modifierPairs))
            accelerator += QLatin1Char('<') + QLatin1String(pair->gtk) + QLatin1Char('>');
    }
    return accelerator + key;
}

GnomeHotKeyService::GnomeHotKeyService(Gnome::ShellChannel& channel, std::shared_ptr<const Wayland::Keymap> keymap)
    : m_channel(channel), m_keymap(std::move(keymap))
{
    QObject::connect(&m_channel, &Gnome::ShellChannel::triggered, &m_channel, [this] { pressed(); });
    // A new instance of the extension holds no grab of ours.
    QObject::connect(&m_channel, &Gnome::ShellChannel::registrationChanged, &m_channel, [this](bool registered) {
        if (!registered || !m_grabbed)
            return;
        const auto it = m_registrations.find(*m_grabbed);
        if (it != m_registrations.end())
            grab(it->second);
    });
}

std::optional<QString> GnomeHotKeyService::accelerator(std::uint32_t keyCode, std::uint32_t modifiers) const
{
    if (!m_keymap || keyCode > 0xFFFF)
        return std::nullopt;
    const auto text = m_keymap->bindsymText({std::uint16_t(keyCode), modifiers});
    if (!text)
        return std::nullopt;
    return acceleratorOfXkbText(*text);
}

std::optional<QString> GnomeHotKeyService::desktopBinding(std::uint32_t keyCode, std::uint32_t modifiers)
{
    if (!m_keymap || keyCode > 0xFFFF)
        return std::nullopt;
    const auto bindings = m_channel.shellBindings();
    if (!bindings)
        return std::nullopt;
    const Wayland::KeyCombination wanted{std::uint16_t(keyCode), modifiers};
    for (const auto& binding : *bindings) {
        const auto text = xkbTextOfAccelerator(binding.accelerator);
        if (text && m_keymap->combination(*text, false) == wanted)
            return binding.summary.isEmpty() ? binding.key : binding.summary;
    }
    return std::nullopt;
}

bool GnomeHotKeyService::holds(std::uint32_t keyCode, std::uint32_t modifiers) const
{
    if (!m_grabbed || !m_channel.isRegistered())
        return false;
    const auto it = m_registrations.find(*m_grabbed);
    return it != m_registrations.end() &&
           it->second.combination == Wayland::KeyCombination{std::uint16_t(keyCode), modifiers};
}

OSStatus GnomeHotKeyService::grab(const Registration& registration)
{
    const auto grabbed = m_channel.setTrigger(registration.accelerator);
    if (!grabbed) {
        Log::lifecycle().error(grabFailedMessage, registration.accelerator, grabbed.error().message);
        return HotKeyStatus::paramErr;
    }
    if (!*grabbed) {
        Log::lifecycle().error(grabRefusedMessage, registration.accelerator);
        return HotKeyStatus::hotKeyExists;
    }
    return HotKeyStatus::noErr;
}

OSStatus GnomeHotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                                 EventHotKeyRef& out)
{
    out = 0;
    const auto accelerator = this->accelerator(keyCode, modifiers);
    if (!accelerator)
        return HotKeyStatus::hotKeyInvalid;
    const Registration registration{id, {std::uint16_t(keyCode), modifiers}, *accelerator};
    for (const auto& [ref, existing] : m_registrations) {
        if (existing.combination == registration.combination)
            return HotKeyStatus::hotKeyExists;
    }
    if (m_channel.isRegistered()) {
        if (const auto held = desktopBinding(keyCode, modifiers)) {
            Log::lifecycle().error(heldByShellMessage, *accelerator, *held);
            return HotKeyStatus::hotKeyExists;
        }
        if (const OSStatus status = grab(registration); status != HotKeyStatus::noErr)
            return status;
    } else {
        // Grabbed as soon as the extension registers us.
        Log::lifecycle().info(grabWaitsMessage, *accelerator);
    }
    out = m_nextRef++;
    m_registrations.emplace(out, registration);
    m_grabbed = out;
    return HotKeyStatus::noErr;
}

OSStatus GnomeHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    const auto it = m_registrations.find(ref);
    if (it == m_registrations.end())
        return HotKeyStatus::paramErr;
    m_registrations.erase(it);
    if (m_grabbed != ref)
        return HotKeyStatus::noErr;
    m_grabbed.reset();
    if (!m_registrations.empty()) {
        m_grabbed = m_registrations.rbegin()->first;
        if (m_channel.isRegistered())
            grab(m_registrations.rbegin()->second);
    } else if (m_channel.isRegistered()) {
        m_channel.setTrigger(QString());
    }
    return HotKeyStatus::noErr;
}

void GnomeHotKeyService::pressed()
{
    if (!m_grabbed)
        return;
    const auto it = m_registrations.find(*m_grabbed);
    if (it == m_registrations.end())
        return;
    m_handlers.dispatch(HotKeyEventKind::hotKeyPressed, HotKeyIDEvent(HotKeyEventKind::hotKeyPressed, it->second.id));
}

// ---------------------------------------------------------------------------------------------
// The desktop's events

GnomeDesktopWatcher::GnomeDesktopWatcher(Gnome::ShellChannel& channel, GnomeScreenList& screens,
                                         NotificationCenter& workspaceCenter, NotificationCenter& defaultCenter)
    : m_context(std::make_unique<QObject>())
{
    QObject::connect(&channel, &Gnome::ShellChannel::dismissed, m_context.get(),
                     [this, &screens, &workspaceCenter, &defaultCenter](const QString& reason) {
                         Log::overlay().debug(dismissedMessage, reason);
                         if (reason == QLatin1String("workspace")) {
                             workspaceCenter.post(PlatformNotifications::activeSpaceDidChange);
                         } else if (reason == QLatin1String("monitors")) {
                             screens.invalidate();
                             defaultCenter.post(PlatformNotifications::screenParametersDidChange);
                         } else if (onPanelLost) {
                             onPanelLost();
                         }
                     });
    QObject::connect(&channel, &Gnome::ShellChannel::monitorsChanged, m_context.get(), [&screens, &defaultCenter] {
        screens.invalidate();
        defaultCenter.post(PlatformNotifications::screenParametersDidChange);
    });
}

} // namespace mosaro
