#include "Platform/Wayland/Sway/SwayDesktop.h"

#include <QAbstractEventDispatcher>

namespace mosaro {

namespace {

class SwayScreen : public Screen {
public:
    SwayScreen(Rect frame, Rect visible, QString name, double scale)
        : m_frame(frame), m_visible(visible), m_name(std::move(name)), m_scale(scale)
    {}
    Rect frame() const override { return m_frame; }
    Rect visibleFrame() const override { return m_visible; }
    QString localizedName() const override { return m_name; }
    double backingScaleFactor() const override { return m_scale; }
    bool sameAs(const Screen& other) const
    {
        return m_frame == other.frame() && m_visible == other.visibleFrame() && m_name == other.localizedName() &&
               m_scale == other.backingScaleFactor();
    }

private:
    const Rect m_frame;
    const Rect m_visible;
    const QString m_name;
    const double m_scale;
};

Rect flipped(const Rect& r, double height)
{
    return {r.x, height - r.y - r.height, r.width, r.height};
}

} // namespace

SwayScreenList::SwayScreenList(Sway::Ipc& ipc) : m_ipc(ipc)
{
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
    }
}

SwayScreenList::~SwayScreenList() = default;

std::vector<ScreenRef> SwayScreenList::displays(const std::vector<Sway::Output>& outputs,
                                                const std::vector<Sway::Workspace>& workspaces)
{
    std::vector<const Sway::Output*> active;
    for (const auto& output : outputs) {
        if (output.active)
            active.push_back(&output);
    }
    if (active.empty())
        return {};
    const auto origin = std::find_if(active.begin(), active.end(),
                                     [](const Sway::Output* o) { return o->rect.x == 0 && o->rect.y == 0; });
    const double height = (origin != active.end() ? *origin : active.front())->rect.height;
    std::vector<ScreenRef> list;
    for (const Sway::Output* output : active) {
        // A workspace being switched to may not be marked visible yet: the whole output stands in.
        Rect visible = output->rect;
        for (const auto& workspace : workspaces) {
            if (workspace.output == output->name && workspace.visible && workspace.rect.width > 0 &&
                workspace.rect.height > 0)
                visible = workspace.rect;
        }
        const bool hasModel = !output->model.isEmpty() && output->model != QLatin1String("Unknown");
        list.push_back(std::make_shared<SwayScreen>(flipped(output->rect, height), flipped(visible, height),
                                                    hasModel ? output->model : output->name, output->scale));
    }
    return list;
}

std::vector<ScreenRef> SwayScreenList::read() const
{
    if (m_turnWatch && m_readTurn == m_turn)
        return m_last;
    const auto outputReply = m_ipc.request(Sway::MessageType::getOutputs);
    const auto workspaceReply = outputReply ? m_ipc.request(Sway::MessageType::getWorkspaces) : outputReply;
    const auto outputs = outputReply ? Sway::outputs(*outputReply) : std::nullopt;
    const auto workspaces = workspaceReply ? Sway::workspaces(*workspaceReply) : std::nullopt;
    // Without an answer the last list stands: the displays did not go away because sway is slow.
    if (!outputs || !workspaces)
        return m_last;
    std::vector<Sway::Output> activeOutputs = *outputs;
    // Which workspace an output shows is no change of the displays.
    for (auto& output : activeOutputs)
        output.currentWorkspace.clear();
    const auto fresh = displays(activeOutputs, *workspaces);
    std::vector<ScreenRef> list;
    std::map<QString, std::shared_ptr<Screen>> cache;
    std::size_t i = 0;
    for (const auto& output : activeOutputs) {
        if (!output.active)
            continue;
        auto screen = std::const_pointer_cast<Screen>(fresh[i++]);
        const auto known = m_cache.find(output.name);
        if (known != m_cache.end() && static_cast<const SwayScreen&>(*known->second).sameAs(*screen))
            screen = known->second;
        cache[output.name] = screen;
        list.push_back(screen);
    }
    m_cache = std::move(cache);
    m_last = list;
    m_lastOutputs = activeOutputs;
    m_readTurn = m_turn;
    return list;
}

std::vector<ScreenRef> SwayScreenList::screens() const
{
    return read();
}

ScreenRef SwayScreenList::mainScreen() const
{
    const auto list = read();
    for (const auto& screen : list) {
        // Only the output at the layout origin has a y-up frame at (0, 0) and so also at x 0.
        if (screen->frame().x == 0 && screen->frame().y == 0)
            return screen;
    }
    return list.empty() ? nullptr : list.front();
}

SwayDesktopWatcher::SwayDesktopWatcher(Sway::Ipc& ipc, SwayScreenList& screens, NotificationCenter& workspaceCenter,
                                       NotificationCenter& defaultCenter)
    : m_ipc(ipc), m_screens(screens), m_workspace(workspaceCenter), m_default(defaultCenter)
{
    m_screens.screens();
    m_outputs = m_screens.lastOutputs();
    m_eventHandler =
        m_ipc.addEventHandler([this](std::uint32_t type, const QByteArray& payload) { handle(type, payload); });
}

void SwayDesktopWatcher::handle(std::uint32_t type, const QByteArray& payload)
{
    if (type == Sway::EventType::output) {
        checkOutputs();
        return;
    }
    if (type != Sway::EventType::workspace)
        return;
    const QString change = Sway::eventChange(payload);
    if (change == QLatin1String("focus")) {
        m_screens.invalidate();
        if (isOwnFocusChange && isOwnFocusChange(payload))
            return;
        m_workspace.post(PlatformNotifications::activeSpaceDidChange);
    } else if (change == QLatin1String("init") || change == QLatin1String("empty") || change == QLatin1String("move") ||
               change == QLatin1String("reload")) {
        checkOutputs();
    }
}

void SwayDesktopWatcher::checkOutputs()
{
    m_screens.invalidate();
    m_screens.screens();
    if (m_screens.lastOutputs() == m_outputs)
        return;
    m_outputs = m_screens.lastOutputs();
    m_default.post(PlatformNotifications::screenParametersDidChange);
}

} // namespace mosaro
