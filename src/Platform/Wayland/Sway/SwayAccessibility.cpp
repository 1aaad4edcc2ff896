#include "Platform/Wayland/Sway/SwayAccessibility.h"

#include "Diagnostics/Log/Log.h"

#include <QThread>
#include <QTimer>

#include <unistd.h>

#include <cmath>
#include <utility>

namespace mosaro {

namespace {

constexpr const char* settledElsewhereMessage = "sway placed window %lld at %{public}s, asked %{public}s";
constexpr const char* commandFailedMessage = "sway refused \"%{public}s\": %{public}s";
constexpr int settleAttempts = 16;
constexpr int settleStepMs = 10;
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

SwayAccessibility::SwayAccessibility(Sway::Ipc& ipc) : m_ipc(ipc), m_flushContext(std::make_unique<QObject>())
{}

SwayAccessibility::~SwayAccessibility()
{
    flush();
}

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
    flush();
    m_placement.reset();
    if (readFocused() != AXErrorCode::success || !m_focused)
        return std::nullopt;
    if (m_focused->pid != currentProcessID())
        m_target = m_focused->id;
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
    if (m_placement && m_placement->id != *id) {
        flush();
        m_placement.reset();
    }
    if (!m_placement)
        m_placement = Placement{*id, false, false, false, false, false, std::nullopt};
    Placement& placement = *m_placement;
    m_focusedRead = false; // whatever was read no longer holds
    // After a failed write the writes that follow put the original frame back: a window we made
    // floating goes back to its tile instead, which is where it was, and one nothing was sent
    // for is where it was already.
    if (placement.failed && (placement.floatedByUs || !placement.touched)) {
        if (placement.retiled || !placement.floatedByUs)
            return AXErrorCode::success;
        placement.retiled = true;
        return run(*id, QStringLiteral("floating disable"));
    }
    const auto kind = isPosition ? AXGeometry::Kind::point : AXGeometry::Kind::size;
    AXError code = AXErrorCode::illegalArgument;
    if (geometry && geometry->kind == kind && usable(*geometry, !isPosition)) {
        code = isPosition ? writePosition({std::round(geometry->a), std::round(geometry->b)})
                          : writeSize({std::round(geometry->a), std::round(geometry->b)});
    }
    if (code != AXErrorCode::success) {
        // The restore that follows travels like a placement of its own.
        placement.failed = true;
        placement.sized = false;
        placement.pendingPosition.reset();
    }
    return code;
}

AXError SwayAccessibility::writePosition(Point position)
{
    Placement& placement = *m_placement;
    if (!placement.sized) {
        placement.pendingPosition = position;
        QTimer::singleShot(0, m_flushContext.get(), [this] { flush(); });
        return AXErrorCode::success;
    }
    // A position after the size: usually the one the size already went with, which costs nothing.
    Sway::Container now;
    if (const AXError code = readWindow(placement.id, now); code != AXErrorCode::success)
        return code;
    if (now.floating() && now.frame().origin() == position)
        return AXErrorCode::success;
    return place(QStringLiteral("move absolute position %1 px %2 px").arg(number(position.x), number(position.y)),
                 position, std::nullopt);
}

AXError SwayAccessibility::writeSize(Size size)
{
    Placement& placement = *m_placement;
    placement.sized = true;
    // resize set re-centres a floating window, so the position goes after it, in the same request.
    QString commands =
        QStringLiteral("resize set width %1 px height %2 px").arg(number(size.width), number(size.height));
    const auto position = std::exchange(placement.pendingPosition, std::nullopt);
    if (position)
        commands +=
            QStringLiteral(", move absolute position %1 px %2 px").arg(number(position->x), number(position->y));
    return place(commands, position, size);
}

void SwayAccessibility::flush()
{
    if (!m_placement || !m_placement->pendingPosition)
        return;
    const Point position = *std::exchange(m_placement->pendingPosition, std::nullopt);
    if (place(QStringLiteral("move absolute position %1 px %2 px").arg(number(position.x), number(position.y)),
              position, std::nullopt) != AXErrorCode::success)
        m_placement->failed = true;
}

AXError SwayAccessibility::place(const QString& commands, std::optional<Point> position, std::optional<Size> size)
{
    Placement& placement = *m_placement;
    Sway::Container before;
    if (const AXError code = readWindow(placement.id, before); code != AXErrorCode::success)
        return code;
    const bool floatFirst = !before.floating();
    std::vector<Sway::CommandResult> results;
    placement.touched = true;
    const AXError code =
        run(placement.id, floatFirst ? QStringLiteral("floating enable, ") + commands : commands, &results);
    if (floatFirst && !results.empty() && results.front().success) {
        placement.floatedByUs = true;
        // Nothing else of this write took: the window goes back as it was.
        if (code != AXErrorCode::success) {
            placement.retiled = true;
            run(placement.id, QStringLiteral("floating disable"));
        }
    }
    if (code != AXErrorCode::success)
        return code;
    // The client may still be answering an earlier configure, and sway takes a floating window's
    // size from each answer: give the frame a moment to settle before taking it as the answer.
    Sway::Container after;
    const auto settled = [&] {
        const Rect f = after.frame();
        return (!position || f.origin() == *position) && (!size || f.size() == *size);
    };
    for (int attempt = 0; attempt < settleAttempts; ++attempt) {
        if (attempt > 0)
            QThread::msleep(settleStepMs);
        if (const AXError readBack = readWindow(placement.id, after); readBack != AXErrorCode::success)
            return readBack;
        if (settled())
            break;
    }
    const Rect frame = after.frame();
    if (!settled()) {
        const Rect asked{position ? position->x : frame.x, position ? position->y : frame.y,
                         size ? size->width : frame.width, size ? size->height : frame.height};
        Log::windowmanager().info(settledElsewhereMessage, static_cast<long long>(placement.id), describe(frame),
                                  describe(asked));
    }
    return AXErrorCode::success;
}

bool SwayAccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    const bool trusted = m_notice.update(m_ipc.request(Sway::MessageType::getVersion).hasValue(), [&] {
        return QStringLiteral(
                   "sway does not answer on %1, so Mosaro cannot move windows; run `mosaro --check` for details")
            .arg(m_ipc.socketPath());
    });
    if (!trusted && prompt && showPrompt)
        showPrompt();
    return trusted;
}

} // namespace mosaro
