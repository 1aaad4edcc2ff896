#pragma once

#include "Permission/PermissionGate.h"
#include "Permission/PermissionState.h"
#include "Platform/System.h"

#include <QObject>
#include <QString>
#include <optional>

namespace mosaro {

// What the application says about itself, as the About pane shows it: its version, its build
// and its identifier.
struct BundleFacts {
    std::optional<QString> shortVersionString; // e.g. "1.4.0"
    std::optional<QString> bundleVersion;      // the build, e.g. "57"
    std::optional<QString> bundleIdentifier;   // "tech.brenmark.mosaro"
};

// "1.4.0 (57)", each missing value shown as an em dash.
QString versionText(const BundleFacts& bundle);
// The identifier, or an em dash.
QString bundleIdentifierText(const BundleFacts& bundle);

// The sentence under the permission badge.
QString permissionExplanation(const PermissionState& state);

// Keeps the About pane's permission state fresh while the pane is shown: once when it appears and
// then every second, and once whenever the application becomes active. Never prompts.
class PermissionPoller : public QObject {
    Q_OBJECT
public:
    static constexpr double interval = 1.0;

    PermissionPoller(PermissionGate& gate, Scheduler& scheduler, QObject* parent = nullptr);
    ~PermissionPoller() override;

    const PermissionState& state() const { return m_state; }

    void appear();
    void disappear();
    void refresh();

Q_SIGNALS:
    // The state read differs from the one before.
    void stateChanged();

private:
    PermissionGate& m_gate;
    Scheduler& m_scheduler;
    std::optional<Scheduler::Token> m_timer;
    PermissionState m_state;
};

} // namespace mosaro
