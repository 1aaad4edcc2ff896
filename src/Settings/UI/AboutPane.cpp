#include "Settings/UI/AboutPane.h"

#include "Permission/UI/PermissionStatusBadge.h"
#include "Platform/HostTexts.h"
#include "Settings/UI/FormSection.h"

#include <QCheckBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace mosaro {

namespace {
QLabel* valueLabel(const QString& text)
{
    auto* label = new QLabel(text);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}
} // namespace

AboutPane::AboutPane(UpdaterController& updater, PermissionGate& gate, Scheduler& scheduler,
                     OnboardingPresenter& onboarding, const BundleFacts& bundle, QWidget* parent)
    : QWidget(parent), m_updater(updater), m_gate(gate), m_onboarding(onboarding), m_poller(gate, scheduler)
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(14);

    auto* about = new FormSection(QStringLiteral("About"), {}, this);
    about->addRow(bodyLabel(hostText(HostText::aboutDescription)));
    m_version = valueLabel(versionText(bundle));
    m_version->setObjectName(QStringLiteral("versionValue"));
    about->addLabeledRow(QStringLiteral("Mosaro"), m_version);
    m_bundleIdentifier = valueLabel(bundleIdentifierText(bundle));
    about->addLabeledRow(QStringLiteral("Bundle ID"), m_bundleIdentifier);
    layout->addWidget(about);

    auto* updates = new FormSection(QStringLiteral("Updates"), {}, this);
    updates->addRow(bodyLabel(QStringLiteral(
        "Updates are free for everyone and installed in place. Automatic checks run in the background about once a "
        "day.")));
    m_automaticChecks = new QCheckBox(QStringLiteral("Automatically check for updates"));
    m_automaticChecks->setChecked(m_updater.automaticallyChecksForUpdates());
    updates->addRow(m_automaticChecks);
    m_checkForUpdates = new QPushButton(QStringLiteral("Check for Updates…"));
    m_checkForUpdates->setEnabled(m_updater.canCheckForUpdates());
    updates->addLabeledRow(QStringLiteral("Manual check"), m_checkForUpdates);
    layout->addWidget(updates);

    auto* permissions = new FormSection(QStringLiteral("Permissions"), {}, this);
    m_badge = new PermissionStatusBadge;
    permissions->addLabeledRow(hostText(HostText::accessibilityAccessRow), m_badge);
    m_explanation = secondaryLabel({});
    m_explanation->setObjectName(QStringLiteral("permissionExplanation"));
    permissions->addRow(m_explanation);
    m_openSettings = new QPushButton(hostText(HostText::openAccessibilitySettingsButton));
    m_openSettings->setToolTip(hostText(HostText::openAccessibilitySettingsHelp));
    auto* openRow = new QWidget;
    auto* openLayout = new QHBoxLayout(openRow);
    openLayout->setContentsMargins(0, 0, 0, 0);
    openLayout->addWidget(m_openSettings);
    openLayout->addStretch(1);
    permissions->addRow(openRow);
    m_showAgain = new QPushButton(QStringLiteral("Show again"));
    m_showAgain->setToolTip(hostText(HostText::showWelcomeAgainHelp));
    permissions->addLabeledRow(QStringLiteral("Welcome window"), m_showAgain);
    layout->addWidget(permissions);
    layout->addStretch(1);

    connect(m_automaticChecks, &QCheckBox::toggled, this, [this](bool enabled) {
        m_updater.setAutomaticallyChecksForUpdates(enabled);
        // The service keeps the setting: show what it holds now.
        const QSignalBlocker blocker(m_automaticChecks);
        m_automaticChecks->setChecked(m_updater.automaticallyChecksForUpdates());
    });
    connect(m_checkForUpdates, &QPushButton::clicked, this, [this] { m_updater.checkForUpdates(); });
    connect(&m_updater, &UpdaterController::canCheckForUpdatesChanged, m_checkForUpdates, &QPushButton::setEnabled);
    connect(m_openSettings, &QPushButton::clicked, this, [this] { m_gate.openAccessibilitySettings(); });
    connect(m_showAgain, &QPushButton::clicked, this, [this] {
        // Whatever the permission, so the window can be reviewed; never a second one.
        if (m_onboarding.isOpen())
            return;
        PermissionGate* permission = &m_gate;
        m_onboarding.show([permission] { continueFromWelcome(*permission); });
    });
    connect(&m_poller, &PermissionPoller::stateChanged, this, &AboutPane::showPermission);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive && isVisible())
            m_poller.refresh();
    });
    showPermission();
}

void AboutPane::showPermission()
{
    const PermissionState& state = m_poller.state();
    m_badge->setState(state);
    m_explanation->setText(permissionExplanation(state));
    m_openSettings->setEnabled(!state.isGranted());
}

void AboutPane::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_poller.appear();
    showPermission();
    const QSignalBlocker blocker(m_automaticChecks);
    m_automaticChecks->setChecked(m_updater.automaticallyChecksForUpdates());
}

void AboutPane::hideEvent(QHideEvent* event)
{
    m_poller.disappear();
    QWidget::hideEvent(event);
}

} // namespace mosaro
