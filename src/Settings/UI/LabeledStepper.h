#pragma once

#include "Settings/GeneralSettings.h"

#include <QWidget>
#include <cstdint>

class QLabel;
class QSpinBox;

namespace mosaro {

// A label on the left and a spin box on the right, over a closed range in steps of one; the value
// is right-aligned in monospaced digits. Only the user's edits are announced.
class LabeledStepper : public QWidget {
    Q_OBJECT
public:
    LabeledStepper(const QString& label, StepperRange range, QWidget* parent = nullptr);

    std::int64_t value() const;
    // Shows the value (clamped into the range) without announcing it.
    void setValue(std::int64_t value);
    void setLabel(const QString& label);
    StepperRange range() const { return m_range; }

    QLabel* labelWidget() const { return m_label; }
    QSpinBox* spinBox() const { return m_spin; }

Q_SIGNALS:
    void valueEdited(std::int64_t value);

private:
    StepperRange m_range;
    QLabel* m_label = nullptr;
    QSpinBox* m_spin = nullptr;
};

} // namespace mosaro
