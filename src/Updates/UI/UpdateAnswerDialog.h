#pragma once

#include "Platform/System.h"
#include "Updates/UpdateAnswer.h"

#include <QDialog>
#include <QPointer>

class QLabel;
class QPushButton;

namespace mosaro {

// The window that tells the user how an update check ended: up to date, a newer version with
// its release notes and a download button, or why the check failed.
class UpdateAnswerDialog final : public QDialog {
    Q_OBJECT
public:
    UpdateAnswerDialog(const UpdateCheckAnswer& answer, UrlOpener& urlOpener, QWidget* parent = nullptr);

    // Texts of the answer, as the window shows them.
    static QString windowTitleText();
    static QString headingText(const UpdateCheckAnswer& answer);
    static QString bodyText(const UpdateCheckAnswer& answer);

private:
    UrlOpener& m_urlOpener;
};

// Shows each answer in a dialog of its own, closing one that is still open, so repeated checks
// never pile up windows.
class UpdateAnswerDialogs final : public UpdateAnswerView {
public:
    explicit UpdateAnswerDialogs(UrlOpener& urlOpener) : m_urlOpener(urlOpener) {}
    ~UpdateAnswerDialogs() override;
    void showAnswer(const UpdateCheckAnswer& answer) override;
    // The dialog on screen, or none.
    UpdateAnswerDialog* current() const { return m_current; }

private:
    UrlOpener& m_urlOpener;
    QPointer<UpdateAnswerDialog> m_current;
};

} // namespace mosaro
