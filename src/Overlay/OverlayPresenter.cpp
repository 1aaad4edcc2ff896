#include "Overlay/OverlayPresenter.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Grid/Sizing/GridSizeChoice.h"
#include "KeyboardShortcuts/HotkeyRegistry.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Permission/PermissionGate.h"
#include "Preferences/PreferencesFile.h"

namespace mosaro {

namespace M = LogMessages;

namespace {

Preferences loadOrDefaults(const QString& path)
{
    auto loaded = loadPreferences(path);
    return loaded ? *loaded : Preferences::defaults();
}

} // namespace

OverlayPresenter::OverlayPresenter(WindowManipulating& windowManipulator, HotkeyRegistry& hotkeyRegistry,
                                   PermissionGate& permissionGate, FocusedWindowResolver resolver,
                                   std::shared_ptr<OverlayViewModel> viewModel, OverlayPlatform platform)
    : m_windowManipulator(windowManipulator), m_hotkeyRegistry(hotkeyRegistry), m_permissionGate(permissionGate),
      m_resolver(resolver), m_viewModel(std::move(viewModel)), m_platform(std::move(platform))
{}

OverlayPresenter::~OverlayPresenter()
{
    // Closures handed out hold the presenter weakly; make sure no observer outlives it.
    if (m_panelResignKeyObserver)
        m_platform.defaultCenter.removeObserver(*m_panelResignKeyObserver);
    if (m_localKeyMonitor)
        m_platform.eventMonitor.removeMonitor(*m_localKeyMonitor);
    if (m_spaceChangeObserver)
        m_platform.workspaceCenter.removeObserver(*m_spaceChangeObserver);
    if (m_screenParamsObserver)
        m_platform.defaultCenter.removeObserver(*m_screenParamsObserver);
    if (m_window) {
        m_window->onKeyDown = nullptr;
        m_window->close();
    }
}

void OverlayPresenter::start()
{
    Log::overlay().info(M::presenterStart);
    const std::weak_ptr<OverlayPresenter> weak = weak_from_this();

    if (!m_hotkeyRegistry.isTriggerRegistered) {
        m_hotkeyRegistry.subscribeTrigger(nameFor(HotkeyAction::trigger), [weak] {
            if (auto self = weak.lock())
                self->handleTrigger();
        });
    }

    if (!m_localKeyMonitor) {
        m_localKeyMonitor = m_platform.eventMonitor.addLocalMonitor(
            EventMask::keyDown, [weak](const KeyEvent& event) -> std::optional<KeyEvent> {
                auto self = weak.lock();
                if (self && self->m_window && event.window == self->m_window.get()) {
                    self->handleKeyDown(event);
                    return std::nullopt;
                }
                return event;
            });
    }

    // Both end a visible session: the overlay belongs to one display of one arrangement.
    const auto dismissWhenVisible = [weak](const char* reason) {
        return [weak, reason](const Notification&) {
            auto self = weak.lock();
            if (self && self->m_viewModel->presentation()) {
                Log::overlay().info(reason);
                self->dismiss();
            }
        };
    };
    if (!m_spaceChangeObserver)
        m_spaceChangeObserver = m_platform.workspaceCenter.addObserver(PlatformNotifications::activeSpaceDidChange,
                                                                       nullptr, dismissWhenVisible(M::spaceChanged));
    if (!m_screenParamsObserver)
        m_screenParamsObserver = m_platform.defaultCenter.addObserver(PlatformNotifications::screenParametersDidChange,
                                                                      nullptr, dismissWhenVisible(M::displaysChanged));
}

void OverlayPresenter::stop()
{
    KeyboardShortcuts::disable({nameFor(HotkeyAction::trigger)});
    dismiss();
    if (m_localKeyMonitor) {
        m_platform.eventMonitor.removeMonitor(*m_localKeyMonitor);
        m_localKeyMonitor.reset();
    }
    if (m_spaceChangeObserver) {
        m_platform.workspaceCenter.removeObserver(*m_spaceChangeObserver);
        m_spaceChangeObserver.reset();
    }
    if (m_screenParamsObserver) {
        m_platform.defaultCenter.removeObserver(*m_screenParamsObserver);
        m_screenParamsObserver.reset();
    }
}

void OverlayPresenter::handleTrigger()
{
    if (m_viewModel->presentation()) {
        Log::overlay().debug(M::triggerWhileVisible);
        dismiss();
        return;
    }

    const auto interval = Log::perf().beginInterval(M::showOverlayInterval);

    const PermissionState state = m_permissionGate.check(false);
    if (!state.isGranted()) {
        Log::overlay().error(M::triggerBlockedPermission, toString(state));
        Log::perf().endInterval(interval, "permission-denied");
        if (state.kind == PermissionState::Kind::notDetermined) {
            m_permissionGate.check(true);
        } else {
            m_permissionGate.openAccessibilitySettings();
            m_platform.application.activateIgnoringOtherApps();
        }
        return;
    }

    const auto resolved = m_resolver.resolve();
    if (!resolved) {
        if (resolved.error().kind == WindowManipulationError::Kind::accessibilityPermissionMissing) {
            Log::overlay().error(M::axPermissionMissing);
            Log::perf().endInterval(interval, "ax-denied");
        } else {
            Log::overlay().error(M::resolveFailed, toString(resolved.error()));
            Log::perf().endInterval(interval, "resolve-failed");
        }
        m_platform.beeper.beep();
        return;
    }
    if (!resolved->has_value()) {
        Log::overlay().info(M::noFocusedWindow);
        Log::perf().endInterval(interval, "no-window");
        m_platform.beeper.beep();
        return;
    }

    const FocusedWindowResolver::Resolved& target = **resolved;
    const FocusedWindow& window = target.window;
    if (!window.isTileable()) {
        Log::overlay().info(M::notTileable, window.isFullscreen, window.isMinimized, window.isResizable);
        Log::perf().endInterval(interval, "not-tileable");
        m_platform.beeper.beep();
        return;
    }

    Log::overlay().info(M::overlayShow, window.titleForLog(),
                        [&] { return describe(target.display.screen->visibleFrame()); });
    present(window, target.display.screen);
    Log::perf().endInterval(interval, "ok");
}

void OverlayPresenter::present(const FocusedWindow& window, const ScreenRef& screen)
{
    const Rect bounds = screen->visibleFrame();
    // The keyboard first: every key typed from here on reaches the panel, in order.
    auto panel = m_platform.windowFactory.makeOverlayWindow();
    panel->setFrame(bounds);
    panel->takeKeyboard();

    const DisplayRegion display{screen};
    const Preferences prefs = loadOrDefaults(m_platform.preferencesPath);
    const GridDimensions size = chooseGridDimensions(prefs, display.displayKey());

    OverlayPresentation presentation{
        display,
        window,
        GridLayout{size.columns, size.rows, bounds, double(prefs.proSettings.margin)},
        initialSelection(size),
    };
    m_viewModel->setPresentation(std::move(presentation));
    m_initialDimensions = size;

    panel->setContent(m_viewModel);
    const std::weak_ptr<OverlayPresenter> weak = weak_from_this();
    panel->onKeyDown = [weak](const KeyEvent& event) {
        if (auto self = weak.lock())
            self->handleKeyDown(event);
    };
    panel->makeKeyAndOrderFront();
    if (m_window && m_window != panel) {
        m_window->onKeyDown = nullptr;
        m_window->close();
    }
    m_window = std::move(panel);

    m_panelResignKeyObserver = m_platform.defaultCenter.addObserver(
        PlatformNotifications::windowDidResignKey, m_window.get(), [weak](const Notification&) {
            auto self = weak.lock();
            if (self && self->m_window && self->m_viewModel->presentation()) {
                Log::overlay().info(M::resignedKey);
                self->dismiss();
            }
        });

    const ScreenRef panelScreen = m_window->screen();
    Log::overlay().info(M::panelPresented, describe(m_window->frame()), m_window->isKeyWindow(), m_window->isVisible(),
                        panelScreen ? panelScreen->localizedName() : QStringLiteral("<nil>"));
}

void OverlayPresenter::handleKeyDown(const KeyEvent& event)
{
    const auto interval = Log::perf().beginInterval(M::highlightUpdateInterval);
    const std::optional<OverlayInput> decoded = decodeOverlayKey(event.keyCode, event.modifierFlags);
    Log::overlay().debug(M::keyDown, event.keyCode, (event.modifierFlags & ModifierFlag::shift) != 0,
                         (event.modifierFlags & ModifierFlag::command) != 0,
                         (event.modifierFlags & ModifierFlag::option) != 0,
                         [&] { return decoded ? toString(*decoded) : QStringLiteral("nil"); });

    // Every key that no binding claims closes the overlay.
    const OverlayInput input = decoded.value_or(OverlayInput::dismiss());
    const OverlayOutcome outcome = m_viewModel->apply(input);
    switch (outcome.kind) {
    case OverlayOutcome::Kind::crossDisplay:
        jumpToDisplay(outcome.direction);
        break;
    case OverlayOutcome::Kind::commit:
        commit();
        break;
    case OverlayOutcome::Kind::dismiss:
        dismiss();
        break;
    case OverlayOutcome::Kind::ignored:
    case OverlayOutcome::Kind::updated:
    case OverlayOutcome::Kind::resized:
        break;
    }
    Log::perf().endInterval(interval);
}

void OverlayPresenter::commit()
{
    const auto& presentation = m_viewModel->presentation();
    if (!presentation)
        return;
    const Rect frame = presentation->grid.frameFor(presentation->region);
    const FocusedWindow target = presentation->targetWindow;

    // The overlay is gone, and a changed grid size saved, before the window moves.
    dismiss();

    const auto interval = Log::perf().beginInterval(M::commitMoveInterval);
    const auto result = m_windowManipulator.move(target, frame);
    if (result) {
        Log::overlay().info(M::commitMove, target.titleForLog(), describe(frame));
        Log::perf().endInterval(interval, "ok");
        return;
    }
    const WindowManipulationError& error = result.error();
    if (error.kind == WindowManipulationError::Kind::windowNotResizable) {
        Log::overlay().error(M::commitNotResizable, toString(error.reason));
        Log::perf().endInterval(interval, "not-resizable");
    } else {
        Log::overlay().error(M::commitFailed, toString(error));
        Log::perf().endInterval(interval, "error");
    }
    m_platform.beeper.beep();
}

void OverlayPresenter::dismiss()
{
    Log::overlay().info(M::overlayDismiss);
    persistResizeIfNeeded();
    m_viewModel->setPresentation(std::nullopt);
    tearDownPanel();
}

void OverlayPresenter::tearDownPanel()
{
    // The observer goes first so that resigning below cannot re-enter dismiss().
    if (m_panelResignKeyObserver) {
        m_platform.defaultCenter.removeObserver(*m_panelResignKeyObserver);
        m_panelResignKeyObserver.reset();
    }
    if (m_window) {
        std::unique_ptr<OverlayWindow> panel = std::move(m_window);
        panel->onKeyDown = nullptr;
        panel->resignKeyWindow();
        panel->orderOut();
        panel->close();
    }
}

void OverlayPresenter::persistResizeIfNeeded()
{
    const auto& presentation = m_viewModel->presentation();
    if (m_initialDimensions && presentation && presentation->grid.dimensions() != *m_initialDimensions) {
        const GridDimensions size = presentation->grid.dimensions();
        Preferences prefs = loadOrDefaults(m_platform.preferencesPath);
        const QString key = presentation->display.displayKey();
        if (prefs.proSettings.perDisplayMode)
            Log::overlay().info(M::persistedDisplayResize, key, size.columns, size.rows);
        else
            Log::overlay().info(M::persistedGlobalResize, size.columns, size.rows);
        prefs = withPersistedResize(std::move(prefs), key, size);

        const auto saved = savePreferences(prefs, m_platform.preferencesPath);
        if (!saved)
            Log::overlay().error(M::persistResizeFailed, saved.error().description);
        else
            m_platform.defaultCenter.post(preferencesDidChangeOnDiskNotification);
    }
    m_initialDimensions.reset();
}

void OverlayPresenter::jumpToDisplay(CrossDisplayDirection direction)
{
    const auto& presentation = m_viewModel->presentation();
    if (!presentation)
        return;
    const std::vector<ScreenRef> screens = m_platform.screens.screens();
    if (screens.size() < 2) {
        Log::overlay().info(M::crossDisplaySingle);
        m_platform.beeper.beep();
        return;
    }
    const auto current = indexOfScreen(screens, presentation->display.screen);
    const ScreenRef& target = screens[jumpTargetIndex(current, screens.size(), direction)];
    Log::overlay().info(M::crossDisplayJump, toString(direction), presentation->display.displayKey(),
                        target->localizedName());

    persistResizeIfNeeded();
    const FocusedWindow window = m_viewModel->presentation()->targetWindow;
    tearDownPanel();
    m_viewModel->setPresentation(std::nullopt);
    present(window, target);
}

} // namespace mosaro
