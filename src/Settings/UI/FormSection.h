#pragma once

#include <QGroupBox>
#include <QString>

class QLabel;
class QVBoxLayout;

namespace mosaro {

// One section of a grouped form: a titled group box holding rows, and below it, when given, a
// footer in smaller secondary text.
class FormSection : public QWidget {
    Q_OBJECT
public:
    explicit FormSection(const QString& title, const QString& footer = {}, QWidget* parent = nullptr);

    QGroupBox* box() const { return m_box; }
    QVBoxLayout* rows() const { return m_rows; }
    QLabel* footer() const { return m_footer; }

    void addRow(QWidget* row);
    // A label on the left and a control (or value) on the right.
    QWidget* addLabeledRow(const QString& label, QWidget* control);

private:
    QGroupBox* m_box = nullptr;
    QVBoxLayout* m_rows = nullptr;
    QLabel* m_footer = nullptr;
};

// Text in the smaller, secondary style of footers and notes.
QLabel* secondaryLabel(const QString& text, QWidget* parent = nullptr);
// Wrapping body text.
QLabel* bodyLabel(const QString& text, QWidget* parent = nullptr);

} // namespace mosaro
