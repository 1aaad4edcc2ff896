#pragma once

#include "Permission/PermissionState.h"

#include <QColor>
#include <QWidget>

namespace mosaro {

// A capsule with a pictogram and a short label that says where the permission stands.
class PermissionStatusBadge : public QWidget {
    Q_OBJECT
public:
    explicit PermissionStatusBadge(QWidget* parent = nullptr);

    void setState(const PermissionState& state);
    const PermissionState& state() const { return m_state; }

    // "Granted", "Not granted", "Not requested yet"
    static QString label(const PermissionState& state);
    static QString tooltip(const PermissionState& state);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QColor color() const;
    QFont labelFont() const;

    PermissionState m_state;
};

} // namespace mosaro
