#include "Platform/Wayland/Sway/SwayAccessibility.h"

#include "Diagnostics/Log.h"

#include <unistd.h>

#include <cmath>

namespace mosaro {

namespace {

constexpr const char* settledElsewhereMessage = "sway placed window %lld at %{public}s, asked %{public}s";
constexpr const char* commandFailedMessage = "sway refused \"%{public}s\": %{public}s";
constexpr const char* untrustedMessage = "windows cannot be moved: %{public}s";
// Layout coordinates sway accepts; a frame past them is a mistake, not a request.
constexpr double coordinateLimit = 1e6;

class SwayAppElement : public AXElement {
public:
    explicit SwayAppElement(std::int32_t pid) : processID(pid) {}
    const std::int32_t processID;
};

class SwayWindowElement : public AXElement {
public:
    explicit SwayWindowElement(std::int64_t id) : container(id) {}
    const std::int64_t container;
};

AXError codeFor(const Sway::IpcError&)
{
    // Whatever kept sway from answering, the call could not complete.
    return AXErrorCode::cannotComplete;
}

bool usable(const AXGeometry& g, bool isSize)
{
    const double low = isSize ? 1 : -coordinateLimit;
    return std::isfinite(g.a) && std::isfinite(g.b) && g.a >= low && g.b >= low && g.a <= coordinateLimit &&
           g.b <= coordinateLimit;
}

QString number(double v)
{
    return QString::number(std::llround(v));
}

} // namespace

bool SwayAccessibility::isProcessTrusted()
{
    return m_ipc.request(Sway::MessageType::getVersion).hasValue();
}

std::int32_t SwayAccessibility::currentProcessID()
{
    return std::int32_t(getpid());
}

AXError SwayAccessibility::readFocused()
{
    m_focused.reset();
    m_focusedRead = false;
    const auto tree = m_ipc.request(Sway::MessageType::getTree);
    if (!tree)
        return codeFor(tree.error());
    m_focused = Sway::focusedWindow(*tree);
    m_focusedRead = true;
    return AXErrorCode::success;
}

AXError SwayAccessibility::readWindow(std::int64_t id, Sway::Container& out)
{
    if (m_focusedRead && m_focused && m_focused->id == id) {
        out = *m_focused;
        return AXErrorCode::success;
    }
    const auto tree = m_ipc.request(Sway::MessageType::getTree);
    if (!tree)
        return codeFor(tree.error());
    const auto window = Sway::windowById(*tree, id);
    if (!window)
        return AXErrorCode::invalidUIElement; // it closed meanwhile
    out = *window;
    return AXErrorCode::success;
}

std::optional<std::int32_t> SwayAccessibility::frontmostApplicationProcessID()
{
    // Each trigger starts from a fresh reading and a new placement.
    m_placement.reset();
    if (readFocused() != AXErrorCode::success || !m_focused)
        return std::nullopt;
    return m_focused->pid;
}

AXElementRef SwayAccessibility::createApplicationElement(std::int32_t processID)
{
    return std::make_shared<SwayAppElement>(processID);
}

std::optional<std::int64_t> SwayAccessibility::containerOf(const AXElementRef& element)
{
    const auto* window = dynamic_cast<const SwayWindowElement*>(element.get());
    if (!window)
        return std::nullopt;
    return window->container;
}

AXError SwayAccessibility::setMessagingTimeout(const AXElementRef& element, float)
{
    // Every request is bounded by the channel's own timeout of one second.
    return element ? AXErrorCode::success : AXErrorCode::illegalArgument;
}

AXError SwayAccessibility::copyAttributeValue(const AXElementRef& element, const QString& attribute,
                                              std::optional<AXValue>& value)
{
    value.reset();
    if (const auto* app = dynamic_cast<const SwayAppElement*>(element.get())) {
        if (attribute != AXAttribute::focusedWindow)
            return AXErrorCode::attributeUnsupported;
        if (!m_focusedRead) {
            if (const AXError code = readFocused(); code != AXErrorCode::success)
                return code;
        }
        if (!m_focused || m_focused->pid != app->processID)
            return AXErrorCode::noValue;
        value = AXValue{AXElementRef(std::make_shared<SwayWindowElement>(m_focused->id))};
        return AXErrorCode::success;
    }
    const auto id = containerOf(element);
    if (!id)
        return AXErrorCode::illegalArgument;
    Sway::Container window;
    if (const AXError code = readWindow(*id, window); code != AXErrorCode::success)
        return code;
    const Rect frame = window.frame();
    if (attribute == AXAttribute::position)
        value = AXValue{AXGeometry{AXGeometry::Kind::point, frame.x, frame.y}};
    else if (attribute == AXAttribute::size)
        value = AXValue{AXGeometry{AXGeometry::Kind::size, frame.width, frame.height}};
    else if (attribute == AXAttribute::title)
        value = window.name.isNull() ? std::nullopt : std::optional<AXValue>(AXValue{window.name});
    else if (attribute == AXAttribute::fullScreen)
        value = AXValue{window.fullscreen};
    else if (attribute == AXAttribute::minimized)
        value = AXValue{false}; // a window in the scratchpad is never the focused one
    else
        return AXErrorCode::attributeUnsupported;
    return value ? AXErrorCode::success : AXErrorCode::noValue;
}

AXError SwayAccessibility::isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable)
{
    settable = false;
    if (dynamic_cast<const SwayAppElement*>(element.get()))
        return attribute == AXAttribute::focusedWindow ? AXErrorCode::success : AXErrorCode::attributeUnsupported;
    if (!containerOf(element))
        return AXErrorCode::illegalArgument;
    // sway sizes every window it manages; a fullscreen one is refused before any write.
    settable = attribute == AXAttribute::position || attribute == AXAttribute::size;
    return AXErrorCode::success;
}

AXError SwayAccessibility::run(std::int64_t id, const QString& commands, std::vector<Sway::CommandResult>* out)
{
    const QString line = QStringLiteral("[con_id=%1] %2").arg(id).arg(commands);
    auto results = m_ipc.run(line);
    if (!results)
        return codeFor(results.error());
    if (out)
        *out = *results;
    for (const auto& result : *results) {
        if (!result.success) {
            Log::windowmanager().error(commandFailedMessage, line, result.error);
            return AXErrorCode::failure;
        }
    }
    return results->empty() ? AXErrorCode::failure : AXErrorCode::success;
}

AXError SwayAccessibility::setAttributeValue(const AXElementRef& element, const QString& attribute,
                                             const AXValue& value)
{
    const auto id = containerOf(element);
    if (!id)
        return element ? AXErrorCode::attributeUnsupported : AXErrorCode::illegalArgument;
    const auto* geometry = std::get_if<AXGeometry>(&value);
    const bool isPosition = attribute == AXAttribute::position;
    if (!isPosition && attribute != AXAttribute::size)
        return AXErrorCode::attributeUnsupported;
    const auto kind = isPosition ? AXGeometry::Kind::point : AXGeometry::Kind::size;
    if (!geometry || geometry->kind != kind || !usable(*geometry, !isPosition))
        return AXErrorCode::illegalArgument;
    if (!m_placement || m_placement->id != *id)
        m_placement = Placement{*id};
    const AXError code = write(*id, attribute, *geometry);
    if (code != AXErrorCode::success)
        m_placement->failed = true;
    return code;
}

AXError SwayAccessibility::write(std::int64_t id, const QString& attribute, const AXGeometry& value)
{
    Placement& placement = *m_placement;
    m_focusedRead = false; // whatever was read no longer holds
    // After a failed write the writes that follow put the original frame back: a window we made
    // floating goes back to its tile instead, which is where it was.
    if (placement.failed && placement.floatedByUs) {
        if (placement.retiled)
            return AXErrorCode::success;
        placement.retiled = true;
        return run(id, QStringLiteral("floating disable"));
    }
    Sway::Container before;
    if (const AXError code = readWindow(id, before); code != AXErrorCode::success)
        return code;
    const bool isPosition = attribute == AXAttribute::position;
    QString commands = isPosition ? QStringLiteral("move absolute position %1 px %2 px")
                                  : QStringLiteral("resize set width %1 px height %2 px");
    commands = commands.arg(number(value.a), number(value.b));
    const bool floatFirst = !before.floating();
    if (floatFirst)
        commands.prepend(QStringLiteral("floating enable, "));
    std::vector<Sway::CommandResult> results;
    const AXError code = run(id, commands, &results);
    if (floatFirst && !results.empty() && results.front().success) {
        placement.floatedByUs = true;
        // Nothing else of this write took: the window goes back as it was.
        if (code != AXErrorCode::success) {
            placement.retiled = true;
            run(id, QStringLiteral("floating disable"));
        }
    }
    if (code != AXErrorCode::success)
        return code;
    Sway::Container after;
    if (const AXError readBack = readWindow(id, after); readBack != AXErrorCode::success)
        return readBack;
    const Rect frame = after.frame();
    const Point asked{std::round(value.a), std::round(value.b)};
    const Point got = isPosition ? frame.origin() : Point{frame.width, frame.height};
    if (got != asked)
        Log::windowmanager().info(settledElsewhereMessage, static_cast<long long>(id), describe(frame),
                                  isPosition ? describe(asked) : describe(Size{asked.x, asked.y}));
    return AXErrorCode::success;
}

bool SwayAccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    const bool trusted = m_ipc.request(Sway::MessageType::getVersion).hasValue();
    if (!trusted && m_lastTrusted) {
        const QString notice = QStringLiteral("sway does not answer on %1, so Mosaro cannot move windows; run "
                                              "`mosaro --check` for details")
                                   .arg(m_ipc.socketPath());
        Log::permission().info(untrustedMessage, notice);
        if (m_notices) {
            std::fprintf(m_notices, "mosaro: %s\n", qPrintable(notice));
            std::fflush(m_notices);
        }
    }
    m_lastTrusted = trusted;
    if (!trusted && prompt && showPrompt)
        showPrompt();
    return trusted;
}

} // namespace mosaro
