#include "Settings/UI/FormSection.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace mosaro {

FormSection::FormSection(const QString& title, const QString& footer, QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    m_box = new QGroupBox(title, this);
    m_rows = new QVBoxLayout(m_box);
    m_rows->setSpacing(8);
    layout->addWidget(m_box);
    if (!footer.isEmpty()) {
        m_footer = secondaryLabel(footer, this);
        m_footer->setContentsMargins(4, 0, 4, 0);
        layout->addWidget(m_footer);
    }
}

void FormSection::addRow(QWidget* row)
{
    m_rows->addWidget(row);
}

QWidget* FormSection::addLabeledRow(const QString& label, QWidget* control)
{
    auto* row = new QWidget(m_box);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* text = new QLabel(label, row);
    layout->addWidget(text);
    layout->addStretch(1);
    control->setParent(row);
    layout->addWidget(control);
    m_rows->addWidget(row);
    return row;
}

QLabel* secondaryLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    return label;
}

QLabel* bodyLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

} // namespace mosaro
