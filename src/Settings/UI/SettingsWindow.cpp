#include "Settings/UI/SettingsWindow.h"

#include "Platform/UI/Symbols.h"
#include "Settings/UI/AboutPane.h"
#include "Settings/UI/GeneralPane.h"
#include "Settings/UI/ShortcutsPane.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

namespace mosaro {

namespace {

Symbol tabSymbol(SettingsPane pane)
{
    switch (pane) {
    case SettingsPane::general:
        return Symbol::gear;
    case SettingsPane::shortcuts:
        return Symbol::keyboard;
    case SettingsPane::about:
        break;
    }
    return Symbol::infoCircle;
}

// Panes scroll vertically when their content is taller than the window, never sideways.
QScrollArea* scrolling(QWidget* pane)
{
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(pane);
    return area;
}

} // namespace

SettingsWindow::SettingsWindow(const SettingsEnvironment& environment, QWidget* parent)
    : QWidget(parent), m_center(environment.defaultCenter),
      m_store(PreferencesStore::loadInitial(environment.preferencesPath), environment.preferencesPath)
{
    setObjectName(QStringLiteral("settingsWindow"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint |
                   Qt::CustomizeWindowHint);
    setFixedSize(contentWidth, contentHeight);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    m_tabs = new QTabWidget(this);
    m_tabs->setDocumentMode(true);
    m_general = new GeneralPane(m_store, environment.screens, environment.defaultCenter, environment.loginItems);
    m_shortcuts = new ShortcutsPane;
    m_about = new AboutPane(environment.updater, environment.gate, environment.scheduler, environment.onboarding,
                            environment.bundle);
    QWidget* const panes[] = {m_general, m_shortcuts, m_about};
    for (SettingsPane pane : allSettingsPanes)
        m_tabs->addTab(scrolling(panes[static_cast<int>(pane)]), symbolIcon(tabSymbol(pane)), tabLabel(pane));
    layout->addWidget(m_tabs);

    setWindowTitle(settingsWindowTitle(selectedPane()));
    connect(m_tabs, &QTabWidget::currentChanged, this, [this] { setWindowTitle(settingsWindowTitle(selectedPane())); });

    m_paneObserver = m_center.addObserver(openSettingsToPaneNotification, nullptr, [this](const Notification& note) {
        if (const auto pane = requestedPane(note))
            selectPane(*pane);
    });
    // The overlay saved a resized grid: show it at once.
    m_diskObserver = m_center.addObserver(preferencesDidChangeOnDiskNotification, nullptr,
                                          [this](const Notification&) { m_store.reloadFromDisk(); });
}

SettingsWindow::~SettingsWindow()
{
    if (m_paneObserver)
        m_center.removeObserver(*m_paneObserver);
    if (m_diskObserver)
        m_center.removeObserver(*m_diskObserver);
}

SettingsPane SettingsWindow::selectedPane() const
{
    const int index = m_tabs->currentIndex();
    return index >= 0 && index < int(allSettingsPanes.size()) ? allSettingsPanes[index] : SettingsPane::general;
}

void SettingsWindow::selectPane(SettingsPane pane)
{
    m_tabs->setCurrentIndex(static_cast<int>(pane));
}

void SettingsWindow::closeEvent(QCloseEvent* event)
{
    QWidget::closeEvent(event);
    // An ordinary titled window: the application may step back once it is gone.
    m_center.post(PlatformNotifications::windowWillClose, this, {{PlatformNotifications::windowIsTitledKey, true}});
}

SettingsWindowController::SettingsWindowController(SettingsEnvironment environment, QObject* parent)
    : QObject(parent), m_env(std::move(environment))
{
    m_paneObserver =
        m_env.defaultCenter.addObserver(openSettingsToPaneNotification, nullptr, [this](const Notification& note) {
            // An open window selects the pane itself; a closed one opens there next time.
            if (const auto pane = requestedPane(note); pane && !m_window)
                m_pendingPane = pane;
        });
}

SettingsWindowController::~SettingsWindowController()
{
    m_env.defaultCenter.removeObserver(m_paneObserver);
    delete m_window.data();
}

void SettingsWindowController::show()
{
    const bool opening = !m_window;
    if (opening) {
        m_window = new SettingsWindow(m_env);
        m_window->setAttribute(Qt::WA_DeleteOnClose);
    }
    if (m_pendingPane) {
        m_window->selectPane(*m_pendingPane);
        m_pendingPane.reset();
    }
    if (opening) {
        if (const QScreen* screen = QGuiApplication::primaryScreen())
            m_window->move(screen->availableGeometry().center() - m_window->rect().center());
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace mosaro
