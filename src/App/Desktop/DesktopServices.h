#pragma once

#include "App/AppDelegate.h"
#include "Permission/OnboardingPresenter.h"
#include "Platform/Pasteboard.h"
#include "Platform/System.h"

#include <cstdio>
#include <functional>

class QWidget;

namespace mosaro {

// Opens URLs with the desktop's handlers. The host's accessibility settings page stands for the
// in-app help on window managers here, since the permission is a window manager Mosaro can drive.
class DesktopUrlOpener final : public UrlOpener {
public:
    bool openUrl(const QString& url) override;

    std::function<void()> showAccessibilitySettings;
};

// The desktop's clipboard (not the primary selection), plain text.
class DesktopPasteboard final : public Pasteboard {
public:
    void clearContents() override;
    void setString(const QString& text) override;
};

// The application's windows on the desktop. Bringing a window to the front is the platform's:
// Qt raises and activates it; on Wayland only the compositor can, through its channel.
class QtDesktopApplication final : public Application, public DesktopSession, public ActivationPolicy {
public:
    void activateIgnoringOtherApps() override;
    // A desktop lists every mapped top-level window in its task bar by itself; there is no
    // separate application icon to show or hide, so the policy is only recorded.
    void setActivationPolicy(ActivationPolicy::Kind kind) override { m_policy = kind; }
    ActivationPolicy::Kind activationPolicy() const { return m_policy; }
    bool isActive() const override;
    bool hasVisibleTitledWindow() const override;
    void hide() override;

    // Brings one of our windows to the front; by default Qt's raise and activate.
    std::function<void(QWidget*)> activate;

private:
    ActivationPolicy::Kind m_policy = ActivationPolicy::Kind::accessory;
};

// Sends every log entry to the journal, and also to the given stream when there is one.
void installLogSinks(std::FILE* echo);

} // namespace mosaro
