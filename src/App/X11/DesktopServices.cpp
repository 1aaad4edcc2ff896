#include "App/X11/DesktopServices.h"

#include "Diagnostics/Log.h"

#include <QApplication>
#include <QDesktopServices>
#include <QUrl>
#include <QWidget>

#include <systemd/sd-journal.h>

#include <cstdio>
#include <unistd.h>

namespace mosaro {

bool DesktopUrlOpener::openUrl(const QString& url)
{
    const QUrl parsed(url);
    if (!parsed.isValid())
        return false;
    if (parsed.scheme() == QLatin1String("x-apple.systempreferences")) {
        Log::permission().info("window control needs a running EWMH window manager; there is no settings page to open");
        return false;
    }
    return QDesktopServices::openUrl(parsed);
}

void X11Application::activateIgnoringOtherApps()
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->isVisible() && !w->windowTitle().isEmpty()) {
            w->raise();
            w->activateWindow();
            return;
        }
    }
}

bool X11Application::isActive() const
{
    return QApplication::activeWindow() != nullptr;
}

bool X11Application::hasVisibleTitledWindow() const
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->isVisible() && !w->windowTitle().isEmpty())
            return true;
    return false;
}

void X11Application::hide()
{
    // With no window of ours left, the window manager hands focus back by itself.
}

void installLogSinks(std::FILE* echo)
{
    Log::Store::shared().addSink([echo](const Log::Entry& e) {
        if (e.kind != Log::Entry::Kind::message)
            return;
        const int priority = e.level == Log::Level::error  ? LOG_ERR
                             : e.level == Log::Level::info ? LOG_INFO
                                                           : LOG_DEBUG;
        // Private arguments show here only while private data is enabled (--log-private).
        const QByteArray message = Log::shownMessage(e).toUtf8();
        const QByteArray category = e.category.toUtf8();
        sd_journal_send("MESSAGE=%s", message.constData(), "PRIORITY=%i", priority, "SYSLOG_IDENTIFIER=mosaro",
                        "MOSARO_SUBSYSTEM=%s", Log::subsystem.toUtf8().constData(), "MOSARO_CATEGORY=%s",
                        category.constData(), nullptr);
        if (echo) {
            std::fprintf(echo, "%s [%s] %s\n", e.time.toString(QStringLiteral("HH:mm:ss.zzz")).toUtf8().constData(),
                         category.constData(), message.constData());
            std::fflush(echo);
        }
    });
}

} // namespace mosaro
