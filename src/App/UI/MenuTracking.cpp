#include "App/UI/MenuTracking.h"

#include <QApplication>
#include <QEvent>
#include <QMenu>

namespace mosaro {

MenuTracking::MenuTracking(NotificationCenter& center) : m_center(center)
{
    qApp->installEventFilter(this);
}

bool MenuTracking::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::Show && type != QEvent::Hide)
        return false;
    auto* menu = qobject_cast<QMenu*>(watched);
    if (!menu)
        return false;
    if (type == QEvent::Hide) {
        closed(menu);
    } else if (m_open.insert(menu).second) {
        // A menu deleted while open sends no hide we could still recognise.
        connect(menu, &QObject::destroyed, this, [this, menu] { closed(menu); });
        if (m_open.size() == 1)
            m_center.post(PlatformNotifications::menuDidBeginTracking);
    }
    return false;
}

void MenuTracking::closed(const QObject* menu)
{
    if (m_open.erase(menu) == 0)
        return;
    disconnect(menu, &QObject::destroyed, this, nullptr);
    if (m_open.empty())
        m_center.post(PlatformNotifications::menuDidEndTracking);
}

} // namespace mosaro
