#include "Settings/UI/ShortcutsPane.h"

#include "Settings/ShortcutsSettings.h"
#include "Settings/UI/FormSection.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace mosaro {

ShortcutsPane::ShortcutsPane(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(14);
    m_sections = new QWidget(this);
    m_sectionsLayout = new QVBoxLayout(m_sections);
    m_sectionsLayout->setContentsMargins(0, 0, 0, 0);
    m_sectionsLayout->setSpacing(14);
    layout->addWidget(m_sections);

    m_reset = new QPushButton(QStringLiteral("Reset to Defaults"), this);
    m_reset->setObjectName(QStringLiteral("resetShortcutsButton"));
    // A destructive action: drawn in the warning colour.
    QPalette destructive = m_reset->palette();
    destructive.setColor(QPalette::ButtonText, QColor(0xD7, 0x26, 0x26));
    m_reset->setPalette(destructive);
    auto* resetRow = new QHBoxLayout;
    resetRow->addWidget(m_reset);
    resetRow->addStretch(1);
    layout->addLayout(resetRow);
    layout->addStretch(1);

    connect(m_reset, &QPushButton::clicked, this, &ShortcutsPane::resetToDefaults);
    buildSections();
}

void ShortcutsPane::buildSections()
{
    while (QLayoutItem* item = m_sectionsLayout->takeAt(0)) {
        if (QWidget* w = item->widget()) {
            w->hide();
            w->deleteLater();
        }
        delete item;
    }
    m_recorders.clear();
    for (const ShortcutSection& section : shortcutSections()) {
        auto* block = new QWidget(m_sections);
        auto* blockLayout = new QVBoxLayout(block);
        blockLayout->setContentsMargins(0, 0, 0, 0);
        blockLayout->setSpacing(4);
        auto* title = new QLabel(section.title, block);
        QFont headline = title->font();
        headline.setWeight(QFont::DemiBold);
        title->setFont(headline);
        blockLayout->addWidget(title);
        if (!section.note.isEmpty())
            blockLayout->addWidget(secondaryLabel(section.note, block));
        auto* box = new QGroupBox(block);
        auto* rows = new QVBoxLayout(box);
        rows->setSpacing(6);
        for (const ShortcutRow& row : section.rows) {
            auto* line = new QWidget(box);
            auto* lineLayout = new QHBoxLayout(line);
            lineLayout->setContentsMargins(0, 0, 0, 0);
            lineLayout->addWidget(new QLabel(row.label, line));
            lineLayout->addStretch(1);
            auto* recorder = new ShortcutRecorderWidget(row.label, row.action, line);
            m_recorders.push_back(recorder);
            if (m_confirm)
                recorder->setConfirmConflict(m_confirm);
            // "Use Anyway" may have taken the keys from another row.
            connect(recorder, &ShortcutRecorderWidget::shortcutChanged, this, [this, recorder] {
                for (ShortcutRecorderWidget* other : recorders()) {
                    if (other != recorder)
                        other->reload();
                }
            });
            lineLayout->addWidget(recorder);
            rows->addWidget(line);
        }
        blockLayout->addWidget(box);
        m_sectionsLayout->addWidget(block);
    }
}

QList<ShortcutRecorderWidget*> ShortcutsPane::recorders() const
{
    QList<ShortcutRecorderWidget*> all;
    for (const auto& recorder : m_recorders) {
        if (recorder)
            all.push_back(recorder);
    }
    return all;
}

ShortcutRecorderWidget* ShortcutsPane::recorder(HotkeyAction action) const
{
    for (ShortcutRecorderWidget* r : recorders()) {
        if (r->action() == action)
            return r;
    }
    return nullptr;
}

void ShortcutsPane::setConfirmConflict(ShortcutRecorderWidget::ConfirmConflict confirm)
{
    m_confirm = std::move(confirm);
    for (ShortcutRecorderWidget* r : recorders())
        r->setConfirmConflict(m_confirm);
}

void ShortcutsPane::resetToDefaults()
{
    // A capture in progress ends first, so the hotkeys are back before the trigger is reset.
    if (ShortcutRecorderWidget* active = ShortcutRecorderWidget::activeRecorder())
        active->setRecording(false);
    resetShortcutsToDefaults();
    ++m_resetToken;
    buildSections();
}

} // namespace mosaro
