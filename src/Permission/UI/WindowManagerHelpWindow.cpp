#include "Permission/UI/WindowManagerHelpWindow.h"

#include "Platform/HostTexts.h"

#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

// The page lives in this library's resources, which a static link drops unless asked for.
static void initResources()
{
    Q_INIT_RESOURCE(permission_ui);
}

namespace mosaro {

namespace {

QString pageTemplate()
{
    initResources();
    // The page of the session: what window control needs differs between X11 and each compositor.
    const HostSession session = hostSession();
    QFile page(session == HostSession::sway    ? QStringLiteral(":/help/window-manager-help-sway.html")
               : session == HostSession::kwin  ? QStringLiteral(":/help/window-manager-help-kwin.html")
               : session == HostSession::gnome ? QStringLiteral(":/help/window-manager-help-gnome.html")
                                               : QStringLiteral(":/help/window-manager-help.html"));
    if (!page.open(QIODevice::ReadOnly))
        return QStringLiteral("<p>{{status}}</p>");
    return QString::fromUtf8(page.readAll());
}

} // namespace

QString WindowManagerHelpWindow::pageHtml(const QString& status)
{
    QString html = pageTemplate();
    html.replace(QLatin1String("{{status}}"), status.toHtmlEscaped());
    return html;
}

WindowManagerHelpWindow::WindowManagerHelpWindow(const QString& status, QWidget* parent)
    : QWidget(parent), m_browser(new QTextBrowser(this))
{
    setWindowTitle(hostText(HostText::accessibilitySettingsTitle) + QStringLiteral(" — Mosaro"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_browser->setOpenExternalLinks(true);
    m_browser->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_browser);
    setStatus(status);
    resize(600, 560);
}

void WindowManagerHelpWindow::setStatus(const QString& status)
{
    m_browser->setHtml(pageHtml(status));
}

WindowManagerHelp::WindowManagerHelp(std::function<QString()> status) : m_status(std::move(status))
{}

WindowManagerHelp::~WindowManagerHelp()
{
    delete m_window.data();
}

void WindowManagerHelp::show()
{
    const QString status = m_status ? m_status() : QString();
    if (!m_window)
        m_window = new WindowManagerHelpWindow(status);
    else
        m_window->setStatus(status);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace mosaro
