#include "App/Desktop/DesktopServices.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/Linux/JournalLog.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QUrl>
#include <QWidget>

#include <cstdio>

namespace mosaro {

bool DesktopUrlOpener::openUrl(const QString& url)
{
    const QUrl parsed(url);
    if (!parsed.isValid())
        return false;
    if (parsed.scheme() == QLatin1String("x-apple.systempreferences")) {
        if (!showAccessibilitySettings)
            return false;
        showAccessibilitySettings();
        return true;
    }
    return QDesktopServices::openUrl(parsed);
}

void QtDesktopApplication::activateIgnoringOtherApps()
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->isVisible() && !w->windowTitle().isEmpty()) {
            w->raise();
            w->activateWindow();
            if (activate)
                activate(w);
            return;
        }
    }
}

bool QtDesktopApplication::isActive() const
{
    return QApplication::activeWindow() != nullptr;
}

bool QtDesktopApplication::hasVisibleTitledWindow() const
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->isVisible() && !w->windowTitle().isEmpty())
            return true;
    return false;
}

void QtDesktopApplication::hide()
{
    // With no window of ours left, the window manager hands focus back by itself.
}

void DesktopPasteboard::clearContents()
{
    QGuiApplication::clipboard()->clear(QClipboard::Clipboard);
}

void DesktopPasteboard::setString(const QString& text)
{
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
}

void installLogSinks(std::FILE* echo)
{
    installJournalSink();
    if (!echo)
        return;
    Log::Store::shared().addSink([echo](const Log::Entry& e) {
        if (e.kind != Log::Entry::Kind::message)
            return;
        std::fprintf(echo, "%s [%s] %s\n", e.time.toString(QStringLiteral("HH:mm:ss.zzz")).toUtf8().constData(),
                     e.category.toUtf8().constData(), Log::shownMessage(e).toUtf8().constData());
        std::fflush(echo);
    });
}

} // namespace mosaro
