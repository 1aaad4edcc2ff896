#include "Shortcuts/UI/ConflictAlert.h"

#include "Platform/UI/Symbols.h"

#include <QGridLayout>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

namespace mosaro {

bool confirmConflict(QWidget* parent, const ShortcutConflict& conflict, const KeyboardShortcuts::Shortcut& captured,
                     const QString& rowLabel)
{
    const ConflictAlert alert = conflictAlertText(conflict, captured, rowLabel);
    // On the heap and watched: closing the window beneath it while it runs deletes it with the window.
    auto* box = new QMessageBox(parent);
    const QPointer<QMessageBox> alive(box);
    box->setObjectName(QStringLiteral("shortcutConflictAlert"));
    box->setWindowTitle(QStringLiteral("Mosaro"));
    box->setIcon(QMessageBox::Warning);
    // Drawn at the screen's density rather than the style's small bitmap.
    box->setIconPixmap(symbolIcon(Symbol::displayWarning).pixmap(QSize(40, 40), box->devicePixelRatioF()));
    box->setText(alert.messageText);
    box->setInformativeText(alert.informativeText);
    QPushButton* useAnyway = box->addButton(alert.buttons.value(0), QMessageBox::AcceptRole);
    QPushButton* cancel = box->addButton(alert.buttons.value(1), QMessageBox::RejectRole);
    box->setDefaultButton(useAnyway);
    // Wide enough that the sentence reads in a few lines rather than a narrow column.
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout()))
        grid->addItem(new QSpacerItem(380, 0, QSizePolicy::Minimum, QSizePolicy::Expanding), grid->rowCount(), 0, 1,
                      grid->columnCount());
    box->setEscapeButton(cancel);
    box->exec();
    if (!alive)
        return false;
    const bool chosen = box->clickedButton() == useAnyway;
    delete box;
    return chosen;
}

} // namespace mosaro
