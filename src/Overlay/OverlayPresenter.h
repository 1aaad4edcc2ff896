#pragma once

#include "Diagnostics/Log/Log.h"
#include "Overlay/OverlayViewModel.h"
#include "Overlay/OverlayWindow.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Platform/System.h"
#include "Preferences/PreferencesFile.h"
#include "WindowControl/FocusedWindowResolver.h"
#include "WindowControl/WindowManipulating.h"

#include <QString>
#include <memory>
#include <optional>

namespace mosaro {

class HotkeyRegistry;
class PermissionGate;

// The platform pieces one overlay session touches.
struct OverlayPlatform {
    const ScreenList& screens;
    Beeper& beeper;
    Application& application;
    EventMonitor& eventMonitor;
    OverlayWindowFactory& windowFactory;
    NotificationCenter& defaultCenter;
    NotificationCenter& workspaceCenter;
    QString preferencesPath; // the preferences document, read afresh on every showing
};

// Runs the overlay: one session at a time, from the trigger to a commit or a dismissal.
class OverlayPresenter : public std::enable_shared_from_this<OverlayPresenter> {
public:
    OverlayPresenter(WindowManipulating& windowManipulator, HotkeyRegistry& hotkeyRegistry,
                     PermissionGate& permissionGate, FocusedWindowResolver resolver,
                     std::shared_ptr<OverlayViewModel> viewModel, OverlayPlatform platform);
    ~OverlayPresenter();

    void start();
    void stop();
    void handleTrigger();
    void present(const FocusedWindow& window, const ScreenRef& screen);
    void handleKeyDown(const KeyEvent& event);
    void commit();
    void dismiss();
    void jumpToDisplay(CrossDisplayDirection direction);
    void persistResizeIfNeeded();
    void tearDownPanel();

    const std::shared_ptr<OverlayViewModel>& viewModel() const { return m_viewModel; }
    OverlayWindow* window() const { return m_window.get(); }
    const std::optional<GridDimensions>& initialDimensions() const { return m_initialDimensions; }

private:
    WindowManipulating& m_windowManipulator;
    HotkeyRegistry& m_hotkeyRegistry;
    PermissionGate& m_permissionGate;
    FocusedWindowResolver m_resolver;
    std::shared_ptr<OverlayViewModel> m_viewModel;
    std::unique_ptr<OverlayWindow> m_window;
    std::optional<GridDimensions> m_initialDimensions;
    std::optional<EventMonitor::Token> m_localKeyMonitor;
    std::optional<NotificationCenter::Token> m_spaceChangeObserver;
    std::optional<NotificationCenter::Token> m_screenParamsObserver;
    std::optional<NotificationCenter::Token> m_panelResignKeyObserver;
    OverlayPlatform m_platform;
};

} // namespace mosaro
