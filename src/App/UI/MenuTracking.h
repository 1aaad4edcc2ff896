#pragma once

#include "Platform/NotificationCenter.h"

#include <QObject>

#include <set>

namespace mosaro {

// Announces when Mosaro's menus are open: a popped-up menu holds the keyboard, so the hotkeys
// rest from the first menu shown until the last one closes. Watches every menu of the application.
class MenuTracking final : public QObject {
public:
    explicit MenuTracking(NotificationCenter& center);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void closed(const QObject* menu);

    NotificationCenter& m_center;
    std::set<const QObject*> m_open;
};

} // namespace mosaro
