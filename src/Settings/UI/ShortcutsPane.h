#pragma once

// moc cannot read the C++20 library headers these bring in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Overlay/HotkeyAction.h"
#endif
#include "Shortcuts/UI/ShortcutRecorderWidget.h"

#include <QList>
#include <QPointer>
#include <QWidget>

class QPushButton;
class QVBoxLayout;

namespace mosaro {

// The Shortcuts tab: one recorder per action, grouped in sections, and "Reset to Defaults".
class ShortcutsPane : public QWidget {
    Q_OBJECT
public:
    explicit ShortcutsPane(QWidget* parent = nullptr);

    QList<ShortcutRecorderWidget*> recorders() const;
    ShortcutRecorderWidget* recorder(HotkeyAction action) const;
    QPushButton* resetButton() const { return m_reset; }
    // How often the rows were rebuilt by "Reset to Defaults".
    int resetToken() const { return m_resetToken; }

    // The alert every row asks when a capture conflicts (the warning dialog unless replaced).
    void setConfirmConflict(ShortcutRecorderWidget::ConfirmConflict confirm);

    void resetToDefaults();

private:
    void buildSections();

    QWidget* m_sections = nullptr;
    QVBoxLayout* m_sectionsLayout = nullptr;
    QPushButton* m_reset = nullptr;
    QList<QPointer<ShortcutRecorderWidget>> m_recorders; // the rows of the last build
    int m_resetToken = 0;
    ShortcutRecorderWidget::ConfirmConflict m_confirm;
};

} // namespace mosaro
