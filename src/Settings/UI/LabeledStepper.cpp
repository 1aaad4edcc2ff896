#include "Settings/UI/LabeledStepper.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>

namespace mosaro {

LabeledStepper::LabeledStepper(const QString& label, StepperRange range, QWidget* parent)
    : QWidget(parent), m_range(range)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_label = new QLabel(label, this);
    layout->addWidget(m_label);
    layout->addStretch(1);

    m_spin = new QSpinBox(this);
    m_spin->setRange(static_cast<int>(range.lowest), static_cast<int>(range.highest));
    m_spin->setSingleStep(1);
    m_spin->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // Typing "12" is one edit, not "1" and then "12".
    m_spin->setKeyboardTracking(false);
    QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    digits.setPointSizeF(m_spin->font().pointSizeF());
    m_spin->setFont(digits);
    m_spin->setMinimumWidth(m_spin->fontMetrics().horizontalAdvance(QStringLiteral("000")) + 48);
    m_label->setBuddy(m_spin);
    layout->addWidget(m_spin);

    connect(m_spin, &QSpinBox::valueChanged, this, [this](int value) { Q_EMIT valueEdited(value); });
}

std::int64_t LabeledStepper::value() const
{
    return m_spin->value();
}

void LabeledStepper::setValue(std::int64_t value)
{
    const QSignalBlocker blocker(m_spin);
    m_spin->setValue(static_cast<int>(m_range.clamped(value)));
}

void LabeledStepper::setLabel(const QString& label)
{
    m_label->setText(label);
}

} // namespace mosaro
