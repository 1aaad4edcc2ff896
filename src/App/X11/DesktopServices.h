#pragma once

#include "App/AppDelegate.h"
#include "Permission/OnboardingPresenter.h"
#include "Platform/Pasteboard.h"
#include "Platform/System.h"

#include <cstdio>

namespace mosaro {

// Opens URLs with the desktop's handlers. The host's accessibility settings page has no
// counterpart here: the permission is a running EWMH window manager.
class DesktopUrlOpener final : public UrlOpener {
public:
    bool openUrl(const QString& url) override;
};

// The desktop's clipboard (not the primary selection), plain text.
class DesktopPasteboard final : public Pasteboard {
public:
    void clearContents() override;
    void setString(const QString& text) override;
};

class X11Application final : public Application, public DesktopSession, public ActivationPolicy {
public:
    void activateIgnoringOtherApps() override;
    // An X desktop lists every mapped top-level window in its task bar by itself; there is no
    // separate application icon to show or hide.
    void setActivationPolicy(ActivationPolicy::Kind) override {}
    bool isActive() const override;
    bool hasVisibleTitledWindow() const override;
    void hide() override;
};

// Sends every log entry to the journal, and also to the given stream when there is one.
void installLogSinks(std::FILE* echo);

} // namespace mosaro
