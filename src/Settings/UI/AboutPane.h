#pragma once

#include "Permission/OnboardingPresenter.h"
#include "Permission/PermissionGate.h"
#include "Platform/System.h"
#include "Settings/AboutSettings.h"
#include "Updates/UpdaterController.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QPushButton;

namespace mosaro {

class PermissionStatusBadge;

// The About tab: who the application is, the update controls, and where the permission stands
// with the ways to fix it.
class AboutPane : public QWidget {
    Q_OBJECT
public:
    AboutPane(UpdaterController& updater, PermissionGate& gate, Scheduler& scheduler, OnboardingPresenter& onboarding,
              const BundleFacts& bundle, QWidget* parent = nullptr);

    QLabel* versionValue() const { return m_version; }
    QLabel* bundleIdentifierValue() const { return m_bundleIdentifier; }
    QCheckBox* automaticChecksSwitch() const { return m_automaticChecks; }
    QPushButton* checkForUpdatesButton() const { return m_checkForUpdates; }
    PermissionStatusBadge* badge() const { return m_badge; }
    QLabel* explanation() const { return m_explanation; }
    QPushButton* openSettingsButton() const { return m_openSettings; }
    QPushButton* showAgainButton() const { return m_showAgain; }
    const PermissionPoller& poller() const { return m_poller; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void showPermission();

    UpdaterController& m_updater;
    PermissionGate& m_gate;
    OnboardingPresenter& m_onboarding;
    PermissionPoller m_poller;

    QLabel* m_version = nullptr;
    QLabel* m_bundleIdentifier = nullptr;
    QCheckBox* m_automaticChecks = nullptr;
    QPushButton* m_checkForUpdates = nullptr;
    PermissionStatusBadge* m_badge = nullptr;
    QLabel* m_explanation = nullptr;
    QPushButton* m_openSettings = nullptr;
    QPushButton* m_showAgain = nullptr;
};

} // namespace mosaro
