#include "Platform/Wayland/Sway/SwayPanelRules.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/Wayland/Sway/SwayAccessibility.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"

#include <unistd.h>

namespace mosaro {

namespace {
constexpr const char* commandFailedMessage = "sway refused the panel's command %{public}s: %{public}s";
constexpr const char* placedMessage = "sway placed the panel and gave it the focus";

QString number(double value)
{
    return QString::number(qRound64(value));
}
} // namespace

SwayPanelRules::SwayPanelRules(Sway::Ipc& ipc, const SwayScreenList& screens, const SwayAccessibility& windows,
                               QString title)
    : m_ipc(ipc), m_screens(screens), m_windows(windows), m_title(std::move(title))
{
    m_eventHandler =
        m_ipc.addEventHandler([this](std::uint32_t type, const QByteArray& payload) { handle(type, payload); });
}

SwayPanelRules::~SwayPanelRules()
{
    m_ipc.removeEventHandler(m_eventHandler);
}

QString SwayPanelRules::criteria() const
{
    return QStringLiteral("[pid=%1 title=%2]").arg(::getpid()).arg(Sway::exactTitle(m_title));
}

void SwayPanelRules::prepare()
{
    // A new mapping: the container of the last one is going, whatever its events say yet.
    m_panel.reset();
    m_placedAt.reset();
    if (m_ruleAdded)
        return;
    // The command list is one quoted argument: unquoted, its commas would end the rule and run the
    // rest at once on the focused window.
    const QString rule = QStringLiteral("for_window %1 %2")
                             .arg(criteria(), Sway::quoted(QStringLiteral("floating enable, border none")));
    const auto results = m_ipc.run(rule);
    if (!results)
        return;
    m_ruleAdded = !results->empty() && results->front().success;
    if (!m_ruleAdded)
        Log::overlay().error(commandFailedMessage, rule, results->empty() ? QString() : results->front().error);
}

void SwayPanelRules::place(const Rect& frame)
{
    const ScreenRef main = m_screens.mainScreen();
    if (!main)
        return;
    // Screen frames are y-up from the bottom of the display at the layout origin.
    m_wanted = Point{frame.x, main->frame().height - frame.y - frame.height};
    // Not mapped yet: its window event brings it here.
    if (m_panel)
        apply();
}

void SwayPanelRules::apply()
{
    if (!m_panel || !m_wanted || m_placedAt == m_wanted)
        return;
    // Moved onto another output, the panel would leave the focus behind on the first one.
    const QString command = QStringLiteral("[con_id=%1] move absolute position %2 px %3 px, focus")
                                .arg(*m_panel)
                                .arg(number(m_wanted->x), number(m_wanted->y));
    const auto results = m_ipc.run(command);
    if (!results)
        return;
    if (results->empty() || !results->front().success) {
        Log::overlay().error(commandFailedMessage, command, results->empty() ? QString() : results->front().error);
        return;
    }
    m_placedAt = m_wanted;
    Log::overlay().debug(placedMessage);
}

void SwayPanelRules::returnKeyboard()
{
    const auto target = m_windows.target();
    if (!target)
        return;
    // A target that closed meanwhile leaves the focus where sway puts it.
    m_ipc.run(QStringLiteral("[con_id=%1] focus").arg(*target));
}

bool SwayPanelRules::isPanelFocusChange(const QByteArray& workspaceEvent) const
{
    return m_panel && Sway::focusedChildOfCurrent(workspaceEvent) == m_panel;
}

void SwayPanelRules::handle(std::uint32_t type, const QByteArray& payload)
{
    if (type == Sway::EventType::workspace) {
        // A reload drops run-time rules.
        if (Sway::eventChange(payload) == QLatin1String("reload"))
            m_ruleAdded = false;
        return;
    }
    if (type != Sway::EventType::window)
        return;
    const auto container = Sway::eventContainer(payload);
    if (!container || container->pid != ::getpid() || container->name != m_title)
        return;
    const QString change = Sway::eventChange(payload);
    if (change == QLatin1String("close")) {
        if (m_panel == container->id)
            m_panel.reset();
    } else if (change == QLatin1String("new") || !m_panel) {
        m_panel = container->id;
        m_placedAt.reset();
        apply();
    }
}

} // namespace mosaro
