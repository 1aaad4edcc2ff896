#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>

class QTextBrowser;

namespace mosaro {

// What window control needs on this desktop, and why Mosaro found nothing it can drive: the
// in-app page that stands in for the system's accessibility settings.
class WindowManagerHelpWindow : public QWidget {
    Q_OBJECT
public:
    // `status` tells in one sentence what Mosaro found on the display right now.
    explicit WindowManagerHelpWindow(const QString& status, QWidget* parent = nullptr);

    void setStatus(const QString& status);
    QTextBrowser* browser() const { return m_browser; }

    // The page with the status put in, as HTML.
    static QString pageHtml(const QString& status);

private:
    QTextBrowser* m_browser;
};

// Keeps at most one help window: opening it again refreshes it and brings it to the front, so
// repeated refused triggers never pile windows up.
class WindowManagerHelp {
public:
    explicit WindowManagerHelp(std::function<QString()> status);
    ~WindowManagerHelp();
    WindowManagerHelp(const WindowManagerHelp&) = delete;
    WindowManagerHelp& operator=(const WindowManagerHelp&) = delete;

    void show();
    WindowManagerHelpWindow* window() const { return m_window; }

private:
    std::function<QString()> m_status;
    QPointer<WindowManagerHelpWindow> m_window;
};

} // namespace mosaro
